#include "runtime/line/number_text.h"

#include <charconv>

namespace plc::runtime {

std::string hexText(const char *bytes, std::size_t count)
{
    static const char *const kDigits = "0123456789ABCDEF";
    std::string text;
    text.reserve(3 * count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (i > 0)
            text += ' ';
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0Fu];
    }
    return text;
}

std::string secondsText(Time time, std::size_t width)
{
    char digits[32]; // of 300 years there are 10 digits, point and sign aside
    char *const end =
        std::to_chars(digits, digits + sizeof digits, seconds(time), std::chars_format::fixed, 6).ptr;
    std::string text(digits, end);
    if (text.size() < width)
        text.insert(0, width - text.size(), ' ');
    return text;
}

} // namespace plc::runtime
