// The station proven by somebody else's master: Debian's mbpoll speaks to it over the pseudo-terminal.

#include "station/rtu_text.h"
#include "station/station_process.h"

#include <gtest/gtest.h>

#include <fstream>

#include <unistd.h>

namespace {

using namespace plc::test;

using Arguments = std::vector<std::string>;

/// Types of data as mbpoll numbers them.
constexpr char kCoils[] = "0";
constexpr char kDiscreteInputs[] = "1";
constexpr char kInputRegisters[] = "3";
constexpr char kHoldingRegisters[] = "4";

class MbpollTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const ProgramResult version = Program("mbpoll", {"-V"}).wait();
        ASSERT_EQ(0, version.exitCode) << "mbpoll is missing: these tests need the Debian package mbpoll";

        char name[] = "/tmp/plcstation-mbpoll-XXXXXX";
        const int file = mkstemp(name);
        ASSERT_GE(file, 0);
        close(file);
        std::ofstream(name) << R"({
            "0x": { "10": [1, 0, 1, 1] },
            "1x": { "20": [0, 1, 1] },
            "3x": { "30": [300, 301] },
            "4x": { "40": [400, 401, 65535] }
        })";
        station_.emplace(Arguments{"-a", "17,18", "--areas", name, "--size", "1000"});
        unlink(name);
        ASSERT_FALSE(station_->path().empty());
    }

    /// Runs mbpoll once; addresses count from 0.
    ProgramResult poll(const char *type, int address, const Arguments &rest, const Arguments &values = {})
    {
        Arguments arguments = {"-m", "rtu", "-b", "19200", "-P", "even", "-0",
                               "-1", "-o",  "2",  "-t",    type, "-r",   std::to_string(address)};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        arguments.push_back(station_->path());
        arguments.insert(arguments.end(), values.begin(), values.end());
        return Program("mbpoll", arguments).wait();
    }

    /// What mbpoll prints of the values, blanks taken out: "[40]:400".
    static std::string values(const ProgramResult &result)
    {
        std::string found;
        std::string line;
        for (char c : result.output + "\n") {
            if (c == '\n') {
                if (!line.empty() && line.front() == '[')
                    found += found.empty() ? line : " " + line;
                line.clear();
            } else if (c != ' ' && c != '\t') {
                line += c;
            }
        }
        return found;
    }

    std::optional<StationProcess> station_;
};

TEST_F(MbpollTest, ReadsCoils)
{
    const ProgramResult result = poll(kCoils, 10, {"-a", "17", "-c", "5"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ("[10]:1 [11]:0 [12]:1 [13]:1 [14]:0", values(result));
}

TEST_F(MbpollTest, ReadsDiscreteInputs)
{
    const ProgramResult result = poll(kDiscreteInputs, 20, {"-a", "17", "-c", "3"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ("[20]:0 [21]:1 [22]:1", values(result));
}

TEST_F(MbpollTest, ReadsInputRegisters)
{
    const ProgramResult result = poll(kInputRegisters, 30, {"-a", "18", "-c", "2"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ("[30]:300 [31]:301", values(result));
}

TEST_F(MbpollTest, ReadsHoldingRegisters)
{
    const ProgramResult result = poll(kHoldingRegisters, 40, {"-a", "17", "-c", "3"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ("[40]:400 [41]:401 [42]:65535(-1)", values(result));
}

TEST_F(MbpollTest, ReadsTheMostRegistersOfOneRequest)
{
    const ProgramResult result = poll(kHoldingRegisters, 0, {"-a", "17", "-c", "125"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_NE(std::string::npos, values(result).find("[40]:400 [41]:401"));
    EXPECT_NE(std::string::npos, values(result).find("[124]:0"));
}

TEST_F(MbpollTest, WritesASingleRegister)
{
    EXPECT_EQ(0, poll(kHoldingRegisters, 100, {"-a", "17"}, {"4660"}).exitCode);
    EXPECT_EQ("[100]:4660 [101]:0", values(poll(kHoldingRegisters, 100, {"-a", "17", "-c", "2"})));
}

TEST_F(MbpollTest, WritesSeveralRegisters)
{
    EXPECT_EQ(0, poll(kHoldingRegisters, 200, {"-a", "18"}, {"1", "2", "3"}).exitCode);
    EXPECT_EQ("[200]:1 [201]:2 [202]:3", values(poll(kHoldingRegisters, 200, {"-a", "18", "-c", "3"})));
    EXPECT_EQ("[200]:0", values(poll(kHoldingRegisters, 200, {"-a", "17"}))) << "of the other station";
}

TEST_F(MbpollTest, WritesASingleCoil)
{
    EXPECT_EQ(0, poll(kCoils, 50, {"-a", "17"}, {"1"}).exitCode);
    EXPECT_EQ("[50]:1 [51]:0", values(poll(kCoils, 50, {"-a", "17", "-c", "2"})));
}

TEST_F(MbpollTest, WritesSeveralCoils)
{
    EXPECT_EQ(0, poll(kCoils, 60, {"-a", "17"}, {"1", "0", "1", "1", "0", "0", "0", "0", "1"}).exitCode);
    EXPECT_EQ("[60]:1 [61]:0 [62]:1 [63]:1 [64]:0 [65]:0 [66]:0 [67]:0 [68]:1 [69]:0",
              values(poll(kCoils, 60, {"-a", "17", "-c", "10"})));
}

TEST_F(MbpollTest, PollsBothStationsInOneRun)
{
    const ProgramResult result = poll(kInputRegisters, 30, {"-a", "17,18", "-c", "1"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ("[30]:300 [30]:300", values(result));
}

TEST_F(MbpollTest, IsToldOfAnAddressBeyondTheEnd)
{
    const ProgramResult result = poll(kHoldingRegisters, 999, {"-a", "17", "-c", "2"});
    EXPECT_NE(std::string::npos, (result.output + result.errors).find("Illegal data address"))
        << result.output << result.errors;
}

} // namespace
