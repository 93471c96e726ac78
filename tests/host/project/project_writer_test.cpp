#include "host/project/project_writer.h"

#include <gtest/gtest.h>

#include "runtime/line/failure.h"

namespace {

using namespace plc::host;

Project project(const std::string &text)
{
    return parseProject("p.json", QByteArray::fromStdString(text));
}

std::string rewritten(const std::string &text)
{
    return projectText(project(text));
}

TEST(ProjectWriter, WritesAVariableALineAndLeavesOutWhatIsUsual)
{
    EXPECT_EQ(R"({
  "link": {"baud": 19200, "parity": "even"},
  "variables": [
    {"name": "Speed", "area": "4x", "address": "100", "station": 1}
  ]
}
)",
              rewritten(R"({"variables": [{"name": "Speed", "area": "4x", "address": 100}]})"));
}

TEST(ProjectWriter, WritesEverySettingThatIsNotTheUsualOne)
{
    // As projects are written by hand, every key at once; the order is that of the description.
    const std::string all = R"({
  "name": "Prüfstand \"A\"",
  "link": {"port": "/dev/ttyS3", "baud": 9600, "parity": "none", "stopBits": 1, "rs485": "rts-after-send,1,2", "anyRate": true, "retryLimit": 5, "replyTimeoutMs": 250, "lateGuardMs": 0, "turnaroundMs": 7, "options": ["one-based", "no-bit-packing"], "linkMode": 1, "maxBlock": 32, "station": 9, "echo": true, "without": ["strict-writes", "offline"], "offlineAfter": 4, "firstTrialMs": 2000, "longestTrialMs": 3000},
  "stations": [
    {"station": 2, "replyTimeoutMs": 5000, "retryLimit": 0, "pauseMs": 20},
    {"station": 247}
  ],
  "holes": [
    {"station": 2, "area": "4x", "address": 11, "count": 5},
    {"station": 9, "area": "0x", "address": 1}
  ],
  "variables": [
    {"name": "Speed", "area": "4x", "address": "100", "station": 9, "count": 8, "rate": 2},
    {"name": "Door", "area": "4x_bit", "address": "35.10", "station": 2},
    {"name": "Total", "area": "3x_d", "address": "200", "station": 247, "rate": 4},
    {"name": "Feed", "area": "4x", "address": "300", "station": 9, "count": 2, "format": "i32.cdab", "scale": 0.1, "offset": -40, "unit": "mm/s", "min": -5, "max": 12.5, "description": "of the \"axis\""},
    {"name": "Mode", "area": "4x", "address": "310", "station": 9, "format": "hex", "texts": {"0x0002": "running", "0x0000": "stopped"}},
    {"name": "Lamp", "area": "0x", "address": "1", "station": 9, "texts": {"1": "on"}}
  ],
  "nameRows": [
    ["a", "ü", "", "", "", "", "", "", "1", "4x200"],
    ["", "", "", "", "", "", "", "", "", "not a place"]
  ]
}
)";
    EXPECT_EQ(all, rewritten(all));
}

TEST(ProjectWriter, WritesAnRs485LineWithoutDelaysByItsNameAlone)
{
    const std::string text = rewritten(R"({"link": {"rs485": "rts-on-send,0,0"},
        "variables": [{"name": "a", "area": "4x", "address": "1"}]})");
    EXPECT_NE(std::string::npos, text.find(R"("rs485": "rts-on-send"})")) << text;
}

TEST(ProjectWriter, RoundsTimesToWholeMilliseconds)
{
    Project given = project(R"({"variables": [{"name": "a", "area": "4x", "address": "1"}]})");
    given.link.timeout = std::chrono::microseconds(250499);
    given.link.turnaround = std::chrono::microseconds(6501);
    const std::string text = projectText(given);
    EXPECT_NE(std::string::npos, text.find(R"("replyTimeoutMs": 250, "turnaroundMs": 7})")) << text;
}

} // namespace
