#include "host/commands/port_table.h"

#include <gtest/gtest.h>

#include "support/time_zone.h"

namespace {

using namespace plc::host;
using plc::runtime::ListedPort;
using plc::test::TimeZone;

const WallTime kNewYear(std::chrono::seconds(1767225600));

const std::vector<ListedPort> kPorts{{"/dev/ttyUSB0",
                                      {"/dev/serial/by-id/usb-a", "/dev/serial/by-id/usb-b"},
                                      "ftdi_sio",
                                      "FTDI, \"RS485\"",
                                      "process 7 (x)"},
                                     {"/dev/ttyS0", {}, "serial", "", ""}};

TEST(PortTable, HasADashForWhatIsNotKnown)
{
    EXPECT_EQ("port          driver    adapter        in use by      name\n"
              "/dev/ttyUSB0  ftdi_sio  FTDI, \"RS485\"  process 7 (x)  /dev/serial/by-id/usb-a\n"
              "/dev/ttyS0    serial    -              -              -\n",
              portTable(kPorts, Format::Text, kNewYear));
    EXPECT_EQ("", portTable({}, Format::Text, kNewYear));
}

TEST(PortTable, InCsvHasAHeadLineAlways)
{
    const TimeZone zone("UTC0");
    EXPECT_EQ("port,driver,adapter,in_use_by,name,time\n"
              "/dev/ttyUSB0,ftdi_sio,\"FTDI, \"\"RS485\"\"\",process 7 (x),/dev/serial/by-id/usb-a,"
              "2026-01-01T00:00:00.000+00:00\n"
              "/dev/ttyS0,serial,,,,2026-01-01T00:00:00.000+00:00\n",
              portTable(kPorts, Format::Csv, kNewYear));
    EXPECT_EQ("port,driver,adapter,in_use_by,name,time\n", portTable({}, Format::Csv, kNewYear));
}

TEST(PortTable, InNdjsonIsAnObjectALineWithAllNamesAndWithoutWhatIsNotKnown)
{
    const TimeZone zone("UTC0");
    EXPECT_EQ(
        "{\"kind\":\"serial_port\",\"time\":\"2026-01-01T00:00:00.000+00:00\",\"port\":\"/dev/ttyUSB0\","
        "\"driver\":\"ftdi_sio\",\"adapter\":\"FTDI, \\\"RS485\\\"\",\"in_use_by\":\"process 7 (x)\","
        "\"names\":[\"/dev/serial/by-id/usb-a\",\"/dev/serial/by-id/usb-b\"]}\n"
        "{\"kind\":\"serial_port\",\"time\":\"2026-01-01T00:00:00.000+00:00\",\"port\":\"/dev/ttyS0\","
        "\"driver\":\"serial\",\"names\":[]}\n",
        portTable(kPorts, Format::NdJson, kNewYear));
    EXPECT_EQ("", portTable({}, Format::NdJson, kNewYear));
}

} // namespace
