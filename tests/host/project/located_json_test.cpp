#include "host/project/located_json.h"

#include <gtest/gtest.h>

#include "runtime/line/failure.h"

namespace {

using namespace plc::host;

std::string mistake(const std::string &text)
{
    try {
        LocatedJson("f.json", text);
    } catch (const Failure &failure) {
        return failure.what();
    }
    return "none";
}

std::string refusedKey(const LocatedJson &json, const Json::Value &value)
{
    try {
        json.refuseKey(value, "no key");
    } catch (const Failure &failure) {
        return failure.what();
    }
}

TEST(LocatedJson, CountsLinesAndCharactersFromOne)
{
    const LocatedJson json("f.json", "{\r\n \"\xC3\xA4\xC3\xB6\": [\n1, \"\xE2\x82\xAC\", 2]}");
    const Json::Value &list = json.root()["\xC3\xA4\xC3\xB6"];
    EXPECT_EQ(1, json.placeOf(json.root()).line);
    EXPECT_EQ(1, json.placeOf(json.root()).column);
    EXPECT_EQ(2, json.placeOf(list).line);
    EXPECT_EQ(8, json.placeOf(list).column);
    EXPECT_EQ(3, json.placeOf(list[2]).line);
    EXPECT_EQ(9, json.placeOf(list[2]).column);
}

TEST(LocatedJson, CountsNoByteOrderMark)
{
    const LocatedJson json("f.json", "\xEF\xBB\xBF{\"a\": 1}");
    EXPECT_EQ(7, json.placeOf(json.root()["a"]).column);
    EXPECT_EQ("f.json, line 1, column 2: this is no JSON: Missing '}' or object member name",
              mistake("\xEF\xBB\xBF{1"));
}

TEST(LocatedJson, CountsCharactersToAMistakeInTheText)
{
    EXPECT_EQ("f.json, line 2, column 6: this is no JSON: Missing ',' or ']' in array declaration",
              mistake("[\n\"\xC3\xA4\xC3\xB6\" 1]"));
    EXPECT_EQ("f.json, line 2, column 12: this is no JSON: this key stands here a second time",
              mistake("{\n\"a\\nb\": 1, \"a\\nb\": 2}"));
}

TEST(LocatedJson, FindsTheKeyInFrontOfAValue)
{
    const struct
    {
        const char *text;
        int column;
    } cases[] = {
        {R"({"a":1})", 2},           {R"({ "a" : 1})", 3},
        {R"({"b": 0, "a": 1})", 10}, {R"({"b": "\"", "a\"": 1})", 13},
        {R"({"\"a\"": 1})", 2},      {R"({"\\": 1})", 2},
        {R"({"a\\\"\\": 1})", 2},    {R"({"": 1})", 2},
        {R"({":": ":"})", 2},        {R"({"b": {"c": [1, 2]}, "a": {}})", 22},
    };
    for (const auto &row : cases) {
        const LocatedJson json("f.json", row.text);
        const JsonMember last = membersInOrder(json.root()).back();
        EXPECT_EQ("f.json, line 1, column " + std::to_string(row.column) + ": no key",
                  refusedKey(json, *last.value))
            << row.text;
    }
}

TEST(LocatedJson, KeepsTheOrderOfTheText)
{
    const LocatedJson json("f.json", R"({"c": 1, "a": {}, "b": []})");
    std::string keys;
    for (const JsonMember &member : membersInOrder(json.root()))
        keys += member.key;
    EXPECT_EQ("cab", keys);
}

} // namespace
