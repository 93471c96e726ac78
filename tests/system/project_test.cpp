// Register maps and project files, each made of the other.

#include "programs.h"

namespace {

using namespace plc::test;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kMap[] = "name,area,address,station,count,rate\n"
                        "Pressure,3x,10,5,1,2\n"
                        "Guard closed,4x_bit,35.10,2,1,0\n";

TEST(ProjectCommand, MakesAProjectOfAMapThatRunsAsItIs)
{
    const TemporaryFile map(kMap);
    const Finished made =
        plchost({"project", "from-csv", map.path(), "--name", "Press", "-p", "/dev/ttyS1", "-b", "9600", "-P",
                 "none", "-o", "0.25", "--option", "fc16-single", "-a", "7"});
    EXPECT_EQ(0, made.exitCode) << made.errors;
    EXPECT_THAT(made.errors, IsEmpty());
    EXPECT_EQ(R"({
  "name": "Press",
  "link": {"port": "/dev/ttyS1", "baud": 9600, "parity": "none", "replyTimeoutMs": 250, "options": ["fc16-single"], "station": 7},
  "variables": [
    {"name": "Pressure", "area": "3x", "address": "10", "station": 5, "rate": 2},
    {"name": "Guard closed", "area": "4x_bit", "address": "35.10", "station": 2}
  ]
}
)",
              made.output);
    const TemporaryFile project(made.output);
    const Finished planned = plchost({"plan", project.path()});
    EXPECT_EQ(0, planned.exitCode) << planned.errors;
    EXPECT_THAT(planned.output, HasSubstr("Press: 2 variables in 2 requests at 9600 baud"));
}

TEST(ProjectCommand, MakesTheMapOfAProject)
{
    const TemporaryFile map(kMap);
    const TemporaryFile project(plchost({"project", "from-csv", map.path()}).output);
    const Finished made = plchost({"project", "to-csv", project.path()});
    EXPECT_EQ(0, made.exitCode) << made.errors;
    EXPECT_THAT(made.errors, IsEmpty());
    EXPECT_EQ(kMap, made.output);
}

TEST(ProjectCommand, TellsWhatAMapHasNoPlaceFor)
{
    const TemporaryFile project(R"({"variables": [{"name": "A", "area": "4x", "address": "1"}],
        "nameRows": [["", "", "", "", "", "", "", "", "1", "4x200"]]})");
    const Finished made = plchost({"project", "to-csv", project.path()});
    EXPECT_EQ(0, made.exitCode);
    EXPECT_EQ("name,area,address,station,count,rate\nA,4x,1,1,1,0\n", made.output);
    EXPECT_EQ("plchost: " + project.path() + ": nameRows have no place in a map and are left out\n",
              made.errors);
}

TEST(ProjectCommand, TellsWhereAMapIsWrong)
{
    const TemporaryFile map("name,area,address\nA,4x,one\n");
    const Finished made = plchost({"project", "from-csv", map.path()});
    EXPECT_EQ(1, made.exitCode);
    EXPECT_THAT(made.output, IsEmpty());
    EXPECT_THAT(made.errors,
                HasSubstr("plchost: " + map.path() + ", line 2, column 6: an address is a number"));
}

TEST(ProjectCommand, HasHelpOnEachOfItsWays)
{
    for (const char *way : {"from-csv", "to-csv"}) {
        const Finished help = plchost({"project", way, "--help"});
        EXPECT_EQ(0, help.exitCode);
        EXPECT_THAT(help.output, HasSubstr("Usage: plchost project " + std::string(way) + " "));
        EXPECT_THAT(help.output, HasSubstr("name, area, address"));
    }
}

} // namespace
