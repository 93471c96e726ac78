#include "host/commands/child_process.h"

#include <gtest/gtest.h>

#include <csignal>

#include "runtime/line/failure.h"

namespace {

using plc::host::ChildProcess;
using plc::host::Failure;
using plc::host::steadyNow;
using plc::host::Time;

constexpr Time kPatience = std::chrono::seconds(20);

Time soon()
{
    return steadyNow() + kPatience;
}

TEST(ChildProcess, GivesItsLinesAndItsExitCode)
{
    ChildProcess child("/bin/sh", {"-c", "echo one; echo two; exit 7"});
    EXPECT_EQ("one", child.readLine(soon()));
    EXPECT_EQ("two", child.readLine(soon()));
    EXPECT_EQ(std::nullopt, child.readLine(soon()));
    EXPECT_EQ(7, child.waitForEnd(soon()));
    EXPECT_EQ(7, child.waitForEnd(soon())) << "asked again";
}

TEST(ChildProcess, KeepsOutputAndErrorsApart)
{
    ChildProcess child("/bin/sh", {"-c", "echo out; echo err >&2"}, true);
    EXPECT_EQ(0, child.waitForEnd(soon()));
    EXPECT_EQ("out\n", child.output());
    EXPECT_EQ("err\n", child.errors());
}

TEST(ChildProcess, TakesMoreOutputThanAPipeHolds)
{
    ChildProcess child("/bin/sh", {"-c", "head -c 300000 /dev/zero"});
    EXPECT_EQ(0, child.waitForEnd(soon()));
    EXPECT_EQ(300000u, child.output().size());
}

TEST(ChildProcess, CanBeSentASignal)
{
    ChildProcess child("/bin/sleep", {"1000"});
    EXPECT_EQ(std::nullopt, child.waitForEnd(steadyNow()));
    child.signal(SIGTERM);
    EXPECT_EQ(128 + SIGTERM, child.waitForEnd(soon()));
}

TEST(ChildProcess, IsGoneWithItsObject)
{
    pid_t pid = -1;
    {
        const ChildProcess child("/bin/sleep", {"1000"});
        pid = child.pid();
        EXPECT_EQ(0, kill(pid, 0));
    }
    EXPECT_NE(0, kill(pid, 0));
}

TEST(ChildProcess, ThatCannotBeStartedIsAnError)
{
    EXPECT_THROW(ChildProcess("/nowhere/program", {}), Failure);
}

} // namespace
