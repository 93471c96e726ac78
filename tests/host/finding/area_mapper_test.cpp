#include "host/finding/area_mapper.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "host/virtual_port.h"

namespace plc::host {

void PrintTo(const Stretch &stretch, std::ostream *out)
{
    *out << stretch.first << "-" << stretch.last;
}

} // namespace plc::host

namespace {

using namespace plc;
using namespace plc::host;
using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::Le;

constexpr int kStation = 5;
constexpr std::size_t kFivePercent = 65536 / 20;

/// A station with these islands of holding registers, and a map of it.
class Mapping
{
public:
    explicit Mapping(const std::vector<Stretch> &islands, int baud = 115200)
    {
        auto &present = abilities.present[station::Area::HoldingRegisters];
        for (const Stretch &island : islands)
            present.emplace_back(island.first, island.last);
        line.baud = baud;
        wish.station = kStation;
    }

    /// Maps until the end, or until @p most answers have come.
    void run(std::size_t most = 1000000)
    {
        bus.station(kStation)->setAbilities(abilities);
        station::FaultPlan plan(faults, station::CrcOrder::LowFirst);
        test::VirtualPort port(line, &bus, &plan);
        FindingGround ground = port.ground();
        std::size_t answers = 0;
        ground.isCancelled = [&] { return answers >= most; };
        Asking asking(test::askingAt(line.baud, 200ms));
        wish.timeout = 200ms;
        mapper = std::make_unique<AreaMapper>(wish);
        if (!remembered.empty())
            mapper->remember(remembered, wish.block);
        carryOut(ground, asking, *mapper, [&](const host::Answer &) { ++answers; });
        requests = port.sent().size();
        lineTime = port.now();
        EXPECT_TRUE(port.hasOnlyRead());
    }

    station::Abilities abilities;
    station::LineSettings line;
    station::FaultSettings faults;
    station::StationBus bus{{kStation}};
    MapWish wish;
    std::vector<Place> remembered;
    std::unique_ptr<AreaMapper> mapper;
    std::size_t requests = 0;
    Time lineTime{};
};

/// So many islands of at least @p least registers, with at least one register between two of them.
std::vector<Stretch> islandsOf(std::uint64_t seed, int number, int least, int size)
{
    std::mt19937_64 random(seed);
    std::vector<int> lengths;
    int room = size - number;
    for (int i = 0; i < number; ++i) {
        // Most are short, some fill many blocks.
        const int most = random() % 4 == 0 ? 20 * least : 2 * least;
        lengths.push_back(least + static_cast<int>(random() % static_cast<unsigned>(most - least + 1)));
        room -= lengths.back();
    }
    std::vector<int> starts;
    for (int i = 0; i < number; ++i)
        starts.push_back(static_cast<int>(random() % static_cast<unsigned>(room)));
    std::sort(starts.begin(), starts.end());
    std::vector<Stretch> islands;
    int before = 0;
    for (int i = 0; i < number; ++i) {
        const int first = starts[static_cast<std::size_t>(i)] + before + i;
        islands.push_back({first, first + lengths[static_cast<std::size_t>(i)] - 1});
        before += lengths[static_cast<std::size_t>(i)];
    }
    return islands;
}

void expectFoundWithFewRequests(std::uint64_t seed)
{
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::vector<Stretch> islands = islandsOf(seed, 40, 32, 65536);
    Mapping mapping(islands);
    mapping.run();
    EXPECT_EQ(MapEnd::Done, mapping.mapper->end());
    EXPECT_EQ(islands, mapping.mapper->islands());
    EXPECT_THAT(mapping.requests, Le(kFivePercent));
}

TEST(AreaMapperOfFortyIslands, FindsThemExactlyWithFivePercentOfTheRequests)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed)
        expectFoundWithFewRequests(seed);
}

TEST(AreaMapperOfFortyIslands, FindsThemWithSeedsThatNobodyHasSeen)
{
    const std::uint64_t first = test::freshSeed();
    for (std::uint64_t seed = 0; seed < 10; ++seed)
        expectFoundWithFewRequests(first + seed);
}

TEST(AreaMapperOfFortyIslands, TheShortestOnesFarApartCostNoMore)
{
    std::vector<Stretch> islands;
    for (int i = 0; i < 40; ++i)
        islands.push_back({1000 + i * 1609, 1031 + i * 1609});
    Mapping mapping(islands);
    mapping.run();
    EXPECT_EQ(islands, mapping.mapper->islands());
    EXPECT_THAT(mapping.requests, Le(kFivePercent));
}

TEST(AreaMapper, FindsHolesOfASingleRegisterInsideABlock)
{
    Mapping mapping({{100, 299}, {301, 330}, {332, 400}});
    mapping.wish.count = 1000;
    mapping.run();
    EXPECT_THAT(mapping.mapper->islands(),
                ElementsAre(Stretch{100, 299}, Stretch{301, 330}, Stretch{332, 400}));
    EXPECT_THAT(mapping.mapper->codes(), ElementsAre(2));
}

TEST(AreaMapper, WhatIsShorterThanTheStrideMayBeMissedAndExactlyIsNot)
{
    Mapping mapping({{33, 40}, {64, 95}, {100, 100}});
    mapping.wish.count = 1000;
    mapping.run();
    EXPECT_THAT(mapping.mapper->islands(), ElementsAre(Stretch{64, 95}));
    mapping.wish.least = 1;
    mapping.run();
    EXPECT_THAT(mapping.mapper->islands(), ElementsAre(Stretch{33, 40}, Stretch{64, 95}, Stretch{100, 100}));
    EXPECT_EQ(0, mapping.mapper->countOf(Place::Unknown));
}

TEST(AreaMapper, AreaAndIslandsMayBeginAndEndAnywhere)
{
    for (const Stretch &area :
         {Stretch{0, 99}, Stretch{7, 1005}, Stretch{65000, 65535}, Stretch{65535, 65535}}) {
        Mapping mapping({area});
        mapping.wish.first = area.first;
        mapping.wish.count = area.count();
        mapping.run();
        EXPECT_THAT(mapping.mapper->islands(), ElementsAre(area));
    }
    Mapping mapping({{0, 65535}});
    mapping.run();
    EXPECT_THAT(mapping.mapper->islands(), ElementsAre(Stretch{0, 65535}));
    EXPECT_THAT(mapping.requests, Le(1100u))
        << "what is there is read in blocks, each with one register to prove it";
}

TEST(AreaMapper, AStationThatTakesShortBlocksOnlyIsMappedInThese)
{
    Mapping mapping({{50, 349}});
    mapping.abilities.mostRegisters = 10;
    mapping.wish.count = 1000;
    mapping.run();
    EXPECT_THAT(mapping.mapper->islands(), ElementsAre(Stretch{50, 349}));
    EXPECT_EQ(10, mapping.mapper->block());
    EXPECT_THAT(mapping.requests, Le(130u));
}

TEST(AreaMapper, AStationThatReadsOverWhatItLacksIsAskedForEachRegister)
{
    Mapping mapping({{64, 100}, {103, 140}});
    mapping.abilities.lacking = station::Lacking::ReadsZeros;
    mapping.wish.count = 500;
    mapping.run();
    EXPECT_THAT(mapping.mapper->islands(), ElementsAre(Stretch{64, 100}, Stretch{103, 140}));
    EXPECT_TRUE(mapping.mapper->readsOverLacking());
}

TEST(AreaMapper, KnowsHowMuchOfAnIslandOneReadMayTake)
{
    Mapping mapping({{100, 163}, {200, 235}});
    mapping.abilities.mostRegisters = 60;
    mapping.wish.count = 1000;
    mapping.run();
    EXPECT_EQ(60, mapping.mapper->block());
    EXPECT_THAT(mapping.mapper->islands(), ElementsAre(Stretch{100, 163}, Stretch{200, 235}));
    mapping.abilities.lacking = station::Lacking::ReadsZeros;
    mapping.run();
    EXPECT_EQ(60, mapping.mapper->block());
    EXPECT_THAT(mapping.mapper->islands(), ElementsAre(Stretch{100, 163}, Stretch{200, 235}));
}

TEST(AreaMapper, BitsAreMappedAlike)
{
    Mapping mapping({});
    mapping.abilities.present.clear();
    mapping.abilities.present[station::Area::Coils] = {{40, 3000}, {3005, 3100}};
    mapping.wish.function = kReadCoils;
    mapping.wish.block = kMostReadBits;
    mapping.run();
    EXPECT_THAT(mapping.mapper->islands(), ElementsAre(Stretch{40, 3000}, Stretch{3005, 3100}));
}

void expectFoundOnABadLine(std::uint64_t seed, station::Lacking lacking, double drop)
{
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::vector<Stretch> islands = islandsOf(seed, 6, 32, 4096);
    Mapping mapping(islands);
    mapping.abilities.lacking = lacking;
    mapping.faults.seed = seed;
    mapping.faults.share(station::Fault::Drop) = drop;
    mapping.faults.share(station::Fault::BadCrc) = drop;
    mapping.wish.count = 4096;
    mapping.wish.known = islands.front().first;
    mapping.run();
    EXPECT_EQ(MapEnd::Done, mapping.mapper->end());
    EXPECT_EQ(islands, mapping.mapper->islands());
    EXPECT_EQ(lacking == station::Lacking::IsSilent, mapping.mapper->isSilentAboutLacking());
}

TEST(AreaMapperOfABadLine, ALostReplyIsNoHole)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        expectFoundOnABadLine(seed, station::Lacking::Refuses, 3);
        expectFoundOnABadLine(seed, station::Lacking::IsSilent, 1);
    }
    const std::uint64_t fresh = test::freshSeed();
    expectFoundOnABadLine(fresh, station::Lacking::Refuses, 3);
    expectFoundOnABadLine(fresh, station::Lacking::IsSilent, 1);
}

TEST(AreaMapperOfSilence, IsSlowerAndHasAnEnd)
{
    Mapping mapping({{40, 100}, {2000, 2100}}, 19200);
    mapping.abilities.lacking = station::Lacking::IsSilent;
    mapping.wish.count = 4096;
    mapping.run();
    EXPECT_THAT(mapping.mapper->islands(), ElementsAre(Stretch{40, 100}, Stretch{2000, 2100}));
    EXPECT_THAT(mapping.requests, Le(4u * 180)) << "four attempts for what is lacking";
    EXPECT_LT(mapping.lineTime, 180s);
}

TEST(AreaMapperOfSilence, AStationThatIsNotThereIsGivenUp)
{
    Mapping mapping({});
    mapping.wish.station = kStation + 1;
    mapping.run();
    EXPECT_EQ(MapEnd::NoAnswer, mapping.mapper->end());
    EXPECT_THAT(mapping.requests, Le(200u));
}

TEST(AreaMapperOfSilence, AStationThatIsNotThereIsToldOfSmallAreasToo)
{
    Mapping mapping({});
    mapping.wish.station = kStation + 1;
    mapping.wish.count = 100;
    mapping.run();
    EXPECT_EQ(MapEnd::NoAnswer, mapping.mapper->end());
    EXPECT_EQ(100, mapping.mapper->countOf(Place::Unknown));
    EXPECT_FALSE(mapping.mapper->isSilentAboutLacking());
    mapping.wish.known = 50;
    mapping.run();
    EXPECT_EQ(MapEnd::NoAnswer, mapping.mapper->end());
    EXPECT_EQ(100, mapping.mapper->countOf(Place::Unknown));
    EXPECT_FALSE(mapping.mapper->isSilentAboutLacking());
}

TEST(AreaMapperOfSilence, BehindTheLastSilenceItIsLookedWhetherTheStationIsThere)
{
    Mapping mapping({{40, 50}});
    mapping.abilities.lacking = station::Lacking::IsSilent;
    mapping.wish.count = 100;
    mapping.wish.known = 45;
    mapping.run();
    EXPECT_EQ(MapEnd::Done, mapping.mapper->end());
    EXPECT_EQ(mapping.mapper->places(), mapping.mapper->confirmedPlaces());
    EXPECT_TRUE(mapping.mapper->isSilentAboutLacking());
}

TEST(AreaMapperOfSilence, AStationThatDiesMeanwhileIsNoHole)
{
    Mapping mapping({{64, 2000}});
    mapping.wish.count = 4096;
    mapping.run(40);
    ASSERT_EQ(MapEnd::Open, mapping.mapper->end());
    const std::vector<Place> before = mapping.mapper->places();
    mapping.remembered = before;
    mapping.bus.station(kStation)->setManner(station::Manner::Dead);
    mapping.run();
    EXPECT_EQ(MapEnd::NoAnswer, mapping.mapper->end());
    EXPECT_EQ(before, mapping.mapper->places());
}

TEST(AreaMapperGoingOn, ADeadStartLeavesNothingKnown)
{
    Mapping mapping({{64, 2000}});
    mapping.wish.count = 4096;
    mapping.bus.station(kStation)->setManner(station::Manner::Dead);
    mapping.run();
    ASSERT_EQ(MapEnd::NoAnswer, mapping.mapper->end());
    EXPECT_EQ(4096, mapping.mapper->countOf(Place::Unknown));
    mapping.remembered = mapping.mapper->confirmedPlaces();
    mapping.bus.station(kStation)->setManner(station::Manner::Answers);
    mapping.run();
    EXPECT_THAT(mapping.mapper->islands(), ElementsAre(Stretch{64, 2000}));
}

TEST(AreaMapperGoingOn, SilenceThatNoControlHasConfirmedIsNotKept)
{
    Mapping mapping({{64, 2000}});
    mapping.wish.count = 4096;
    mapping.wish.known = 64;
    mapping.bus.station(kStation)->setManner(station::Manner::Dead);
    mapping.run(7);
    ASSERT_EQ(MapEnd::Open, mapping.mapper->end());
    mapping.remembered = mapping.mapper->confirmedPlaces();
    EXPECT_THAT(mapping.remembered, ::testing::Each(Place::Unknown));
    mapping.bus.station(kStation)->setManner(station::Manner::Answers);
    mapping.run();
    EXPECT_THAT(mapping.mapper->islands(), ElementsAre(Stretch{64, 2000}));
}

TEST(AreaMapperGoingOn, SilenceThatAControlHasConfirmedIsKept)
{
    Mapping mapping({{4000, 4095}});
    mapping.abilities.lacking = station::Lacking::IsSilent;
    mapping.wish.count = 4096;
    mapping.wish.known = 4000;
    mapping.run(12);
    ASSERT_EQ(MapEnd::Open, mapping.mapper->end());
    const std::vector<Place> kept = mapping.mapper->confirmedPlaces();
    EXPECT_EQ(8, std::count(kept.begin(), kept.end(), Place::Lacking));
    EXPECT_LT(8, mapping.mapper->countOf(Place::Lacking));
}

TEST(AreaMapperGoingOn, EndsWithTheSameMapWithoutAskingTwice)
{
    const std::vector<Stretch> islands = islandsOf(3, 40, 32, 65536);
    Mapping mapping(islands);
    mapping.run();
    const std::size_t whole = mapping.requests;
    std::size_t total = 0;
    for (int part = 0; part < 200; ++part) {
        mapping.run(100);
        total += mapping.requests;
        mapping.remembered = mapping.mapper->places();
        if (mapping.mapper->end() == MapEnd::Done)
            break;
    }
    EXPECT_EQ(islands, mapping.mapper->islands());
    // A search for a border begins anew, and so does the proof that blocks prove something.
    EXPECT_LE(total, whole + whole / 100 * 20);
}

TEST(AreaMapper, AFunctionThatTheStationLacksIsToldAtOnce)
{
    Mapping mapping({{0, 100}});
    mapping.abilities.functions = {4};
    mapping.run();
    EXPECT_EQ(MapEnd::UnknownFunction, mapping.mapper->end());
    EXPECT_EQ(1u, mapping.requests);
}

} // namespace
