#include "cli/manual.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace plc::cli;
using ::testing::HasSubstr;
using ::testing::Not;

/// A program with two commands, which share an option.
class HelpOfAProgram : public ::testing::Test
{
protected:
    HelpOfAProgram()
    {
        addHelpOptions(&program_);
        open_ = program_.add_subcommand("open", "open a door");
        open_->add_option("DOOR", door_, "which one")->type_name("")->required();
        addShared(open_);
        open_->add_flag("--slowly", slowly_, "take some time")->group(rare("Hinges"));
        close_ = program_.add_subcommand("close", "close a door");
        addShared(close_);
        book_.of(&program_).chapters = {{"Exit codes", {listed({{"0", "it moved"}})}}};
        book_.of(open_).examples = {{"the one in front", {asTyped("doors open front")}}};
        book_.of(open_).chapters = {
            {"Doors", {flowing("They are made of wood.")}},
            {"Locks", {flowing("A lock is .hidden in -the- door; C:\\keys.")}, Extent::All},
            {"Exit codes", {listed({{"0", "it moved"}})}}};
    }

    void addShared(CLI::App *command)
    {
        command->add_option("-f,--force", force_, "how hard to push")
            ->check(CLI::Range(1, 9))
            ->type_name("N")
            ->capture_default_str()
            ->group("Hinges");
    }

    std::string everyday(const CLI::App &command) const { return book_.help(command, Extent::Everyday); }
    std::string all(const CLI::App &command) const { return book_.help(command, Extent::All); }

    CLI::App program_{"move doors", "doors"};
    Book book_{program_};
    CLI::App *open_ = nullptr;
    CLI::App *close_ = nullptr;
    std::string door_;
    int force_ = 3;
    bool slowly_ = false;
};

TEST_F(HelpOfAProgram, BeginsWithWhatItDoesAndHowItIsCalled)
{
    EXPECT_EQ(0u, everyday(*open_).find("doors open: open a door\n\nUsage: doors open [OPTIONS] DOOR\n"));
    EXPECT_THAT(everyday(program_), HasSubstr("\n  open        open a door\n  close       close a door\n"));
}

TEST_F(HelpOfAProgram, ShowsAnExampleAsItIsTyped)
{
    EXPECT_THAT(everyday(*open_), HasSubstr("\nExample: the one in front:\n  doors open front\n"));
}

TEST_F(HelpOfAProgram, NamesAnOptionWithItsValueItsLimitsAndWhatCountsWithoutIt)
{
    EXPECT_THAT(everyday(*open_),
                HasSubstr("\nHinges:\n  -f, --force N           how hard to push (1 to 9; without it 3)\n"));
}

TEST_F(HelpOfAProgram, LeavesOutWhatIsRareUnlessAllIsAskedFor)
{
    EXPECT_THAT(everyday(*open_), Not(HasSubstr("--slowly")));
    EXPECT_THAT(everyday(*open_), Not(HasSubstr("Locks")));
    EXPECT_THAT(everyday(*open_), HasSubstr("More: doors open --help-all, man doors"));
    EXPECT_THAT(all(*open_),
                HasSubstr("\nHinges, rarely needed:\n  --slowly                take some time\n"));
    EXPECT_THAT(all(*open_), HasSubstr("\nLocks:\n"));
    EXPECT_THAT(all(*open_), HasSubstr("Doors"));
}

TEST_F(HelpOfAProgram, ExplainsWhatAGroupIsAbout)
{
    book_.explain("Hinges", "what doors hang on");
    EXPECT_THAT(everyday(*close_), HasSubstr("\nHinges (what doors hang on):\n"));
    EXPECT_THAT(all(*open_), HasSubstr("\nHinges, rarely needed:\n"));
    open_->remove_option(open_->get_option("--force"));
    EXPECT_THAT(all(*open_), HasSubstr("\nHinges, rarely needed (what doors hang on):\n"));
}

TEST_F(HelpOfAProgram, BreaksItsLinesAt80Characters)
{
    const std::string seventy(70, 'x');
    book_.of(open_).chapters = {{"Full", {flowing("word " + seventy + " aa")}},
                                {"Over", {flowing("word " + seventy + " aaa")}}};
    EXPECT_THAT(everyday(*open_), HasSubstr("\nFull:\n  word " + seventy + " aa\n"));
    EXPECT_THAT(everyday(*open_), HasSubstr("\nOver:\n  word " + seventy + "\n  aaa\n"));
}

TEST_F(HelpOfAProgram, PutsTheMeaningOfALongWordBelowIt)
{
    const std::string thirty(30, 'w');
    book_.of(open_).chapters = {{"Words", {listed({{"a", "one"}, {thirty, "two"}})}}};
    EXPECT_THAT(everyday(*open_), HasSubstr("\n  a                       one\n  " + thirty +
                                            "\n                          two\n"));
}

TEST_F(HelpOfAProgram, PutsMeaningsBelowEachOther)
{
    book_.of(open_).chapters = {{"Words", {listed({{"a", "one"}, {"long", "two"}})}}};
    EXPECT_THAT(everyday(*open_), HasSubstr("\n  a     one\n  long  two\n"));
}

TEST_F(HelpOfAProgram, BecomesAManPageWithEachSharedOptionOnce)
{
    const std::string page = book_.manPage();
    EXPECT_EQ(0u, page.find(".TH DOORS 1 \""));
    EXPECT_THAT(page, HasSubstr("\n.SH NAME\ndoors \\- move doors\n"));
    EXPECT_THAT(page, HasSubstr("\n.SS \"doors open [OPTIONS] DOOR\"\nopen a door.\n"));
    EXPECT_THAT(page, HasSubstr("\n.TP\n\\fB\\-f\\fR, \\fB\\-\\-force\\fR \\fIN\\fR\n"
                                "how hard to push (1 to 9; without it 3)\n.br\nOf: open, close.\n"));
    EXPECT_EQ(page.find("how hard"), page.rfind("how hard"));
    EXPECT_THAT(page, HasSubstr("\n.br\nOf: open.\n"));
}

TEST_F(HelpOfAProgram, HasInItsManPageWhatHelpTellsOnlyWhenAskedForAll)
{
    EXPECT_THAT(book_.manPage(), HasSubstr("\\fB\\-\\-slowly\\fR"));
    EXPECT_THAT(book_.manPage(), HasSubstr("\\fBLocks\\fR"));
}

TEST_F(HelpOfAProgram, HasAChapterOfTheProgramOnceInItsManPage)
{
    const std::string page = book_.manPage();
    EXPECT_THAT(page, HasSubstr("\n.SH \"EXIT CODES\"\n.TP\n\\fB0\\fR\nit moved\n"));
    EXPECT_EQ(page.find("it moved"), page.rfind("it moved"));
}

TEST_F(HelpOfAProgram, HidesFromTheFormatterWhatLooksLikeItsCommands)
{
    book_.of(open_).chapters = {{"Signs", {asTyped(".SH is text\n'this too\nC:\\keys -f")}}};
    EXPECT_THAT(book_.manPage(), HasSubstr("\n\\&.SH is text\n\\&'this too\nC:\\ekeys \\-f\n"));
}

} // namespace
