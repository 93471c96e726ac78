#include "host/screen/picture.h"

#include <gtest/gtest.h>

#include "screen_fixture.h"

namespace {

using namespace plc::host;

class PictureTest : public ::testing::Test
{
protected:
    PictureTest() { plc::test::takeUtf8(); }
};

TEST_F(PictureTest, IsBlankAtFirst)
{
    const Picture picture(3, 2);
    EXPECT_EQ("", picture.line(0));
    EXPECT_EQ(" ", picture.at(1, 2).text);
    EXPECT_FALSE(picture.cursor);
}

TEST_F(PictureTest, KeepsAWideCharacterInTwoCells)
{
    Picture picture(6, 1);
    EXPECT_EQ(4, picture.put(0, 1, "\xE6\xB8\xA9x"));
    EXPECT_EQ("\xE6\xB8\xA9", picture.at(0, 1).text);
    EXPECT_EQ("", picture.at(0, 2).text);
    EXPECT_EQ("x", picture.at(0, 3).text);
    EXPECT_EQ(" \xE6\xB8\xA9x", picture.line(0));
}

TEST_F(PictureTest, LeavesOutWhatLiesOutside)
{
    Picture picture(3, 1);
    EXPECT_EQ(4, picture.put(0, -1, "abcde"));
    EXPECT_EQ("bcd", picture.line(0));
    picture.put(1, 0, "below");
    picture.put(-1, 0, "above");
    EXPECT_EQ("bcd", picture.line(0));
}

TEST_F(PictureTest, ShowsNoHalfOfAWideCharacter)
{
    Picture picture(3, 1);
    picture.put(0, 0, "ab\xE6\xB8\xA9");
    EXPECT_EQ("ab", picture.line(0));
    picture.put(0, -1, "\xE6\xB8\xA9");
    EXPECT_EQ("ab", picture.line(0));
}

TEST_F(PictureTest, KeepsTheColoursOfARowThatIsReversed)
{
    Picture picture(3, 1);
    Style bad;
    bad.health = Health::Bad;
    picture.put(0, 1, "x", bad);
    picture.reverse(0);
    EXPECT_TRUE(picture.at(0, 0).style.isReversed);
    EXPECT_TRUE(picture.at(0, 1).style.isReversed);
    EXPECT_EQ(Health::Bad, picture.at(0, 1).style.health);
}

TEST_F(PictureTest, OfNoSizeHasOneCell)
{
    const Picture picture(0, -3);
    EXPECT_EQ(1, picture.width());
    EXPECT_EQ(1, picture.height());
}

} // namespace
