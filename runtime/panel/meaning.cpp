#include "runtime/panel/meaning.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace plc::runtime {

namespace {

/// More would show the errors of the arithmetic.
constexpr int kMostDecimals = 15;

/// Decimals of a number in its shortest form: 1 of 0.1, 2 of 0.25, 0 of 10.
int decimalsOf(double number)
{
    char text[40];
    const auto end = std::to_chars(text, text + sizeof text, number, std::chars_format::scientific).ptr;
    const std::string scientific(text, end);
    const std::size_t e = scientific.find('e');
    const std::size_t point = scientific.find('.');
    const int digits = point < e ? static_cast<int>(e - point) - 1 : 0;
    return std::max(0, digits - std::stoi(scientific.substr(e + 1)));
}

/// 0.3 of 3 * 0.1, which is 0.30000000000000004. What is rounded to 0 has no sign.
double withDecimals(double number, int decimals)
{
    char text[400];
    const auto written = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, decimals);
    double rounded = number;
    std::from_chars(text, written.ptr, rounded);
    return rounded == 0 ? 0 : rounded;
}

} // namespace

const std::string *Meaning::nameOf(const Value &value) const
{
    for (const ValueName &name : names) {
        if (name.value == value)
            return &name.text;
    }
    return nullptr;
}

const Value *Meaning::valueNamed(const std::string &text) const
{
    for (const ValueName &name : names) {
        if (name.text == text)
            return &name.value;
    }
    return nullptr;
}

Value scaled(const Value &value, const ValueFormat &format, const Meaning &meaning)
{
    if (!meaning.isScaled() || value.type == Value::Type::Text || value.isBad)
        return value;
    const double shown = value.asReal() * meaning.scale + meaning.offset;
    const int decimals = std::max(decimalsOf(meaning.scale), decimalsOf(meaning.offset));
    if (format.kind == ValueKind::F32 &&
        std::fabs(shown) <= static_cast<double>(std::numeric_limits<float>::max()))
        return Value::ofReal(static_cast<double>(static_cast<float>(shown)));
    const bool isRounded = format.isWhole() && decimals <= kMostDecimals;
    return Value::ofReal(isRounded ? withDecimals(shown, decimals) : shown);
}

Value unscaled(const Value &shown, const ValueFormat &format, const Meaning &meaning)
{
    if (!meaning.isScaled() || shown.type == Value::Type::Text)
        return shown;
    const double raw = (shown.asReal() - meaning.offset) / meaning.scale;
    return Value::ofReal(format.isWhole() ? std::round(raw) : raw);
}

} // namespace plc::runtime
