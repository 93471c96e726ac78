#include "host/project/project_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/line/failure.h"

namespace {

using namespace plc::host;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr char kVariable[] = R"({"name": "Speed", "area": "4x", "address": "100"})";

Project project(const std::string &text)
{
    return parseProject("p.json", QByteArray::fromStdString(text));
}

Project projectOf(const std::string &variables)
{
    return project("{\"variables\": [" + variables + "]}");
}

Project linked(const std::string &link)
{
    return project("{\"link\": " + link + ", \"variables\": [" + kVariable + "]}");
}

/// What the first mistake of @p text is called.
std::string mistake(const std::string &text)
{
    try {
        project(text);
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Usage, failure.kind());
        return failure.what();
    }
    return "no mistake";
}

std::string mistakeIn(const std::string &variable)
{
    return mistake("{\"variables\": [\n" + variable + "]}");
}

/// Level, area and address of every row.
std::vector<std::string> rowsOf(const Project &given)
{
    std::vector<std::string> rows;
    for (const PriorityRow &row : given.rows)
        rows.push_back(row.texts.at(8).toStdString() + " " + row.texts.last().toStdString());
    return rows;
}

TEST(ProjectFile, TakesTheSettingsOfTheLink)
{
    const LinkSettings link = linked(
                                  R"({"port": "/dev/ttyS3", "baud": 9600, "parity": "none", "stopBits": 1,
                    "rs485": "rts-after-send,3,4", "anyRate": true, "retryLimit": 4,
                   "replyTimeoutMs": 250, "turnaroundMs": 60, "options": ["one-based", "no-bit-packing"],
                   "linkMode": 1, "maxBlock": 50, "station": 9, "echo": true,
                   "without": ["strict-writes", "offline"],
                   "offlineAfter": 5, "lateGuardMs": 700, "firstTrialMs": 2000, "longestTrialMs": 30000})")
                                  .link;
    EXPECT_EQ("/dev/ttyS3", link.port);
    EXPECT_EQ(9600, link.baud);
    EXPECT_EQ(Parity::None, link.parity);
    EXPECT_EQ(1, link.stopBits);
    EXPECT_FALSE(link.rs485->rtsOnSend);
    EXPECT_EQ(3, link.rs485->beforeMs);
    EXPECT_EQ(4, link.rs485->afterMs);
    EXPECT_TRUE(link.anyRate);
    EXPECT_EQ(4, link.retries);
    EXPECT_EQ(std::chrono::milliseconds(250), link.timeout);
    EXPECT_EQ(std::chrono::milliseconds(60), link.turnaround);
    EXPECT_EQ(0x801u, link.options);
    EXPECT_EQ(1, link.linkMode);
    EXPECT_EQ(50, link.maxBlock);
    EXPECT_EQ(9, link.station);
    EXPECT_TRUE(link.echo);
    EXPECT_FALSE(link.policies.strictWrites);
    EXPECT_FALSE(link.policies.offline);
    EXPECT_TRUE(link.policies.lateReplyGuard);
    EXPECT_EQ(std::chrono::milliseconds(700), link.lateGuard.value_or(Time::zero()));
    EXPECT_EQ(5, link.offline.failures);
    EXPECT_EQ(std::chrono::seconds(2), link.offline.firstProbe);
    EXPECT_EQ(std::chrono::seconds(30), link.offline.longestProbe);
}

TEST(ProjectFile, TakesHoles)
{
    const Project holed = project(R"({"link": {"station": 3}, "holes": [
        {"station": 5, "area": "4x", "address": 100, "count": 4}, {"area": "0x", "address": "7"}],
        "variables": [{"name": "Speed", "area": "4x", "address": "99", "count": 2, "station": 5}]})");
    ASSERT_EQ(2u, holed.link.holes.size());
    EXPECT_EQ(5, holed.link.holes[0].station);
    EXPECT_EQ(5, holed.link.holes[0].baseType);
    EXPECT_EQ(100, holed.link.holes[0].first);
    EXPECT_EQ(4, holed.link.holes[0].count);
    EXPECT_EQ(3, holed.link.holes[1].station);
    EXPECT_EQ(0, holed.link.holes[1].baseType);
    EXPECT_THAT(projectWarnings(holed),
                ::testing::ElementsAre(HasSubstr("'Speed' lies in one of the 'holes'")));
}

TEST(ProjectFile, RefusesHolesThatCannotBe)
{
    const auto holed = [](const std::string &hole) {
        return mistake("{\"holes\": [" + hole + "], \"variables\": [" + kVariable + "]}");
    };
    EXPECT_THAT(holed(R"({"area": "4x_d", "address": 1})"), HasSubstr("\"0x\", \"1x\", \"3x\" or \"4x\""));
    EXPECT_THAT(holed(R"({"area": "4x"})"), HasSubstr("a hole has an 'address'"));
    EXPECT_THAT(holed(R"({"area": "4x", "address": 65535, "count": 2})"), HasSubstr("beyond the area"));
    EXPECT_THAT(holed(R"({"area": "4x", "address": 1, "count": 0})"), HasSubstr("from 1 to 65536"));
}

TEST(ProjectFile, KeepsTheDefaultsOfALinkThatSaysNothing)
{
    const LinkSettings link = projectOf(kVariable).link;
    EXPECT_EQ("", link.port);
    EXPECT_EQ(19200, link.baud);
    EXPECT_EQ(2, link.retries);
    EXPECT_EQ(100, link.maxBlock);
}

TEST(ProjectFile, TakesVariablesWithTheirStationAndCount)
{
    const Project given = project(R"({"variables": [
        {"name": "Total", "area": "4x_d", "address": "200", "station": 7, "count": 3},
        {"name": "Running", "area": "4x_bit", "address": "35.10"},
        {"name": "Level", "area": "3x", "address": 12}],
        "link": {"station": 5}})");
    ASSERT_EQ(3u, given.variables.size());
    EXPECT_EQ("Total", given.variables[0].label);
    EXPECT_EQ(7, given.variables[0].station);
    EXPECT_EQ(3, given.variables[0].count);
    EXPECT_EQ(6, given.variables[0].elements());
    EXPECT_EQ(35 * 16 + 10, given.variables[1].first);
    EXPECT_EQ(5, given.variables[1].station) << "the link's, although it stands behind";
    EXPECT_EQ("12", given.variables[2].address);
}

TEST(ProjectFile, TakesFormatsOfVariables)
{
    const Project given = project(R"({"variables": [
        {"name": "Flow", "area": "4x", "address": "200", "count": 3, "format": "F32.cdab"},
        {"name": "Order", "area": "4x", "address": "300", "format": "str16"},
        {"name": "Level", "area": "3x", "address": "12"}]})");
    EXPECT_EQ("f32.cdab", nameOf(given.variables[0].format.value()));
    EXPECT_EQ(6, given.variables[0].elements());
    EXPECT_EQ("Flow[1]", given.variables[0].nameOf(1));
    EXPECT_EQ(8, given.variables[1].elements());
    EXPECT_FALSE(given.variables[2].format);
    EXPECT_EQ(nullptr, given.variables[2].meaning);
}

TEST(ProjectFile, TakesWhatTheValuesOfAVariableMean)
{
    const Project given = project(R"({"variables": [
        {"name": "Feed", "area": "4x", "address": "10", "format": "i16", "scale": 0.1, "offset": -40, "unit": "mm/s",
         "min": -5, "max": 12.5, "description": "of the axis, while it cuts"},
        {"name": "Mode", "area": "4x", "address": "11", "texts": {"2": "running", "0x0": "stopped", "-1": "fault"}},
        {"name": "Door", "area": "4x_bit", "address": "12.3", "texts": {"0": "off", "1": "on"}}]})");
    const Meaning &feed = *given.variables[0].meaning;
    EXPECT_EQ(0.1, feed.scale);
    EXPECT_EQ(-40, feed.offset);
    EXPECT_EQ("mm/s", feed.unit);
    EXPECT_EQ(-5, feed.least);
    EXPECT_EQ(12.5, feed.most);
    EXPECT_EQ("of the axis, while it cuts", feed.description);
    const Meaning &mode = *given.variables[1].meaning;
    EXPECT_EQ(1, mode.scale);
    ASSERT_EQ(3u, mode.names.size());
    EXPECT_EQ("running", mode.names[0].text) << "in the order of the file";
    EXPECT_EQ(Value::ofUnsigned(2), mode.names[0].value);
    EXPECT_EQ(Value::ofUnsigned(0), mode.names[1].value);
    EXPECT_EQ(Value::ofUnsigned(65535), mode.names[2].value) << "as the register has it";
    EXPECT_EQ("on", *given.variables[2].meaning->nameOf(Value::ofUnsigned(1)));
}

TEST(ProjectFile, CountsAddressesFromOneWhereTheOptionSaysSo)
{
    const Project given =
        project(R"({"variables": [{"name": "Speed", "area": "4x", "address": "100", "rate": 2}],
                                      "link": {"options": ["one-based"]}})");
    EXPECT_EQ(99, given.variables[0].first);
    EXPECT_EQ("100", given.variables[0].address) << "goes to the driver as it was typed";
    EXPECT_THAT(rowsOf(given), ::testing::ElementsAre("2 4x99"));
}

TEST(ProjectFile, MakesARowOfEachElementWithARateClass)
{
    const Project given = projectOf(R"({"name": "a", "area": "4x_d", "address": "200", "rate": 1},
                                       {"name": "b", "area": "3x_bit", "address": "7.15", "count": 2,
                                        "rate": 4},
                                       {"name": "c", "area": "4x", "address": "300", "rate": 0})");
    EXPECT_THAT(rowsOf(given), ::testing::ElementsAre("1 4x200", "1 4x201", "4 3x7", "4 3x8"));
    EXPECT_EQ(10, given.rows[0].texts.size());
}

TEST(ProjectFile, MultipliesTheNumbersOfBitsSinceTheDriverDividesThem)
{
    const Project given = projectOf(R"({"name": "a", "area": "0x", "address": "17", "rate": 3})");
    EXPECT_THAT(rowsOf(given), ::testing::ElementsAre("3 0x136"));
    EXPECT_EQ(17, given.rows[0].address);
}

TEST(ProjectFile, GivesThePlaceOfSeveralVariablesOneRow)
{
    const Project given = projectOf(R"({"name": "a", "area": "4x", "address": "5", "station": 1, "rate": 2},
                                       {"name": "b", "area": "4x_bit", "address": "5.3", "station": 2,
                                        "rate": 2})");
    EXPECT_THAT(rowsOf(given), ::testing::ElementsAre("2 4x5"));
}

TEST(ProjectFile, TakesExplicitRowsAsTheyAre)
{
    const Project given = project(std::string("{\"variables\": [") + kVariable + R"(], "nameRows": [
        ["", "a", "", "", "", "", "", "", "2", "4X_D100"],
        ["", "", "", "", "", "", "", "", "4", "more", "0x160.2"],
        ["", "", "", "", "", "", "", "", "", "whatever"]]})");
    ASSERT_EQ(3u, given.rows.size());
    EXPECT_EQ(2, given.rows[0].level);
    EXPECT_EQ(5, given.rows[0].baseType);
    EXPECT_EQ(100, given.rows[0].address);
    EXPECT_EQ("4X_D100", given.rows[0].texts.last().toStdString());
    EXPECT_EQ(0, given.rows[1].baseType);
    EXPECT_EQ(20, given.rows[1].address);
    EXPECT_EQ(0, given.rows[2].level);
}

TEST(ProjectFile, NamesLineAndColumnOfTextThatIsNoJson)
{
    EXPECT_THAT(mistake("{\n  \"name\": \"x\"\n  \"link\": {}}"),
                StartsWith("p.json, line 3, column 3: this is no JSON"));
    EXPECT_THAT(mistake("{} x"), StartsWith("p.json, line 1, column 4: this is no JSON"));
}

TEST(ProjectText, RefusesControlCharactersThatJsonDoesNotAllow)
{
    for (const char control : {'\0', '\x01', '\x0B', '\x1F'}) {
        try {
            parseProject("p.json", QByteArray("{\n \"na") + QByteArray(1, control) + "me\": 1}");
            ADD_FAILURE() << static_cast<int>(control);
        } catch (const Failure &failure) {
            EXPECT_STREQ(
                "p.json, line 2, column 5: this is no JSON: a control character; write it as \\u00XX",
                failure.what());
        }
    }
}

TEST(ProjectText, StaysOneLineWhereItIsQuoted)
{
    EXPECT_THAT(mistake(R"({"a\nb\u007F": 1})"), HasSubstr("'a b?'"));
    EXPECT_THAT(mistake(R"({"a\u0085\u009F\u00A0b": 1})"), HasSubstr("'a??\xC2\xA0"
                                                                     "b'"))
        << "a terminal obeys control characters above 127 too";
    EXPECT_THAT(mistakeIn(R"({"name": "a", "area": "\u0000", "address": "1"})"),
                HasSubstr("'?' is no area; areas are 0x, 1x,"))
        << "not cut at the zero";
}

TEST(ProjectText, OfANameStaysOneLine)
{
    EXPECT_EQ("a b?",
              project(R"({"name": "a\nb\u009B", "variables": [{"name": "c", "area": "4x", "address": "1"}]})")
                  .name);
}

TEST(ProjectFile, CountsColumnsInCharacters)
{
    EXPECT_THAT(mistakeIn(R"({"name": "Überdruck", "area": "5x", "address": "1"})"),
                StartsWith("p.json, line 2, column 31: '5x' is no area; areas are 0x, 1x,"));
}

TEST(ProjectFile, RefusesKeysThatItDoesNotKnow)
{
    EXPECT_EQ("p.json, line 1, column 2: 'colour' is no key of a project; keys are name, link, stations, "
              "variables, holes, nameRows",
              mistake(R"({"colour": 1})"));
    EXPECT_THAT(mistake("{\"link\": {\n \"bauds\": 1}}"),
                StartsWith("p.json, line 2, column 2: 'bauds' is no key of the link; keys are port, baud,"));
    EXPECT_THAT(mistakeIn(R"({"nam": 1})"),
                StartsWith("p.json, line 2, column 2: 'nam' is no key of a variable"));
}

TEST(ProjectFile, RefusesAKeyThatStandsTwice)
{
    EXPECT_EQ("p.json, line 3, column 1: this is no JSON: this key stands here a second time",
              mistake("{\"name\": \"a\",\n\n\"name\": \"b\"}"));
}

TEST(ProjectFile, RefusesTwoVariablesOfOneName)
{
    EXPECT_EQ("p.json, line 3, column 10: 'Speed' is the name of another variable already, in line 2; each "
              "needs its own",
              mistakeIn(std::string(kVariable) + ",\n" + kVariable));
}

struct Refused
{
    const char *text;
    const char *allowed;
};

void PrintTo(const Refused &refused, std::ostream *out)
{
    *out << refused.text;
}

class RefusedLink : public ::testing::TestWithParam<Refused>
{};

TEST_P(RefusedLink, SaysWhatIsAllowed)
{
    EXPECT_THAT(mistake(std::string("{\"link\":\n{") + GetParam().text + "}}"),
                ::testing::AllOf(StartsWith("p.json, line 2, column "), HasSubstr(GetParam().allowed)));
}

INSTANTIATE_TEST_SUITE_P(
    Values, RefusedLink,
    ::testing::Values(
        Refused{R"("port": 1)", "a path"}, Refused{R"("baud": 299)", "from 300 to 4000000"},
        Refused{R"("baud": 4000001)", "from 300 to 4000000"}, Refused{R"("baud": 300.5)", "whole number"},
        Refused{R"("baud": "9600")", "whole number"}, Refused{R"("parity": "mark")", "even, odd or none"},
        Refused{R"("stopBits": 3)", "from 1 to 2"},
        Refused{R"("rs485": "on")", "RS-485 is rts-on-send or rts-after-send"},
        Refused{R"("retryLimit": -1)", "from 0 to 100"},
        Refused{R"("replyTimeoutMs": 9)", "from 10 to 60000"},
        Refused{R"("turnaroundMs": 60001)", "from 0 to 60000"},
        Refused{R"("options": "one-based")", "a list"},
        Refused{R"("options": ["fast"])", "options are one-based, fc16-single"},
        Refused{R"("linkMode": 2)", "from 0 to 1"}, Refused{R"("maxBlock": 0)", "from 1 to 100"},
        Refused{R"("maxBlock": 101)", "from 1 to 100"}, Refused{R"("station": 248)", "from 1 to 247"},
        Refused{R"("echo": 1)", "true or false"}, Refused{R"("without": "offline")", "a list"},
        Refused{R"("without": ["speed"])", "there is no policy 'speed'"},
        Refused{R"("lateGuardMs": 60001)", "from 0 to 60000"},
        Refused{R"("offlineAfter": 0)", "from 1 to 1000"}, Refused{R"("firstTrialMs": 99)", "from 100 to"},
        Refused{R"("longestTrialMs": 99)", "from 100 to"},
        Refused{R"("longestTrialMs": 3600001)", "to 3600000"},
        Refused{R"("firstTrialMs": 20000, "longestTrialMs": 19999)",
                "firstTrialMs must not be longer than longestTrialMs"}));

class RefusedVariable : public ::testing::TestWithParam<Refused>
{};

TEST_P(RefusedVariable, SaysWhatIsAllowed)
{
    EXPECT_THAT(mistakeIn(GetParam().text),
                ::testing::AllOf(StartsWith("p.json, line 2, column "), HasSubstr(GetParam().allowed)));
}

INSTANTIATE_TEST_SUITE_P(
    Values, RefusedVariable,
    ::testing::Values(
        Refused{R"({"area": "4x", "address": "1"})", "has no 'name'"},
        Refused{R"({"name": "a", "address": "1"})", "has no 'area'"},
        Refused{R"({"name": "a", "area": "4x"})", "has no 'address'"},
        Refused{R"("4x:1")", "must be an object"},
        Refused{R"({"name": "", "area": "4x", "address": "1"})", "a name has 1 to 64"},
        Refused{R"({"name": "a=b", "area": "4x", "address": "1"})", "a name has 1 to 64"},
        Refused{R"({"name": " a", "area": "4x", "address": "1"})", "a name has 1 to 64"},
        Refused{R"({"name": "a\u007f", "area": "4x", "address": "1"})", "no control character"},
        Refused{R"({"name": "a\u009b", "area": "4x", "address": "1"})", "no control character"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "unit": "\u009b1m"})", "no control character"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "texts": {"0": "\u0085"}})",
                "no control character"},
        Refused{R"({"name": "a", "area": "2x", "address": "1"})", "areas are 0x, 1x, 3x, 4x"},
        Refused{R"({"name": "a", "area": "4x", "address": "65536"})", "from 0 to 65535"},
        Refused{R"({"name": "a", "area": "4x", "address": "-1"})", "an address is a number"},
        Refused{R"({"name": "a", "area": "4x", "address": "1:2"})", "an address is a number"},
        Refused{R"({"name": "a", "area": "4x", "address": ""})", "from 0 to 65535, but is missing"},
        Refused{R"({"name": "a", "area": "4x_bit", "address": "1"})", "REGISTER.BIT"},
        Refused{R"({"name": "a", "area": "4x_bit", "address": "1.16"})",
                "the bit must be a number from 0 to 15"},
        Refused{R"({"name": "a", "area": "4x", "address": "65530", "count": 7})", "from 1 to 6"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "count": 0})", "from 1 to 65536"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "station": 0})", "from 1 to 247"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "rate": 5})", "from 0 to 4"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "format": "f16"})", "'f16' is no format"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "format": "u16@5"})", "'u16@5' is no format"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "format": 16})", "a format, as \"f32\""},
        Refused{R"({"name": "a", "area": "0x", "address": "1", "format": "u16"})",
                "bits, which have no format"},
        Refused{R"({"name": "a", "area": "4x", "address": "65534", "count": 2, "format": "f32"})",
                "from 1 to 1"},
        Refused{R"({"name": "a", "area": "4x", "address": "65535", "format": "f32"})", "needs 2 registers"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "scale": 0})", "a scale must not be 0"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "scale": 1e-320})", "a scale must not be 0"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "scale": "2"})", "this must be a number"},
        Refused{R"({"name": "a", "area": "0x", "address": "1", "scale": 2})",
                "bits and texts have neither scale"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "format": "str4", "min": 2})",
                "bits and texts have neither scale"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "min": 2, "max": 1})", "max must not be less"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "unit": ""})", "a unit is a text of 1 to 32"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "unit": "a\u001b"})", "no control character"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "unit": " a"})", "no blank at its ends"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "description": 5})",
                "a description is a text"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "texts": {}})", "texts are an object"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "texts": ["a"]})", "texts are an object"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "format": "f32", "texts": {"1": "a"}})",
                "texts stand for bits and whole numbers"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "texts": {"65536": "a"}})",
                "value '65536' is not allowed; a register holds"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "texts": {"1,2": "a"}})",
                "more than one value"},
        Refused{R"({"name": "a", "area": "0x", "address": "1", "texts": {"2": "a"}})", "a bit is 0 or 1"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "texts": {"1": "a|b"}})", "no , = | "},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "texts": {"1": "a", "2": "a"}})",
                "'a' stands for another value already"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "texts": {"1": "a", "0x1": "b"}})",
                "the value '0x1' has a text already"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "texts": {"1": "2"}})",
                "'2' reads as another value"},
        Refused{R"({"name": "a", "area": "4x", "address": "1", "scale": 2, "texts": {"1": "1"}})",
                "'1' reads as another value"}));

/// A project with these settings of the link and one variable.
QByteArray projectOf(const char *link, const char *variable)
{
    return QByteArray("{\"link\": {") + link + "},\n\"variables\": [{\"name\": \"a\", \"address\": \"0\", " +
           variable + "}]}";
}

TEST(ProjectWithoutPacking, RefusesAVariableThatNoRequestCanHold)
{
    const struct
    {
        const char *link, *good, *bad, *reason;
    } cases[] = {
        {R"("maxBlock": 1)", R"("area": "4x", "count": 125)", R"("area": "4x", "count": 126)",
         "at most 125 registers"},
        {R"("maxBlock": 1)", R"("area": "4x_d", "count": 62)", R"("area": "4x_d", "count": 63)",
         "at most 125 registers"},
        {R"("maxBlock": 1)", R"("area": "0x", "count": 2000)", R"("area": "0x", "count": 2001)",
         "at most 2000 bits"},
        {R"("options": ["no-bit-packing"])", R"("area": "1x", "count": 2000)",
         R"("area": "1x", "count": 2001)", "at most 2000 bits"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.bad);
        EXPECT_NO_THROW(parseProject("p.json", projectOf(row.link, row.good)));
        try {
            parseProject("p.json", projectOf(row.link, row.bad));
            ADD_FAILURE() << "taken";
        } catch (const Failure &failure) {
            EXPECT_THAT(failure.what(),
                        ::testing::AllOf(StartsWith("p.json, line 2, column "), HasSubstr(row.reason)));
        }
    }
}

TEST(ProjectWithPacking, CutsLongVariables)
{
    EXPECT_NO_THROW(parseProject("p.json", projectOf(R"("maxBlock": 2)", R"("area": "4x", "count": 1000)")));
    EXPECT_NO_THROW(parseProject(
        "p.json", projectOf(R"("options": ["no-bit-packing"])", R"("area": "4x", "count": 1000)")));
}

class RefusedRow : public ::testing::TestWithParam<Refused>
{};

TEST_P(RefusedRow, SaysWhatIsAllowed)
{
    EXPECT_THAT(mistake(std::string("{\"variables\": [") + kVariable + "], \"nameRows\": [\n" +
                        GetParam().text + "]}"),
                ::testing::AllOf(StartsWith("p.json, line 2, column "), HasSubstr(GetParam().allowed)));
}

INSTANTIATE_TEST_SUITE_P(
    Values, RefusedRow,
    ::testing::Values(
        Refused{R"(["", "", "", "", "", "", "", "1", "4x1"])", "at least 10 texts"},
        Refused{R"(["", "", "", "", "", "", "", "", 1, "4x1"])", "a text"},
        Refused{R"(["", "", "", "", "", "", "", "", "5", "4x1"])", "\"1\" to \"4\""},
        Refused{R"(["", "", "", "", "", "", "", "", "1", "5x1"])", "4x_d with a number behind it"},
        Refused{R"(["", "", "", "", "", "", "", "", "1", "4xABC"])", "4x_d with a number behind it"}));

TEST(ProjectFile, NeedsAVariable)
{
    EXPECT_THAT(mistake("{}"), HasSubstr("no 'variables'"));
    EXPECT_THAT(mistake(R"({"variables": []})"),
                StartsWith("p.json, line 1, column 15: the project has no variable"));
}

TEST(ProjectFile, TakesSettingsOfSingleStations)
{
    const Project given = project(
        R"({"stations": [{"station": 5, "replyTimeoutMs": 4000, "retryLimit": 0, "pauseMs": 400}, {"station": 6}],
            "link": {"replyTimeoutMs": 300, "retryLimit": 1},
            "variables": [{"name": "a", "area": "4x", "address": "1", "station": 5},
                          {"name": "b", "area": "4x", "address": "1", "station": 6}]})");
    const auto own = given.link.rulesOf(5);
    EXPECT_EQ(std::chrono::milliseconds(4000), own.responseTimeout);
    EXPECT_EQ(0, own.retryLimit);
    EXPECT_EQ(std::chrono::milliseconds(400), own.pause);
    for (const int station : {6, 7}) {
        const auto others = given.link.rulesOf(station);
        EXPECT_EQ(std::chrono::milliseconds(300), others.responseTimeout);
        EXPECT_EQ(1, others.retryLimit);
        EXPECT_EQ(Time::zero(), others.pause);
    }
    EXPECT_THAT(projectWarnings(given), ::testing::IsEmpty());
}

class RefusedStation : public ::testing::TestWithParam<Refused>
{};

TEST_P(RefusedStation, SaysWhatIsAllowed)
{
    EXPECT_THAT(mistake(std::string("{\"stations\":\n[") + GetParam().text + "]}"),
                ::testing::AllOf(StartsWith("p.json, line 2, column "), HasSubstr(GetParam().allowed)));
}

INSTANTIATE_TEST_SUITE_P(
    Values, RefusedStation,
    ::testing::Values(Refused{R"({"replyTimeoutMs": 100})", "have no 'station', its number"},
                      Refused{R"({"station": 0})", "from 1 to 247"},
                      Refused{R"({"station": 248})", "from 1 to 247"},
                      Refused{R"({"station": 5, "replyTimeoutMs": 9})", "from 10 to 60000"},
                      Refused{R"({"station": 5, "retryLimit": 101})", "from 0 to 100"},
                      Refused{R"({"station": 5, "pauseMs": 401})", "from 0 to 400"},
                      Refused{R"({"station": 5, "baud": 9600})",
                              "no key of a station; keys are station, replyTimeoutMs, retryLimit, pauseMs"},
                      Refused{R"({"station": 5}, {"station": 5})",
                              "station 5 has settings already, in line 2"},
                      Refused{"5", "a station must be an object"}));

TEST(ProjectFile, WarnsOfSettingsOfAStationThatNoVariableIsOf)
{
    const Project given = project(
        R"({"stations": [{"station": 5}], "variables": [{"name": "a", "area": "4x", "address": "1"}]})");
    EXPECT_THAT(projectWarnings(given),
                ::testing::ElementsAre(HasSubstr("settings of station 5, which no variable is of")));
}

TEST(ProjectFile, WarnsOfPrioritiesOverARelay)
{
    const std::string variables =
        R"(, "variables": [{"name": "a", "area": "4x", "address": "1", "rate": 1}]})";
    EXPECT_THAT(projectWarnings(project(R"({"link": {"linkMode": 1})" + variables)), ::testing::SizeIs(1));
    EXPECT_THAT(projectWarnings(project(R"({"link": {"linkMode": 0})" + variables)), ::testing::IsEmpty());
}

} // namespace
