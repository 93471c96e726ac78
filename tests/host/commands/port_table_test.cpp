#include "host/commands/port_table.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::host;
using plc::runtime::ListedPort;

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
              portTable(kPorts, Format::Text));
    EXPECT_EQ("", portTable({}, Format::Text));
}

TEST(PortTable, InCsvHasAHeadLineAlways)
{
    EXPECT_EQ("port,driver,adapter,in_use_by,name\n"
              "/dev/ttyUSB0,ftdi_sio,\"FTDI, \"\"RS485\"\"\",process 7 (x),/dev/serial/by-id/usb-a\n"
              "/dev/ttyS0,serial,,,\n",
              portTable(kPorts, Format::Csv));
    EXPECT_EQ("port,driver,adapter,in_use_by,name\n", portTable({}, Format::Csv));
}

TEST(PortTable, InNdjsonIsAnObjectALineWithAllNames)
{
    EXPECT_EQ(
        "{\"adapter\":\"FTDI, \\\"RS485\\\"\",\"driver\":\"ftdi_sio\",\"in_use_by\":\"process 7 (x)\","
        "\"names\":[\"/dev/serial/by-id/usb-a\",\"/dev/serial/by-id/usb-b\"],\"port\":\"/dev/ttyUSB0\"}\n"
        "{\"adapter\":\"\",\"driver\":\"serial\",\"in_use_by\":\"\",\"names\":[],\"port\":\"/dev/ttyS0\"}\n",
        portTable(kPorts, Format::NdJson));
    EXPECT_EQ("", portTable({}, Format::NdJson));
}

} // namespace
