#include "bus_run.h"

#include <algorithm>

#include "core/register_types.h"
#include "heap_use.h"

namespace plc::bus {

namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr Time kFaultyTime = minutes(20);
constexpr Time kHealthyTime = minutes(5);
/// Lists that breathe with the traffic differ by up to 100 KiB; what is lost with each of the 20,000 requests
/// of two hours would be more.
constexpr std::int64_t kMostGrowth = 256 * 1024;
/// The public interface keeps how the last 4096 orders ended, with their values.
constexpr std::int64_t kKeptResults = 4096;
constexpr std::int64_t kBytesOfAResult = 1024;

/// The runtime's side: orders at random times.
class Panel
{
public:
    Panel(Bus &bus, const Scenario &scenario)
        : bus_(bus), scenario_(scenario), random_(scenario.bus.seed ^ 0xFACE)
    {
        choosePlaces();
    }

    void runUntil(Time until, bool healthy);
    /// As a screen does that is shown: now and then several orders at once.
    void giveOrders();
    /// Gives back all that was switched off.
    void switchAllOn();

    std::uint64_t orders() const { return orders_; }
    std::uint64_t done() const { return done_; }

private:
    struct Write
    {
        runtime::Variable variable;
        runtime::Values values; ///< of the last order
    };
    void choosePlaces();
    void act(bool healthy);
    void order();
    void orderWrite();
    void orderRead();
    std::uint32_t anyValue(const runtime::Variable &variable);
    int anyStation() { return random_.pick(scenario_.bus.field.stations).number; }
    void note(runtime::Ticket ticket);

    Bus &bus_;
    const Scenario &scenario_;
    Random random_;
    Time nextAction_{};
    std::vector<Write> writes_;
    std::vector<std::string> readings_;
    std::set<int> switchedOff_;
    int lastWritten_ = 0; ///< station; 0 = none, or all
    std::map<runtime::Ticket, Time> mine_;
    std::uint64_t orders_ = 0;
    std::uint64_t done_ = 0;
};

void Panel::runUntil(Time until, bool healthy)
{
    while (bus_.now() < until && bus_.witness().complaint().empty()) {
        bus_.runUntil(std::min(until, nextAction_));
        if (bus_.now() < nextAction_)
            continue;
        act(healthy);
        nextAction_ = bus_.now() + random_.between(scenario_.orderEvery / 10, scenario_.orderEvery * 19 / 10);
    }
}

void Panel::giveOrders()
{
    const int orders = random_.oneIn(6) ? random_.between(2, 12) : 1;
    for (int i = 0; i < orders; ++i)
        order();
}

void Panel::act(bool healthy)
{
    giveOrders();
    if (bus_.watchedCount() > 0)
        bus_.lookAt(static_cast<std::size_t>(random_.below(bus_.watchedCount())));
    if (!healthy && random_.oneIn(60)) {
        // Now and then while an order for the station is on the line.
        const bool isBusy = lastWritten_ > 0 && random_.oneIn(2);
        const int station = isBusy ? lastWritten_ : anyStation();
        bus_.runFor(random_.between(Time::zero(), milliseconds(200)));
        const bool wasOff = switchedOff_.erase(station) > 0;
        if (!wasOff)
            switchedOff_.insert(station);
        bus_.setStationEnabled(station, wasOff);
    }
    for (auto mine = mine_.begin(); mine != mine_.end();) {
        const runtime::OrderEnd end = bus_.endOf(mine->first);
        if (end == runtime::OrderEnd::Open && bus_.now() - mine->second > scenario_.longestOrder)
            bus_.witness().complain(bus_.now(),
                                    "(b) order " + std::to_string(mine->first) + " is not reported");
        if (end == runtime::OrderEnd::Open) {
            ++mine;
            continue;
        }
        done_ += end == runtime::OrderEnd::Good ? 1u : 0u;
        mine = mine_.erase(mine);
    }
    bus_.forgetEnds();
}

void Panel::switchAllOn()
{
    for (const int station : switchedOff_)
        bus_.setStationEnabled(station, true);
    switchedOff_.clear();
}

void Panel::note(runtime::Ticket ticket)
{
    ++orders_;
    mine_.emplace(ticket, bus_.now());
}

void Panel::order()
{
    if (random_.oneIn(4))
        orderRead();
    else
        orderWrite();
}

void Panel::orderRead()
{
    note(bus_.read(random_.pick(readings_)));
}

std::uint32_t Panel::anyValue(const runtime::Variable &variable)
{
    switch (variable.area->unit) {
    case runtime::Unit::Bit:
        return static_cast<std::uint32_t>(random_.below(2));
    case runtime::Unit::Register:
        return static_cast<std::uint32_t>(random_.below(65536));
    default:
        return static_cast<std::uint32_t>(random_.bits());
    }
}

void Panel::orderWrite()
{
    // Now and then the same value again: then a frame is like an earlier one.
    Write &write = writes_[static_cast<std::size_t>(random_.below(static_cast<int>(writes_.size())))];
    if (write.values.empty() || !random_.oneIn(8)) {
        write.values.clear();
        for (int i = 0; i < write.variable.count; ++i)
            write.values.push_back(anyValue(write.variable));
    }
    lastWritten_ = bus_.stationOf(write.variable);
    note(bus_.write(write.variable, write.values));
}

/// The places that are written and read on order: as on a real panel always the same ones.
void Panel::choosePlaces()
{
    static const std::vector<std::string> kRead = {"0x", "1x", "3x", "4x", "4x_d"};
    static const std::vector<std::string> kWritten = {"0x",   "4x",     "4x",        "4x",
                                                      "4x_d", "4x_bit", "4x_single", "4x_block"};
    constexpr int kReadings = 12;
    constexpr int kWrites = 24;
    constexpr int kLastSetpoint = 239;
    // One draw in a statement: the order within an expression is the compiler's.
    for (int i = 0; i < kReadings; ++i) {
        const std::string area = random_.pick(kRead);
        const int first = random_.between(0, 200);
        const int count = random_.between(1, 20);
        const int station = anyStation();
        readings_.push_back(area + ":" + std::to_string(first) + ":" + std::to_string(count) + "@" +
                            std::to_string(station));
    }
    for (int i = 0; i < kWrites; ++i) {
        const std::string area = random_.pick(kWritten);
        const bool inside = area == "4x_bit";
        const int count = random_.oneIn(2) ? 1 : random_.between(1, inside ? 4 : 20);
        const int first = random_.between(kFirstSetpoint, kLastSetpoint - 2 * count);
        const bool broadcast = !inside && random_.oneIn(kWrites);
        const std::string bit = inside ? "." + std::to_string(random_.below(16)) : "";
        const int station = broadcast ? 0 : anyStation();
        const std::string text = area + ":" + std::to_string(first) + bit + ":" + std::to_string(count) +
                                 "@" + std::to_string(station);
        writes_.push_back({runtime::parseVariable(text, false), {}});
    }
}

/// Some stations are dead, switched off, or come and go; the others must not feel it.
class Outage
{
public:
    Outage(Bus &bus, Panel &panel, const Scenario &scenario)
        : bus_(bus), panel_(panel), scenario_(scenario), random_(scenario.bus.seed ^ 0x0FF)
    {}

    void run()
    {
        chooseStations();
        runFor(scenario_.outageSettles + scenario_.recoveredWithin);
        const Time since = bus_.now();
        runFor(scenario_.outageSettles + scenario_.recoveredWithin);
        bus_.witness().checkRecovery(bus_.now(), since, out_);
        for (const int station : out_) {
            bus_.field().muteStation(station, bus_.now());
            if (off_.count(station) > 0)
                bus_.setStationEnabled(station, true);
        }
    }

private:
    void chooseStations()
    {
        const std::vector<StationPlan> &stations = scenario_.bus.field.stations;
        const int alive = random_.pick(stations).number;
        const bool almostAll = random_.oneIn(2);
        out_.clear();
        off_.clear();
        flapping_ = 0;
        for (const StationPlan &station : stations) {
            const bool isOut = almostAll || random_.oneIn(2);
            if (station.number == alive || !isOut)
                continue;
            out_.insert(station.number);
            if (random_.oneIn(3)) {
                off_.insert(station.number);
                bus_.setStationEnabled(station.number, false);
            } else if (flapping_ == 0 && random_.oneIn(3)) {
                flapping_ = station.number;
            } else {
                bus_.field().muteStation(station.number, Time::max());
            }
        }
        // Now and then it is the only live one that comes and goes.
        if (flapping_ == 0 && random_.oneIn(3)) {
            flapping_ = alive;
            out_.insert(alive);
        }
    }

    void runFor(Time time)
    {
        const Time end = bus_.now() + time;
        while (bus_.now() < end && bus_.witness().complaint().empty()) {
            Time next = end;
            if (flapping_ > 0) {
                const Time gone = random_.between(seconds(5), seconds(200));
                bus_.field().muteStation(flapping_, bus_.now() + gone);
                next = std::min(end, bus_.now() + gone + random_.between(seconds(5), seconds(100)));
            }
            panel_.runUntil(next, true);
        }
    }

    Bus &bus_;
    Panel &panel_;
    const Scenario &scenario_;
    Random random_;
    std::set<int> out_;
    std::set<int> off_;
    int flapping_ = 0;
};

/// The port is pulled out and plugged in again, while all other faults go on.
class LoosePlug
{
public:
    LoosePlug(Bus &bus, Panel &panel, const Scenario &scenario)
        : bus_(bus), panel_(panel), stations_(scenario.bus.field.stations),
          random_(scenario.bus.seed ^ 0x9047)
    {}

    void runUntil(Time until)
    {
        while (!isOver(until)) {
            panel_.runUntil(std::min(until, bus_.now() + random_.between(Time::zero(), minutes(6))), false);
            // Now and then it goes again as soon as it is back.
            for (int times = random_.oneIn(4) ? 4 : 1; times > 0 && !isOver(until); --times)
                pullOut();
        }
    }

private:
    bool isOver(Time until) const { return bus_.now() >= until || !bus_.witness().complaint().empty(); }

    void pullOut()
    {
        const bool isShort = random_.oneIn(3);
        // What is on the line then may be answered when the port is back.
        if (isShort)
            bus_.field().makeNext(Fault::LateReply, random_.pick(stations_).number);
        const Time lasts = isShort ? random_.between(Time::zero(), milliseconds(200))
                                   : random_.between(milliseconds(200), seconds(60));
        panel_.giveOrders();
        bus_.runFor(random_.between(Time::zero(), milliseconds(500)));
        bus_.losePort(lasts);
        while (bus_.isPortLost() && bus_.witness().complaint().empty())
            panel_.runUntil(bus_.now() + milliseconds(100), false);
    }

    Bus &bus_;
    Panel &panel_;
    const std::vector<StationPlan> &stations_;
    Random random_;
};

/// How much more is in use at the end than at first. The first round of all fills the lists that live as long
/// as the run, and of the last two the lower one counts: what is lost does not come back. Nothing where a run
/// is too short to tell, or the allocator says nothing.
std::optional<std::int64_t> growthOf(const std::vector<std::int64_t> &heap)
{
    constexpr std::size_t kFewest = 4;
    if (heap.size() < kFewest || heap.back() == 0)
        return std::nullopt;
    return std::max<std::int64_t>(0, std::min(heap[heap.size() - 1], heap[heap.size() - 2]) - heap[1]);
}

} // namespace

RunResult runSeed(std::uint64_t seed, Time simulated, runtime::DriverLibrary &driver, Way way, bool trace)
{
    Scenario scenario = makeScenario(seed);
    scenario.bus.trace = trace;
    const auto made = way == Way::Session ? std::make_unique<Bus>(scenario.bus, driver)
                                          : std::make_unique<Bus>(scenario.bus, driver.path());
    Bus &bus = *made;
    Panel panel(bus, scenario);
    RunResult result;
    std::vector<std::int64_t> heap;
    Witness &witness = bus.witness();
    const auto isOver = [&] { return bus.now() >= simulated || !witness.complaint().empty(); };

    Outage outage(bus, panel, scenario);
    LoosePlug plug(bus, panel, scenario);

    bus.start();
    witness.setHealthy(bus.now(), true);
    panel.runUntil(scenario.recoveredWithin, true);
    witness.checkRecovery(bus.now(), Time::zero());
    while (!isOver()) {
        panel.runUntil(bus.now() + kHealthyTime, true);
        heap.push_back(heapInUse());
        if (!scenario.withFaults && !scenario.withOutages)
            continue;
        witness.setHealthy(bus.now(), false);
        if (scenario.withOutages) {
            outage.run();
        } else {
            bus.field().setFaults(bus.now(), true);
            if (scenario.losesPort)
                plug.runUntil(bus.now() + kFaultyTime);
            else
                panel.runUntil(bus.now() + kFaultyTime, false);
            bus.field().setFaults(bus.now(), false);
            panel.switchAllOn();
        }
        const Time ended = bus.now();
        panel.runUntil(ended + scenario.recoveredWithin, true);
        witness.checkRecovery(bus.now(), ended);
        witness.setHealthy(bus.now(), true);
    }
    result.memorySamples = heap.size();
    const std::optional<std::int64_t> growth = growthOf(heap);
    result.growthJudged = growth ? 1 : 0;
    result.growth = growth.value_or(0);
    const auto orders = std::min(static_cast<std::int64_t>(panel.orders()), kKeptResults);
    const std::int64_t kept = way == Way::PublicInterface ? orders * kBytesOfAResult : 0;
    if (result.growth > kMostGrowth + kept)
        witness.complain(bus.now(), "(h) the heap has grown by " + std::to_string(result.growth) + " bytes");
    result.simulated = bus.now();
    result.requests = bus.statistics().total.requests;
    result.replies = bus.statistics().total.good;
    result.orders = panel.orders();
    result.ordersDone = panel.done();
    result.offline = bus.wentOffline();
    result.collisions = bus.wire().collisions();
    result.digest = bus.wire().digest();
    result.faults = bus.field().faults();
    result.checks = witness.checks();
    result.complaint = witness.complaint();
    if (!result.complaint.empty())
        result.journal = bus.journal().text();
    return result;
}

} // namespace plc::bus
