#include "runtime/testing/bytes.h"

#include "runtime/line/number_text.h"

namespace plc::simulation {

namespace {

const char *charsOf(const Bytes &bytes)
{
    return reinterpret_cast<const char *>(bytes.data());
}

} // namespace

std::uint16_t wordAt(const Bytes &bytes, std::size_t at)
{
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

void appendWord(Bytes *bytes, std::uint16_t value)
{
    bytes->push_back(static_cast<std::uint8_t>(value >> 8));
    bytes->push_back(static_cast<std::uint8_t>(value & 0xFFu));
}

void appendCrc(Bytes *frame, bool highFirst)
{
    const std::uint16_t crc = runtime::crcOf(charsOf(*frame), static_cast<int>(frame->size()));
    const auto low = static_cast<std::uint8_t>(crc & 0xFFu);
    const auto high = static_cast<std::uint8_t>(crc >> 8);
    frame->push_back(highFirst ? high : low);
    frame->push_back(highFirst ? low : high);
}

bool endsWithCrc(const Bytes &frame, bool highFirst)
{
    return frame.size() > static_cast<std::size_t>(runtime::kCrcLen) &&
           runtime::crcFits(charsOf(frame), static_cast<int>(frame.size()), highFirst);
}

std::string hexOf(const Bytes &bytes)
{
    return runtime::hexText(charsOf(bytes), bytes.size());
}

} // namespace plc::simulation
