#include "station/rtu_text.h"

#include <cctype>
#include <stdexcept>

namespace plc::test {

namespace {

int digitValue(char digit)
{
    if (std::isdigit(static_cast<unsigned char>(digit)) != 0)
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    throw std::invalid_argument("not hex");
}

unsigned crcByHalfBytes(const Bytes &frame)
{
    static const unsigned table[16] = {0x0000, 0xCC01, 0xD801, 0x1400, 0xF001, 0x3C00, 0x2800, 0xE401,
                                       0xA001, 0x6C00, 0x7800, 0xB401, 0x5000, 0x9C01, 0x8801, 0x4400};
    unsigned crc = 0xFFFF;
    for (unsigned byte : frame) {
        crc = table[(byte ^ crc) & 0x0F] ^ crc >> 4;
        crc = table[(byte >> 4 ^ crc) & 0x0F] ^ crc >> 4;
    }
    return crc;
}

} // namespace

Bytes bytes(const std::string &hex)
{
    Bytes result;
    int high = -1;
    for (char c : hex) {
        if (c == ' ')
            continue;
        const int value = digitValue(c);
        if (high < 0) {
            high = value;
        } else {
            result.push_back(static_cast<std::uint8_t>(high * 16 + value));
            high = -1;
        }
    }
    if (high >= 0)
        throw std::invalid_argument("half a byte");
    return result;
}

Bytes rtu(const std::string &hex)
{
    Bytes frame = bytes(hex);
    const unsigned crc = crcByHalfBytes(frame);
    frame.push_back(static_cast<std::uint8_t>(crc & 0xFF));
    frame.push_back(static_cast<std::uint8_t>(crc >> 8));
    return frame;
}

Bytes operator+(Bytes first, const Bytes &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

} // namespace plc::test
