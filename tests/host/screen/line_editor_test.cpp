#include "host/screen/line_editor.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::host;

class LineEditorTest : public ::testing::Test
{
protected:
    LineEditorTest() { editor.begin(); }
    void type(const std::u32string &text)
    {
        for (const char32_t character : text)
            editor.press(characterKey(character));
    }
    void press(Key::Kind kind) { editor.press({kind}); }

    LineEditor editor;
};

TEST_F(LineEditorTest, TakesWhatIsTyped)
{
    type(U"A = 5");
    EXPECT_EQ("A = 5", editor.text());
    EXPECT_EQ("A = 5", editor.take());
    EXPECT_EQ("", editor.text());
}

TEST_F(LineEditorTest, ChangesTheLineAtTheCursor)
{
    type(U"A = 5");
    press(Key::Kind::Left);
    type(U"1");
    EXPECT_EQ("A = 15", editor.text());
    EXPECT_EQ("A = 1", editor.beforeCursor());
    press(Key::Kind::Home);
    press(Key::Kind::Delete);
    type(U"\u00C4");
    EXPECT_EQ("\xC3\x84 = 15", editor.text());
    press(Key::Kind::End);
    press(Key::Kind::Backspace);
    EXPECT_EQ("\xC3\x84 = 1", editor.text());
}

TEST_F(LineEditorTest, DoesNothingAtItsEnds)
{
    press(Key::Kind::Backspace);
    press(Key::Kind::Delete);
    press(Key::Kind::Left);
    press(Key::Kind::Right);
    press(Key::Kind::Up);
    press(Key::Kind::Down);
    EXPECT_EQ("", editor.take());
}

TEST_F(LineEditorTest, TakesNoControlCharactersAndClearsTheLineWithControlU)
{
    type(U"abc\x01\x1F\x7F");
    EXPECT_EQ("abc", editor.text());
    type(U"\x15");
    EXPECT_EQ("", editor.text());
}

TEST_F(LineEditorTest, BringsEarlierLinesBackEachOnce)
{
    for (const char32_t *line : {U"a", U"b", U"b"}) {
        type(line);
        editor.take();
    }
    press(Key::Kind::Up);
    EXPECT_EQ("b", editor.text());
    press(Key::Kind::Up);
    EXPECT_EQ("a", editor.text());
    press(Key::Kind::Up);
    EXPECT_EQ("a", editor.text());
    press(Key::Kind::Down);
    EXPECT_EQ("b", editor.text());
    press(Key::Kind::Down);
    EXPECT_EQ("", editor.text());
}

TEST_F(LineEditorTest, BeginsWithATextThatCanBeChanged)
{
    editor.begin("Speed = ");
    type(U"7");
    EXPECT_EQ("Speed = 7", editor.take());
}

} // namespace
