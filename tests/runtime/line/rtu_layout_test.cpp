#include "runtime/line/rtu_layout.h"

#include <gtest/gtest.h>

#include <ostream>

#include "support/hex.h"

namespace {

using plc::runtime::changesNothing;
using plc::runtime::ContentLength;
using plc::runtime::repeatedBytesOf;
using plc::runtime::replyLengthAt;
using plc::runtime::replyLengthTo;
using plc::runtime::requestLengthAt;
using plc::test::hex;

constexpr int kNone = 0;

/// Bytes of the frame; kNone where the content denies a frame; -N where N bytes are needed to know.
int shown(ContentLength length)
{
    switch (length.kind) {
    case ContentLength::Kind::Known:
        return length.bytes;
    case ContentLength::Kind::Unfinished:
        return -length.bytes;
    case ContentLength::Kind::None:
        break;
    }
    return kNone;
}

int requestLength(const QByteArray &bytes)
{
    return shown(requestLengthAt(reinterpret_cast<const unsigned char *>(bytes.constData()), bytes.size()));
}

int replyLength(const QByteArray &bytes)
{
    return shown(replyLengthAt(reinterpret_cast<const unsigned char *>(bytes.constData()), bytes.size()));
}

struct Content
{
    const char *name;
    const char *bytes;
    int asRequest;
    int asReply;
};

void PrintTo(const Content &content, std::ostream *out)
{
    *out << content.bytes;
}

class LengthByContent : public ::testing::TestWithParam<Content>
{};

TEST_P(LengthByContent, IsToldInBothRoles)
{
    EXPECT_EQ(GetParam().asRequest, requestLength(hex(GetParam().bytes)));
    EXPECT_EQ(GetParam().asReply, replyLength(hex(GetParam().bytes)));
}

INSTANTIATE_TEST_SUITE_P(
    ReadsAndWrites, LengthByContent,
    ::testing::Values(Content{"OneByte", "11", -2, -2}, Content{"StationAndFunction", "11 03", -6, -3},
                      Content{"ThirteenCoils", "11 01 0020 000D", 8, kNone},
                      Content{"CoilsAtAnAddressThatReadsAsAByteCount", "11 01 0320 000D", 8, 8},
                      Content{"TwoThousandInputs", "11 02 0000 07D0", 8, kNone},
                      Content{"TwoThousandAndOneInputs", "11 02 0000 07D1", kNone, kNone},
                      Content{"RegistersAtAnOddByteCount", "11 03 0364 0002", 8, kNone},
                      Content{"RegistersAtAnEvenByteCount", "11 03 0464 0002", 8, 9},
                      Content{"ReplyOfTwoRegisters", "11 03 04 1234 ABCD", kNone, 9},
                      Content{"HundredTwentyFiveRegisters", "11 04 0007 007D", 8, kNone},
                      Content{"HundredTwentySixRegisters", "11 04 0007 007E", kNone, kNone},
                      Content{"NoRegister", "11 04 0007 0000", kNone, kNone},
                      Content{"LastRegister", "11 03 FFFF 0001", 8, kNone},
                      Content{"BeyondTheLastRegister", "11 03 00FF FF7D", kNone, kNone},
                      Content{"ReplyOf250Bytes", "11 03 FA 000000", kNone, 255},
                      Content{"ReplyOf252Bytes", "11 03 FC 000000", kNone, kNone},
                      Content{"CoilOn", "11 05 0013 FF00", 8, 8}, Content{"CoilOff", "11 05 0013 0000", 8, 8},
                      Content{"CoilNeither", "11 05 0013 FF01", kNone, kNone},
                      Content{"OneRegister", "11 06 0064 1234", 8, 8},
                      Content{"TenCoilsWritten", "11 0F 0013 000A 02", 11, 8},
                      Content{"TenCoilsInThreeBytes", "11 0F 0013 000A 03", kNone, 8},
                      Content{"CoilsWrittenByteCountToCome", "11 0F 0013 000A", -7, 8},
                      Content{"TwoRegistersWritten", "11 10 0064 0002 04", 13, 8},
                      Content{"MostRegistersWritten", "11 10 0064 007B F6", 255, 8},
                      Content{"TooManyRegistersWritten", "11 10 0064 007C F8", kNone, kNone}),
    [](const auto &test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    OtherFunctions, LengthByContent,
    ::testing::Values(Content{"ExceptionStatus", "11 07 6D", 4, 5},
                      Content{"Diagnostics", "11 08 0000 5AC3", 8, 8},
                      Content{"EventCounter", "11 0B 0000 0108", 4, 8},
                      Content{"EventCounterOfABusyStation", "11 0B FFFF 0108", 4, 8},
                      Content{"EventCounterWithAnImpossibleStatus", "11 0B 4A25", 4, kNone},
                      Content{"EventLog", "11 0C 08 0000 0108", 4, 13},
                      Content{"ServerId", "11 11 05 41 42 43 44 FF", 4, 10},
                      Content{"FileRead", "11 14 07 06 0004 0001 0002", 12, kNone},
                      Content{"FileReadReply", "11 14 06 05 06 0DFE 0020", kNone, 11},
                      Content{"MostOfAFileRead", "11 14 F5 06 0004 0001 0002", 250, kNone},
                      Content{"TooMuchOfAFileRead", "11 14 FC 06 0004 0001 0002", kNone, kNone},
                      Content{"MostOfAFileReadReply", "11 14 F5 F4 06 0DFE 0020", kNone, 250},
                      Content{"TooMuchOfAFileReadReply", "11 14 F6 F5 06 0DFE 0020", kNone, kNone},
                      Content{"FileWritten", "11 15 0D 06 0004 0007 0003", 18, 18},
                      Content{"MaskWrite", "11 16 0064 FFF7 0008", 10, 10},
                      Content{"ReadAndWrite", "11 17 0003 0006 000E 0003 06", 19, kNone},
                      Content{"ReadAndWriteReply", "11 17 0C 00FE 0ACD 0001 0003 000D", kNone, 17},
                      Content{"Fifo", "11 18 04DE", 6, -6},
                      Content{"FifoReply", "11 18 0006 0002 01B8", 6, 12},
                      Content{"IdentificationAsked", "11 2B 0E 01 00", 7, -8},
                      Content{"Identification", "11 2B 0E 01 01 00 00 02 00 03 414243 01 01 44", 7, 18},
                      Content{"IdentificationOfNoCategory", "11 2B 0E 00 01 00 00 00", kNone, kNone},
                      Content{"IdentificationOfTheFirstCategory", "11 2B 0E 01 01 00 00 00", 7, 10},
                      Content{"IdentificationOfTheLastCategory", "11 2B 0E 04 01 00 00 00", 7, 10},
                      Content{"IdentificationBeyondTheLastCategory", "11 2B 0E 05 01 00 00 00", kNone, kNone},
                      Content{"IdentificationBegun", "11 2B 0E 01 01 00 00 02 00 03 41", 7, -17},
                      Content{"IdentificationOfTooManyObjects", "11 2B 0E 01 01 00 00 FF", 7, kNone},
                      Content{"CanOpen", "11 2B 0D 01 01 00 00 02", kNone, kNone},
                      Content{"UserDefined", "11 41 0102 0304", kNone, kNone}),
    [](const auto &test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Limits, LengthByContent,
    ::testing::Values(Content{"ReplyOf2000Bits", "11 01 FA 000000", kNone, 255},
                      Content{"ReplyOf2008Bits", "11 01 FB 000000", kNone, kNone},
                      Content{"MostCoilsWritten", "11 0F 0000 07B0 F6", 255, 8},
                      Content{"TooManyCoilsWritten", "11 0F 0000 07B1 F7", kNone, kNone},
                      Content{"EventLogWithNoEvent", "11 0C 06 0000 0108", 4, 11},
                      Content{"EventLogWithoutItsCounts", "11 0C 05 0000 0108", 4, kNone},
                      Content{"EventLogOf64Events", "11 0C 46 0000 0108", 4, 75},
                      Content{"EventLogOf65Events", "11 0C 47 0000 0108", 4, kNone},
                      Content{"EmptyServerId", "11 11 00 0000", 4, kNone},
                      Content{"ServerIdOfOneByte", "11 11 01 4100", 4, 6},
                      Content{"ShortestFileReadReply", "11 14 04 03 06 0DFE", kNone, 9},
                      Content{"FileReadReplyWithoutARegister", "11 14 03 02 06 0DFE", kNone, kNone},
                      Content{"ShortestFileWritten", "11 15 09 06 0004 0007 0001", 14, 14},
                      Content{"FileWrittenWithoutARegister", "11 15 08 06 0004 0007 0001", kNone, kNone},
                      Content{"MostOfAFileWritten", "11 15 FB 06 0004 0007 007A", 256, 256},
                      Content{"TooMuchOfAFileWritten", "11 15 FC 06 0004 0007 007A", kNone, kNone},
                      Content{"MostReadWithAWrite", "11 17 0003 007D 000E 0001 02", 15, kNone},
                      Content{"TooManyReadWithAWrite", "11 17 0003 007E 000E 0001 02", kNone, kNone},
                      Content{"MostWrittenWithARead", "11 17 0003 0006 000E 0079 F2", 255, kNone},
                      Content{"TooManyWrittenWithARead", "11 17 0003 0006 000E 007A F4", kNone, kNone},
                      Content{"FifoOf31", "11 18 0040 001F", 6, 70},
                      Content{"EmptyFifo", "11 18 0002 0000", 6, 8},
                      Content{"FifoOf32", "11 18 0042 0020", 6, kNone}),
    [](const auto &test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(StationsAndExceptions, LengthByContent,
                         ::testing::Values(Content{"BroadcastWrite", "00 06 0064 0001", 8, kNone},
                                           Content{"BroadcastRead", "00 03 0064 0001", kNone, kNone},
                                           Content{"LastStation", "F7 03 0064 0001", 8, kNone},
                                           Content{"ReservedStation", "F8 03 02 0001", kNone, kNone},
                                           Content{"FunctionZero", "11 00 02 0001", kNone, kNone},
                                           Content{"Exception", "11 83 02", kNone, 5},
                                           Content{"ExceptionToAUserDefinedFunction", "11 C1 01", kNone, 5},
                                           Content{"ExceptionWithoutACode", "11 83 00", kNone, kNone},
                                           Content{"ExceptionToNoFunction", "11 80 01", kNone, kNone}),
                         [](const auto &test) { return test.param.name; });

struct Due
{
    const char *name;
    const char *request;
    int length;
    int repeated;
};

void PrintTo(const Due &due, std::ostream *out)
{
    *out << due.request;
}

class DueReply : public ::testing::TestWithParam<Due>
{};

TEST_P(DueReply, FollowsTheRequest)
{
    EXPECT_EQ(GetParam().length, replyLengthTo(hex(GetParam().request)));
    EXPECT_EQ(GetParam().repeated, repeatedBytesOf(hex(GetParam().request)));
}

INSTANTIATE_TEST_SUITE_P(
    Functions, DueReply,
    ::testing::Values(
        Due{"ThirteenCoils", "11 01 0020 000D FE95", 7, 2}, Due{"TwoRegisters", "11 03 0064 0002 8744", 9, 2},
        Due{"NoRegister", "11 03 0064 0000 0685", 5, 2}, Due{"CoilWritten", "11 05 0013 FF00 7F6F", 8, 6},
        Due{"RegistersWritten", "11 10 0064 0002 04 1234 ABCD 5AA7", 8, 6},
        Due{"Echo", "11 08 0000 5AC3 1122 0000", 10, 8}, Due{"Counter", "11 08 000B 0000 9359", 8, 4},
        Due{"ListenOnly", "11 08 0004 0000 A358", 0, 4}, Due{"MaskWrite", "11 16 0064 FFF7 0008 06E2", 10, 8},
        Due{"ReadAndWrite", "11 17 0003 0006 000E 0001 02 00FF 0000", 17, 2},
        Due{"ServerId", "11 11 CDEC", 0, 2}, Due{"UserDefined", "11 41 01 0000", 0, 2},
        Due{"TooShort", "11", 0, 2}),
    [](const auto &test) { return test.param.name; });

TEST(RequestsThatChangeNothing, AreThoseThatAreKnownToReadAlone)
{
    for (const char *const request :
         {"01 01", "01 02", "01 03 00 00 00 01", "01 04", "01 07", "01 0B", "01 0C", "01 11", "01 14",
          "01 18", "01 08 00 00 A5 37", "01 08 00 02", "01 08 00 0B", "01 08 00 12", "01 2B 0E 01 00"})
        EXPECT_TRUE(changesNothing(hex(request))) << request;
    for (const char *const request :
         {"01 05", "01 06", "01 0F", "01 10", "01 15", "01 16", "01 17", "01 08 00 01 00 00", "01 08 00 04",
          "01 08 00 0A", "01 08 00 14", "01 2B 0D 00", "01 64", "00 03 00 00 00 01", "01 83", "01", ""})
        EXPECT_FALSE(changesNothing(hex(request))) << request;
}

TEST(RunningCrc, IsZeroBehindAGoodFrame)
{
    std::uint16_t crc = plc::runtime::kCrcStart;
    for (const char byte : hex("11 03 0064 0002 8744"))
        crc = plc::runtime::crcWith(crc, static_cast<unsigned char>(byte));
    EXPECT_EQ(0, crc);
}

TEST(CrcFits, InTheOrderAskedFor)
{
    const QByteArray lowFirst = hex("11 03 0064 0002 8744");
    const QByteArray highFirst = hex("11 03 0064 0002 4487");
    EXPECT_TRUE(plc::runtime::crcFits(lowFirst.constData(), 8, false));
    EXPECT_FALSE(plc::runtime::crcFits(lowFirst.constData(), 8, true));
    EXPECT_TRUE(plc::runtime::crcFits(highFirst.constData(), 8, true));
    EXPECT_FALSE(plc::runtime::crcFits(highFirst.constData(), 8, false));
}

} // namespace
