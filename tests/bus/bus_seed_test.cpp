/// @file
/// That runs of a seed are what they are said to be.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bus_run.h"
#include "fresh_driver.h"

namespace plc::bus {
namespace {

using std::chrono::minutes;

RunResult run(std::uint64_t seed, Time time)
{
    FreshDriver driver(PLC_DRIVER_PATH);
    return runSeed(seed, time, driver.library(), Way::PublicInterface);
}

TEST(BusSeed, RepeatsARunByteByByte)
{
    const RunResult first = run(3, minutes(20));
    const RunResult second = run(3, minutes(20));
    EXPECT_EQ(first.digest, second.digest);
    EXPECT_EQ(first.requests, second.requests);
    EXPECT_NE(first.digest, run(4, minutes(20)).digest);
}

TEST(BusSeed, MeetsFaultsOfManyKinds)
{
    std::uint64_t seed = 6;
    while (makeScenario(seed).outageSettles > Time::zero()) // there stations are dead, and all else is well
        ++seed;
    const RunResult result = run(seed, minutes(60));
    EXPECT_EQ("", result.complaint) << result.journal;
    std::vector<std::string> missing;
    for (int fault = 0; fault < kExchangeFaults; ++fault) {
        // What a line with echo or a converter rules out is met with other seeds.
        const auto which = static_cast<Fault>(fault);
        const bool mayMiss =
            which == Fault::StrayEcho || which == Fault::LateEcho || which == Fault::DoubledReply;
        if (!mayMiss && result.faults[static_cast<std::size_t>(fault)] == 0)
            missing.push_back(nameOf(which));
    }
    EXPECT_THAT(missing, testing::IsEmpty());
    EXPECT_GT(result.checks.values, 1000u);
}

TEST(BusSeed, WithPrioritiesHasSomeThatAreServed)
{
    std::uint64_t seed = 1;
    for (int found = 0; found < 3; ++seed) {
        if (!makeScenario(seed).bus.packed)
            continue;
        ++found;
        const RunResult result = run(seed, minutes(10));
        EXPECT_EQ("", result.complaint) << result.journal;
        EXPECT_GT(result.checks.priorityReads, 20u) << "seed " << seed;
    }
}

} // namespace
} // namespace plc::bus
