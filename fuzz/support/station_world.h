/// @file
/// A small bus of simulated stations, and what every one of its replies must be.
#ifndef PLC_FUZZ_SUPPORT_STATION_WORLD_H
#define PLC_FUZZ_SUPPORT_STATION_WORLD_H

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "fuzz/support/input.h"
#include "station/framer.h"
#include "station/station_bus.h"

namespace plc::fuzz {

using namespace station;

constexpr int kStations[] = {1, 2};
constexpr int kItems = 64; ///< in each area of each station

/// A bus with values of its own everywhere.
StationBus makeBus(CrcOrder requestOrder = CrcOrder::LowFirst, CrcOrder replyOrder = CrcOrder::LowFirst);

/// What all areas of all stations hold.
class Picture
{
public:
    explicit Picture(const StationBus &bus);

    std::vector<std::uint16_t> &area(int station, Area area) { return areas_.at({station, area}); }
    const std::vector<std::uint16_t> &area(int station, Area area) const
    {
        return areas_.at({station, area});
    }
    bool operator==(const Picture &other) const { return areas_ == other.areas_; }

private:
    std::map<std::pair<int, Area>, std::vector<std::uint16_t>> areas_;
};

/// CRC computed bit by bit, not by the stations.
bool hasWitnessedCrc(const Bytes &frame, CrcOrder order);

/// A reply is 5 to 256 bytes, carries the number of its station and a good CRC.
void claimReplyFrame(const Bytes &reply, int station, CrcOrder order);

/// Cuts @p line into frames twice, whole and in pieces as @p input says: both times the same frames come out,
/// each of them a piece of the line, in order. Returns them.
std::vector<Bytes> claimFraming(const FrameRule &rule, const Bytes &line, Input &input);

} // namespace plc::fuzz

#endif
