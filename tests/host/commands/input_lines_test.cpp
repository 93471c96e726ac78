#include "host/commands/input_lines.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>

namespace {

using namespace plc::host;
using std::chrono::seconds;

class InputLinesTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(0, pipe(ends)); }
    void TearDown() override
    {
        close(ends[0]);
        endInput();
    }
    void endInput()
    {
        if (ends[1] >= 0)
            close(ends[1]);
        ends[1] = -1;
    }

    /// Writes @p text and takes what comes of it, piece by piece.
    std::vector<InputLine> linesOf(const std::string &text)
    {
        std::vector<InputLine> lines;
        for (std::size_t from = 0; from < text.size(); from += 4096) {
            const std::string piece = text.substr(from, 4096);
            EXPECT_EQ(static_cast<ssize_t>(piece.size()), write(ends[1], piece.data(), piece.size()));
            for (InputLine &line : input().take(seconds(60)))
                lines.push_back(std::move(line));
        }
        return lines;
    }

    InputLines &input()
    {
        if (!input_)
            input_ = std::make_unique<InputLines>(ends[0]);
        return *input_;
    }

    int ends[2] = {-1, -1};

private:
    std::unique_ptr<InputLines> input_;
};

TEST_F(InputLinesTest, AreTakenWithoutTheirEnds)
{
    const std::vector<InputLine> lines = linesOf("one\r\n\ntwo\nthr");
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ("one", lines[0].text);
    EXPECT_EQ("", lines[1].text);
    EXPECT_EQ("two", lines[2].text);
    EXPECT_EQ("three", linesOf("ee\n").at(0).text);
    EXPECT_TRUE(linesOf("last").empty());
    endInput();
    EXPECT_EQ("last", input().take(seconds(60)).at(0).text);
    EXPECT_TRUE(input().isOver());
}

TEST_F(InputLinesTest, ThatAreTooLongAreToldOnceAndSkippedToTheirEnd)
{
    const std::string longest(InputLines::kLongest, 'x');
    const std::vector<InputLine> fits = linesOf(longest + "\n");
    ASSERT_EQ(1u, fits.size());
    EXPECT_EQ(longest, fits[0].text);

    const std::vector<InputLine> lines = linesOf(longest + longest + longest);
    ASSERT_EQ(1u, lines.size()) << "told although the line has no end yet";
    EXPECT_TRUE(lines[0].isTooLong);
    EXPECT_EQ("", lines[0].text);
    const std::vector<InputLine> next = linesOf("xxx\nquit\n");
    ASSERT_EQ(1u, next.size());
    EXPECT_EQ("quit", next[0].text);
    EXPECT_FALSE(next[0].isTooLong);
}

} // namespace
