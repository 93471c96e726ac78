#include "witnessed_stations.h"

#include "frames.h"

namespace plc::bus {

namespace {

std::vector<int> numbersOf(const FieldPlan &plan)
{
    std::vector<int> numbers;
    for (const StationPlan &station : plan.stations)
        numbers.push_back(station.number);
    return numbers;
}

CrcOrder orderOf(bool highFirst)
{
    return highFirst ? CrcOrder::HighFirst : CrcOrder::LowFirst;
}

/// The part between the station number and the CRC.
ByteView pduOf(const Bytes &frame)
{
    return ByteView(frame.data() + 1, frame.size() - 1 - kCrcLen);
}

/// Keeps in mind what a write frame has changed.
void store(Time now, const Bytes &frame, History *history)
{
    const WrittenItems items = writtenItems(frame);
    for (std::size_t i = 0; i < items.values.size(); ++i)
        history->write(now, items.area, items.first + static_cast<int>(i), items.values[i]);
}

} // namespace

WitnessedStations::WitnessedStations(const FieldPlan &plan, std::uint64_t salt)
    : bus_(numbersOf(plan), kItems, orderOf(plan.requestCrcHighFirst), orderOf(plan.replyCrcHighFirst))
{
    const Time remember = 4 * plan.latest + std::chrono::seconds(60);
    for (const StationPlan &station : plan.stations)
        devices_.emplace(station.number,
                         Device{History(salt, station.number, Time::zero(), remember), std::nullopt});
}

Stations::Done WitnessedStations::execute(Time now, const Bytes &frame, bool isMasters)
{
    const int station = frame[0];
    Device &device = devices_.at(station);
    const Area area = areaOfFunction(frame[1]);
    const int first = getBe16(frame, 2);
    if (isReadFunction(frame[1])) {
        std::vector<std::uint16_t> present;
        for (int i = 0; i < getBe16(frame, 4) && first + i < kItems; ++i)
            present.push_back(device.history.value(area, first + i));
        bus_.station(station)->registers().write(area, first, present);
        const bool isAlone = present.size() == 1 && area == Area::HoldingRegisters;
        if (isMasters && isAlone && History::isSetpoint(area, first))
            device.readAlone = first;
    }
    Answer answer = bus_.answer(frame);
    const bool hasWritten = answer.outcome == Outcome::Answered && !isReadFunction(frame[1]);
    if (hasWritten)
        store(now, frame, &device.history);
    return {std::move(answer.reply), hasWritten};
}

void WitnessedStations::executeBroadcast(Time now, int station, const Bytes &frame)
{
    bus_.station(station)->executeBroadcast(pduOf(frame));
    store(now, frame, &history(station));
}

std::optional<int> WitnessedStations::placeOfOthers(int station) const
{
    return devices_.at(station).readAlone;
}

void WitnessedStations::writeByOthers(Time now, int station, int address, std::uint16_t value)
{
    history(station).write(now, Area::HoldingRegisters, address, value);
}

} // namespace plc::bus
