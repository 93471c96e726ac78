#include "scenario.h"

#include <algorithm>

#include "core/register_types.h"
#include "runtime/panel/pieces.h"

namespace plc::bus {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// Below this many requests in its read list the driver gives a priority level up.
constexpr int kFewestOrdinary = 7;

int stationCount(Random &random)
{
    const int kind = random.below(10);
    if (kind == 0)
        return 1;
    return kind < 8 ? random.between(2, 8) : random.between(9, 32);
}

void addStations(Random &random, Scenario *scenario)
{
    // Three areas of three stations make requests enough beside those with a priority, and a round of all of
    // them must not take too long.
    constexpr int kFewestPacked = 3;
    constexpr int kMostPacked = 6;
    std::vector<int> numbers;
    for (int number = 1; number <= 247; ++number)
        numbers.push_back(number);
    const int drawn = stationCount(random);
    // A probe of each takes the twentyfold of a time-out.
    const int most = scenario->withOutages && scenario->bus.link.timeout > seconds(1) ? 4 : drawn;
    const int count =
        scenario->bus.packed ? std::clamp(drawn, kFewestPacked, kMostPacked) : std::min(drawn, most);
    for (int i = 0; i < count; ++i) {
        StationPlan station;
        const int at = random.below(static_cast<int>(numbers.size()));
        station.number = numbers[static_cast<std::size_t>(at)];
        numbers.erase(numbers.begin() + at);
        station.fastest = milliseconds(random.between(0, 10));
        station.slowest = random.between(station.fastest + milliseconds(1),
                                         std::min<Time>(scenario->bus.link.timeout / 4, milliseconds(250)));
        station.moveEvery = milliseconds(random.between(500, 20000));
        scenario->bus.field.stations.push_back(station);
    }
}

void addVariables(Random &random, Scenario *scenario)
{
    static const std::vector<std::string> kAreas = {"0x",     "1x",     "3x",   "4x",  "4x",
                                                    "3x_bit", "4x_bit", "3x_d", "4x_d"};
    for (const StationPlan &station : scenario->bus.field.stations) {
        const int count = random.between(1, 3);
        for (int i = 0; i < count; ++i) {
            const std::string area = random.pick(kAreas);
            const bool inside = area.find("bit") != std::string::npos;
            const int length = random.oneIn(3) ? 1 : random.between(1, 60);
            const int first = random.between(0, 239 - 2 * length);
            // One draw in a statement: the order within an expression is the compiler's.
            const std::string bit = inside ? "." + std::to_string(random.below(16)) : "";
            scenario->bus.watched.push_back(area + ":" + std::to_string(first) + bit + ":" +
                                            std::to_string(length) + "@" + std::to_string(station.number));
        }
    }
}

void setLink(Random &random, Scenario *scenario)
{
    static const std::vector<int> kBauds = {1200, 2400, 4800, 9600, 9600, 19200, 19200, 38400, 57600, 115200};
    static const std::vector<int> kTimeouts = {200, 300, 500, 1000, 1000};
    static const std::vector<int> kBlocks = {100, 100, 100, 50, 16, 8};
    runtime::LinkSettings &link = scenario->bus.link;
    link.baud = random.pick(kBauds);
    link.timeout = milliseconds(link.baud < 4800 ? 1000 : random.pick(kTimeouts));
    link.retries = random.oneIn(3) ? random.between(0, 4) : 2;
    link.maxBlock = random.pick(kBlocks);
    for (const quint32 option : {kOptionSwapRequestCrc, kOptionSwapReplyCrc, kOptionSingleRegisters,
                                 kOptionSingleCoils, kOptionRegisterAsBlock}) {
        if (random.oneIn(8))
            link.options |= option;
    }
    // In whole milliseconds, as settings are.
    if (random.oneIn(4))
        link.lateGuard =
            std::chrono::duration_cast<milliseconds>(random.between(link.timeout / 2, 2 * link.timeout));
    if (random.oneIn(2)) {
        link.offline.failures = random.between(1, 5);
        link.offline.firstProbe = milliseconds(random.between(500, 10000));
        link.offline.longestProbe = seconds(random.between(10, 60));
    }
}

/// A line on which stations die, at time-outs of all sizes. The draws are its own, so that other seeds stay
/// what they are.
void setOutages(Random &random, Scenario *scenario)
{
    static const std::vector<int> kTimeouts = {100, 1000, 10000, 60000};
    runtime::LinkSettings &link = scenario->bus.link;
    scenario->withOutages = true;
    const int timeout = random.pick(kTimeouts);
    link.timeout = milliseconds(link.baud < 4800 ? std::max(timeout, 1000) : timeout);
    link.retries = random.between(0, 2);
    link.lateGuard.reset();
}

/// How long it takes with so many stations, nothing of which may be without bounds.
void setOutageTimes(Scenario *scenario)
{
    const runtime::LinkSettings &link = scenario->bus.link;
    const auto stations = static_cast<int>(scenario->bus.field.stations.size());
    const Time failure = (link.retries + 2) * (link.timeout + seconds(1));
    scenario->outageSettles = 2 * stations * link.offline.failures * failure;
    // Orders for one place wait for each other, and none of them gets on while a time-out runs.
    scenario->orderEvery *= std::max<int>(1, static_cast<int>(link.timeout / seconds(10)));
    scenario->longestOrder = std::max(scenario->longestOrder, 4 * scenario->outageSettles);
}

/// Requests of one scan.
int requestsOf(const BusPlan &plan)
{
    int requests = 0;
    for (const std::string &text : plan.watched)
        requests += runtime::readPieces(runtime::parseVariable(text, false), plan.link);
    return requests;
}

/// Cyclic reads that may pass until each has had its turn. All reads of level 4 come between two ordinary
/// ones, those of level 3 after every third, of level 2 after every sixth, of level 1 after three rounds of
/// them.
int turnsOf(const BusPlan &plan, int requests)
{
    if (plan.priorities.empty())
        return requests;
    const std::string area = plan.priorities.front().first.substr(0, 2);
    int claimed = 0;
    for (const std::string &text : plan.watched)
        claimed += text.compare(0, area.size(), area) == 0 ? 1 : 0;
    constexpr int kOrdinaryBetween[] = {0, 0, 6, 3, 1}; ///< by level
    int high = 0;
    bool isLowest = false;
    for (const auto &[place, level] : plan.priorities) {
        isLowest = isLowest || level == 1;
        if (level > 1)
            high = std::max(high, claimed * requests / kOrdinaryBetween[static_cast<std::size_t>(level)]);
    }
    return (requests + high) * (isLowest ? 3 : 1) + claimed;
}

void setPace(Random &random, Scenario *scenario)
{
    runtime::LinkSettings &link = scenario->bus.link;
    const int requests = requestsOf(scenario->bus);
    // Mostly a request or two a second: so an hour is cheap, and has idle times in it.
    if (!scenario->bus.packed && !random.oneIn(25))
        link.pollInterval = requests * milliseconds(random.between(400, 1500));
    // A slow line has a panel that asks for less: what is ordered must be possible.
    scenario->orderEvery = milliseconds(random.between(2000, 15000)) * std::max(1, 9600 / link.baud);

    Time slowest{};
    for (const StationPlan &station : scenario->bus.field.stations)
        slowest = std::max(slowest, station.slowest);
    const Wire wire(link.baud, 1);
    const Time exchange = wire.duration(8 + 256) + slowest + 2 * wire.silence() + milliseconds(30);
    // The last probe may just have failed, of one of many; then everything is asked for once, with orders
    // between.
    const auto others = static_cast<int>(scenario->bus.field.stations.size()) - 1;
    const Time probe = link.timeout + link.lateGuard.value_or(link.timeout) + exchange;
    scenario->recoveredWithin = std::max(link.offline.longestProbe, 10 * others * probe) +
                                2 * link.pollInterval + 3 * turnsOf(scenario->bus, requests) * exchange +
                                8 * link.timeout + link.lateGuard.value_or(link.timeout) + seconds(5);
}

/// A station that needs a pause before each request, and has repeats of its own. The draws are its own.
void setSlowStation(std::uint64_t seed, Scenario *scenario)
{
    constexpr Time kLongestPause = milliseconds(400);
    Random random(seed ^ 0x510A);
    if (!random.oneIn(6))
        return;
    runtime::StationSettings settings;
    settings.pause = std::chrono::duration_cast<milliseconds>(random.between(milliseconds(1), kLongestPause));
    // How long it takes until a dead station is offline is reckoned with the repeats of the link.
    if (!scenario->withOutages)
        settings.retries = random.between(0, 4);
    scenario->bus.link.stations.emplace(random.pick(scenario->bus.field.stations).number, settings);
    scenario->recoveredWithin += 4 * turnsOf(scenario->bus, requestsOf(scenario->bus)) * settings.pause;
}

/// Has the driver pack the variables. It reads without a pause then, so that only slow lines keep an hour
/// cheap.
void packVariables(Random &random, Scenario *scenario)
{
    scenario->bus.packed = true;
    scenario->bus.link.baud = random.oneIn(2) ? 2400 : 4800;
    scenario->bus.link.timeout = seconds(1);
}

/// Priorities for places of one area, the first of them in a variable that is read, and so many variables of
/// other areas that the driver keeps the levels.
void addPriorities(Random &random, Scenario *scenario)
{
    static const std::vector<std::string> kAreas = {"0x", "1x", "3x", "4x"};
    constexpr int kCoilsOfANumber = 8; ///< the driver divides the numbers of bits by 8
    BusPlan &bus = scenario->bus;
    const std::string area = random.pick(kAreas);
    const int scale = area == "0x" || area == "1x" ? kCoilsOfANumber : 1;
    const int place = random.between(0, 100);
    const auto prefer = [&bus, &area, scale](int address, int level) {
        bus.priorities.emplace_back(area + std::to_string(address * scale), level);
    };
    prefer(place, random.between(1, 4));
    for (int i = random.between(0, 2); i > 0; --i) {
        const int other = random.between(0, 200);
        prefer(other, random.between(1, 4));
    }
    const auto watch = [&bus](const std::string &where, int first, int station) {
        bus.watched.push_back(where + ":" + std::to_string(first) + ":4@" + std::to_string(station));
    };
    watch(area, place, random.pick(bus.field.stations).number);
    // One request at least for each area of a station.
    int ordinary = 0;
    for (const StationPlan &station : bus.field.stations) {
        for (const std::string &other : kAreas) {
            if (other == area || ordinary == kFewestOrdinary)
                continue;
            watch(other, random.between(0, 200), station.number);
            ++ordinary;
        }
    }
}

} // namespace

Scenario makeScenario(std::uint64_t seed)
{
    Random random(seed ^ 0x5EED);
    Scenario scenario;
    scenario.bus.seed = seed;
    setLink(random, &scenario);
    if (random.oneIn(16))
        packVariables(random, &scenario);
    Random outages(seed ^ 0xDEAD);
    if (outages.oneIn(8))
        setOutages(outages, &scenario);
    addStations(random, &scenario);
    addVariables(random, &scenario);
    if (scenario.bus.packed)
        addPriorities(random, &scenario);
    setPace(random, &scenario);
    setSlowStation(seed, &scenario);
    if (random.oneIn(3))
        scenario.bus.burst = milliseconds(random.between(1, 16));
    scenario.bus.echo = random.oneIn(6);
    scenario.withFaults = !random.oneIn(10) && !scenario.withOutages;
    if (scenario.withOutages)
        setOutageTimes(&scenario);
    // The draws are its own, so that other seeds stay what they are.
    Random ports(seed ^ 0x9027);
    scenario.losesPort = scenario.withFaults && ports.oneIn(4);
    scenario.bus.field.faultPermille = random.between(10, 200);
    scenario.bus.field.troubleEvery = seconds(random.between(20, 300));
    scenario.bus = agreed(scenario.bus);
    return scenario;
}

std::string describe(const Scenario &scenario)
{
    const runtime::LinkSettings &link = scenario.bus.link;
    const auto ms = [](Time time) { return std::to_string(time.count() / 1000000) + " ms"; };
    return std::to_string(scenario.bus.field.stations.size()) + " stations, " +
           std::to_string(scenario.bus.watched.size()) + " variables, " + std::to_string(link.baud) +
           " baud, time-out " + ms(link.timeout) + ", " + std::to_string(link.retries) +
           " retries, a scan in " + ms(link.pollInterval) + ", blocks of " + std::to_string(link.maxBlock) +
           ", options " + std::to_string(link.options) +
           (scenario.bus.burst > Time::zero() ? ", bursts of " + ms(scenario.bus.burst) : "") +
           (scenario.bus.echo ? ", echo" : "") + (scenario.bus.packed ? ", packed by the driver" : "") +
           (scenario.withOutages ? ", dead stations" : "") + (scenario.losesPort ? ", lost ports" : "") +
           (link.stations.empty() ? "" : ", a station that needs a pause") + ", faults in " +
           (scenario.withFaults ? std::to_string(scenario.bus.field.faultPermille) : "0") + " of 1000";
}

} // namespace plc::bus
