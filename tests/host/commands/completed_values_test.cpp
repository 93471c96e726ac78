#include "host/commands/completed_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "runtime/line/port_list.h"

namespace {

using namespace plc::host;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

using Words = std::vector<std::string>;

/// What is offered for the option or place that is declared as @p names, behind @p words.
Words offered(const std::string &names, const Words &words = Words())
{
    CLI::App program("", "plchost");
    std::string value;
    plc::cli::Typing typing;
    typing.option = program.add_option(names, value);
    typing.command = &program;
    typing.words = words;
    return valuesOf(typing);
}

/// A project with two variables, for the life of this object.
class ProjectFile
{
public:
    ProjectFile() : path_(::testing::TempDir() + "completed_project.json")
    {
        std::ofstream(path_) << R"({"link": {"port": "/dev/ttyUSB0"}, "variables": [
            {"name": "Feed rate", "area": "4x", "address": "1"},
            {"name": "Lamp", "area": "0x", "address": "1"}]})";
    }
    ~ProjectFile() { std::remove(path_.c_str()); }
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

TEST(Offered, AreAllAreasInPlaceOfAVariable)
{
    EXPECT_THAT(offered("VARIABLE"), ElementsAre("0x:", "1x:", "3x:", "4x:", "3x_bit:", "4x_bit:", "3x_d:",
                                                 "4x_d:", "4x_single:", "4x_block:"));
    EXPECT_THAT(offered("-t,--type"), Contains("4x_d"));
}

TEST(Offered, AreTheNamesOfTheProjectThatIsTypedInFront)
{
    const ProjectFile project;
    EXPECT_THAT(offered("VARIABLE", {"read", "--project", project.path()}), Contains("Feed rate"));
    EXPECT_THAT(offered("VARIABLE", {"read", "--project=" + project.path()}), Contains("Lamp"));
    EXPECT_THAT(offered("WRITE", {"write", "--project", project.path()}), Contains("Feed rate="));
    EXPECT_THAT(offered("VARIABLE", {"read"}), Not(Contains("Lamp")));
}

TEST(Offered, AreNoNamesOfAProjectThatCannotBeRead)
{
    EXPECT_THAT(offered("VARIABLE", {"read", "--project", "/nowhere.json"}), Contains("4x:"));
    EXPECT_THAT(offered("VARIABLE", {"read", "--project"}), Contains("4x:"));
}

TEST(Offered, AreTheNamesOfOptionsAndPolicies)
{
    EXPECT_THAT(offered("--option"), Contains("one-based"));
    EXPECT_THAT(offered("--without"), Contains("late-reply-guard"));
}

TEST(Offered, AreThePortsOfThisMachine)
{
    std::vector<std::string> ports;
    for (const plc::runtime::ListedPort &port : plc::runtime::listPorts())
        ports.push_back(port.path);
    EXPECT_THAT(offered("-p,--port"), ::testing::IsSupersetOf(ports));
}

TEST(Offered, AreFilesForAProjectOrAMap)
{
    EXPECT_THAT(offered("PROJECT"), ElementsAre(plc::cli::kAnyFile));
    EXPECT_THAT(offered("MAP"), ElementsAre(plc::cli::kAnyFile));
    EXPECT_THAT(offered("--baud"), ElementsAre());
}

} // namespace
