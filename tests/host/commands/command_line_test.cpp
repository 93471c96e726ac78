#include "host/commands/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/line/failure.h"

namespace {

using namespace plc::host;
using ::testing::HasSubstr;

/// What is wrong with "plchost WORDS", empty for nothing.
std::string mistake(std::vector<std::string> words)
{
    words.insert(words.begin(), "plchost");
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    try {
        parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Usage, failure.kind());
        return failure.what();
    }
    return "";
}

struct Row
{
    const char *option;
    const char *below;
    const char *least;
    const char *most;
    const char *beyond;
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.option;
}

class NumberOnTheCommandLine : public ::testing::TestWithParam<Row>
{
protected:
    static std::string mistakeWith(const char *value)
    {
        return mistake({"watch", "-p", "/dev/null", "-t", "4x", "-r", "0",
                        GetParam().option + std::string("=") + value});
    }
};

TEST_P(NumberOnTheCommandLine, HasALeastAndAMost)
{
    EXPECT_EQ("", mistakeWith(GetParam().least));
    EXPECT_EQ("", mistakeWith(GetParam().most));
    EXPECT_THAT(mistakeWith(GetParam().beyond), HasSubstr(GetParam().option));
    EXPECT_THAT(mistakeWith(GetParam().below), HasSubstr(GetParam().option));
}

INSTANTIATE_TEST_SUITE_P(
    Options, NumberOnTheCommandLine,
    ::testing::Values(
        Row{"--baud", "299", "300", "4000000", "4000001"}, Row{"--stop-bits", "0", "1", "2", "3"},
        Row{"--station", "-1", "0", "247", "248"}, Row{"--timeout", "0.0099", "0.01", "60", "60.001"},
        Row{"--late-guard", "-0.001", "0", "60", "60.001"}, Row{"--turnaround", "-1", "0", "60000", "60001"},
        Row{"--retries", "-1", "0", "100", "101"}, Row{"--max-block", "0", "1", "100", "101"},
        Row{"--link-mode", "-1", "0", "1", "2"}, Row{"--offline-after", "0", "1", "1000", "1001"},
        Row{"--first-trial", "0.099", "0.1", "3600", "3600.1"},
        Row{"--longest-trial", "0.099", "0.1", "3600", "3600.1"}, Row{"--count", "0", "1", "65536", "65537"},
        Row{"--interval", "-1", "0", "3600000", "3600001"}));

TEST(CommandLine, NamesTheCommandsWhereNoneIsKnown)
{
    EXPECT_EQ("'frobnicate' is no command; commands are read, write, watch, run, listen, plan, project, "
              "scan, identify, limits, map, raw, ports, demo, help",
              mistake({"frobnicate"}));
}

} // namespace
