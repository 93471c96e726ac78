#include "cli/completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/manual.h"

namespace {

using namespace plc::cli;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Words = std::vector<std::string>;

/// A program whose command open has one option of each kind.
class Offered : public ::testing::Test
{
protected:
    Offered()
    {
        addHelpOptions(&program_);
        CLI::App *open = program_.add_subcommand("open", "open a door");
        program_.add_subcommand("close", "close a door");
        open->add_option("DOOR", doors_, "which ones")->type_name("");
        open->add_option("-s,--speed", speed_, "how fast")
            ->check(CLI::IsMember({"slow", "fast"}))
            ->type_name("NAME");
        open->add_option("--plan", plan_, "of the house")->type_name("FILE");
        open->add_option("--keys", keys_, "to try")
            ->delimiter(',')
            ->allow_extra_args(false)
            ->type_name("KEY");
        open->add_flag("--softly", softly_, "without noise");
    }

    Words words(const Words &typed) const { return completions(program_, typed, valuesOf_); }

    CLI::App program_{"move doors", "doors"};
    ValuesOf valuesOf_ = [](const Typing &typing) {
        if (typing.option->get_positional())
            return Words{"front", "back" + std::to_string(typing.words.size())};
        return typing.option->get_name() == "--keys" ? Words{"red", "rusty", "blue"} : Words();
    };
    Words doors_;
    Words keys_;
    std::string speed_;
    std::string plan_;
    bool softly_ = false;
};

TEST_F(Offered, AreCommandsInFront)
{
    EXPECT_THAT(words({""}), ElementsAre("open", "close"));
    EXPECT_THAT(words({"cl"}), ElementsAre("close"));
    EXPECT_THAT(words({"x"}), IsEmpty());
}

TEST_F(Offered, AreTheOptionsOfTheCommand)
{
    EXPECT_THAT(words({"open", "--s"}), ElementsAre("--speed", "--softly"));
    EXPECT_THAT(words({"close", "--s"}), IsEmpty());
    EXPECT_THAT(words({"open", "-"}), Contains("-s"));
}

TEST_F(Offered, AreTheValuesThatAnOptionAllows)
{
    EXPECT_THAT(words({"open", "--speed", ""}), ElementsAre("slow", "fast"));
    EXPECT_THAT(words({"open", "-s", "f"}), ElementsAre("fast"));
    EXPECT_THAT(words({"open", "--speed=f"}), ElementsAre("--speed=fast"));
}

TEST_F(Offered, AreFilesWhereAFileIsWanted)
{
    EXPECT_THAT(words({"open", "--plan", "cellar"}), ElementsAre(kAnyFile));
}

TEST_F(Offered, AreTheWordsOfAListBehindItsLastComma)
{
    EXPECT_THAT(words({"open", "--keys", "r"}), ElementsAre("red", "rusty"));
    EXPECT_THAT(words({"open", "--keys", "blue,r"}), ElementsAre("blue,red", "blue,rusty"));
    EXPECT_THAT(words({"open", "--keys=blue,re"}), ElementsAre("--keys=blue,red"));
}

TEST_F(Offered, AreWordsForThePlaceWithoutDashesWhateverStandsInFront)
{
    EXPECT_THAT(words({"open", "f"}), ElementsAre("front"));
    EXPECT_THAT(words({"open", "front", "--softly", "-s", "slow", "b"}), ElementsAre("back5"));
    EXPECT_THAT(words({"close", ""}), IsEmpty());
}

TEST_F(Offered, AreNoneForAValueOrAnOptionThatIsNotKnown)
{
    EXPECT_THAT(words({"open", "--spede=f"}), IsEmpty());
    valuesOf_ = nullptr;
    EXPECT_THAT(words({"open", "--keys", ""}), IsEmpty());
    EXPECT_THAT(words({"open", ""}), IsEmpty());
}

} // namespace
