/// @file
/// What the numbers of a variable mean to people.
#ifndef PLC_PANEL_MEANING_H
#define PLC_PANEL_MEANING_H

#include <optional>
#include <string>
#include <vector>

#include "runtime/panel/value_format.h"

namespace plc::runtime {

/// A text that stands for a value.
struct ValueName
{
    Value value; ///< as the registers have it, before scale and offset
    std::string text;
};

struct Meaning
{
    double scale = 1;  ///< shown = registers * scale + offset; neither 0 nor infinite
    double offset = 0; ///< finite
    std::string unit;
    std::optional<double> least; ///< that may be written, as shown; what is read is not judged
    std::optional<double> most;
    std::vector<ValueName> names;
    std::string description;

    bool isScaled() const { return scale != 1 || offset != 0; }
    /// Text of the value that the registers have; null for none.
    const std::string *nameOf(const Value &value) const;
    /// Value of a text; null for none.
    const Value *valueNamed(const std::string &text) const;
};

/// The value as it is shown: scaled where there is a scale, with as many decimals as scale and offset have. A
/// text and a bad value stay as they are.
/// @param value   as the registers have it.
/// @param format  of the registers.
Value scaled(const Value &value, const ValueFormat &format, const Meaning &meaning);

/// The reverse; for a whole format rounded to the nearest.
Value unscaled(const Value &shown, const ValueFormat &format, const Meaning &meaning);

} // namespace plc::runtime

#endif
