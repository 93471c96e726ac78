#include "cli/parsing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/version.h"

namespace {

using namespace plc::cli;
using ::testing::HasSubstr;

/// What becomes of "doors WORDS".
Parsed parsed(std::vector<const char *> words)
{
    CLI::App program("move doors", "doors");
    Book book(program);
    addHelpOptions(&program);
    program.require_subcommand(1);
    std::string door;
    int force = 0;
    CLI::App *open = program.add_subcommand("open", "open a door");
    open->add_option("DOOR", door, "which one");
    open->add_option("-f,--force", force, "how hard to push");
    program.add_subcommand("close", "close a door");
    words.insert(words.begin(), "doors");
    return parse(&program, &book, static_cast<int>(words.size()), words.data(), nullptr);
}

std::string answer(const std::vector<const char *> &words)
{
    const Parsed result = parsed(words);
    EXPECT_TRUE(result.isAnswered) << result.mistake;
    EXPECT_EQ("", result.mistake);
    return result.answer;
}

std::string mistake(const std::vector<const char *> &words)
{
    const Parsed result = parsed(words);
    EXPECT_FALSE(result.isAnswered);
    return result.mistake;
}

TEST(Parsing, LeavesACommandToTheProgram)
{
    EXPECT_EQ("", mistake({"open", "front", "-f", "3"}));
}

TEST(Parsing, ShowsHelpInAllWaysInWhichPeopleAskForIt)
{
    const std::string help = answer({"open", "--help"});
    EXPECT_EQ(0u, help.find("doors open: open a door\n"));
    EXPECT_EQ(help, answer({"open", "-h"}));
    EXPECT_EQ(help, answer({"help", "open"}));
    EXPECT_EQ(answer({"--help"}), answer({"help"}));
    EXPECT_EQ(answer({"open", "--help-all"}), answer({"help", "open", "--all"}));
    EXPECT_EQ(0u, answer({"help", "--man"}).find(".TH DOORS 1 "));
}

TEST(Parsing, TellsTheVersion)
{
    EXPECT_EQ(versionLine("doors") + "\n", answer({"--version"}));
}

TEST(Parsing, AsksWhetherANearCommandWasMeantAndNamesAllWhereNoneIsNear)
{
    EXPECT_EQ("'opne' is no command; did you mean 'open'?", mistake({"opne"}));
    EXPECT_EQ("'opne' is no command; did you mean 'open'?", mistake({"help", "opne"}));
    EXPECT_EQ("'lock' is no command; commands are open, close, help", mistake({"lock"}));
}

TEST(Parsing, AsksWhetherANearOptionWasMeant)
{
    EXPECT_EQ("--forse is no option of doors open; did you mean '--force'? (doors open --help shows what is "
              "possible)",
              mistake({"open", "--forse=3"}));
    EXPECT_EQ("--key is no option of doors open (doors open --help shows what is possible)",
              mistake({"open", "front", "--key", "7"}));
}

TEST(Parsing, NamesTheWordThatIsTooMuch)
{
    EXPECT_THAT(mistake({"open", "front", "back"}),
                HasSubstr("'back' is one word too many for doors open ("));
}

TEST(Parsing, NamesTheHelpBehindOtherMistakes)
{
    EXPECT_THAT(mistake({"open", "-f", "x"}), HasSubstr("(doors open --help shows what is possible)"));
    EXPECT_THAT(mistake({}), HasSubstr("(doors --help shows what is possible)"));
}

TEST(Parsing, OffersWordsToAShell)
{
    EXPECT_EQ("open\n", answer({"--complete", "op"}));
    EXPECT_EQ("open\nclose\nhelp\n", answer({"--complete", "help", ""}));
    EXPECT_EQ("", answer({"--complete", "help", "lock", ""}));
    EXPECT_EQ("open\nclose\nhelp\n", answer({"--complete"}));
}

} // namespace
