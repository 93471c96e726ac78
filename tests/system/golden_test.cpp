// What people and programs read from plchost, kept as files: a change of the wording or of the order shows as
// a difference here. Times, and counts that depend on them, are masked.
//
// After a change that is meant to be seen: PLC_WRITE_GOLDEN=1 ctest -R Golden
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

#include "programs.h"

namespace {

using namespace plc::test;

const char kAreas[] = R"({
  "4x": { "100": [4660, 43981, 1, 65535, 0], "200": [4660, 22136] },
  "3x": { "7": [42, 43], "20": [1, 2] },
  "0x": { "16": [1, 0, 1, 1] },
  "1x": { "8": [0, 1, 1] }
})";

const char kProject[] = R"({
  "name": "Golden",
  "link": {"port": "/dev/null", "baud": 19200, "parity": "even", "retryLimit": 2, "replyTimeoutMs": 60000},
  "variables": [
    {"name": "Set.Speed", "area": "4x", "address": "100", "count": 3, "station": 1},
    {"name": "Lamp", "area": "0x", "address": "16", "station": 5},
    {"name": "Total", "area": "4x_d", "address": "200", "station": 1},
    {"name": "Door", "area": "4x_bit", "address": "100.2", "station": 1}
  ]
})";

// No station is switched off: whether its variables were read before would depend on the machine.
const char kLines[] = "nonsense\nLamp = 0\nSet.Speed = 5,6,7\nSet.Speed = 99999\nNo.Such = 1\n";

/// Numbers of measured time, and of what happened meanwhile, give way to '#'.
std::string masked(const std::string &line)
{
    static const std::regex timeAtStart("^[0-9]+\\.[0-9]+(  |,)");
    static const std::regex age(", [0-9]+ ms old\\)|,[0-9]+,TIME");
    static const std::regex fields("\"(time_s|age_ms)\":[0-9.e+-]+");
    static const std::regex measured("^(requests|station [0-9]+: requests|bytes out|[0-9.]+ requests per "
                                     "second|full scans|line in use|ordinary:)");
    static const std::regex measuredNumber("\\b[0-9]+(\\.[0-9]+)?(e[-+]?[0-9]+)?");
    if (std::regex_search(line, measured) || line.rfind("{\"kind\":\"statistics\"", 0) == 0)
        return std::regex_replace(withoutWallTimes(line), measuredNumber, "#");
    std::string result = withoutWallTimes(line);
    if (std::regex_search(line, timeAtStart)) {
        result = std::regex_replace(result, timeAtStart, "#$1");
        result = std::regex_replace(result, age, line.back() == ')' ? ", # ms old)" : ",#,TIME");
    }
    return std::regex_replace(result, fields, "\"$1\":#");
}

std::string maskedLines(const std::string &text, const std::string &terminal)
{
    std::istringstream lines(text);
    std::string line, result;
    while (std::getline(lines, line)) {
        if (line.find("more than a real line carries") != std::string::npos)
            line.erase(line.find(", more than"));
        for (std::size_t at = line.find(terminal); at != std::string::npos; at = line.find(terminal))
            line.replace(at, terminal.size(), "LINE");
        result += masked(line) + "\n";
    }
    return result;
}

class Golden : public ::testing::TestWithParam<std::string>
{
protected:
    Golden() : station(startStation({"-a", "1,5", "--areas", areas.path()})) {}

    /// Runs plchost, with @p input on its standard input.
    void show(const Words &arguments, const std::string &input = "/dev/null")
    {
        std::string shown = "plchost";
        for (const std::string &word : arguments)
            shown += " " + (word == project.path() ? std::string("PROJECT") : word);
        Words words{"-c", "input=$1; shift; exec \"$@\" <\"$input\"", "sh", input, PLC_HOST_PROGRAM};
        plc::host::ChildProcess child("/bin/sh", words + arguments, true);
        const auto code = child.waitForEnd(plc::runtime::steadyNow() + kPatience);
        ASSERT_TRUE(code) << "still runs: " << shown;
        text +=
            maskedLines("$ " + shown, station->terminal()) + maskedLines(child.output(), station->terminal());
        text += "-- standard error\n" + maskedLines(child.errors(), station->terminal());
        text += "-- exit code " + std::to_string(*code) + "\n\n";
    }

    void compareWith(const std::string &name) const
    {
        const std::string path = std::string(PLC_GOLDEN) + "/" + name + ".txt";
        if (std::getenv("PLC_WRITE_GOLDEN")) {
            std::ofstream(path) << text;
            return;
        }
        std::ifstream file(path);
        std::ostringstream kept;
        kept << file.rdbuf();
        EXPECT_EQ(kept.str(), text) << "not as in " << path;
    }

    Words onLine(const std::string &command, const Words &arguments) const
    {
        // No time-out on a machine that is busy.
        const Words start{command, "-p", station->terminal(), "--format", GetParam()};
        return start + (command == "run" ? Words{} : Words{"-o", "60"}) + arguments;
    }

    TemporaryFile areas{kAreas};
    TemporaryFile project{kProject};
    std::unique_ptr<Server> station;
    std::string text;
};

TEST_P(Golden, ReadIsAsKept)
{
    show(
        onLine("read", {"4x:100:5", "4x_d:200", "4x_bit:100.2:4", "0x:16:4", "3x:7:2", "3x_d:20", "1x:8:3"}));
    show(onLine("read", {"--hex", "4x:100:2", "4x_d:200"}));
    show(onLine("read", {"--signed", "4x:103@5", "4x:100:5"}));
    show(onLine("read", {"4x:70000"}));
    compareWith("read-" + GetParam());
}

TEST_P(Golden, WriteIsAsKept)
{
    show(onLine("write", {"--verify", "4x:300=1,2", "4x_bit:35.3=1", "4x_d:310=-70000", "0x:3=on"}));
    show(onLine("write", {"4x:300=5@5"}));
    show(onLine("write", {"4x:300@5=5"}));
    compareWith("write-" + GetParam());
}

TEST_P(Golden, WatchOfOneScanIsAsKept)
{
    show(onLine("watch", {"-1", "4x:100:2", "0x:16:4", "4x_bit:100.2", "4x:100@5"}));
    compareWith("watch-" + GetParam());
}

TEST_P(Golden, RunWithOrdersIsAsKept)
{
    const TemporaryFile input(kLines);
    show(onLine("run", {"--scans", "2", project.path()}), input.path());
    compareWith("run-" + GetParam());
}

INSTANTIATE_TEST_SUITE_P(Format, Golden, ::testing::Values("text", "csv", "ndjson"),
                         [](const auto &format) { return format.param; });

class GoldenPlan : public Golden
{};

TEST_P(GoldenPlan, IsAsKept)
{
    show({"plan", "--format", GetParam(), project.path()});
    show({"plan", "--format", GetParam(), "--answer-delay", "5", "-b", "115200", "--names", project.path()});
    compareWith("plan-" + GetParam());
}

INSTANTIATE_TEST_SUITE_P(Format, GoldenPlan, ::testing::Values("text", "json"),
                         [](const auto &format) { return format.param; });

} // namespace
