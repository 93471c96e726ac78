#include "runtime/testing/journal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace plc::simulation {
namespace {

using std::chrono::milliseconds;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr Time kSilence = milliseconds(4);

int linesOf(const std::string &text)
{
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

TEST(Journal, KeepsTheLastEntriesOldestFirst)
{
    Journal journal(2);
    for (const char *const what : {"one", "two", "three"})
        journal.note(milliseconds(1500), "master", 0, Bytes{0x0A}, what);
    EXPECT_EQ("        1.500000  master        0A  two\n        1.500000  master        0A  three\n",
              journal.text());
}

TEST(Journal, PutsWhatTheMasterHearsWithoutASilenceIntoOneEntry)
{
    Journal journal(10);
    for (int i = 0; i < 3; ++i)
        journal.noteHeard(milliseconds(10 + i), static_cast<std::uint8_t>(i), i == 1, kSilence);
    journal.noteHeard(milliseconds(16), 0xEE, false, kSilence);
    EXPECT_EQ(2, linesOf(journal.text()));
    EXPECT_THAT(journal.text(),
                AllOf(HasSubstr("0.010000  master hears  00 01 02  1 of them noise or collided\n"),
                      HasSubstr("0.016000  master hears  EE\n")));
}

TEST(Journal, BeginsAnotherEntryWhereSomethingElseHappensBetween)
{
    Journal journal(10);
    journal.noteHeard(milliseconds(1), 0x11, false, kSilence);
    journal.note(milliseconds(1), "line", 0, Bytes(), "cut");
    journal.noteHeard(milliseconds(2), 0x22, false, kSilence);
    EXPECT_EQ(3, linesOf(journal.text()));
}

TEST(Journal, TellsHowLongABabbleIsAndKeepsItsBeginning)
{
    Journal journal(10);
    for (int i = 0; i < 1000; ++i)
        journal.noteHeard(milliseconds(i), i < 256 ? 0x11 : 0x22, true, kSilence);
    EXPECT_EQ(1, linesOf(journal.text()));
    EXPECT_THAT(journal.text(), AllOf(HasSubstr("11 ... 1000 bytes in all  1000 of them noise or collided"),
                                      Not(HasSubstr("22"))));
}

TEST(Journal, UsesTheEntryOfWhatWasHeardAgainForSomethingElse)
{
    Journal journal(1);
    for (int i = 0; i < 300; ++i)
        journal.noteHeard(milliseconds(i), 0x11, true, kSilence);
    journal.note(milliseconds(500), "station", 7, Bytes{0x07}, "late");
    EXPECT_EQ("        0.500000  station 7     07  late\n", journal.text());
    journal.noteHeard(milliseconds(501), 0x22, false, kSilence);
    EXPECT_EQ("        0.501000  master hears  22\n", journal.text());
}

} // namespace
} // namespace plc::simulation
