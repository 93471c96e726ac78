// Random tables of variables, rebuilt by the driver and by a naive twin that follows the rules word by word.
#include <climits>
#include <cstdio>
#include <map>
#include <random>
#include <set>
#include <tuple>
#include <vector>

#include "varlists/panel.h"

namespace plc::test {

namespace {

constexpr unsigned kSeed = 600008;
#ifdef PLC_EMULATED
constexpr int kRounds = 1200; // seconds instead of minutes; i386 plays them all with 4-byte pointers
#else
constexpr int kRounds = 12000;
#endif

// ---- the twin

struct Settings
{
    int maxBlock;
    int stationMode;
    int defaultStation;
    int linkMode;
    int linkId;
    bool oneBased;   ///< option bit 0
    bool singleBits; ///< option bit 11
};

struct Given
{
    int regType;
    int station;
    std::string text;
    std::string name;
    int count;
    bool isNull;
};

struct PriorityPlace
{
    int level;
    int regType;
    int address;
};

struct TwinLists
{
    std::vector<RW_VAR> reads;
    std::vector<RW_VAR> levels[5]; ///< 1 to 4
    std::vector<RW_VAR> usable;    ///< every variable as it went into its bucket
    std::vector<RW_VAR> requests;  ///< the read list before any request moved
};

int wrapped(long long number)
{
    return static_cast<int>(static_cast<unsigned>(static_cast<unsigned long long>(number)));
}

// Texts of the generator: an optional minus and digits, with a point in the middle for bits, or letters.
bool parsePlain(const std::string &text, long long &number)
{
    if (text.empty() || text.find_first_not_of("-0123456789") != std::string::npos)
        return false;
    number = std::stoll(text);
    return number >= INT_MIN && number <= INT_MAX;
}

int twinAddress(int regType, const std::string &text, bool oneBased)
{
    if (regType < 0 || regType > 9)
        return -1;
    if (regType == 2 || regType == 3) {
        const std::size_t point = text.find('.');
        if (point == std::string::npos || text.find('.', point + 1) != std::string::npos)
            return -1;
        long long word = 0;
        long long bit = 0;
        if (!parsePlain(text.substr(0, point), word))
            word = 0;
        if (!parsePlain(text.substr(point + 1), bit))
            bit = 0;
        if (word >= 1 && oneBased)
            --word;
        return wrapped(word * 16 + bit);
    }
    long long number = 0;
    if (!parsePlain(text, number))
        return -1;
    if (number >= 1 && oneBased)
        --number;
    return static_cast<int>(number);
}

long long floorDivide16(long long number)
{
    return number >= 0 ? number / 16 : -((-number + 15) / 16);
}

// Converts a variable to the area that is read.
void twinConvert(RW_VAR &var)
{
    long long count = var.count;
    if (var.regType == 2 || var.regType == 3) {
        count = floorDivide16(wrapped((var.address & 15) + count + 15));
        var.address = static_cast<int>(floorDivide16(var.address));
        var.regType += 2;
    } else if (var.regType == 6 || var.regType == 7) {
        count = wrapped(count + 1) / 2 * 2;
        var.regType -= 2;
    } else if (var.regType == 8 || var.regType == 9) {
        var.regType = 5;
    }
    var.count = static_cast<int>(count);
}

void twinSort(std::vector<RW_VAR> &bucket)
{
    const int size = static_cast<int>(bucket.size());
    for (int pass = 0; pass <= size - 2; ++pass) {
        for (int i = size - 1; i > pass; --i) {
            auto &earlier = bucket[static_cast<std::size_t>(i - 1)];
            auto &later = bucket[static_cast<std::size_t>(i)];
            if (earlier.address > later.address)
                std::swap(earlier, later);
        }
    }
}

bool needsTooManyRequests(long long units, long long limit)
{
    return units > 65536 * limit;
}

void twinGroup(const std::vector<RW_VAR> &bucket, long long limit, std::vector<RW_VAR> &out)
{
    const std::size_t before = out.size();
    for (const RW_VAR &entry : bucket) {
        const bool opens = out.size() == before;
        if (limit == 1) {
            if (opens || entry.address != out.back().address)
                out.push_back(entry);
            else if (entry.count > out.back().count)
                out.back().count = entry.count;
            continue;
        }
        if (opens || entry.address >= out.back().address + limit) {
            long long remaining = needsTooManyRequests(entry.count, limit) ? 0 : entry.count;
            long long address = entry.address;
            while (remaining > 0) {
                RW_VAR piece = entry;
                piece.count = static_cast<int>(std::min(remaining, limit));
                piece.address = wrapped(address);
                out.push_back(piece);
                remaining -= piece.count;
                address += piece.count;
            }
            continue;
        }
        const long long start = out.back().address;
        const long long end = static_cast<long long>(entry.address) + entry.count;
        if (end <= start + out.back().count || needsTooManyRequests(end - start, limit))
            continue;
        long long remaining = end - start;
        out.back().count = static_cast<int>(std::min(remaining, limit));
        remaining -= out.back().count;
        long long address = start + out.back().count;
        while (remaining > 0) {
            RW_VAR piece = out.back();
            piece.count = static_cast<int>(std::min(remaining, limit));
            piece.address = wrapped(address);
            out.push_back(piece);
            remaining -= piece.count;
            address += piece.count;
        }
    }
}

long long twinLimit(const Settings &settings, int baseType)
{
    const long long block = std::max(settings.maxBlock, 1);
    if (baseType == 4 || baseType == 5)
        return block;
    if (settings.singleBits || block == 1)
        return 1;
    return std::min<long long>(block * 8, INT_MAX);
}

bool covers(const RW_VAR &request, const PriorityPlace &place)
{
    return request.regType == place.regType && request.address <= place.address &&
           place.address < static_cast<long long>(request.address) + request.count;
}

int twinLevel(const RW_VAR &request, const std::vector<PriorityPlace> &places)
{
    for (int level = 4; level >= 1; --level) {
        for (const PriorityPlace &place : places) {
            if (place.level == level && covers(request, place))
                return level;
        }
    }
    return 0;
}

void twinFold(TwinLists &lists, int level, std::size_t most)
{
    if (lists.reads.size() > most || lists.levels[level].empty())
        return;
    lists.reads.insert(lists.reads.end(), lists.levels[level].begin(), lists.levels[level].end());
    lists.levels[level].clear();
}

TwinLists twinRebuild(const std::vector<Given> &given, const std::vector<PriorityPlace> &places,
                      const Settings &settings)
{
    TwinLists lists;
    std::map<int, std::map<int, std::vector<RW_VAR>>> buckets;
    for (const Given &variable : given) {
        if (variable.isNull)
            continue;
        const int address = twinAddress(variable.regType, variable.text, settings.oneBased);
        const int station = settings.stationMode == 0 ? settings.defaultStation : variable.station;
        if (address < 0 || station == 0)
            continue;
        RW_VAR var;
        var.hostSubId = -1;
        var.linkMode = settings.linkMode;
        var.linkId = settings.linkId;
        var.varName = QString::fromLatin1(variable.name.c_str());
        var.addrText = QString::fromLatin1(variable.text.c_str());
        var.regType = variable.regType;
        var.address = address;
        var.station = station;
        var.count = variable.count;
        twinConvert(var);
        buckets[var.station][var.regType].push_back(var);
        lists.usable.push_back(var);
    }
    for (auto &station : buckets) {
        for (auto &area : station.second) {
            twinSort(area.second);
            twinGroup(area.second, twinLimit(settings, area.first), lists.reads);
        }
    }
    lists.requests = lists.reads;
    for (std::size_t i = lists.reads.size(); i-- > 0;) {
        const int level = twinLevel(lists.reads[i], places);
        if (level == 0)
            continue;
        lists.levels[level].push_back(lists.reads[i]);
        lists.reads.erase(lists.reads.begin() + static_cast<std::ptrdiff_t>(i));
    }
    twinFold(lists, 2, 6);
    twinFold(lists, 3, 3);
    twinFold(lists, 1, 0);
    twinFold(lists, 4, 1);
    return lists;
}

// ---- the generator

typedef std::mt19937 Random;

int below(Random &random, int bound)
{
    return static_cast<int>(random() % static_cast<unsigned>(bound));
}

template <std::size_t size>
int oneOf(Random &random, const int (&values)[size])
{
    return values[random() % size];
}

// Where the variables of one table lie: densely, loosely, or at an edge.
struct Place
{
    int base;
    int width;
};

const Place kPlaces[] = {{0, 30},      {0, 400},    {0, 3000},          {100, 1000},
                         {65400, 200}, {65530, 12}, {INT_MAX - 40, 40}, {INT_MAX - 300, 300},
                         {0, 65536}};

int randomCount(Random &random)
{
    switch (below(random, 16)) {
    case 0:
        return 0;
    case 1:
        return -below(random, 300);
    case 2:
        return 90 + below(random, 30);
    case 3:
        return below(random, 1000);
    case 4: {
        static const int extremes[] = {6553601, INT_MAX, INT_MAX - 1, INT_MIN, INT_MIN + 1};
        return below(random, 20) == 0 ? oneOf(random, extremes) : 1;
    }
    case 5: {
        // A whole area is many requests, so it comes seldom.
        static const int large[] = {65535, 65536, 65537, 131072, 131073};
        return below(random, 4000) == 0 ? oneOf(random, large) : 1;
    }
    default:
        return 1 + below(random, 8);
    }
}

std::string randomText(Random &random, int regType, const Place &place)
{
    if (below(random, 40) == 0) {
        static const char *const odd[] = {"",    "x",  "12a",  "-3",   "1.2.3", "4.",
                                          "x.5", "10", "2.20", "-1.3", "7.-2"};
        return odd[random() % (sizeof odd / sizeof *odd)];
    }
    const int address = place.base + below(random, place.width);
    if (regType != 2 && regType != 3)
        return std::to_string(address);
    // A bit number has 4 bits more than an int, so the edge lies at a sixteenth.
    const int word = place.base > 65536 ? INT_MAX / 16 - below(random, 20) : address;
    return std::to_string(word) + "." + std::to_string(below(random, 16));
}

std::vector<Given> randomVariables(Random &random)
{
    static const int sizes[] = {0, 1, 2, 5, 12, 30, 60};
    static const int stations[] = {1, 1, 1, 2, 2, 10, 247, 255, 0};
    static const int types[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    const Place &place = kPlaces[random() % (sizeof kPlaces / sizeof *kPlaces)];
    const int onlyType = below(random, 3) == 0 ? oneOf(random, types) : -1;
    const bool onlyStation = below(random, 2) == 0;
    std::vector<Given> given;
    const int size = oneOf(random, sizes);
    for (int i = 0; i < size; ++i) {
        Given variable;
        variable.isNull = below(random, 60) == 0;
        variable.regType = onlyType >= 0 ? onlyType : oneOf(random, types);
        if (below(random, 60) == 0)
            variable.regType = 10 + below(random, 246);
        variable.station = onlyStation ? 1 : oneOf(random, stations);
        variable.text = randomText(random, variable.regType, place);
        variable.name = std::to_string(i);
        variable.count = randomCount(random);
        given.push_back(variable);
        while (below(random, 6) == 0) // duplicates, and the same place with another count
        {
            variable.name += "'";
            variable.count = below(random, 2) == 0 ? variable.count : randomCount(random);
            given.push_back(variable);
        }
    }
    return given;
}

Settings randomSettings(Random &random)
{
    static const int blocks[] = {1, 2, 3, 7, 10, 60, 100, 100, 100};
    static const int laterBlocks[] = {0, -5, INT_MIN, 250, INT_MAX, INT_MAX / 8};
    Settings settings;
    settings.maxBlock = below(random, 10) == 0 ? oneOf(random, laterBlocks) : oneOf(random, blocks);
    settings.stationMode = below(random, 5) == 0 ? 0 : 1;
    settings.defaultStation = below(random, 10) == 0 ? 0 : 1 + below(random, 247);
    settings.linkMode = below(random, 2);
    settings.linkId = below(random, 5);
    settings.oneBased = below(random, 3) == 0;
    settings.singleBits = below(random, 4) == 0;
    return settings;
}

std::vector<PriorityPlace> randomPriorities(Random &random, const std::vector<RW_VAR> &usable)
{
    std::vector<PriorityPlace> places;
    if (below(random, 3) == 0)
        return places;
    static const int types[] = {0, 1, 4, 5};
    const int number = below(random, 12);
    for (int i = 0; i < number; ++i) {
        PriorityPlace place;
        place.level = 1 + below(random, 4);
        if (!usable.empty() && below(random, 4) != 0) {
            const RW_VAR &near = usable[random() % usable.size()];
            place.regType = near.regType;
            place.address = wrapped(static_cast<long long>(near.address) + below(random, 12) - 3);
        } else {
            place.regType = oneOf(random, types);
            place.address = below(random, 3000);
        }
        if (place.regType < 4) // a name carries eight times the number
            place.address = place.address > INT_MAX / 8 ? INT_MAX / 8 : place.address < 0 ? 0 : place.address;
        places.push_back(place);
    }
    return places;
}

std::string nameOf(const PriorityPlace &place, Random &random)
{
    switch (place.regType) {
    case 0:
        return "0x" + std::to_string(place.address * 8 + below(random, 8));
    case 1:
        return "1X" + std::to_string(place.address * 8 + below(random, 8));
    case 4: {
        static const char *const prefixes[] = {"3x", "3x_d", "3X_BIT"};
        return prefixes[random() % 3] + std::to_string(place.address) + (below(random, 2) == 0 ? ".7" : "");
    }
    default: {
        static const char *const prefixes[] = {"4x", "4X_d", "4x_bit"};
        return prefixes[random() % 3] + std::to_string(place.address) + (below(random, 2) == 0 ? ".7" : "");
    }
    }
}

// ---- what must hold

std::string everythingOf(const RW_VAR &var)
{
    std::string text = shown(var);
    for (const int number : {var.hostId, var.hostSubId, var.direction, var.linkMode, var.linkId, var.status,
                             var.relayArg1, var.relayArg2, var.data.size()})
        text += "," + std::to_string(number);
    return text + "," + var.varName.toStdString() + "," + var.addrText.toStdString();
}

bool isSame(const RW_VAR &a, const RW_VAR &b)
{
    return std::tie(a.hostId, a.hostSubId, a.direction, a.linkMode, a.linkId, a.status, a.varName, a.addrText,
                    a.regType, a.address, a.station, a.count, a.relayArg1, a.relayArg2, a.data) ==
           std::tie(b.hostId, b.hostSubId, b.direction, b.linkMode, b.linkId, b.status, b.varName, b.addrText,
                    b.regType, b.address, b.station, b.count, b.relayArg1, b.relayArg2, b.data);
}

void expectSame(const std::vector<RW_VAR> &expected, const QList<RW_VAR> &actual)
{
    ASSERT_EQ(expected.size(), static_cast<std::size_t>(actual.size())) << shown(actual.mid(0, 50)) << " ...";
    for (int i = 0; i < actual.size(); ++i) {
        const RW_VAR &wanted = expected[static_cast<std::size_t>(i)];
        if (!isSame(wanted, actual.at(i)))
            FAIL() << "request " << i << ": expected " << everythingOf(wanted) << ", is "
                   << everythingOf(actual.at(i));
    }
}

typedef std::pair<int, int> Area; // station, base type

Area areaOf(const RW_VAR &var)
{
    return Area(var.station, var.regType);
}

bool staysBelowTheIntLimit(const RW_VAR &var)
{
    return static_cast<long long>(var.address) + var.count - 1 <= INT_MAX;
}

// All requests that the driver holds, in the order of their areas and addresses.
std::vector<RW_VAR> heldRequests()
{
    std::vector<RW_VAR> held;
    for (const RW_VAR &var : std::as_const(PLC_driver.readList))
        held.push_back(var);
    for (const QList<RW_VAR> &level : PLC_driver.priorityReads) {
        for (const RW_VAR &var : level)
            held.push_back(var);
    }
    std::stable_sort(held.begin(), held.end(), [](const RW_VAR &a, const RW_VAR &b) {
        return std::tie(a.station, a.regType, a.address) < std::tie(b.station, b.regType, b.address);
    });
    return held;
}

// Areas in which a variable reaches beyond the int limit, where addresses wrap round.
std::set<Area> areasWithWrappedRequests(const std::vector<RW_VAR> &requests)
{
    std::set<Area> areas;
    for (const RW_VAR &request : requests) {
        if (request.address < 0)
            areas.insert(areaOf(request));
    }
    return areas;
}

bool isCovered(const RW_VAR &variable, const std::vector<RW_VAR> &requests)
{
    long long wanted = variable.address;
    const long long end = wanted + variable.count;
    for (const RW_VAR &request : requests) { // in ascending order, so the first gap decides
        if (areaOf(request) == areaOf(variable) && request.address <= wanted)
            wanted = std::max(wanted, static_cast<long long>(request.address) + request.count);
    }
    return wanted >= end;
}

class RandomTables : public PanelTest
{
protected:
    void handOver()
    {
        table_ = std::make_unique<VariableTable>();
        for (const Given &variable : given) {
            if (variable.isNull)
                table_->addNull();
            else
                table_->add(variable.regType, variable.text, variable.count, variable.station, variable.name);
        }
    }

    /// Makes a random table and random settings, and lets driver and twin rebuild.
    void play(Random &random)
    {
        renewDriver();
        settings = randomSettings(random);
        info.stationMode = settings.stationMode;
        info.defaultStation = settings.defaultStation;
        info.linkMode = settings.linkMode;
        info.linkId = settings.linkId;
        setOptions((settings.oneBased ? kOptionOneBased : 0u) |
                   (settings.singleBits ? kOptionNoBitPacking : 0u));
        info.maxBlock = settings.maxBlock; // as a runtime may, behind the driver's back
        given = randomVariables(random);
        places = randomPriorities(random, twinRebuild(given, {}, settings).usable);
        twin = twinRebuild(given, places, settings);
        NameTable names;
        for (const PriorityPlace &place : places)
            names.add(place.level, nameOf(place, random));
        PassVarName(names.rows());
        handOver();
        length = ReCreatReadVarList(table_->records());
    }

    void expectTheTwinsLists() const
    {
        expectSame(twin.reads, PLC_driver.readList);
        for (int level = 1; level <= 4; ++level) {
            SCOPED_TRACE("level " + std::to_string(level));
            expectSame(twin.levels[level], PLC_driver.priorityReads[level - 1]);
        }
        ASSERT_EQ(PLC_driver.readList.size(), length);
    }

    void expectEveryVariableToBeCovered(const std::vector<RW_VAR> &held)
    {
        for (const RW_VAR &variable : twin.usable) {
            // A variable joins a request that starts less than the limit in front of it.
            const long long limit = twinLimit(settings, variable.regType);
            if (variable.count < 1 || !staysBelowTheIntLimit(variable) ||
                (limit > 1 && needsTooManyRequests(variable.count + limit, limit)))
                continue;
            ASSERT_TRUE(isCovered(variable, held)) << everythingOf(variable);
            ++coveredVariables;
        }
    }

    void expectRequestsWithinTheLimit(const std::vector<RW_VAR> &held)
    {
        std::map<Area, std::set<int>> seen;
        for (const RW_VAR &request : held) {
            const long long limit = twinLimit(settings, request.regType);
            if (limit == 1) {
                ASSERT_TRUE(seen[areaOf(request)].insert(request.address).second)
                    << "two requests of one address: " << everythingOf(request);
                ++singleRequests;
                continue;
            }
            ASSERT_GE(request.count, 1) << everythingOf(request);
            ASSERT_LE(request.count, limit) << everythingOf(request);
            ++packedRequests;
        }
    }

    // Without packing requests may overlap, since each address has its own; with it they never do. Behind a
    // piece that wrapped round at the int limit the next variable opens a request wherever it lies.
    void expectNoOverlapWhenPacking(const std::vector<RW_VAR> &held)
    {
        const std::set<Area> wrappedAreas = areasWithWrappedRequests(held);
        for (std::size_t i = 1; i < held.size(); ++i) {
            if (areaOf(held[i - 1]) != areaOf(held[i]) || twinLimit(settings, held[i].regType) == 1 ||
                wrappedAreas.count(areaOf(held[i])) != 0)
                continue;
            ++neighbours;
            ASSERT_GE(held[i].address, static_cast<long long>(held[i - 1].address) + held[i - 1].count)
                << everythingOf(held[i - 1]) << " and " << everythingOf(held[i]);
        }
    }

    // Nothing moved: the read list itself is in order.
    void expectOrderWithoutPriorities(const std::vector<RW_VAR> &held)
    {
        if (!places.empty())
            return;
        const std::set<Area> wrappedAreas = areasWithWrappedRequests(held);
        const QList<RW_VAR> &list = PLC_driver.readList;
        for (int i = 1; i < list.size(); ++i) {
            const RW_VAR &a = list.at(i - 1);
            const RW_VAR &b = list.at(i);
            if (areaOf(a) == areaOf(b) && wrappedAreas.count(areaOf(b)) != 0)
                continue;
            ++ordered;
            ASSERT_LT(std::tie(a.station, a.regType, a.address), std::tie(b.station, b.regType, b.address))
                << everythingOf(a) << " and " << everythingOf(b);
        }
    }

    Settings settings = {};
    std::vector<Given> given;
    std::vector<PriorityPlace> places;
    TwinLists twin;
    int length = 0;
    long coveredVariables = 0;
    long singleRequests = 0;
    long packedRequests = 0;
    long neighbours = 0;
    long ordered = 0;

private:
    std::unique_ptr<VariableTable> table_;
};

} // namespace

TEST_F(RandomTables, AreRebuiltAsTheNaiveTwinRebuildsThem)
{
    std::printf("seed %u, %d tables\n", kSeed, kRounds);
    Random random(kSeed);
    long moved = 0;
    long folded = 0;
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE(round);
        play(random);
        expectTheTwinsLists();
        const std::vector<RW_VAR> held = heldRequests();
        ASSERT_EQ(twin.requests.size(), held.size()) << "a request was lost or doubled";
        expectEveryVariableToBeCovered(held);
        expectRequestsWithinTheLimit(held);
        expectNoOverlapWhenPacking(held);
        expectOrderWithoutPriorities(held);
        if (HasFatalFailure())
            return;
        const auto kept = static_cast<long>(held.size()) - length;
        moved += kept;
        for (const RW_VAR &request : twin.reads)
            folded += twinLevel(request, places) != 0;
    }
    // The generator must have reached what it is meant to reach.
    constexpr long twelfth = kRounds / 12;
    EXPECT_GT(coveredVariables, 50 * twelfth);
    EXPECT_GT(singleRequests, 10 * twelfth);
    EXPECT_GT(packedRequests, 50 * twelfth);
    EXPECT_GT(neighbours, 20 * twelfth);
    EXPECT_GT(ordered, 20 * twelfth);
    EXPECT_GT(moved, 5 * twelfth);
    EXPECT_GT(folded, 3 * twelfth / 2);
    std::printf(
        "%ld variables covered, %ld packed and %ld single requests, %ld neighbours, %ld in order, %ld moved, "
        "%ld folded back\n",
        coveredVariables, packedRequests, singleRequests, neighbours, ordered, moved, folded);
}

} // namespace plc::test
