/// @file
/// Values between people's writing and the driver's bytes.
#ifndef PLC_PANEL_VALUES_H
#define PLC_PANEL_VALUES_H

#include <QByteArray>

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/panel/variable.h"

namespace plc::runtime {

/// Values of a variable, each as an unsigned number of its width.
using Values = std::vector<std::uint32_t>;

/// How values are shown.
enum class NumberStyle
{
    Unsigned,
    Signed, ///< the highest bit is the sign; bits stay 0 and 1
    Hex     ///< "0x04D2", with all digits of the width; bits stay 0 and 1
};

/// Reads values separated by commas: decimal with or without sign, "0x" hexadecimal; for bits 0, 1, off, on,
/// false, true.
/// @param place     named in the error: the whole argument that the values stand in.
/// @throw Failure   (wrong usage) that names the value and its range.
Values parseValues(const std::string &text, Unit unit, const std::string &place);

/// Bytes in the layout of GetRegisterData and SetRegisterData: one byte a bit, two a register with the low
/// byte first, four a pair with the lowest byte first.
QByteArray encodeValues(const Values &values, Unit unit);

/// The reverse; missing bytes count as 0.
Values decodeValues(const QByteArray &bytes, Unit unit, int count);

std::string formatValue(std::uint32_t value, Unit unit, NumberStyle style);

/// All of @p values with @p separator between them.
std::string formatValues(const Values &values, Unit unit, NumberStyle style, const char *separator);

} // namespace plc::runtime

#endif
