/// @file
/// Bytes on the line, owned or only looked at.
#ifndef PLC_STATION_BYTES_H
#define PLC_STATION_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace plc::station {

using Bytes = std::vector<std::uint8_t>;

/// Bytes that somebody else owns, looked at only while the owner leaves them alone.
struct ByteView
{
    const std::uint8_t *data = nullptr;
    std::size_t size = 0;

    ByteView() = default;
    ByteView(const std::uint8_t *bytes, std::size_t count) : data(bytes), size(count) {}
    // NOLINTNEXTLINE(google-explicit-constructor): a view stands in wherever bytes are only looked at
    ByteView(const Bytes &bytes) : data(bytes.data()), size(bytes.size()) {}

    std::uint8_t operator[](std::size_t at) const { return data[at]; }
    Bytes copy() const { return Bytes(data, data + size); }
};

/// 16 bits from two bytes, high byte first, as addresses, quantities and registers travel.
std::uint16_t getBe16(ByteView bytes, std::size_t at);
/// 32 bits from four bytes, high byte first.
std::uint32_t getBe32(ByteView bytes, std::size_t at);
/// 16 bits from two bytes, low byte first, as an operator panel keeps its registers.
std::uint16_t getLe16(ByteView bytes, std::size_t at);
/// Appends 16 bits, high byte first.
void putBe16(Bytes *bytes, std::uint16_t value);

/// "11 03 00 64": two capital hex digits a byte, a space between bytes.
std::string hexText(ByteView bytes);

} // namespace plc::station

#endif
