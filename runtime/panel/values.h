/// @file
/// Values between people's writing and the driver's bytes.
#ifndef PLC_PANEL_VALUES_H
#define PLC_PANEL_VALUES_H

#include <QByteArray>

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/panel/value_format.h"
#include "runtime/panel/variable.h"

namespace plc::runtime {

/// What a variable holds, as the driver has it: unsigned numbers, one for each bit, register or, in the
/// 32-bit areas, pair of registers. Of a format they are the registers of all its values.
using Values = std::vector<std::uint32_t>;

/// How whole numbers without a format are shown.
enum class NumberStyle
{
    Unsigned,
    Signed, ///< the highest bit is the sign; bits stay 0 and 1
    Hex     ///< "0x04D2", with all digits of the width; bits stay 0 and 1
};

/// Bytes of one raw value.
int bytesOf(Unit unit);

/// Bytes in the layout of GetRegisterData and SetRegisterData: one byte a bit, two a register with the low
/// byte first, four a pair with the lowest byte first.
QByteArray encodeValues(const Values &values, Unit unit);

/// Turns the bytes of each value round: from low byte first to the order on the line, and back.
QByteArray turnedRound(const QByteArray &bytes, Unit unit);

/// The reverse of encodeValues(); missing bytes count as 0.
/// @param count  as Variable::rawCount().
Values decodeValues(const QByteArray &bytes, Unit unit, int count);

/// Value @p index, 0 to count - 1, as people see it: in its format and scaled.
/// @param values  `variable.rawCount()` of them.
Value valueOf(const Variable &variable, const Values &values, int index);

/// The text that stands for value @p index; null where none does.
const std::string *nameOfValue(const Variable &variable, const Values &values, int index);

/// Appends @p shown to @p values.
/// @throw Failure  (wrong usage) that says what is allowed, by limits, format or area.
void appendValue(const Variable &variable, const Value &shown, Values *values);

/// Reads values separated by commas: decimal with or without sign, "0x" hexadecimal, what the format has
/// beside these, or texts that stand for values; for bits 0, 1, off, on, false, true. Blanks around a value
/// do not count. The variable's count is not looked at.
/// @param place     named in the error: the whole argument that the values stand in.
/// @return          raw elements, valueElements() for each value; in the 32-bit areas a pair for each.
/// @throw Failure   (wrong usage) that names the value and what is allowed.
Values parseValues(const std::string &text, const Variable &variable, const std::string &place);

/// How many values of @p variable these raw elements are.
int valueCount(const Variable &variable, const Values &values);

/// Value @p index, as textOf() has it, or in @p style where the variable has neither format nor scale.
std::string formatValue(const Variable &variable, const Values &values, int index, NumberStyle style);

/// The same with the text that stands for it, as "running (2)", or with "(bad BCD)".
std::string describeValue(const Variable &variable, const Values &values, int index, NumberStyle style);

/// All values as describeValue() has them, with @p separator between them, and the unit behind the last.
std::string formatValues(const Variable &variable, const Values &values, NumberStyle style,
                         const char *separator);

} // namespace plc::runtime

#endif
