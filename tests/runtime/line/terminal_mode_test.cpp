#include "runtime/line/terminal_mode.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using plc::runtime::rateOf;
using plc::runtime::setRate;
using plc::runtime::TerminalMode;

/// Rates with a name of their own.
const std::vector<std::pair<int, tcflag_t>> &standardRates()
{
    static const std::vector<std::pair<int, tcflag_t>> kAll = {
        {300, B300},         {600, B600},         {1200, B1200},       {1800, B1800},
        {2400, B2400},       {4800, B4800},       {9600, B9600},       {19200, B19200},
        {38400, B38400},     {57600, B57600},     {115200, B115200},   {230400, B230400},
        {460800, B460800},   {500000, B500000},   {576000, B576000},   {921600, B921600},
        {1000000, B1000000}, {1152000, B1152000}, {1500000, B1500000}, {2000000, B2000000},
        {2500000, B2500000}, {3000000, B3000000}, {3500000, B3500000}, {4000000, B4000000}};
    return kAll;
}

TEST(TerminalMode, HasEveryStandardRateByItsName)
{
    for (const bool knowsAnyRate : {true, false}) {
        for (const auto &[baud, name] : standardRates()) {
            TerminalMode mode;
            mode.knowsAnyRate = knowsAnyRate;
            mode.record.c_cflag = B50 | CS8 | (B50 << IBSHIFT);
            EXPECT_TRUE(setRate(&mode, baud)) << baud;
            EXPECT_EQ(name | CS8, mode.record.c_cflag) << baud;
            EXPECT_EQ(baud, rateOf(mode));
        }
    }
}

TEST(TerminalMode, HasOtherRatesByTheirNumberWhereTheSystemKnowsThat)
{
    TerminalMode mode;
    EXPECT_TRUE(setRate(&mode, 31250));
    EXPECT_EQ(tcflag_t{BOTHER}, mode.record.c_cflag);
    EXPECT_EQ(31250, rateOf(mode));
    TerminalMode older;
    older.knowsAnyRate = false;
    older.record.c_cflag = B9600;
    EXPECT_FALSE(setRate(&older, 31250));
    EXPECT_EQ(9600, rateOf(older)) << "nothing has changed";
}

TEST(TerminalMode, TellsNoRateThatHasNoName)
{
    TerminalMode older;
    older.knowsAnyRate = false;
    older.record.c_cflag = B50;
    EXPECT_EQ(0, rateOf(older));
}

} // namespace
