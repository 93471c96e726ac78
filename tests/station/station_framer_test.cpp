#include "station/framer.h"
#include "station/rtu_text.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::station;
using plc::test::bytes;
using plc::test::rtu;
using plc::test::operator+;

using Frames = std::vector<Bytes>;

const Frames kNone;

class FramerTest : public ::testing::Test
{
protected:
    Framer framer_{modbusRequestRule(CrcOrder::LowFirst)};
    const Bytes read_ = bytes("11 03 00 64 00 02 87 44");
    const Bytes block_ = bytes("11 10 00 64 00 02 04 12 34 AB CD 5A A7");
    const Bytes mask_ = bytes("11 16 00 64 FF F7 00 08 06 E2");
};

class FramerRequests : public ::testing::TestWithParam<std::string>
{};

TEST_P(FramerRequests, AreTakenAtOnceWhenWhole)
{
    Framer framer(modbusRequestRule(CrcOrder::LowFirst));
    EXPECT_EQ(Frames({bytes(GetParam())}), framer.push(bytes(GetParam())));
    EXPECT_FALSE(framer.isHoldingBytes());
    EXPECT_EQ(0u, framer.badFrames());
}

TEST_P(FramerRequests, AreTakenWithTheirLastByteWhenTheyComeByteByByte)
{
    Framer framer(modbusRequestRule(CrcOrder::LowFirst));
    const Bytes request = bytes(GetParam());
    for (std::size_t i = 0; i + 1 < request.size(); ++i)
        EXPECT_EQ(kNone, framer.push(Bytes(1, request[i]))) << i;
    EXPECT_EQ(Frames({request}), framer.push(Bytes(1, request.back())));
}

TEST_P(FramerRequests, AreTakenTwiceFromOneBuffer)
{
    Framer framer(modbusRequestRule(CrcOrder::LowFirst));
    const Bytes request = bytes(GetParam());
    EXPECT_EQ(Frames({request, request}), framer.push(request + request));
}

INSTANTIATE_TEST_SUITE_P(AllFunctions, FramerRequests,
                         ::testing::Values("11 01 00 20 00 0D FE 95", "11 02 00 40 00 09 BB 48",
                                           "11 03 00 64 00 02 87 44", "11 04 00 07 00 01 82 9B",
                                           "11 05 00 13 FF 00 7F 6F", "11 06 00 64 12 34 C7 F2",
                                           "11 08 00 00 5A C3 98 6A", "11 0F 00 13 00 0A 02 A5 03 11 0A",
                                           "11 10 00 64 00 02 04 12 34 AB CD 5A A7",
                                           "11 16 00 64 FF F7 00 08 06 E2"),
                         [](const auto &row) { return "Function" + row.param.substr(3, 2); });

TEST_F(FramerTest, FindsARequestBehindGarbageThatCannotBeginOne)
{
    EXPECT_EQ(Frames({read_}), framer_.push(bytes("FF FF 00") + read_));
    EXPECT_EQ(1u, framer_.badFrames());
}

TEST_F(FramerTest, FindsARequestBehindADamagedOne)
{
    EXPECT_EQ(Frames({mask_}), framer_.push(bytes("11 03 00 64 00 02 87 45") + mask_));
    EXPECT_EQ(1u, framer_.badFrames());
    EXPECT_FALSE(framer_.isHoldingBytes());
}

TEST_F(FramerTest, WaitsForWhatMayStillBecomeAFrameAndFindsTheNextOneInTheSilence)
{
    // The start of a block write of 246 data bytes, which never come.
    const Bytes tail = bytes("11 10 00 00 00 7B F6 00 00");
    EXPECT_EQ(kNone, framer_.push(tail + read_));
    EXPECT_EQ(Frames({read_}), framer_.silence());
    EXPECT_EQ(1u, framer_.badFrames());
    EXPECT_FALSE(framer_.isHoldingBytes());
}

TEST_F(FramerTest, DropsAnUnfinishedRequestInTheSilence)
{
    EXPECT_EQ(kNone, framer_.push(bytes("11 03 00 64 00")));
    EXPECT_TRUE(framer_.isHoldingBytes());
    EXPECT_EQ(kNone, framer_.silence());
    EXPECT_EQ(1u, framer_.badFrames());
    EXPECT_EQ(Frames({read_}), framer_.push(read_)) << "the next request is not spoiled by it";
    EXPECT_EQ(1u, framer_.badFrames());
}

TEST_F(FramerTest, DropsADamagedRequestInTheSilence)
{
    EXPECT_EQ(kNone, framer_.push(bytes("11 03 00 64 00 02 87 45")));
    EXPECT_EQ(kNone, framer_.silence());
    EXPECT_EQ(1u, framer_.badFrames());
}

TEST_F(FramerTest, MakesNothingOfASilenceOnAnEmptyLine)
{
    EXPECT_EQ(kNone, framer_.silence());
    EXPECT_EQ(0u, framer_.badFrames());
}

TEST_F(FramerTest, FramesAnUnknownFunctionBySilence)
{
    const Bytes request = rtu("11 41 01 02 03");
    EXPECT_EQ(kNone, framer_.push(request));
    EXPECT_EQ(Frames({request}), framer_.silence());
    EXPECT_EQ(0u, framer_.badFrames());
}

TEST_F(FramerTest, FramesARequestOfUnusualLengthBySilence)
{
    // An echo of two words; a block write whose byte count is too small for what follows.
    for (const char *text : {"11 08 0000 0102 0304", "11 10 0000 0002 02 1111 2222", "11 03 00"}) {
        EXPECT_EQ(kNone, framer_.push(rtu(text))) << text;
        EXPECT_EQ(Frames({rtu(text)}), framer_.silence()) << text;
    }
    EXPECT_EQ(0u, framer_.badFrames());
}

TEST_F(FramerTest, TakesTwoDifferentRequestsInTheirOrder)
{
    EXPECT_EQ(Frames({block_, mask_, read_}), framer_.push(block_ + mask_ + read_));
}

TEST_F(FramerTest, DoesNotExecuteAFrameThatIsDataOfAnother)
{
    const Bytes carrier = rtu("11 10 0000 0004 08 1103 0064 0002 8744");
    const auto split = carrier.begin() + 15;
    EXPECT_EQ(kNone, framer_.push(Bytes(carrier.begin(), split)));
    EXPECT_EQ(Frames({carrier}), framer_.push(Bytes(split, carrier.end())));
}

TEST_F(FramerTest, StaysBoundedUnderEndlessNoise)
{
    const Bytes noise(1000, 0xFF);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(kNone, framer_.push(noise));
    EXPECT_GE(framer_.badFrames(), 5u);
    framer_.silence();
    EXPECT_EQ(Frames({read_}), framer_.push(read_));
}

TEST(FramerOrder, FollowsTheCrcOrderOfTheRequests)
{
    Framer framer(modbusRequestRule(CrcOrder::HighFirst));
    EXPECT_EQ(kNone, framer.push(bytes("11 06 00 64 12 34 C7 F2")));
    framer.silence();
    EXPECT_EQ(Frames({bytes("11 06 00 64 12 34 F2 C7")}), framer.push(bytes("11 06 00 64 12 34 F2 C7")));
}

} // namespace
