#include "cli/strict_json.h"

#include <gtest/gtest.h>

namespace {

using plc::cli::JsonFault;
using plc::cli::parseStrictJson;

struct Bad
{
    const char *name;
    std::string text;
    std::size_t offset; ///< at which it is refused
};

void PrintTo(const Bad &bad, std::ostream *out)
{
    *out << bad.name;
}

class StrictJsonRefuses : public ::testing::TestWithParam<Bad>
{};

TEST_P(StrictJsonRefuses, WithThePlaceOfTheMistake)
{
    try {
        parseStrictJson(GetParam().text);
        ADD_FAILURE() << "taken";
    } catch (const JsonFault &fault) {
        EXPECT_EQ(GetParam().offset, fault.offset) << fault.what;
        EXPECT_NE("", fault.what);
    }
}

std::string repeated(const std::string &piece, int times)
{
    std::string text;
    for (int i = 0; i < times; ++i)
        text += piece;
    return text;
}

const Bad kBad[] = {
    {"Nothing", "", 0},
    {"BlanksOnly", "  ", 2},
    {"RootNumber", "1", 0},
    {"RootText", "\"x\"", 0},
    {"RootWord", "true", 0},
    {"NotClosedObject", "{", 1},
    {"NotClosedList", "[1", 2},
    {"NotClosedText", "[\"a", 1},
    {"ClosedTwice", "[]]", 2},
    {"ClosedAnotherWay", "[1}", 2},
    {"SomethingBehind", "{} x", 3},
    {"SecondRoot", "{}{}", 2},
    {"MissingComma", "[1 2]", 3},
    {"MissingCommaInAnObject", R"({"a":1 "b":2})", 7},
    {"MissingColon", R"({"a" 1})", 5},
    {"MissingValue", R"({"a":})", 5},
    {"CommaFirst", "[,1]", 1},
    {"CommaLast", "[1,]", 3},
    {"CommaLastInAnObject", R"({"a":1,})", 7},
    {"CommaBehindAnEmptyKey", R"({"":1,})", 6},
    {"KeyTwice", R"({"a":1,"a":2})", 7},
    {"KeyTwiceWrittenInAnotherWay", R"({"a":1,"\u0061":2})", 7},
    {"KeyTwiceFurtherDown", R"([{"b":{"a":1,"a":2}}])", 13},
    {"SingleQuotes", "{'a':1}", 1},
    {"KeyWithoutQuotes", "{a:1}", 1},
    {"NumberAsKey", "{1:1}", 1},
    {"WordInCapitals", "[True]", 1},
    {"WordCut", "[tru]", 1},
    {"WordTooLong", "[truex]", 5},
    {"NotANumber", "[NaN]", 1},
    {"Infinity", "[Infinity]", 1},
    {"MinusInfinity", "[-Infinity]", 1},
    {"LeadingZero", "[01]", 1},
    {"LeadingZeroBehindMinus", "[-01]", 1},
    {"Plus", "[+1]", 1},
    {"MinusAlone", "[-]", 1},
    {"NoDigitBeforeThePoint", "[-.5]", 1},
    {"NoDigitBehindThePoint", "[1.]", 1},
    {"NoDigitInTheExponent", "[1e]", 1},
    {"NoDigitBehindTheSign", "[1e+]", 1},
    {"TwoPoints", "[1.2.3]", 1},
    {"Hexadecimal", "[0x10]", 2},
    {"TooLarge", "[1e400]", 1},
    {"TooSmall", "[-1e400]", 1},
    {"TooNearToZero", "[1e-400]", 1},
    {"CommentBeforeAValue", "[/**/1]", 1},
    {"CommentBehindAnItem", "[1 /**/]", 3},
    {"CommentBehindAMember", "{\"a\":1 // x\n}", 7},
    {"CommentThatHidesAValue", R"({"a":1 /**/ 7 "b":2})", 7},
    {"CommentBeforeAKey", R"({/**/"a":1})", 1},
    {"CommentAtTheEnd", "{} // x", 3},
    {"ZeroByteBehind", std::string("[1]\0", 4), 3},
    {"ZeroByteInAText", std::string("[\"a\0b\"]", 7), 3},
    {"ControlCharacterInAText", "[\"\x1F\"]", 2},
    {"FormFeed", "[\f1]", 1},
    {"BlankThatJsonDoesNotKnow", "[\xC2\xA0 1]", 1},
    {"UnknownEscape", R"(["\q"])", 1},
    {"EscapeCut", R"(["\u12"])", 1},
    {"EscapeAtTheEnd", "[\"\\", 1},
    {"FirstHalfOfAPair", R"(["a\ud800"])", 3},
    {"FirstHalfBeforeALetter", R"(["a\ud800\u0041"])", 3},
    {"SecondHalfOfAPair", R"(["a\udc00"])", 3},
    {"LoneContinuation", "[\"\x80\"]", 2},
    {"ByteThatUtf8DoesNotHave", "[\"\xFF\"]", 2},
    {"CharacterCut", "[\"ab\xEF\xBF\"]", 4},
    {"CharacterWrittenTooLong", "[\"\xC0\x80\"]", 2},
    {"SurrogateInUtf8", "[\"\xED\xA0\x80\"]", 2},
    {"BeyondTheLastCharacter", "[\"\xF5\x80\x80\x80\"]", 2},
    {"SecondByteOrderMark", "\xEF\xBB\xBF[]", 0},
    {"ListsTooDeep", repeated("[", 101) + repeated("]", 101), 100},
    {"ObjectsTooDeep", repeated("{\"a\":", 100) + "[]" + repeated("}", 100), 500},
    {"DeepAndNeverClosed", repeated("[", 1000000), 100},
    {"LineEndsOfAllKinds", "[1,\r\n2,\r3,\n4 5]", 13},
};

INSTANTIATE_TEST_SUITE_P(All, StrictJsonRefuses, ::testing::ValuesIn(kBad),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(StrictJson, TakesNumbersAsJsonWritesThem)
{
    const Json::Value list = parseStrictJson("[0, -0, 10, -1.5, 1e2, 1E+2, 25e-1, 123456789012345678901]");
    const double expected[] = {0, 0, 10, -1.5, 100, 100, 2.5, 123456789012345678901.0};
    ASSERT_EQ(8u, list.size());
    for (Json::ArrayIndex i = 0; i < list.size(); ++i)
        EXPECT_EQ(expected[i], list[i].asDouble()) << i;
}

TEST(StrictJson, TakesTextsWithEscapesPairsAndSlashes)
{
    const Json::Value list =
        parseStrictJson(R"(["\"\\\/\n", "\u0000\u00e4\ud83d\ude00", "// ,]", "ä", "\\", "\ufffd"])");
    ASSERT_EQ(6u, list.size());
    EXPECT_EQ("\"\\/\n", list[0].asString());
    EXPECT_EQ(std::string("\0\xC3\xA4\xF0\x9F\x98\x80", 7), list[1].asString());
    EXPECT_EQ("// ,]", list[2].asString());
    EXPECT_EQ("\xC3\xA4", list[3].asString());
    EXPECT_EQ("\\", list[4].asString());
    EXPECT_EQ("\xEF\xBF\xBD", list[5].asString());
}

TEST(StrictJson, TakesTheDeepestNesting)
{
    EXPECT_NO_THROW(parseStrictJson(repeated("[", 100) + repeated("]", 100)));
    EXPECT_NO_THROW(parseStrictJson(repeated("[", 99) + repeated("[],", 200) + "[]" + repeated("]", 99)))
        << "many side by side are not deep";
}

TEST(StrictJson, KnowsWhereEachValueStands)
{
    const Json::Value root = parseStrictJson(R"({"a": [1, "x", true], "b": {}})");
    EXPECT_EQ(0, root.getOffsetStart());
    EXPECT_EQ(6, root["a"].getOffsetStart());
    EXPECT_EQ(7, root["a"][0].getOffsetStart());
    EXPECT_EQ(10, root["a"][1].getOffsetStart());
    EXPECT_EQ(15, root["a"][2].getOffsetStart());
    EXPECT_EQ(27, root["b"].getOffsetStart());
}

} // namespace
