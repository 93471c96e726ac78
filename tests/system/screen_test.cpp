// The screen of plchost watch and run, as it stands on a terminal.

#include <csignal>
#include <fstream>
#include <sstream>

#include "screen_terminal.h"

namespace {

using namespace plc::test;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

using Size = ScreenTerminal::Size;

constexpr int kRed = 1;

class Screen : public ::testing::Test
{
protected:
    void serve(const Words &arguments) { station = startStation(arguments); }
    ScreenTerminal &open(const Words &words, Size size, const Words &environment = {},
                         const std::string &errors = "")
    {
        terminal = std::make_unique<ScreenTerminal>(words, size, environment, errors);
        return *terminal;
    }
    ScreenTerminal &watch(const Words &arguments, Size size = {80, 24}, const Words &environment = {},
                          const std::string &errors = "")
    {
        return open(Words{"watch", "-p", station->terminal(), "-o", "60"} + arguments, size, environment,
                    errors);
    }
    ScreenTerminal &run(const std::string &project, Size size = {80, 24}, const Words &more = {})
    {
        file = std::make_unique<TemporaryFile>(project);
        return open(Words{"run", file->path(), "-p", station->terminal()} + more, size);
    }
    void expectRestored() const
    {
        EXPECT_FALSE(terminal->hasOwnScreen());
        EXPECT_TRUE(terminal->isCursorVisible());
        EXPECT_TRUE(terminal->isModeRestored());
    }

    std::unique_ptr<Server> station;
    std::unique_ptr<TemporaryFile> file;
    std::unique_ptr<ScreenTerminal> terminal;
};

const char *const kProject = R"({"link": {"replyTimeoutMs": 60000}, "variables": [
    {"name": "Größe", "area": "4x", "address": "10", "unit": "mm", "description": "Length of the part"},
    {"name": "温度", "area": "4x", "address": "11"},
    {"name": "Speed", "area": "4x", "address": "12"}]})";

class ScreenOfWidth : public Screen, public ::testing::WithParamInterface<int>
{};

TEST_P(ScreenOfWidth, HasAddressValueAndStateInEachRow)
{
    serve({"--size", "1000"});
    ScreenTerminal &shown = watch({"4x:100:30", "4x:1000"}, {GetParam(), 24});
    ASSERT_TRUE(shown.await([&] { return shown.row(19).find("good") != std::string::npos; }));
    EXPECT_TRUE(shown.hasOwnScreen());
    EXPECT_FALSE(shown.isCursorVisible());
    EXPECT_THAT(shown.row(0), HasSubstr("19200 8E1"));
    EXPECT_THAT(shown.row(0), HasSubstr("/s"));
    EXPECT_THAT(shown.row(0), HasSubstr("err"));
    EXPECT_THAT(shown.row(1), AllOf(StartsWith("address "), HasSubstr(" value "), HasSubstr(" state")));
    for (int row = 2; row < 20; ++row)
        EXPECT_THAT(shown.row(row), AllOf(StartsWith("4x:" + std::to_string(98 + row) + " "),
                                          HasSubstr(" 0 "), HasSubstr(" good")));
    EXPECT_THAT(shown.row(23), EndsWith("1-18 of 31"));
    shown.type("q");
    EXPECT_EQ(6, shown.end());
    expectRestored();
}

INSTANTIATE_TEST_SUITE_P(Widths, ScreenOfWidth, ::testing::Values(40, 80, 200));

TEST_F(Screen, FollowsTheWindow)
{
    serve({});
    ScreenTerminal &shown = watch({"4x:100:30"}, {80, 24});
    ASSERT_TRUE(shown.shows("4x:100 = 0, good"));
    ASSERT_TRUE(shown.shows("1-18 of 30"));
    shown.resize({40, 10});
    ASSERT_TRUE(shown.await([&] { return shown.row(9).find("1-5 of 30") != std::string::npos; }));
    EXPECT_THAT(shown.row(0), StartsWith("19200 8E1 "));
    EXPECT_THAT(shown.row(6), StartsWith("4x:104 "));
    shown.resize({200, 40});
    ASSERT_TRUE(shown.await([&] { return shown.row(39).find("1-30 of 30") != std::string::npos; }));
    EXPECT_THAT(shown.row(0), StartsWith("plchost watch  "));
    shown.resize({3, 2});
    shown.resize({80, 24});
    ASSERT_TRUE(shown.await([&] { return shown.row(23).find("1-18 of 30") != std::string::npos; }));
    shown.type("q");
    EXPECT_EQ(0, shown.end());
    expectRestored();
}

TEST_F(Screen, OfARunShowsNamesInTheirColumnsWhateverTheLanguage)
{
    serve({});
    ScreenTerminal &shown = run(kProject, {100, 24});
    ASSERT_TRUE(shown.await([&] { return shown.row(4).find("good") != std::string::npos; }));
    EXPECT_THAT(shown.row(2), MatchesRegex("Größe +4x:10 +0 +mm +0000 +[0-9]+ ms +good +Length of the part"));
    EXPECT_THAT(shown.row(3), StartsWith("温度 "));
    const int column = shown.columnOf(2, "4x:10");
    EXPECT_EQ(column, shown.columnOf(3, "4x:11"));
    EXPECT_EQ(column, shown.columnOf(4, "4x:12"));
    shown.type("q");
    EXPECT_EQ(0, shown.end());
}

// The user's language may be none: texts of this program are UTF-8 all the same.
TEST_F(Screen, ShowsThemAlsoWhereNoLanguageIsSet)
{
    serve({});
    file = std::make_unique<TemporaryFile>(kProject);
    ScreenTerminal &shown = open({"run", file->path(), "-p", station->terminal()}, {80, 24}, {"LC_ALL=C"});
    EXPECT_TRUE(shown.shows("Größe"));
    EXPECT_TRUE(shown.shows("温度"));
}

TEST_F(Screen, ColoursOnlyWhatIsBad)
{
    serve({"--size", "1000"});
    ScreenTerminal &shown = watch({"4x:100", "4x:1000", "4x:101"});
    ASSERT_TRUE(shown.await([&] { return shown.rowOf("good") == 2 && shown.rowOf("refused") == 3; }));
    EXPECT_EQ(kRed, shown.cell(3, shown.columnOf(3, "refused")).colour);
    EXPECT_EQ(-1, shown.cell(3, 0).colour);
    for (int column = 0; column < 80; ++column) {
        for (const int row : {0, 1, 2, 4, 23})
            EXPECT_EQ(-1, shown.cell(row, column).colour) << "row " << row << ", column " << column;
    }
}

TEST_F(Screen, HasNoColourWithNoColor)
{
    serve({"--size", "1000"});
    ScreenTerminal &shown = watch({"4x:100", "4x:1000"}, {80, 24}, {"NO_COLOR=1"});
    ASSERT_TRUE(shown.await([&] { return shown.rowOf("refused") == 3; }));
    const ScreenCell cell = shown.cell(3, shown.columnOf(3, "refused"));
    EXPECT_EQ(-1, cell.colour);
    EXPECT_TRUE(cell.isBold);
    EXPECT_THAT(shown.output(), Not(HasSubstr("\x1b[31")));
}

TEST_F(Screen, FindsAndShowsOnlyWhatIsBad)
{
    serve({"--size", "1000"});
    ScreenTerminal &shown = watch({"4x:100:60", "4x:1000:2"});
    ASSERT_TRUE(shown.shows("1-18 of 62"));
    shown.type("/4x:155\r");
    ASSERT_TRUE(shown.shows("4x:155 = 0, good"));
    shown.type("b");
    ASSERT_TRUE(shown.shows("1-2 of 2 not good"));
    EXPECT_THAT(shown.row(2), StartsWith("4x:1000 "));
    ASSERT_TRUE(shown.shows("station 1 refused with exception"));
    shown.type("b\x1b[H");
    ASSERT_TRUE(shown.shows("1-18 of 62"));
    shown.type("\x1b[6~");
    ASSERT_TRUE(shown.shows("19-36 of 62"));
}

TEST_F(Screen, TellsOfStationsAndTracesFrames)
{
    serve({});
    ScreenTerminal &shown = watch({"4x:100"});
    ASSERT_TRUE(shown.shows("good"));
    shown.type("s");
    ASSERT_TRUE(shown.shows("station   replies  errors  time-outs     bad      p50      p99  state"));
    ASSERT_TRUE(shown.await([&] {
        return ::testing::Matches(MatchesRegex(" +1 +[0-9]+ +0 +0 +0 +[0-9.]+ m?s +[0-9.]+ m?s  on"))(
            shown.row(2));
    })) << shown.row(2);
    shown.type("t");
    ASSERT_TRUE(shown.shows(" -> 01 03 00 64 00 01 C5 D5"));
    EXPECT_THAT(shown.row(2), MatchesRegex("[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}  [0-9]+\\.[0-9]{6} .*"));
    ASSERT_TRUE(shown.shows(" <- 01 03 02 00 00 B8 44"));
    shown.type("?");
    ASSERT_TRUE(shown.shows("/ TEXT Enter"));
    shown.type("\x1b");
    ASSERT_TRUE(shown.shows("4x:100 = 0, good"));
}

TEST_F(Screen, OfARunTakesOrders)
{
    serve({});
    ScreenTerminal &shown = run(kProject);
    ASSERT_TRUE(shown.shows("good"));
    shown.type(":Speed = 1234");
    ASSERT_TRUE(shown.shows(": Speed = 1234"));
    EXPECT_TRUE(shown.isCursorVisible());
    shown.type("\r");
    ASSERT_TRUE(shown.shows("write Speed = 1234: done"));
    ASSERT_TRUE(shown.await([&] { return shown.row(4).find(" 1234 ") != std::string::npos; }));
    shown.type(":nonsense\r");
    ASSERT_TRUE(shown.shows("order 2: 'nonsense' is not understood"));
    shown.type(":station 1 off\r");
    ASSERT_TRUE(shown.shows("switched off"));
    shown.type(":quit\r");
    EXPECT_EQ(6, shown.end()) << "a write was done, and a line was not understood";
    expectRestored();
    EXPECT_THAT(shown.output(), HasSubstr("\nwrite Speed = 1234: done\r\n"));
    EXPECT_THAT(shown.output(), HasSubstr("\nplchost: order 2: 'nonsense' is not understood;"));
    EXPECT_THAT(shown.output(), HasSubstr("full scans "));
}

TEST_F(Screen, LeavesTheLastValuesAndTheStatistics)
{
    serve({"--size", "1000"});
    ScreenTerminal &shown = watch({"4x:100", "4x:1000"});
    ASSERT_TRUE(shown.await([&] { return shown.rowOf("good") == 2 && shown.rowOf("refused") == 3; }));
    shown.type("q");
    EXPECT_EQ(6, shown.end());
    EXPECT_THAT(shown.row(0), StartsWith("address "));
    EXPECT_THAT(shown.row(1), MatchesRegex("4x:100 +0 +0000 +[0-9]+ ms +good"));
    EXPECT_THAT(shown.row(2), StartsWith("4x:1000 "));
    EXPECT_THAT(shown.row(3), StartsWith("requests "));
    EXPECT_THAT(shown.screen(), HasSubstr("requests per second over "));
    EXPECT_THAT(shown.screen(), HasSubstr("plchost: 4x:1000: station 1 refused with exception 02"));
}

class ScreenAndSignal : public Screen, public ::testing::WithParamInterface<int>
{};

TEST_P(ScreenAndSignal, EndsWithItsStatisticsAndTheTerminalAsItWas)
{
    serve({});
    ScreenTerminal &shown = watch({"4x:100"});
    ASSERT_TRUE(shown.shows("4x:100 = 0, good"));
    shown.signal(GetParam());
    EXPECT_EQ(0, shown.end());
    expectRestored();
    EXPECT_THAT(shown.screen(), HasSubstr("requests per second over "));
}

INSTANTIATE_TEST_SUITE_P(Polite, ScreenAndSignal, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

class ScreenAndDeath : public Screen, public ::testing::WithParamInterface<int>
{};

TEST_P(ScreenAndDeath, LeavesTheTerminalAsItWas)
{
    serve({});
    ScreenTerminal &shown = watch({"4x:100"});
    ASSERT_TRUE(shown.shows("4x:100 = 0, good"));
    shown.signal(GetParam());
    EXPECT_EQ(128 + GetParam(), shown.end());
    expectRestored();
}

INSTANTIATE_TEST_SUITE_P(Rude, ScreenAndDeath, ::testing::Values(SIGQUIT, SIGABRT, SIGXCPU, SIGALRM));

// A terminal that is stopped holds the program up, so that the first interruption is not the end.
TEST_F(Screen, IsGivenBackBeforeASecondInterruptionEndsTheProgram)
{
    serve({});
    ScreenTerminal &shown = watch({"4x:100"});
    ASSERT_TRUE(shown.shows("4x:100 = 0, good"));
    shown.type("\x13");
    std::optional<int> code;
    for (int i = 0; i < 6000 && !code; ++i) {
        shown.signal(SIGINT);
        code = shown.endWithin(20);
    }
    EXPECT_EQ(128 + SIGINT, code);
    expectRestored();
}

TEST_F(Screen, WaitsForTheWritesThatAreOpen)
{
    serve({});
    ScreenTerminal &shown = run(kProject, {80, 24});
    ASSERT_TRUE(shown.shows("good"));
    // The station holds its tongue, so that the write and with it the end of the run wait for it.
    station->process().signal(SIGSTOP);
    shown.type(":Speed = 1\r");
    ASSERT_TRUE(shown.await([&] { return shown.row(4).find(" writing 1") != std::string::npos; }));
    shown.type(":quit\r");
    ASSERT_TRUE(shown.shows("writes have not ended yet; Ctrl-C gives them up"));
    shown.type("\x03");
    EXPECT_TRUE(shown.end());
    expectRestored();
    EXPECT_THAT(shown.output(), HasSubstr("write Speed = 1: failed: "));
}

TEST_F(Screen, EndsWithControlC)
{
    serve({});
    ScreenTerminal &shown = watch({"4x:100"});
    ASSERT_TRUE(shown.shows("4x:100 = 0, good"));
    shown.type("\x03");
    EXPECT_EQ(0, shown.end());
    expectRestored();
}

TEST_F(Screen, ShowsMessagesAndPrintsThemWhenItHasEnded)
{
    serve({});
    ScreenTerminal &shown = open({"watch", "-p", station->terminal(), "4x:100", "4x:100@9", "-o", "0.1",
                                  "--retries", "0", "--offline-after", "1"},
                                 {80, 24});
    ASSERT_TRUE(shown.shows("station 9 is offline after 1 failure"));
    EXPECT_TRUE(shown.hasOwnScreen());
    EXPECT_THAT(shown.row(0), HasSubstr("19200 8E1")) << "nothing is torn";
    EXPECT_THAT(shown.row(1), StartsWith("address "));
    EXPECT_THAT(shown.output(), Not(HasSubstr("plchost: station 9")));
    shown.type("q");
    EXPECT_EQ(6, shown.end());
    EXPECT_THAT(shown.output(), HasSubstr("\nplchost: station 9 is offline after 1 failure"));
}

TEST_F(Screen, SendsMessagesAndTheTraceToAFileAtOnce)
{
    serve({});
    const TemporaryFile errors("");
    ScreenTerminal &shown = open({"watch", "-p", station->terminal(), "4x:100@9", "-o", "0.1", "--retries",
                                  "0", "--offline-after", "1", "-v"},
                                 {80, 24}, {}, errors.path());
    ASSERT_TRUE(shown.shows("station 9 is offline after 1 failure"));
    shown.type("t");
    ASSERT_TRUE(shown.shows(" -> 09 03 00 64 00 01 "));
    std::stringstream told;
    told << std::ifstream(errors.path()).rdbuf();
    EXPECT_THAT(told.str(), HasSubstr(" -> 09 03 00 64 00 01 "));
    EXPECT_THAT(told.str(), HasSubstr("\nplchost: station 9 is offline after 1 failure"));
    shown.type("q");
    EXPECT_EQ(2, shown.end());
    EXPECT_THAT(shown.output(), Not(HasSubstr("requests per second over")));
    EXPECT_THAT(shown.output(), Not(HasSubstr("plchost: station 9")));
}

TEST_F(Screen, IsGivenBackWhenThePortGoes)
{
    serve({});
    ScreenTerminal &shown = watch({"4x:100", "--no-reopen"});
    ASSERT_TRUE(shown.shows("4x:100 = 0, good"));
    station->process().signal(SIGKILL);
    EXPECT_EQ(5, shown.end());
    expectRestored();
    EXPECT_THAT(shown.screen(), HasSubstr("plchost: "));
}

TEST_F(Screen, SaysThatThePortIsLostWhileItIsLookedFor)
{
    serve({});
    ScreenTerminal &shown = watch({"4x:100"});
    ASSERT_TRUE(shown.shows("4x:100 = 0, good"));
    station->process().signal(SIGKILL);
    ASSERT_TRUE(shown.shows("PORT LOST"));
    ASSERT_TRUE(shown.shows("port lost"));
    shown.type("q");
    EXPECT_EQ(5, shown.end());
    expectRestored();
}

TEST_F(Screen, IsNotTakenWhereThePortCannotBeOpened)
{
    ScreenTerminal &shown = open({"watch", "-p", "/nowhere", "4x:100"}, {80, 24});
    EXPECT_EQ(5, shown.end());
    EXPECT_THAT(shown.output(), Not(HasSubstr("\x1b[")));
}

class LinesInstead : public Screen, public ::testing::WithParamInterface<std::pair<Words, Words>>
{};

TEST_P(LinesInstead, StandOnATerminalThatIsToHaveNoScreen)
{
    serve({});
    const auto &[options, environment] = GetParam();
    ScreenTerminal &shown = watch(Words{"4x:100"} + options, {80, 24}, environment);
    ASSERT_TRUE(shown.shows("  4x:100 = 0  (good, "));
    EXPECT_THAT(shown.output(), Not(HasSubstr("\x1b")));
    shown.signal(SIGINT);
    EXPECT_EQ(0, shown.end());
}

INSTANTIATE_TEST_SUITE_P(Reasons, LinesInstead,
                         ::testing::Values(std::make_pair(Words{"--plain"}, Words{}),
                                           std::make_pair(Words{"-q"}, Words{}),
                                           std::make_pair(Words{"-1"}, Words{}),
                                           std::make_pair(Words{}, Words{"TERM=dumb"}),
                                           std::make_pair(Words{}, Words{"TERM=nobody-knows-it"}),
                                           std::make_pair(Words{}, Words{"TERM="})));

class LinesOfWidth : public Screen, public ::testing::WithParamInterface<int>
{
protected:
    /// Ends the run, whose statistics then stand on the terminal without a word that is broken.
    void expectStatistics(ScreenTerminal &shown, int columns)
    {
        shown.type("quit\n");
        EXPECT_EQ(0, shown.end());
        const std::string output = shown.output();
        const std::size_t from = output.find("requests ");
        ASSERT_NE(std::string::npos, from);
        std::istringstream lines(output.substr(from));
        std::string words;
        for (std::string line; std::getline(lines, line, '\r');) {
            line.erase(0, line.find_first_not_of('\n'));
            EXPECT_LE(line.size(), static_cast<std::size_t>(columns)) << line;
            words += line + " ";
        }
        EXPECT_THAT(words, HasSubstr("time-outs 0,"));
        EXPECT_THAT(words, HasSubstr("full scans "));
    }
};

TEST_P(LinesOfWidth, OfARunAreWholeAndTakeOrders)
{
    serve({});
    ScreenTerminal &shown = run(kProject, {GetParam(), 24}, {"--plain", "--every", "0.2"});
    ASSERT_TRUE(shown.shows("Speed = 0"));
    shown.type("Speed = 5\n");
    ASSERT_TRUE(shown.shows("write Speed = 5: done"));
    EXPECT_THAT(shown.output(), Not(HasSubstr("\x1b")));
    expectStatistics(shown, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Widths, LinesOfWidth, ::testing::Values(40, 80, 200));

TEST_P(LinesOfWidth, GoOnWhileTheWindowIsResized)
{
    serve({});
    ScreenTerminal &shown = run(kProject, {120, 24}, {"--plain", "--every", "0.2"});
    ASSERT_TRUE(shown.shows("Speed = 0"));
    for (int i = 0; i < 20; ++i)
        shown.resize({10 + 7 * i, 3 + i});
    shown.resize({GetParam(), 24});
    shown.type("Speed = 5\n");
    ASSERT_TRUE(shown.shows("write Speed = 5: done"));
    expectStatistics(shown, GetParam());
}

class ScreenOfARunOfWidth : public Screen, public ::testing::WithParamInterface<int>
{};

TEST_P(ScreenOfARunOfWidth, HasNameValueAndStateInEachRow)
{
    serve({});
    std::string variables;
    for (int i = 100; i < 130; ++i)
        variables += std::string(i > 100 ? "," : "") + R"({"name": "N)" + std::to_string(i) +
                     R"(", "area": "4x", "address": ")" + std::to_string(i) + R"("})";
    ScreenTerminal &shown =
        run(R"({"link": {"replyTimeoutMs": 60000}, "variables": [)" + variables + "]}", {GetParam(), 24});
    ASSERT_TRUE(shown.await([&] { return shown.row(19).find("good") != std::string::npos; }));
    EXPECT_THAT(shown.row(1), AllOf(StartsWith("name "), HasSubstr(" value "), HasSubstr(" state")));
    for (int row = 2; row < 20; ++row)
        EXPECT_THAT(shown.row(row), AllOf(StartsWith("N" + std::to_string(98 + row) + " "), HasSubstr(" 0 "),
                                          HasSubstr(" good")));
    EXPECT_THAT(shown.row(23), EndsWith("1-18 of 30"));
    shown.resize({80, 10});
    ASSERT_TRUE(shown.await([&] { return shown.row(9).find("1-5 of 30") != std::string::npos; }));
    shown.type("q");
    EXPECT_EQ(0, shown.end());
    expectRestored();
}

INSTANTIATE_TEST_SUITE_P(Widths, ScreenOfARunOfWidth, ::testing::Values(40, 80, 200));

} // namespace
