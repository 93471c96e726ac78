#include "host/finding/map_state.h"

#include <gmock/gmock.h>

#include "runtime/line/failure.h"

namespace {

using namespace plc::host;
using ::testing::HasSubstr;

MapWish wish()
{
    MapWish wish;
    wish.station = 5;
    wish.first = 100;
    wish.count = 10;
    return wish;
}

std::string mistake(const std::string &text)
{
    try {
        parseMapState("kept", text, wish());
    } catch (const Failure &failure) {
        return failure.what();
    }
    return "no mistake";
}

const std::string kHead = R"({"station": 5, "area": "4x", "first": 100, "count": 10, "block": 60)";

TEST(MapState, ReadsAsItWasKept)
{
    AreaMapper mapper(wish());
    const std::vector<Place> places{Place::Unknown, Place::There,   Place::There,        Place::Lacking,
                                    Place::Unknown, Place::Unknown, Place::ThereInBlock, Place::Unsettled,
                                    Place::Unknown, Place::There};
    mapper.remember(places, 60);
    const MapState state = parseMapState("kept", mapStateText(mapper), wish());
    EXPECT_EQ(places, state.places);
    EXPECT_EQ(60, state.block);
}

TEST(MapState, SilenceIsKeptOnlyWhereTheStationHasShownItselfSince)
{
    MapWish each = wish();
    each.least = 1;
    each.known = 109;
    AreaMapper mapper(each);
    mapper.next();
    mapper.take(plc::host::Answer());
    EXPECT_THAT(mapStateText(mapper), HasSubstr("\"lacking\": []"));
    plc::host::Answer answer;
    answer.kind = AnswerKind::Reply;
    mapper.next();
    mapper.take(answer);
    EXPECT_THAT(mapStateText(mapper), HasSubstr("\"lacking\": [[100, 100]]"));
}

TEST(MapState, OfAnotherMapIsRefused)
{
    MapWish other = wish();
    other.station = 6;
    EXPECT_THAT(mistake(mapStateText(AreaMapper(other))), HasSubstr("its 'station' is not 5"));
    other = wish();
    other.function = 4;
    EXPECT_THAT(mistake(mapStateText(AreaMapper(other))), HasSubstr("its 'area' is not 4x"));
    other = wish();
    other.count = 9;
    EXPECT_THAT(mistake(mapStateText(AreaMapper(other))), HasSubstr("its 'count' is not 10"));
}

TEST(MapState, ThatNobodyKeptIsRefused)
{
    EXPECT_THAT(mistake("[]"), HasSubstr("no map that was kept"));
    EXPECT_THAT(mistake(kHead + "}"), HasSubstr("a list is missing"));
    const std::string lists = R"(, "thereInBlocks": [], "lacking": [], "unsettled": [], "there": )";
    EXPECT_EQ("no mistake", mistake(kHead + lists + "[[100, 109]]}"));
    EXPECT_THAT(mistake(kHead + lists + "[[100, 110]]}"), HasSubstr("from 100 to 109"));
    EXPECT_THAT(mistake(kHead + lists + "[[99, 100]]}"), HasSubstr("from 100 to 109"));
    EXPECT_THAT(mistake(kHead + lists + "[[105, 104]]}"), HasSubstr("from 105 to 109"));
    EXPECT_THAT(mistake(kHead + lists + "[100]}"), HasSubstr("[FIRST, LAST]"));
    EXPECT_THAT(mistake(kHead + lists + "[]} x"), HasSubstr("kept"));
}

} // namespace
