#include "station/areas_file.h"

#include <gtest/gtest.h>

#include <ostream>

namespace {

using namespace plc::station;

using Values = std::vector<std::uint16_t>;

class AreasTest : public ::testing::Test
{
protected:
    std::string load(const std::string &text) { return loadAreas("line.json", text, &bus_); }
    Values stored(int station, Area area, int address, int count)
    {
        return bus_.station(station)->registers().read(area, address, count).value_or(Values());
    }

    StationBus bus_{{1, 2}};
};

TEST_F(AreasTest, FillEveryStationFromTheTop)
{
    ASSERT_EQ("", load(R"({
        "4x": { "100": [4660, 43981], "200-202": 7, "65535": -1 },
        "3x": { "0": 65535 },
        "0x": { "16": [1, 0, true, false] },
        "1x": { "0-9": 1 }
    })"));
    for (int station : {1, 2}) {
        EXPECT_EQ(Values({4660, 43981, 0}), stored(station, Area::HoldingRegisters, 100, 3));
        EXPECT_EQ(Values({0, 7, 7, 7, 0}), stored(station, Area::HoldingRegisters, 199, 5));
        EXPECT_EQ(Values({65535}), stored(station, Area::HoldingRegisters, 65535, 1));
        EXPECT_EQ(Values({65535, 0}), stored(station, Area::InputRegisters, 0, 2));
        EXPECT_EQ(Values({1, 0, 1, 0}), stored(station, Area::Coils, 16, 4));
        EXPECT_EQ(Values({1, 1, 0}), stored(station, Area::DiscreteInputs, 8, 3));
    }
}

TEST_F(AreasTest, FillOneStationAfterAll)
{
    ASSERT_EQ("", load(R"({ "stations": { "2": { "4x": { "5": 50 } } }, "4x": { "5": [1, 2] } })"));
    EXPECT_EQ(Values({1, 2}), stored(1, Area::HoldingRegisters, 5, 2));
    EXPECT_EQ(Values({50, 2}), stored(2, Area::HoldingRegisters, 5, 2));
}

TEST_F(AreasTest, MayBeEmpty)
{
    EXPECT_EQ("", load("{}"));
}

TEST_F(AreasTest, NameMovingItems)
{
    ASSERT_EQ("", load(R"({
        "4x": { "10": [100, 200] },
        "moving": [ { "area": "4x", "address": 10, "count": 2, "step": -1 }, { "area": "0x", "address": 3 } ],
        "stations": { "1": { "moving": [ { "area": "4x", "address": 10 } ] } }
    })"));
    bus_.moveAll();
    EXPECT_EQ(Values({100, 199}), stored(1, Area::HoldingRegisters, 10, 2));
    EXPECT_EQ(Values({99, 199}), stored(2, Area::HoldingRegisters, 10, 2));
    EXPECT_EQ(Values({1}), stored(1, Area::Coils, 3, 1));
}

struct Mistake
{
    const char *name;
    const char *text;
    const char *message; ///< behind "line.json"
};

void PrintTo(const Mistake &mistake, std::ostream *stream)
{
    *stream << mistake.name;
}

class AreasMistakes : public ::testing::TestWithParam<Mistake>
{};

TEST_P(AreasMistakes, AreToldWithTheirPlace)
{
    StationBus bus({1, 2}, 100);
    EXPECT_EQ(std::string("line.json") + GetParam().message, loadAreas("line.json", GetParam().text, &bus));
}

const Mistake kMistakes[] = {
    {"NotAnObject", "[1]", ":1:1: the document: an object { } belongs at the top"},
    {"UnknownArea", R"({ "5x": {} })",
     ":1:3: 5x: unknown key; 0x, 1x, 3x, 4x, moving and (at the top) stations are known"},
    {"AreaIsAList", R"({ "4x": [1] })", ":1:9: 4x: an object { } belongs here"},
    {"AddressIsText", R"({ "4x": { "ten": 1 } })",
     ":1:11: 4x.ten: a key here is an address or a range, as \"100\" or \"200-299\""},
    {"AddressTooLarge", R"({ "4x": { "65536": 1 } })",
     ":1:11: 4x.65536: a key here is an address or a range, as \"100\" or \"200-299\""},
    {"RangeBackwards", R"({ "4x": { "9-8": 1 } })",
     ":1:11: 4x.9-8: a key here is an address or a range, as \"100\" or \"200-299\""},
    {"RangeWithAList", R"({ "4x": { "8-9": [1, 2] } })",
     ":1:18: 4x.8-9: a range takes one number for all its items, a list stands under its first address"},
    {"ListEmpty", R"({ "4x": { "8": [] } })", ":1:16: 4x.8: the list is empty"},
    {"BeyondTheEnd", R"({ "4x": { "99": [1, 2] } })",
     ":1:17: 4x.99: the values go beyond the end of the area"},
    {"FilledTwice", R"({ "4x": { "10": [1, 2], "11": 3 } })", ":1:31: 4x.11: address 11 is filled twice"},
    {"RegisterTooLarge", R"({ "4x": { "8": [1, 65536] } })",
     ":1:20: 4x.8[1]: a register is a whole number from -32768 to 65535"},
    {"RegisterTooSmall", R"({ "3x": { "8": -32769 } })",
     ":1:16: 3x.8: a register is a whole number from -32768 to 65535"},
    {"RegisterIsAFraction", R"({ "3x": { "8": 1.5 } })",
     ":1:16: 3x.8: a register is a whole number from -32768 to 65535"},
    {"RegisterIsText", R"({ "3x": { "8": "7" } })",
     ":1:16: 3x.8: a register is a whole number from -32768 to 65535"},
    {"BitIsTwo", R"({ "0x": { "8": [1, 2] } })", ":1:20: 0x.8[1]: a bit is 0, 1, false or true"},
    {"StationNotSimulated", R"({ "stations": { "3": {} } })",
     ":1:17: stations.3: no such station is simulated here (see --address)"},
    {"StationIsText", R"({ "stations": { "all": {} } })",
     ":1:17: stations.all: no such station is simulated here (see --address)"},
    {"StationsInAStation", R"({ "stations": { "1": { "stations": {} } } })",
     ":1:24: stations.1.stations: unknown key; 0x, 1x, 3x, 4x, moving and (at the top) stations are known"},
    {"ValueInAStation", R"({ "stations": { "2": { "4x": { "7": null } } } })",
     ":1:37: stations.2.4x.7: a register is a whole number from -32768 to 65535"},
    {"MovingIsAnObject", R"({ "moving": {} })", ":1:13: moving: a list [ ] of moving ranges belongs here"},
    {"MovingWithoutArea", R"({ "moving": [ { "address": 1 } ] })",
     ":1:15: moving[0].area: the area is \"0x\", \"1x\", \"3x\" or \"4x\""},
    {"MovingWithoutAddress", R"({ "moving": [ { "area": "4x" } ] })",
     ":1:15: moving[0].address: the address is missing"},
    {"MovingCountZero", R"({ "moving": [ { "area": "4x", "address": 1, "count": 0 } ] })",
     ":1:54: moving[0].count: a whole number from 1 to 65536 belongs here"},
    {"MovingMisspelt", R"({ "moving": [ { "area": "4x", "address": 1, "steps": 1 } ] })",
     ":1:45: moving[0].steps: a moving range has area, address, count and step only"},
    {"MovingBeyondTheEnd", R"({ "moving": [ { "area": "4x", "address": 99, "count": 2 } ] })",
     ":1:15: moving[0]: the range goes beyond the end of the area"},
};

INSTANTIATE_TEST_SUITE_P(All, AreasMistakes, ::testing::ValuesIn(kMistakes),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(AreasTest, TellLineAndColumnOfTextThatIsNoJson)
{
    const std::string message = load("{\n  \"4x\": {\n    \"1\": 1,\n    \"2\" 2\n  }\n}\n");
    EXPECT_EQ(0u, message.find("line.json:4:")) << message;
    EXPECT_NE(std::string::npos, message.find(": not JSON: ")) << message;
    EXPECT_EQ(std::string::npos, message.find('\n')) << "one line";
}

TEST_F(AreasTest, CountColumnsInCharacters)
{
    // The bad token stands behind three two-byte letters: byte 12 and on, but character 10.
    const std::string plain = load("{ \"aou\" ?");
    const std::string umlauts = load("{ \"\xC3\xA4\xC3\xB6\xC3\xBC\" ?");
    EXPECT_EQ(plain, umlauts);
    EXPECT_EQ(0u, plain.find("line.json:1:")) << plain;
}

TEST_F(AreasTest, AreNotTakenFromTextThatIsNoJson)
{
    const struct
    {
        std::string text;
        const char *place; ///< of the mistake: line and column
    } cases[] = {
        {"", "1:1"},
        {"1", "1:1"},
        {"{", "1:2"},
        {"{} x", "1:4"},
        {"{}\n// x", "2:1"},
        {R"({"4x": {"1": 1 /**/ 7 "2": 2}})", "1:16"},
        {R"({/**/"4x": {}})", "1:2"},
        {R"({"4x": {"1": [1, 2,]}})", "1:20"},
        {R"({"4x": {},})", "1:11"},
        {R"({"4x": {"": 1,}})", "1:15"},
        {R"({"4x": {}, "4x": {}})", "1:12"},
        {R"({"4x": {"1": 1, "\u0031": 2}})", "1:17"},
        {R"({'4x': {}})", "1:2"},
        {R"({"4x": {"1": 01}})", "1:14"},
        {R"({"4x": {"1": +1}})", "1:14"},
        {R"({"4x": {"1": -}})", "1:14"},
        {R"({"4x": {"1": 1.}})", "1:14"},
        {R"({"4x": {"1": 1e}})", "1:14"},
        {R"({"4x": {"1": 1e400}})", "1:14"},
        {R"({"4x": {"1": 1e-400}})", "1:14"},
        {R"({"4x": {"1": NaN}})", "1:14"},
        {R"({"4\q": {}})", "1:2"},
        {std::string("{}\0", 3), "1:3"},
        {std::string("{\n\"4x\0\": {}}", 12), "2:4"},
        {"{\"4x\": {\"\xFF\": 1}}", "1:10"},
        {"{\"4x\": {\"\xC0\x80\": 1}}", "1:10"},
        {"{\"4x\": {\"\xED\xA0\x80\": 1}}", "1:10"},
        {"{\"4x\": " + std::string(100, '['), "1:107"},
    };
    for (const auto &row : cases) {
        const std::string message = load(row.text);
        EXPECT_EQ(0u, message.find(std::string("line.json:") + row.place + ": not JSON: "))
            << row.text << '\n'
            << message;
    }
}

TEST_F(AreasTest, MayBeginWithAByteOrderMark)
{
    EXPECT_EQ("", load("\xEF\xBB\xBF{}"));
}

TEST_F(AreasTest, TellTheLineOfAnUnknownKey)
{
    EXPECT_EQ("line.json:3:3: 5x: unknown key; 0x, 1x, 3x, 4x, moving and (at the top) stations are known",
              load("{\n  \"4x\": {\"100\": 1},\n  \"5x\"\n  : {}\n}\n"))
        << "not that of the value";
}

TEST_F(AreasTest, TellOfAFileThatCannotBeRead)
{
    EXPECT_EQ("/nowhere/line.json: cannot be read: No such file or directory",
              loadAreasFile("/nowhere/line.json", &bus_));
}

} // namespace
