#include "history.h"

namespace plc::bus {

namespace {

/// Spreads the bits of @p value over the whole number.
std::uint64_t spread(std::uint64_t value)
{
    value += 0x9E3779B97F4A7C15u;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}

/// Leaves out what nobody asks about any more, but never the present value.
template <typename Items>
void forget(Items *items, Time before)
{
    while (items->size() > 1 && (*items)[1].since < before)
        items->erase(items->begin());
}

} // namespace

History::History(std::uint64_t salt, int station, Time now, Time remember)
    : salt_(salt), station_(station), remember_(remember)
{
    epochs_.push_back({now, 1});
    for (std::vector<Changes> &area : setpoints_)
        area.resize(kItems - kFirstSetpoint);
    restart(now);
}

bool History::isSetpoint(Area area, int address)
{
    return (area == Area::Coils || area == Area::HoldingRegisters) && address >= kFirstSetpoint;
}

std::uint16_t History::made(Area area, int address, std::uint32_t epoch) const
{
    const std::uint64_t place = static_cast<std::uint64_t>(station_) << 48 ^
                                static_cast<std::uint64_t>(area) << 44 ^
                                static_cast<std::uint64_t>(address) << 32 ^ epoch;
    const std::uint64_t mixed = spread(salt_ ^ spread(place));
    return static_cast<std::uint16_t>(isBitArea(area) ? mixed & 1u : mixed & 0xFFFFu);
}

History::Changes &History::changesOf(Area area, int address)
{
    const std::size_t which = area == Area::Coils ? 0 : 1;
    return setpoints_[which][static_cast<std::size_t>(address - kFirstSetpoint)];
}

const History::Changes &History::changesOf(Area area, int address) const
{
    return const_cast<History *>(this)->changesOf(area, address);
}

void History::move(Time now)
{
    epochs_.push_back({now, epochs_.back().number + 1});
    forget(&epochs_, now - remember_);
}

void History::restart(Time now)
{
    move(now);
    for (const Area area : {Area::Coils, Area::HoldingRegisters}) {
        for (int address = kFirstSetpoint; address < kItems; ++address)
            write(now, area, address, made(area, address, epoch()));
    }
}

void History::write(Time now, Area area, int address, std::uint16_t value)
{
    Changes &changes = changesOf(area, address);
    const auto stored = static_cast<std::uint16_t>(isBitArea(area) ? value != 0 : value);
    changes.push_back({now, stored});
    forget(&changes, now - remember_);
}

std::uint16_t History::value(Area area, int address) const
{
    return isSetpoint(area, address) ? changesOf(area, address).back().value : made(area, address, epoch());
}

bool History::held(Area area, int address, std::uint16_t value, Time from, Time to) const
{
    if (address < 0 || address >= kItems)
        return false;
    const auto during = [from, to](const auto &items, const auto &matches) {
        Time until = Time::max();
        for (auto item = items.rbegin(); item != items.rend(); ++item) {
            if (until < from)
                return false;
            if (item->since <= to && matches(*item))
                return true;
            until = item->since;
        }
        return false;
    };
    if (isSetpoint(area, address))
        return during(changesOf(area, address),
                      [value](const Change &change) { return change.value == value; });
    return during(epochs_, [this, area, address, value](const Epoch &epoch) {
        return made(area, address, epoch.number) == value;
    });
}

} // namespace plc::bus
