#include "host/screen/text_view.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "screen_fixture.h"

namespace {

using namespace plc::host;
using ::testing::ElementsAre;

class TextViewTest : public ::testing::Test
{
protected:
    TextViewTest() : view(10) { plc::test::takeUtf8(); }

    void add(int count)
    {
        for (int i = 0; i < count; ++i)
            view.add("line " + std::to_string(++added));
    }
    std::vector<std::string> shown(int rows = 3)
    {
        Picture picture(20, rows);
        view.draw(&picture, 0, rows);
        return plc::test::linesOf(picture);
    }
    void press(Key::Kind kind) { EXPECT_TRUE(view.press({kind})); }

    TextView view;
    int added = 0;
};

TEST_F(TextViewTest, ShowsTheNewestLines)
{
    EXPECT_THAT(shown(), ElementsAre("", "", ""));
    EXPECT_EQ("nothing yet", view.position());
    add(2);
    EXPECT_THAT(shown(), ElementsAre("line 1", "line 2", ""));
    add(3);
    EXPECT_THAT(shown(), ElementsAre("line 3", "line 4", "line 5"));
    EXPECT_EQ("newest of 5", view.position());
}

TEST_F(TextViewTest, StandsStillWhileSomebodyLooksBack)
{
    add(5);
    shown();
    press(Key::Kind::Up);
    EXPECT_THAT(shown(), ElementsAre("line 2", "line 3", "line 4"));
    EXPECT_EQ("2-4 of 5", view.position());
    add(3);
    EXPECT_THAT(shown(), ElementsAre("line 2", "line 3", "line 4"));
    press(Key::Kind::End);
    EXPECT_THAT(shown(), ElementsAre("line 6", "line 7", "line 8"));
    add(1);
    EXPECT_THAT(shown(), ElementsAre("line 7", "line 8", "line 9"));
}

TEST_F(TextViewTest, FollowsAgainOnceTheNewestLineIsReached)
{
    add(5);
    shown();
    press(Key::Kind::PageUp);
    EXPECT_THAT(shown(), ElementsAre("line 1", "line 2", "line 3"));
    press(Key::Kind::PageDown);
    add(1);
    EXPECT_THAT(shown(), ElementsAre("line 4", "line 5", "line 6"));
}

TEST_F(TextViewTest, DropsTheOldestLines)
{
    add(25);
    shown();
    press(Key::Kind::Home);
    EXPECT_THAT(shown(), ElementsAre("line 16", "line 17", "line 18"));
    add(5);
    EXPECT_THAT(shown(), ElementsAre("line 21", "line 22", "line 23")) << "those that it showed are gone";
    EXPECT_EQ(20, view.dropped());
}

TEST_F(TextViewTest, ShowsTheRestOfLongLinesToTheRight)
{
    view.add("0123456789012345678901234567890123456789");
    EXPECT_THAT(shown(1), ElementsAre("0123456789012345678\xE2\x80\xA6"));
    press(Key::Kind::Right);
    EXPECT_THAT(shown(1), ElementsAre("01234567890123456789"));
    press(Key::Kind::Left);
    press(Key::Kind::Left);
    EXPECT_THAT(shown(1), ElementsAre("0123456789012345678\xE2\x80\xA6"));
}

TEST_F(TextViewTest, PassesOtherKeysOn)
{
    EXPECT_FALSE(view.press({Key::Kind::Enter}));
    EXPECT_FALSE(view.press(characterKey(U'x')));
}

} // namespace
