#include "bytes.h"

namespace plc::station {

std::uint16_t getBe16(ByteView bytes, std::size_t at)
{
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

std::uint32_t getBe32(ByteView bytes, std::size_t at)
{
    return static_cast<std::uint32_t>(getBe16(bytes, at)) << 16 | getBe16(bytes, at + 2);
}

std::uint16_t getLe16(ByteView bytes, std::size_t at)
{
    return static_cast<std::uint16_t>(bytes[at + 1] << 8 | bytes[at]);
}

void putBe16(Bytes *bytes, std::uint16_t value)
{
    bytes->push_back(static_cast<std::uint8_t>(value >> 8));
    bytes->push_back(static_cast<std::uint8_t>(value & 0xFF));
}

std::string hexText(ByteView bytes)
{
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size * 3);
    for (std::size_t i = 0; i < bytes.size; ++i) {
        if (i > 0)
            text += ' ';
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 0x0F];
    }
    return text;
}

} // namespace plc::station
