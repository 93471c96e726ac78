// plchost against a station that is not ours.

#include <set>

#include "programs.h"

namespace {

using namespace plc::test;
using ::testing::HasSubstr;

class HostAndLibmodbus : public ::testing::Test
{
protected:
    Finished host(const std::string &command, const Words &arguments)
    {
        return plchost(Words{command, "-p", station.terminal(), "-a", "17"} + arguments);
    }

    /// Function codes of the requests that the station has answered. Ends it.
    std::set<std::string> functionsServed()
    {
        const Words lines = station.stop().lines();
        return std::set<std::string>(lines.begin(), lines.end());
    }

    Server station{PLC_LIBMODBUS_STATION, {}};
};

TEST_F(HostAndLibmodbus, UsesAllEightFunctionCodes)
{
    const Finished written =
        host("write", {"0x:40=1", "0x:16=1,0,1,1,0,0,1,0,1,1", "4x:100=4660", "4x:200=1,2,3",
                       "4x_bit:300.3=1", "4x_d:310=305419896", "--verify"});
    EXPECT_EQ(0, written.exitCode) << written.errors;
    const Finished read = host("read", {"0x:16:10", "0x:40", "1x:0:7", "3x:5:3", "4x:100", "4x:200:3",
                                        "4x:300", "4x:310:2", "4x_d:310"});
    EXPECT_EQ(0, read.exitCode) << read.errors;
    EXPECT_EQ("0x:16:10 = 1 0 1 1 0 0 1 0 1 1\n0x:40 = 1\n1x:0:7 = 1 0 0 1 0 0 1\n3x:5:3 = 1005 1006 1007\n"
              "4x:100 = 4660\n4x:200:3 = 1 2 3\n4x:300 = 8\n4x:310:2 = 4660 22136\n4x_d:310 = 305419896\n",
              read.output);
    EXPECT_EQ((std::set<std::string>{"1", "2", "3", "4", "5", "6", "15", "16"}), functionsServed());
}

TEST_F(HostAndLibmodbus, UsesOnlyBlockWritesWhenTold)
{
    EXPECT_EQ(0, host("write", {"4x:100=7", "--option", "fc16-single", "--no-echo-check"}).exitCode);
    EXPECT_EQ((std::set<std::string>{"16"}), functionsServed());
}

TEST_F(HostAndLibmodbus, CarriesTheLargestRequests)
{
    std::string values = "1";
    std::string shown = "1";
    for (int i = 2; i <= 100; ++i) {
        values += "," + std::to_string(i * 600);
        shown += " " + std::to_string(i * 600);
    }
    EXPECT_EQ(0, host("write", {"4x:500=" + values}).exitCode);
    EXPECT_EQ("4x:500:100 = " + shown + "\n", host("read", {"4x:500:100"}).output);
    const Finished bits = host("read", {"1x:0:800"});
    EXPECT_EQ(0, bits.exitCode) << bits.errors;
    EXPECT_THAT(bits.output, HasSubstr("1x:0:800 = 1 0 0 1 0 0 1"));
}

TEST_F(HostAndLibmodbus, NoticesItsExceptions)
{
    const Finished run = host("read", {"4x:990:20"});
    EXPECT_EQ(3, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("exception 02 (illegal data address)"));
}

TEST_F(HostAndLibmodbus, WatchesIt)
{
    const Finished run = host("watch", {"3x:5:3", "4x:0:100", "-l", "0", "--for", "0.5"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("3x:5:3 = 1005 1006 1007  (good"));
    EXPECT_THAT(run.errors, HasSubstr("time-outs 0, bad 0, exceptions 0"));
}

} // namespace
