#include "support/hex.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace plc::test {

namespace {

int digitValue(char digit, const char *text)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    std::fprintf(stderr, "hex(\"%s\"): '%c' is no hexadecimal digit\n", text, digit);
    std::abort();
}

QByteArray withCrcBytes(const char *text, bool highFirst)
{
    QByteArray bytes = hex(text);
    const quint16 crc = witnessCrc(bytes);
    const char low = static_cast<char>(crc & 0xFF);
    const char high = static_cast<char>(crc >> 8);
    bytes.append(highFirst ? high : low);
    bytes.append(highFirst ? low : high);
    return bytes;
}

} // namespace

QByteArray hex(const char *text)
{
    QByteArray bytes;
    int pending = -1;
    for (const char *at = text; *at; ++at) {
        if (std::isspace(static_cast<unsigned char>(*at)))
            continue;
        const int value = digitValue(*at, text);
        if (pending < 0) {
            pending = value;
            continue;
        }
        bytes.append(static_cast<char>(pending * 16 + value));
        pending = -1;
    }
    if (pending >= 0) {
        std::fprintf(stderr, "hex(\"%s\"): half a byte at the end\n", text);
        std::abort();
    }
    return bytes;
}

quint16 witnessCrc(const QByteArray &bytes)
{
    unsigned crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? (crc >> 1) ^ 0xA001 : crc >> 1;
    }
    return static_cast<quint16>(crc);
}

QByteArray withCrc(const char *text)
{
    return withCrcBytes(text, false);
}

QByteArray withSwappedCrc(const char *text)
{
    return withCrcBytes(text, true);
}

std::string toHex(const QByteArray &bytes)
{
    std::string text;
    for (const char byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X ", static_cast<unsigned char>(byte));
        text += digits;
    }
    if (!text.empty())
        text.pop_back();
    return text;
}

} // namespace plc::test

void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    *out << bytes.size() << " bytes [" << plc::test::toHex(bytes) << "]";
}
