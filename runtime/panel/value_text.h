/// @file
/// Values as people write them.
#ifndef PLC_PANEL_VALUE_TEXT_H
#define PLC_PANEL_VALUE_TEXT_H

#include <optional>
#include <string>
#include <vector>

#include "runtime/panel/value_format.h"

namespace plc::runtime {

/// "1234", "0x04D2", "0b0000010011010010", "-7", "12.5", "nan", "inf"; a text in quotation marks, with
/// control characters as "\x1B", so that it has no power over a terminal. readValue() understands all of it
/// but NaN and infinities. A bad BCD value is shown as hexadecimal.
std::string textOf(const Value &value, const ValueFormat &format);

/// The text as textOf() has it, without quotation marks around and inside as they are.
std::string withoutControlCharacters(const std::string &utf8);

/// A number in its shortest form that reads back the same, with an exponent from 1e15 on and below 1e-5.
std::string shortestText(double number);

/// Reads one value: decimal with or without sign, "0x" hexadecimal, "0b" binary; real numbers for floats; for
/// texts what stands there, or what stands between quotation marks with \\", \\\\ and \\xNN in it. The range
/// is not looked at.
/// @return nothing where @p text is no value of such a format.
std::optional<Value> readValue(const std::string &text, const ValueFormat &format);

/// Takes values apart that commas separate. Commas between quotation marks separate nothing where
/// @p hasQuotes says so.
std::vector<std::string> splitValues(const std::string &text, bool hasQuotes);

} // namespace plc::runtime

#endif
