/// @file
/// Modbus RTU stations that share a line.
#ifndef PLC_STATION_STATION_BUS_H
#define PLC_STATION_STATION_BUS_H

#include "crc.h"
#include "responder.h"
#include "station.h"

#include <map>

namespace plc::station {

/// Modbus RTU stations that share a line: request frame in, reply frame out. No clock, no input or output.
class StationBus : public Responder
{
public:
    /// @param numbers       station numbers, 1 to 255, each once
    /// @param size          items in each area of each station, 1 to 65536
    /// @param requestOrder  CRC order of the frames received, @p replyOrder of those sent
    explicit StationBus(const std::vector<int> &numbers, int size = kWholeArea,
                        CrcOrder requestOrder = CrcOrder::LowFirst, CrcOrder replyOrder = CrcOrder::LowFirst);

    Answer answer(const Bytes &frame) override;
    Answer refuse(const Bytes &frame, std::uint8_t code) override;
    bool expectsReply(const Bytes &frame) const override;
    void noteBadFrame() override;

    /// The station with this number; null when there is none.
    Station *station(int number);
    const Station *station(int number) const;
    std::map<int, Station> &stations() { return stations_; }
    CrcOrder replyOrder() const { return replyOrder_; }

    /// Whether the moving items of a station move on after every reply that it gives (the default: a run can
    /// be repeated exactly) or only by moveAll().
    void setMovesByRequest(bool moves) { movesByRequest_ = moves; }
    /// Moves the moving items of all stations on by one step.
    void moveAll();

    /// The answer of station @p number: its reply @p pdu with number and CRC around it, or silence when
    /// empty. Its moving items move on after every reply, an exception too.
    Answer replyOf(int number, Bytes pdu);

private:
    std::map<int, Station> stations_;
    CrcOrder requestOrder_;
    CrcOrder replyOrder_;
    bool movesByRequest_ = true;
};

} // namespace plc::station

#endif
