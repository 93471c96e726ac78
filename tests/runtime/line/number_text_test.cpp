#include "runtime/line/number_text.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace {

using namespace plc::runtime;
using std::chrono::microseconds;
using std::chrono::nanoseconds;

TEST(HexText, HasTwoCapitalDigitsAByteAndABlankBetween)
{
    EXPECT_EQ("00 11 9A FF", hexText("\x00\x11\x9a\xff", 4));
    EXPECT_EQ("", hexText("", 0));
}

TEST(SecondsText, HasSixDigitsBehindThePointAndBlanksInFront)
{
    EXPECT_EQ("     0.000000", secondsText(Time(), 13));
    EXPECT_EQ("     0.012345", secondsText(microseconds(12345), 13));
    EXPECT_EQ("  86400.500001", secondsText(microseconds(86400500001), 14));
    EXPECT_EQ("86400.500001", secondsText(microseconds(86400500001), 5));
    EXPECT_EQ("0.000002", secondsText(nanoseconds(1600), 0));
}

/// Makes a locale of the test's own, with a decimal comma, since a machine may have none.
/// @return whether the C library uses it now.
bool useDecimalComma()
{
    const std::string folder = ::testing::TempDir();
    const std::string source = folder + "comma.src";
    const std::string made = folder + "comma";
    std::ofstream(source)
        << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \"\"\ngrouping -1\nEND LC_NUMERIC\n";
    const char *const words[] = {"localedef", "--quiet", "-c", "-i", source.c_str(), made.c_str(), nullptr};
    pid_t child = 0;
    if (posix_spawnp(&child, words[0], nullptr, nullptr, const_cast<char **>(words), environ) != 0)
        return false;
    waitpid(child, nullptr, 0);
    setenv("LOCPATH", folder.c_str(), 1);
    char text[8];
    return std::setlocale(LC_NUMERIC, "comma") && std::snprintf(text, sizeof text, "%.1f", 0.5) == 3 &&
           text[1] == ',';
}

TEST(SecondsText, HasAPointWhateverTheLocaleIs)
{
    if (!useDecimalComma())
        GTEST_SKIP() << "no locale with a decimal comma can be made";
    EXPECT_EQ("     0.012345", secondsText(microseconds(12345), 13));
    std::setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
}

} // namespace
