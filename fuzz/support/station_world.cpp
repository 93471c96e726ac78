#include "fuzz/support/station_world.h"

#include <algorithm>

#include "fuzz/support/claim.h"
#include "support/hex.h"

namespace plc::fuzz {

namespace {

constexpr Area kAreas[] = {Area::Coils, Area::DiscreteInputs, Area::InputRegisters, Area::HoldingRegisters};
constexpr std::size_t kLongestReply = 256; // MODBUS over Serial Line V1.02, 2.3

std::vector<std::uint16_t> firstValues(int station, Area area)
{
    std::vector<std::uint16_t> values;
    for (int i = 0; i < kItems; ++i) {
        const int value = station * 4096 + static_cast<int>(area) * 1024 + i * 259;
        values.push_back(static_cast<std::uint16_t>(isBitArea(area) ? value & 1 : value));
    }
    return values;
}

void append(std::vector<Bytes> *frames, const std::vector<Bytes> &more)
{
    frames->insert(frames->end(), more.begin(), more.end());
}

void claimPieces(const Bytes &line, const std::vector<Bytes> &frames)
{
    auto from = line.begin();
    for (const Bytes &frame : frames) {
        claim(!frame.empty(), "a frame has bytes");
        const auto found = std::search(from, line.end(), frame.begin(), frame.end());
        claim(found != line.end(), "frames are pieces of what was received, in order");
        from = found + static_cast<std::ptrdiff_t>(frame.size());
    }
}

} // namespace

StationBus makeBus(CrcOrder requestOrder, CrcOrder replyOrder)
{
    StationBus bus(std::vector<int>(std::begin(kStations), std::end(kStations)), kItems, requestOrder,
                   replyOrder);
    for (const int station : kStations) {
        for (const Area area : kAreas)
            bus.station(station)->registers().write(area, 0, firstValues(station, area));
    }
    return bus;
}

Picture::Picture(const StationBus &bus)
{
    for (const int station : kStations) {
        for (const Area area : kAreas)
            areas_[{station, area}] = bus.station(station)->registers().read(area, 0, kItems).value();
    }
}

bool hasWitnessedCrc(const Bytes &frame, CrcOrder order)
{
    if (frame.size() < 3)
        return false;
    const QByteArray body(reinterpret_cast<const char *>(frame.data()), static_cast<int>(frame.size()) - 2);
    const unsigned crc = test::witnessCrc(body);
    const unsigned first = frame[frame.size() - 2];
    const unsigned second = frame[frame.size() - 1];
    return crc == (order == CrcOrder::LowFirst ? first | second << 8 : first << 8 | second);
}

void claimReplyFrame(const Bytes &reply, int station, CrcOrder order)
{
    claim(reply.size() >= 5 && reply.size() <= kLongestReply, "a reply is 5 to 256 bytes");
    claim(reply[0] == station, "a reply carries its station's number");
    claim(hasWitnessedCrc(reply, order), "a reply has a good CRC");
}

std::vector<Bytes> claimFraming(const FrameRule &rule, const Bytes &line, Input &input)
{
    Framer whole(rule);
    std::vector<Bytes> frames = whole.push(line);
    append(&frames, whole.silence());
    claim(!whole.isHoldingBytes(), "a silence leaves nothing behind");

    Framer cut(rule);
    std::vector<Bytes> again;
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t size = std::min(line.size() - at, static_cast<std::size_t>(1 + input.byte()));
        append(&again, cut.push(ByteView(line.data() + at, size)));
        at += size;
    }
    append(&again, cut.silence());
    claim(frames == again, "frames do not depend on the pieces in which the bytes come");
    claimPieces(line, frames);
    return frames;
}

} // namespace plc::fuzz
