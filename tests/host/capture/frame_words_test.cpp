#include "host/capture/frame_words.h"

#include <gtest/gtest.h>

#include "support/hex.h"

namespace {

using namespace plc::host;
using plc::test::withCrc;

std::string request(const char *content)
{
    return fieldsOf(withCrc(content), false).words;
}

std::string reply(const char *content, const char *asked = nullptr)
{
    return fieldsOf(withCrc(content), true, asked ? withCrc(asked) : QByteArray()).words;
}

TEST(FrameWords, TellRequestsFieldByField)
{
    EXPECT_EQ("read 10 coils from 32", request("11 01 0020 000A"));
    EXPECT_EQ("read discrete input 64", request("11 02 0040 0001"));
    EXPECT_EQ("read 2 holding registers from 100", request("11 03 0064 0002"));
    EXPECT_EQ("read input register 7", request("11 04 0007 0001"));
    EXPECT_EQ("write coil 19: 1", request("11 05 0013 FF00"));
    EXPECT_EQ("write coil 19: 0", request("11 05 0013 0000"));
    EXPECT_EQ("write holding register 100: 4660", request("11 06 0064 1234"));
    EXPECT_EQ("write 10 coils from 19: 1 0 0 0 1 0 0 0 0 1", request("11 0F 0013 000A 02 1102"));
    EXPECT_EQ("write 2 holding registers from 100: 4660 43981", request("11 10 0064 0002 04 1234 ABCD"));
    EXPECT_EQ("report server id", request("11 11"));
    EXPECT_EQ("function 65: 01 02", request("11 41 0102"));
}

TEST(FrameWords, TellReplies)
{
    EXPECT_EQ("2 holding registers from 100: 4660 43981", reply("11 03 04 1234 ABCD", "11 03 0064 0002"));
    EXPECT_EQ("2 holding registers: 4660 43981", reply("11 03 04 1234 ABCD")) << "nobody knows where";
    EXPECT_EQ("3 coils from 32: 1 0 1", reply("11 01 01 05", "11 01 0020 0003")) << "spare bits are none";
    EXPECT_EQ("wrote 2 holding registers from 100", reply("11 10 0064 0002"));
    EXPECT_EQ("wrote coil 19: 1", reply("11 05 0013 FF00"));
    EXPECT_EQ("exception 02 illegal data address to read holding registers", reply("11 83 02"));
}

TEST(FrameWords, TakeNoMoreValuesThanTheFrameHas)
{
    EXPECT_EQ("2 holding registers from 100: 1 2", reply("11 03 FF 0001 0002", "11 03 0064 007D"));
    EXPECT_EQ("read holding registers", request("11 03"));
}

class NamedValuesTest : public ::testing::Test
{
protected:
    static Variable variable(const char *text)
    {
        Variable made = parseVariable(text, false);
        made.station = made.station.value_or(17);
        return made;
    }
    static std::vector<std::string> named(const FrameFields &fields, const std::vector<Variable> &variables)
    {
        std::vector<std::string> texts;
        for (const NamedValues &one : namedValues(fields, variables))
            texts.push_back(one.variable->text + " = " +
                            formatValues(*one.variable, one.values, NumberStyle::Unsigned, " "));
        return texts;
    }
};

TEST_F(NamedValuesTest, AreThoseOfVariablesThatLieWholeInTheFrame)
{
    const std::vector<Variable> variables{
        variable("4x:100"),       variable("4x:101:2"),   variable("4x:103"),          variable("4x_d:100"),
        variable("4x_bit:100.2"), variable("4x:100/f32"), variable("4x_bit:100.15:2"), variable("4x:100@18"),
        variable("3x:100"),       variable("0x:100"),     variable("4x:99:2")};
    const FrameFields fields = fieldsOf(withCrc("11 03 06 4145 8000 0007"), true, withCrc("11 03 0064 0003"));
    EXPECT_EQ(
        (std::vector<std::string>{"4x:100 = 16709", "4x:101:2 = 32768 7", "4x_d:100 = 1095073792",
                                  "4x_bit:100.2 = 1", "4x:100/f32 = 12.34375", "4x_bit:100.15:2 = 0 0"}),
        named(fields, variables));
}

TEST_F(NamedValuesTest, AreToldOfWritesToo)
{
    EXPECT_EQ((std::vector<std::string>{"0x:19 = 1"}),
              named(fieldsOf(withCrc("11 05 0013 FF00"), false), {variable("0x:19"), variable("1x:19")}));
    EXPECT_TRUE(named(fieldsOf(withCrc("11 03 0064 0002"), false), {variable("4x:100")}).empty());
}

} // namespace
