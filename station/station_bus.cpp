#include "station_bus.h"

#include "modbus_codes.h"

namespace plc::station {

namespace {

/// The part between the station number and the CRC.
ByteView pduOf(const Bytes &frame)
{
    return ByteView(frame.data() + 1, frame.size() - 3);
}

} // namespace

StationBus::StationBus(const std::vector<int> &numbers, int size, CrcOrder requestOrder, CrcOrder replyOrder)
    : requestOrder_(requestOrder), replyOrder_(replyOrder)
{
    for (int number : numbers)
        stations_.emplace(number, Station(size));
}

Answer StationBus::answer(const Bytes &frame)
{
    if (frame.size() < kShortestFrame || !hasGoodCrc(frame, requestOrder_)) {
        noteBadFrame();
        return {Outcome::Damaged, {}};
    }
    for (auto &[number, station] : stations_)
        ++station.diagnostics().busMessages;

    if (frame[0] == kBroadcast) {
        for (auto &[number, station] : stations_)
            station.executeBroadcast(pduOf(frame));
        return {Outcome::Broadcast, {}};
    }
    // A code of 128 and more is another station's exception reply, never a request.
    Station *addressed = station(frame[0]);
    if (addressed == nullptr || frame[1] >= kExceptionBit)
        return {Outcome::Foreign, {}};

    return replyOf(frame[0], addressed->execute(pduOf(frame)));
}

Answer StationBus::refuse(const Bytes &frame, std::uint8_t code)
{
    for (auto &[number, station] : stations_)
        ++station.diagnostics().busMessages;
    Station *addressed = station(frame[0]);
    ++addressed->diagnostics().stationMessages;
    return replyOf(frame[0], addressed->refuse(frame[1], code));
}

bool StationBus::expectsReply(const Bytes &frame) const
{
    if (frame.size() < kShortestFrame || !hasGoodCrc(frame, requestOrder_) || frame[1] >= kExceptionBit)
        return false;
    const Station *addressed = station(frame[0]);
    return addressed != nullptr && !addressed->isSilent();
}

void StationBus::noteBadFrame()
{
    for (auto &[number, station] : stations_)
        ++station.diagnostics().communicationErrors;
}

Station *StationBus::station(int number)
{
    const auto found = stations_.find(number);
    return found == stations_.end() ? nullptr : &found->second;
}

const Station *StationBus::station(int number) const
{
    const auto found = stations_.find(number);
    return found == stations_.end() ? nullptr : &found->second;
}

void StationBus::moveAll()
{
    for (auto &[number, station] : stations_)
        station.moveAll();
}

Answer StationBus::replyOf(int number, Bytes pdu)
{
    if (pdu.empty())
        return {Outcome::Silent, {}};
    const bool refused = (pdu[0] & kExceptionBit) != 0;
    pdu.insert(pdu.begin(), static_cast<std::uint8_t>(number));
    appendCrc(&pdu, replyOrder_);
    if (movesByRequest_)
        station(number)->moveAll();
    return {refused ? Outcome::Refused : Outcome::Answered, pdu};
}

} // namespace plc::station
