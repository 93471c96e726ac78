#include "runtime/panel/packing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "core/options.h"

namespace {

using namespace plc::runtime;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<Variable> variablesOf(const std::vector<std::string> &texts, const LinkSettings &settings)
{
    std::vector<Variable> variables;
    for (const std::string &text : texts)
        variables.push_back(parseVariable(text, settings.oneBased()));
    return variables;
}

/// "STATION/AREA FIRST+COUNT" of each request.
std::vector<std::string> named(const std::vector<ReadSpan> &spans)
{
    std::vector<std::string> requests;
    for (const ReadSpan &span : spans)
        requests.push_back(std::to_string(span.station) + "/" + areaName(span.baseType) + " " +
                           std::to_string(span.first) + "+" + std::to_string(span.count));
    return requests;
}

std::vector<std::string> packed(const std::vector<std::string> &texts,
                                const LinkSettings &settings = LinkSettings())
{
    return named(packWholeValues(variablesOf(texts, settings), settings));
}

TEST(Packing, IsLeftToTheDriverWhereItCutsNoValue)
{
    EXPECT_THAT(packed({"4x:0:98", "4x:98/f32"}), IsEmpty());
    EXPECT_THAT(packed({"4x:0:300"}), IsEmpty()) << "values of one register have no halves";
    EXPECT_THAT(packed({"4x:0:60/f32"}), IsEmpty()) << "the cuts fall between the values";
    EXPECT_THAT(packed({}), IsEmpty());
}

TEST(Packing, EndsARequestBeforeAValueThatReachesBeyondIt)
{
    EXPECT_THAT(packed({"4x:0", "4x:99/f32"}), ElementsAre("1/4x 0+1", "1/4x 99+2"));
    EXPECT_THAT(packed({"4x:0:99", "4x:99:60/f32"}), ElementsAre("1/4x 0+99", "1/4x 99+100", "1/4x 199+20"));
    EXPECT_THAT(packed({"4x:0", "4x_d:98:2"}), IsEmpty());
    EXPECT_THAT(packed({"4x:0", "4x_d:99"}), ElementsAre("1/4x 0+1", "1/4x 99+2"));
}

TEST(Packing, GoesOnAsTheDriverDoes)
{
    // The worked case of the driver's packing, in another station, beside a value that would be cut.
    EXPECT_THAT(packed({"4x:0@2", "4x:99/f32@2", "4x:0:10", "4x:5:2", "4x:50:10", "4x:95:20", "4x:300:250"}),
                ElementsAre("1/4x 0+100", "1/4x 100+15", "1/4x 300+100", "1/4x 400+100", "1/4x 500+50",
                            "2/4x 0+1", "2/4x 99+2"));
}

TEST(Packing, HasTheBitsOfTheLineInRequestsToo)
{
    EXPECT_THAT(packed({"4x:0", "4x:99/f32", "0x:0:5", "0x:799:2", "4x_bit:101.3"}),
                ElementsAre("1/0x 0+800", "1/0x 800+1", "1/4x 0+1", "1/4x 99+3"));
    LinkSettings settings;
    settings.options = plc::kOptionNoBitPacking;
    EXPECT_THAT(packed({"4x:0", "4x:99/f32", "0x:0:5", "0x:7"}, settings),
                ElementsAre("1/0x 0+5", "1/0x 7+1", "1/4x 0+1", "1/4x 99+2"));
}

LinkSettings withHoles(const std::vector<Hole> &holes)
{
    LinkSettings settings;
    settings.holes = holes;
    return settings;
}

TEST(PackingAroundHoles, ReadsNothingOverThem)
{
    const LinkSettings settings = withHoles({{1, 5, 10, 1}, {1, 5, 50, 20}});
    EXPECT_THAT(packed({"4x:0:10", "4x:11:5", "4x:20", "4x:70:5"}, settings),
                ElementsAre("1/4x 0+10", "1/4x 11+10", "1/4x 70+5"))
        << "what is no hole is read along";
    EXPECT_THAT(packed({"4x:0", "4x:49", "4x:70:80"}, settings),
                ElementsAre("1/4x 0+1", "1/4x 49+1", "1/4x 70+80"));
    EXPECT_THAT(packed({"4x:9", "4x:11:99", "4x:110:3"}, settings),
                ElementsAre("1/4x 9+1", "1/4x 11+100", "1/4x 111+2"))
        << "a hole ends a request that would go on into the next one, too";
}

TEST(PackingAroundHoles, AreThoseOfOneStationAndArea)
{
    const LinkSettings settings = withHoles({{2, 5, 10, 1}, {1, 4, 10, 1}, {1, 0, 10, 1}});
    EXPECT_THAT(packed({"4x:0:10", "4x:11:5"}, settings), IsEmpty()) << "the driver's own packing will do";
    EXPECT_THAT(packed({"3x:9", "3x:11", "4x:9", "4x:11", "0x:9", "0x:11"}, settings),
                ElementsAre("1/0x 9+1", "1/0x 11+1", "1/3x 9+1", "1/3x 11+1", "1/4x 9+3"));
}

TEST(Packing, KeepsValuesTogetherThatOverlap)
{
    EXPECT_THAT(packed({"4x:0", "4x:97/u64", "4x:99/f32"}), ElementsAre("1/4x 0+1", "1/4x 97+4"));
}

TEST(Packing, CutsWhatIsLongerThanARequest)
{
    LinkSettings settings;
    settings.maxBlock = 3;
    EXPECT_THAT(packed({"4x:0/u64"}, settings), IsEmpty()) << "as the driver does";
    EXPECT_THAT(packed({"4x:0/u64", "4x:10:2/f32"}, settings),
                ElementsAre("1/4x 0+3", "1/4x 3+1", "1/4x 10+2", "1/4x 12+2"));
}

TEST(Packing, IsNoneWhereVariablesAreNotPacked)
{
    LinkSettings settings;
    settings.maxBlock = 1;
    EXPECT_THAT(packed({"4x:0", "4x:99/f32"}, settings), IsEmpty());
}

TEST(ReadsOfEach, PackNothingAndCutWhatIsLongerThanARequest)
{
    LinkSettings settings;
    settings.station = 7;
    settings.maxBlock = 5;
    const auto reads = [&](const std::vector<std::string> &texts) {
        return named(readsOfEach(variablesOf(texts, settings), settings));
    };
    EXPECT_THAT(reads({"4x:2", "4x:0:2", "4x:2@3", "4x:1"}),
                ElementsAre("3/4x 2+1", "7/4x 0+2", "7/4x 1+1", "7/4x 2+1"));
    EXPECT_THAT(reads({"4x:0", "4x:0:3", "4x_bit:0.3"}), ElementsAre("7/4x 0+3"))
        << "the driver makes one request of those that begin at one place";
    EXPECT_THAT(reads({"4x:0:7"}), ElementsAre("7/4x 0+5", "7/4x 5+2"));
    EXPECT_THAT(reads({"4x:0:4/f32"}), ElementsAre("7/4x 0+4", "7/4x 4+4")) << "between the values";
    EXPECT_THAT(reads({"4x_bit:1.15:2"}), ElementsAre("7/4x 1+2")) << "the registers of the bits";
    EXPECT_THAT(reads({"0x:0:50"}), ElementsAre("7/0x 0+40", "7/0x 40+10"));
    EXPECT_THAT(reads({}), IsEmpty());
}

} // namespace
