#include "host/screen/screen_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "screen_fixture.h"

namespace {

using namespace plc::host;
using plc::test::FakeSource;
using plc::test::linesOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class ScreenModelTest : public ::testing::Test
{
protected:
    ScreenModelTest() { source.line.running = std::chrono::seconds(5); }

    ScreenModel &model()
    {
        if (!made)
            made =
                std::make_unique<ScreenModel>(source, ScreenTitle{"plchost run", "/dev/ttyUSB0", "19200 8E1"},
                                              NumberStyle::Unsigned, takesOrders);
        return *made;
    }
    std::vector<std::string> at(int width, int height) { return linesOf(model().picture(width, height)); }
    std::string bottom() { return at(80, 24).back(); }
    Wish type(const std::u32string &text)
    {
        Wish wish;
        for (const char32_t character : text)
            wish = model().press(characterKey(character));
        return wish;
    }
    Wish press(Key::Kind kind) { return model().press({kind}); }
    /// Rows that show a value.
    long values(int width, int height)
    {
        const std::vector<std::string> lines = at(width, height);
        return std::count_if(lines.begin() + 1, lines.end(), [](const std::string &line) {
            return line.rfind("4x:", 0) == 0 && line.find('=') == std::string::npos;
        });
    }

    FakeSource source;
    bool takesOrders = true;
    std::unique_ptr<ScreenModel> made;
};

TEST_F(ScreenModelTest, Shows18ValuesOn24RowsAnd5On10)
{
    source.add("4x:0:100");
    model().say("something has happened");
    EXPECT_EQ(18, values(80, 24));
    EXPECT_EQ(5, values(80, 10));
    EXPECT_EQ(18, values(40, 24));
    EXPECT_EQ(5, values(40, 10));
    EXPECT_EQ(5, values(80, 7));
    EXPECT_EQ(44, values(200, 50));
}

TEST_F(ScreenModelTest, HasHelpThatIsCutAtNoWidth)
{
    source.add("4x:0:100");
    model().press(characterKey(U'?'));
    for (const int width : {40, 59, 60, 80, 200}) {
        std::string help;
        for (const std::string &line : at(width, 100)) {
            EXPECT_EQ(std::string::npos, line.find("…")) << width << ": " << line;
            help += line.substr(std::min(line.find_first_not_of(' '), line.size())) + " ";
        }
        for (const char *text : {"/ TEXT Enter", "n next, N", "NAME = VALUE[,VALUE...]", "closes the line"})
            EXPECT_THAT(help, HasSubstr(text)) << width;
    }
}

TEST_F(ScreenModelTest, GivesUpOtherRowsBeforeValues)
{
    source.add("4x:0:100");
    model().say("something has happened");
    const auto has = [&](int height, const char *text) {
        const std::vector<std::string> lines = at(80, height);
        return std::count_if(lines.begin() + 1, lines.end(), [&](const std::string &line) {
                   return line.find(text) != std::string::npos;
               }) > 0;
    };
    EXPECT_TRUE(has(10, "something has happened"));
    EXPECT_FALSE(has(9, "something has happened"));
    EXPECT_TRUE(has(9, "4x:0 = 0"));
    EXPECT_FALSE(has(8, "4x:0 = 0"));
    EXPECT_TRUE(has(8, "address"));
    EXPECT_FALSE(has(7, "address"));
    EXPECT_TRUE(has(4, "q quit"));
    EXPECT_FALSE(has(3, "q quit"));
    EXPECT_EQ(2, values(80, 3));
}

TEST_F(ScreenModelTest, DrawsEverySizeInEveryView)
{
    source.add("4x:0:100", "\xE6\xB8\xA9\xE5\xBA\xA6 Gr\xC3\xB6\xC3\x9F"
                           "e");
    source.fail(0, "no answer", "no answer from station 1 after 3 attempts; check station number and wiring");
    source.line.stations.resize(40);
    for (const char32_t view : U"vbstm?:/") {
        if (view != 0)
            type(std::u32string(1, view));
        for (const int height : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 24, 50}) {
            for (const int width : {1, 2, 3, 7, 9, 10, 13, 20, 27, 30, 39, 40, 59, 60, 80, 131, 200}) {
                const Picture picture = model().picture(width, height);
                EXPECT_EQ(width, picture.width());
                if (picture.cursor) {
                    EXPECT_LT(picture.cursor->first, height);
                    EXPECT_LT(picture.cursor->second, width);
                }
            }
        }
    }
}

TEST_F(ScreenModelTest, HasTheLineAboveAndTheKeysBelow)
{
    source.add("4x:0:100");
    const std::vector<std::string> lines = at(80, 24);
    EXPECT_THAT(lines[0], HasSubstr("19200 8E1  scan -"));
    EXPECT_THAT(lines[1], StartsWith("address "));
    EXPECT_THAT(lines[23], StartsWith("q quit  ? help"));
    EXPECT_THAT(lines[23], EndsWith("1-18 of 100"));
}

TEST_F(ScreenModelTest, ShowsTheNewestMessageWithItsTime)
{
    source.add("4x:0");
    model().say("station 5 is offline");
    source.line.running = std::chrono::seconds(65);
    model().say("station 5 is back");
    EXPECT_EQ("1:05  station 5 is back", at(80, 24)[22]);
    type(U"m");
    EXPECT_EQ("0:05  station 5 is offline", at(80, 24)[2]);
    EXPECT_EQ("1:05  station 5 is back", at(80, 24)[3]);
}

TEST_F(ScreenModelTest, TellsTheReasonOfTheChosenValue)
{
    source.add("4x:0");
    source.fail(0, "no answer",
                "no answer from station 1 after 3 attempts of 1 s; check station number, wiring, "
                "baud rate and parity");
    const std::vector<std::string> lines = at(80, 24);
    EXPECT_EQ("4x:0 = 0, no answer, 12 ms old: no answer from station 1 after 3 attempts of 1", lines[20]);
    EXPECT_EQ("s; check station number, wiring, baud rate and parity", lines[21]);
    EXPECT_EQ(Health::Bad, model().picture(80, 24).at(20, 0).style.health);
}

TEST_F(ScreenModelTest, EndsWithQ)
{
    EXPECT_EQ(Wish::Kind::Quit, type(U"q").kind);
}

TEST_F(ScreenModelTest, TakesOrdersInALine)
{
    source.add("4x:0", "Speed");
    EXPECT_FALSE(model().picture(80, 24).cursor);
    EXPECT_EQ(Wish::Kind::Nothing, type(U":").kind);
    EXPECT_EQ(Wish::Kind::Nothing, type(U"Speed = 5q").kind) << "q is a letter here";
    EXPECT_EQ(": Speed = 5q", bottom());
    EXPECT_EQ(std::make_pair(23, 12), model().picture(80, 24).cursor.value());
    press(Key::Kind::Backspace);
    const Wish wish = press(Key::Kind::Enter);
    EXPECT_EQ(Wish::Kind::Order, wish.kind);
    EXPECT_EQ("Speed = 5", wish.text);
    EXPECT_THAT(bottom(), StartsWith("q quit"));
    press(Key::Kind::Enter);
    press(Key::Kind::Up);
    EXPECT_EQ(": Speed = 5", bottom());
}

TEST_F(ScreenModelTest, BeginsAnOrderWithTheNameOfTheChosenValue)
{
    source.add("4x:0", "Speed");
    source.add("4x:1", "Pressure");
    at(80, 24);
    press(Key::Kind::Down);
    type(U"=7");
    EXPECT_EQ(": Pressure = 7", bottom());
    EXPECT_EQ("Pressure = 7", press(Key::Kind::Enter).text);
}

TEST_F(ScreenModelTest, LeavesTheLineWithEscapeAndWithBackspaceInAnEmptyOne)
{
    type(U":abc");
    EXPECT_EQ(Wish::Kind::Nothing, press(Key::Kind::Escape).kind);
    EXPECT_THAT(bottom(), StartsWith("q quit"));
    type(U":");
    press(Key::Kind::Backspace);
    EXPECT_EQ(Wish::Kind::Quit, type(U"q").kind);
    type(U":");
    EXPECT_EQ(Wish::Kind::Nothing, press(Key::Kind::Enter).kind) << "an empty order is none";
}

TEST_F(ScreenModelTest, ShowsTheEndOfALongOrder)
{
    type(U":" + std::u32string(100, U'a') + U"z");
    const std::string line = at(40, 10).back();
    EXPECT_EQ(39u, line.size());
    EXPECT_THAT(line, EndsWith("az"));
    EXPECT_EQ(39, model().picture(40, 10).cursor->second);
}

TEST_F(ScreenModelTest, TakesNoOrdersWhereItOnlyReads)
{
    takesOrders = false;
    source.add("4x:0");
    type(U":");
    EXPECT_FALSE(model().picture(80, 24).cursor);
    EXPECT_THAT(at(80, 24)[22], HasSubstr("watch only reads"));
    EXPECT_THAT(bottom(), Not(HasSubstr("order")));
    type(U"?");
    EXPECT_THAT(at(80, 40), Each(Not(HasSubstr("NAME = VALUE"))));
}

TEST_F(ScreenModelTest, FindsWhatIsTyped)
{
    source.add("4x:0:100");
    at(80, 24);
    type(U"/4x:77");
    press(Key::Kind::Enter);
    EXPECT_THAT(at(80, 24)[20], StartsWith("4x:77 = "));
    type(U"/4x:9");
    press(Key::Kind::Enter);
    EXPECT_THAT(at(80, 24)[20], StartsWith("4x:90 = "));
    type(U"n");
    EXPECT_THAT(at(80, 24)[20], StartsWith("4x:91 = "));
    type(U"NN");
    EXPECT_THAT(at(80, 24)[20], StartsWith("4x:9 = "));
    type(U"/zzz");
    press(Key::Kind::Enter);
    EXPECT_THAT(at(80, 24)[22], HasSubstr("'zzz' is in no name"));
}

TEST_F(ScreenModelTest, AsksForTheTraceWhenItIsLookedAt)
{
    EXPECT_EQ(Wish::Kind::Trace, type(U"t").kind);
    model().trace("-> 01 03");
    EXPECT_EQ("trace", at(80, 24)[1]);
    EXPECT_EQ("-> 01 03", at(80, 24)[2]);
    EXPECT_EQ(Wish::Kind::Nothing, type(U"t").kind) << "back to the values";
    EXPECT_THAT(at(80, 24)[1], StartsWith("address"));
}

TEST_F(ScreenModelTest, ShowsStationsAndComesBackWithEscape)
{
    source.add("4x:0:100");
    source.line.stations.resize(3);
    type(U"s");
    EXPECT_THAT(at(80, 24)[1], StartsWith("station "));
    EXPECT_THAT(bottom(), EndsWith("1-3 of 3 stations"));
    press(Key::Kind::Escape);
    EXPECT_THAT(at(80, 24)[1], StartsWith("address "));
}

TEST_F(ScreenModelTest, HasHelpWithEveryKey)
{
    type(U"?");
    const std::vector<std::string> lines = at(80, 40);
    EXPECT_EQ("help", lines[1]);
    for (const char *key :
         {"/ TEXT", "b   ", "v   ", "s   ", "t   ", "m   ", "Esc", "q, Ctrl-C", ": or Enter", "=   "})
        EXPECT_THAT(lines, Contains(StartsWith(key))) << key;
    for (const std::string &line : lines)
        EXPECT_LE(line.size(), 80u);
    press(Key::Kind::Help);
    EXPECT_THAT(at(80, 24)[1], StartsWith("address"));
}

TEST_F(ScreenModelTest, TurnsToAPageThatAnOrderNames)
{
    source.add("4x:0:100");
    at(80, 24);
    type(U"s");
    model().showPage(2);
    EXPECT_THAT(at(80, 24)[2], StartsWith("4x:18 "));
    model().showPage(0);
    EXPECT_THAT(at(80, 24)[2], StartsWith("4x:36 "));
}

TEST_F(ScreenModelTest, LeavesTheValuesThatWereToBeSeen)
{
    source.add("4x:0:100");
    at(80, 24);
    press(Key::Kind::PageDown);
    const std::vector<std::string> lines = model().lastValues(80, 24);
    ASSERT_EQ(19u, lines.size());
    EXPECT_THAT(lines[0], StartsWith("address"));
    EXPECT_THAT(lines[1], StartsWith("4x:18 "));
}

} // namespace
