#include "host/screen/text_columns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "screen_fixture.h"

namespace {

using namespace plc::host;
using ::testing::ElementsAre;

class TextColumns : public ::testing::Test
{
protected:
    TextColumns() { plc::test::takeUtf8(); }
};

TEST_F(TextColumns, AreTwoForAChineseCharacterAndOneForAnUmlaut)
{
    EXPECT_EQ(5, columnsOf("Motor"));
    EXPECT_EQ(5, columnsOf("Gr\xC3\xB6\xC3\x9F"
                           "e"));
    EXPECT_EQ(4, columnsOf("\xE6\xB8\xA9\xE5\xBA\xA6")) << "two characters for temperature";
    EXPECT_EQ(1, columnsOf("a\xCC\x88")) << "a, and the dots above it";
    EXPECT_EQ(0, columnsOf(""));
}

TEST_F(TextColumns, ShowWhatATerminalWouldObeyAsQuestionMarks)
{
    const std::vector<Glyph> glyphs = glyphsOf("a\x1B[2J\n");
    std::string shown;
    for (const Glyph &glyph : glyphs)
        shown += glyph.text;
    EXPECT_EQ("a?[2J?", shown);
}

TEST_F(TextColumns, AreCutWithAMarkThatSomethingIsMissing)
{
    EXPECT_EQ("Motor", cutTo("Motor", 5));
    EXPECT_EQ("Mot\xE2\x80\xA6", cutTo("Motor", 4));
    EXPECT_EQ("\xE2\x80\xA6", cutTo("Motor", 1));
    EXPECT_EQ("", cutTo("Motor", 0));
    EXPECT_EQ("\xE6\xB8\xA9\xE2\x80\xA6", cutTo("\xE6\xB8\xA9\xE5\xBA\xA6", 3));
    EXPECT_EQ("\xE2\x80\xA6", cutTo("\xE6\xB8\xA9\xE5\xBA\xA6", 2)) << "no half of a character";
}

TEST_F(TextColumns, BreakBetweenWords)
{
    EXPECT_THAT(wrapped("no answer from station 5", 10, 5), ElementsAre("no answer", "from", "station 5"));
    EXPECT_THAT(wrapped("no answer from station 5", 10, 2),
                ElementsAre("no answer", "from stat\xE2\x80\xA6"));
    EXPECT_THAT(wrapped("abcdefgh", 3, 9), ElementsAre("abc", "def", "gh"));
    EXPECT_THAT(wrapped("", 3, 2), ElementsAre(""));
    EXPECT_THAT(wrapped("abc", 0, 2), ElementsAre(""));
}

TEST_F(TextColumns, BreakBetweenWideCharactersWhereNotEvenTheFirstFits)
{
    EXPECT_THAT(wrapped("\xE6\xB8\xA9\xE5\xBA\xA6x", 1, 9), ElementsAre("\xE6\xB8\xA9", "\xE5\xBA\xA6", "x"));
}

} // namespace
