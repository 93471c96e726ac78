#include "crc.h"

namespace plc::station {

std::uint16_t crc16(ByteView bytes)
{
    unsigned crc = 0xFFFF;
    for (std::size_t i = 0; i < bytes.size; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? (crc >> 1) ^ 0xA001 : crc >> 1;
    }
    return static_cast<std::uint16_t>(crc);
}

void appendCrc(Bytes *frame, CrcOrder order)
{
    const std::uint16_t crc = crc16(*frame);
    const auto low = static_cast<std::uint8_t>(crc & 0xFF);
    const auto high = static_cast<std::uint8_t>(crc >> 8);
    frame->push_back(order == CrcOrder::LowFirst ? low : high);
    frame->push_back(order == CrcOrder::LowFirst ? high : low);
}

bool hasGoodCrc(ByteView frame, CrcOrder order)
{
    if (frame.size < 3)
        return false;
    const std::size_t crcAt = frame.size - 2;
    const std::uint16_t sent = order == CrcOrder::LowFirst ? getLe16(frame, crcAt) : getBe16(frame, crcAt);
    return sent == crc16(ByteView(frame.data, crcAt));
}

} // namespace plc::station
