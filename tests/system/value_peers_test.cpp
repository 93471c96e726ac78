// Values that plchost writes are read right by masters that are not ours, and the other way round: mbpoll and
// pymodbus, with plcstation between them.

#include "programs.h"

namespace {

using namespace plc::test;
using ::testing::HasSubstr;

/// Runs a program to its end.
Finished runProgram(const std::string &program, const Words &arguments)
{
    plc::host::ChildProcess child(program, arguments, true);
    Finished finished;
    finished.exitCode = child.waitForEnd(plc::runtime::steadyNow() + kPatience).value_or(-1);
    finished.output = child.output();
    finished.errors = child.errors();
    return finished;
}

class ValuePeers : public ::testing::Test
{
protected:
    Finished host(const std::string &command, const Words &arguments) const
    {
        return plchost(Words{command, "-p", station->terminal(), "-a", "7", "-o", "60"} + arguments);
    }

    void write(const Words &writes) const
    {
        const Finished run = host("write", writes + Words{"--verify"});
        EXPECT_EQ(0, run.exitCode) << run.errors;
    }

    std::unique_ptr<Server> station{startStation({"-a", "7"})};
};

class Mbpoll : public ValuePeers
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(0, runProgram("/usr/bin/mbpoll", {"-V"}).exitCode)
            << "mbpoll is missing: these tests need the Debian package mbpoll";
    }

    /// @param order  "-B", or nothing for the lower half first.
    Finished poll(const std::string &type, int address, const Words &order, const Words &more = {}) const
    {
        return runProgram("/usr/bin/mbpoll", Words{"-m", "rtu", "-a", "7", "-0", "-1", "-o", "10", "-t", type,
                                                   "-r", std::to_string(address)} +
                                                 order + Words{station->terminal()} + more);
    }
};

TEST_F(Mbpoll, ReadsFloatsThatPlchostWrote)
{
    write({"4x:200/f32=-0.1", "4x:202/f32.cdab=12345.678", "4x_d:204/f32=3.5"});
    EXPECT_THAT(poll("4:float", 200, {"-B"}).output, HasSubstr("[200]: \t-0.1\n"));
    EXPECT_THAT(poll("4:float", 202, {}).output, HasSubstr("[202]: \t12345.7\n"));
    EXPECT_THAT(poll("4:float", 204, {"-B"}).output, HasSubstr("[204]: \t3.5\n"));
}

TEST_F(Mbpoll, ReadsSigned32BitNumbersThatPlchostWrote)
{
    write({"4x:200/i32=-70000", "4x:202/i32.cdab=2147483647", "4x_d:204=-2"});
    EXPECT_THAT(poll("4:int", 200, {"-B"}).output, HasSubstr("[200]: \t-70000\n"));
    EXPECT_THAT(poll("4:int", 202, {}).output, HasSubstr("[202]: \t2147483647\n"));
    EXPECT_THAT(poll("4:int", 204, {"-B"}).output, HasSubstr("[204]: \t-2\n"));
}

TEST_F(Mbpoll, WritesWhatPlchostReads)
{
    EXPECT_EQ(0, poll("4:float", 200, {"-B"}, {"--", "-0.1"}).exitCode);
    EXPECT_EQ(0, poll("4:float", 202, {}, {"1234.5"}).exitCode);
    EXPECT_EQ(0, poll("4:int", 204, {"-B"}, {"--", "-70000"}).exitCode);
    EXPECT_EQ(0, poll("4:int", 206, {}, {"70000"}).exitCode);
    EXPECT_EQ("4x:200/f32 = -0.1\n4x:202/f32.cdab = 1234.5\n4x:204/i32 = -70000\n4x:206/i32.cdab = 70000\n"
              "4x_d:200/f32 = -0.1\n",
              host("read", {"4x:200/f32", "4x:202/f32.cdab", "4x:204/i32", "4x:206/i32.cdab", "4x_d:200/f32"})
                  .output);
}

class Pymodbus : public ValuePeers
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(0, runProgram(kPython, {"-c", "import pymodbus.client"}).exitCode)
            << "pymodbus is missing: these tests need the Debian packages python3-pymodbus, python3-serial "
               "and "
               "python3-serial-asyncio";
    }

    /// What pymodbus reads, a value a line.
    std::string read(int address, const std::string &type, const std::string &wordOrder, int count) const
    {
        const Finished run = master("read", address, type, wordOrder, {std::to_string(count)});
        EXPECT_EQ(0, run.exitCode) << run.errors;
        return run.output;
    }

    void writeByPymodbus(int address, const std::string &type, const std::string &wordOrder,
                         const Words &values) const
    {
        const Finished run = master("write", address, type, wordOrder, values);
        EXPECT_EQ(0, run.exitCode) << run.errors;
    }

private:
    static constexpr char kPython[] = "/usr/bin/python3";

    Finished master(const std::string &action, int address, const std::string &type,
                    const std::string &wordOrder, const Words &more) const
    {
        return runProgram(kPython, Words{PLC_PYMODBUS_MASTER, station->terminal(), "7", action,
                                         std::to_string(address), type, wordOrder} +
                                       more);
    }
};

TEST_F(Pymodbus, ReadsNumbersThatPlchostWrote)
{
    write({"4x:200:2/i16=-5,32767", "4x:202/f32=12.5", "4x:204/f32.cdab=-1e-3", "4x:206/i32=-70000",
           "4x:208/i32.cdab=70000", "4x:210/u32=4000000000"});
    EXPECT_EQ("-5\n32767\n", read(200, "i16", "big", 2));
    EXPECT_EQ("12.5\n", read(202, "f32", "big", 1));
    EXPECT_EQ("-0.0010000000474974513\n", read(204, "f32", "little", 1));
    EXPECT_EQ("-70000\n", read(206, "i32", "big", 1));
    EXPECT_EQ("70000\n", read(208, "i32", "little", 1));
    EXPECT_EQ("4000000000\n", read(210, "u32", "big", 1));
}

TEST_F(Pymodbus, Reads64BitNumbersThatPlchostWrote)
{
    write({"4x:200/i64=-5000000000", "4x:204/u64.cdab=18446744073709551615", "4x:208/f64=0.1"});
    EXPECT_EQ("-5000000000\n", read(200, "i64", "big", 1));
    EXPECT_EQ("18446744073709551615\n", read(204, "u64", "little", 1));
    EXPECT_EQ("0.1\n", read(208, "f64", "big", 1));
}

TEST_F(Pymodbus, ReadsTextsThatPlchostWrote)
{
    write({"4x:40/str16=PUMP \xC3\xBC", "4x:50/str6=\"a, b\""});
    EXPECT_EQ("PUMP \xC3\xBC\n", read(40, "str16", "big", 1));
    EXPECT_EQ("a, b\n", read(50, "str6", "big", 1));
}

TEST_F(Pymodbus, WritesWhatPlchostReads)
{
    writeByPymodbus(200, "i16", "big", {"-5", "7"});
    writeByPymodbus(202, "f32", "big", {"-0.1"});
    writeByPymodbus(204, "i32", "little", {"-70000", "5"});
    writeByPymodbus(208, "i64", "little", {"-5000000000"});
    writeByPymodbus(212, "f64", "big", {"0.1"});
    writeByPymodbus(40, "str8", "big", {"VALVE"});
    EXPECT_EQ("4x:200:2/i16 = -5 7\n4x:202/f32 = -0.1\n4x:204:2/i32.cdab = -70000 5\n4x:208/i64.cdab = "
              "-5000000000\n"
              "4x:212/f64 = 0.1\n4x:40/str8 = \"VALVE\"\n",
              host("read", {"4x:200:2/i16", "4x:202/f32", "4x:204:2/i32.cdab", "4x:208/i64.cdab",
                            "4x:212/f64", "4x:40/str8"})
                  .output);
}

} // namespace
