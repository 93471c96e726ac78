#include "host/commands/result_text.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::host;
using plcruntime::OrderEnd; // not those of the rooms below
using plcruntime::OrderResult;
using plcruntime::VariableState;

OrderResult resultOf(OrderEnd end, const char *reason)
{
    OrderResult result;
    result.end = end;
    result.reason = QString::fromLatin1(reason);
    return result;
}

TEST(OrderText, NamesOptionsWhereTheLibraryNamesSettings)
{
    EXPECT_EQ(
        "no answer; give it more time with --timeout",
        describe(resultOf(OrderEnd::NoAnswer, "no answer; give it more time with setting 'timeoutMs'"), 5));
    EXPECT_EQ("is --echo right for this line?",
              describe(resultOf(OrderEnd::BadReply, "is setting 'echo' right for this line?"), 5));
}

TEST(OrderText, TellsWhatTheEndOfTheRunHasEnded)
{
    EXPECT_EQ("interrupted before station 5 had answered", describe(resultOf(OrderEnd::Open, ""), 5));
    EXPECT_EQ("not sent: the run was ended before its turn",
              describe(resultOf(OrderEnd::Closed, "not sent: the line was closed"), 5));
}

TEST(ReadingText, IsThatOfTheLastReading)
{
    VariableState state;
    EXPECT_EQ("interrupted before station 5 had answered", describe(state, 5));
    state.lastRead = OrderEnd::Refused;
    state.reason = QString::fromLatin1("station 5 refused; try setting 'maxBlock'");
    state.quality = Quality::Refused;
    EXPECT_EQ("station 5 refused; try --max-block", describe(state, 5));
    state.quality = Quality::Stale;
    state.reason = QString::fromLatin1("it was read too long ago");
    EXPECT_EQ("the last reading of station 5 has failed: refused", describe(state, 5));
}

TEST(DescribeStation, TellsWhyItIsLeftAloneAndWhenItIsTriedNext)
{
    StationChange change;
    change.station = 2;
    change.state = plcruntime::StationState::Offline;
    change.failures = 3;
    change.nextProbeMs = 500;
    EXPECT_EQ("station 2 is offline after 3 failures in a row; next try in 0.5 s", describe(change));
    change.failures = 1;
    change.nextProbeMs = 20000;
    EXPECT_EQ("station 2 is offline after 1 failure; next try in 20 s", describe(change));
}

TEST(DescribeStation, TellsHowLongItWasAway)
{
    StationChange change;
    change.station = 2;
    change.lastedMs = 10000;
    EXPECT_EQ("station 2 is back after 10 s", describe(change));
}

TEST(ResultText, TellsOfAPortThatIsLookedFor)
{
    PortChange change;
    change.state = plcruntime::PortState::Lost;
    change.reason = QString::fromLatin1("port 'X' is lost while listening; is it still plugged in?");
    EXPECT_EQ("port 'X' is lost while listening; is it still plugged in? It is looked for until it is back",
              describe(change, "X"));
    change.isRefused = true;
    change.reason =
        QString::fromLatin1("port 'X' cannot be opened: it does not check parity; try setting 'parity' none");
    EXPECT_EQ(
        "port 'X' cannot be opened: it does not check parity; try --parity none; it is tried again and again",
        describe(change, "X"));
    change = PortChange();
    change.state = plcruntime::PortState::Open;
    change.lastedMs = 3210;
    EXPECT_EQ("port 'X' is back after 3.2 s", describe(change, "X"));
}

} // namespace
