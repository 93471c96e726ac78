#include "station/commands.h"

#include <gtest/gtest.h>

#include "station/rtu_text.h"

namespace {

using namespace plc::station;
using plc::test::rtu;

class StationCommands : public ::testing::Test
{
protected:
    /// Carries out a command that must be right.
    std::string done(const std::string &line)
    {
        const CommandReply reply = runCommand(line, &bus_);
        EXPECT_EQ("", reply.error) << line;
        return reply.output;
    }
    std::string complaint(const std::string &line)
    {
        const CommandReply reply = runCommand(line, &bus_);
        EXPECT_EQ("", reply.output) << line;
        return reply.error;
    }
    Bytes ask(const char *request) { return bus_.answer(rtu(request)).reply; }

    StationBus bus_{{1, 2}, 1000};
};

TEST_F(StationCommands, SetItemsOfEveryAreaAndGetThem)
{
    EXPECT_EQ("", done("set 1 4x:100 5 -1 65535"));
    EXPECT_EQ("", done("set 1 3x:7 9"));
    EXPECT_EQ("", done("  set  1   1x:3 1 "));
    EXPECT_EQ(rtu("01 03 06 0005 FFFF FFFF"), ask("01 03 0064 0003"));
    EXPECT_EQ(rtu("01 04 02 0009"), ask("01 04 0007 0001"));
    EXPECT_EQ(rtu("01 02 01 01"), ask("01 02 0003 0001"));
    EXPECT_EQ("1 4x:100 5 65535 65535", done("get 1 4x:100 3"));
    EXPECT_EQ("2 4x:100 0", done("get 2 4x:100")) << "another station";
}

TEST_F(StationCommands, MakeAStationDeadUntilItIsAliveAgain)
{
    done("dead 2");
    EXPECT_EQ(Outcome::Silent, bus_.answer(rtu("02 06 0000 0007")).outcome);
    EXPECT_FALSE(bus_.expectsReply(rtu("02 06 0000 0007")));
    bus_.answer(rtu("00 06 0001 0008"));
    EXPECT_EQ("2 4x:0 0 0", done("get 2 4x:0 2")) << "it heard nothing";
    EXPECT_EQ("1 4x:0 0 8", done("get 1 4x:0 2")) << "the other one lives";
    done("alive 2");
    EXPECT_EQ(rtu("02 06 0000 0007"), ask("02 06 0000 0007"));
}

TEST_F(StationCommands, MakeAStationRefuseWritesAlone)
{
    done("refuse-writes 1");
    EXPECT_EQ(rtu("01 86 01"), ask("01 06 0000 0007"));
    EXPECT_EQ(rtu("01 90 01"), ask("01 10 0000 0001 02 0007"));
    EXPECT_EQ(rtu("01 85 01"), ask("01 05 0000 FF00"));
    EXPECT_EQ(rtu("01 8F 01"), ask("01 0F 0000 0001 01 01"));
    EXPECT_EQ(rtu("01 96 01"), ask("01 16 0000 0000 0007"));
    bus_.answer(rtu("00 06 0000 0008"));
    EXPECT_EQ(rtu("01 03 02 0000"), ask("01 03 0000 0001")) << "nothing was written, and reading goes on";
    done("alive 1");
    EXPECT_EQ(rtu("01 06 0000 0007"), ask("01 06 0000 0007"));
}

TEST_F(StationCommands, MakeAStationRefuseEverythingWithACode)
{
    done("refuse 1 4");
    EXPECT_EQ(rtu("01 83 04"), ask("01 03 0000 0001"));
    EXPECT_EQ(rtu("01 86 04"), ask("01 06 0000 0001"));
    EXPECT_EQ(rtu("02 03 02 0000"), ask("02 03 0000 0001"));
}

TEST_F(StationCommands, SayWhatIsWrongAndDoNothing)
{
    EXPECT_EQ("", complaint("")) << "an empty line is none";
    EXPECT_NE("", complaint("dead"));
    EXPECT_NE("", complaint("dead 3")) << "no such station";
    EXPECT_NE("", complaint("dead 1 1"));
    EXPECT_NE("", complaint("refuse 1 0"));
    EXPECT_NE("", complaint("refuse 1 256"));
    EXPECT_NE("", complaint("kill 1"));
    EXPECT_NE("", complaint("set 1 4x:0"));
    EXPECT_NE("", complaint("set 1 4x:0 65536"));
    EXPECT_NE("", complaint("set 1 0x:0 2"));
    EXPECT_NE("", complaint("set 1 5x:0 1"));
    EXPECT_NE("", complaint("set 1 4x:999 1 2")) << "beyond the end";
    EXPECT_NE("", complaint("get 1 4x:999 2"));
    EXPECT_NE("", complaint("get 1"));
    EXPECT_EQ("1 4x:999 0", done("get 1 4x:999"));
    EXPECT_EQ(rtu("01 03 02 0000"), ask("01 03 0000 0001")) << "it answers as ever";
}

} // namespace
