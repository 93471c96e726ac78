#include "host/capture/pcapng.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "runtime/line/failure.h"
#include "support/hex.h"

namespace {

using namespace plc::host;
using plc::test::hex;
using plc::test::toHex;

CaptureReader readerOf(const std::string &capture)
{
    return CaptureReader("x.pcapng", [capture, at = std::size_t(0)](char *bytes, std::size_t count) mutable {
        const std::size_t given = std::min(count, capture.size() - at);
        std::memcpy(bytes, capture.data() + at, given);
        at += given;
        return given;
    });
}

std::vector<CapturedPacket> packetsOf(const std::string &capture)
{
    CaptureReader reader = readerOf(capture);
    std::vector<CapturedPacket> packets;
    CapturedPacket packet;
    while (reader.next(&packet))
        packets.push_back(packet);
    return packets;
}

std::string refusalOf(const std::string &capture)
{
    try {
        packetsOf(capture);
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Usage, failure.kind());
        return failure.what();
    }
    return "taken";
}

CapturedPacket packetOf(const QByteArray &bytes, PieceKind kind, FrameRole role)
{
    CapturedPacket packet;
    packet.frame.kind = kind;
    packet.frame.role = role;
    packet.frame.bytes = bytes;
    packet.time = 0x0102030405060708;
    packet.comment = "ok";
    return packet;
}

std::string bytesOf(const char *text)
{
    return hex(text).toStdString();
}

/// A section with one interface, numbers low byte first; time stamps in microseconds.
const char *const kSection = "0A0D0D0A 1C000000 4D3C2B1A 0100 0000 FFFFFFFFFFFFFFFF 1C000000";
const char *const kInterface = "01000000 14000000 FC00 0000 00000000 14000000";

std::string capture(const std::string &packets)
{
    return bytesOf(kSection) + bytesOf(kInterface) + packets;
}

TEST(Pcapng, HasAReplyOnInterfaceRxWithItsDirectionAndItsComment)
{
    const CapturedPacket packet = packetOf(hex("11 83 02 C1 34"), PieceKind::Exception, FrameRole::Reply);
    EXPECT_EQ(toHex(hex("06000000 64000000 01000000 04030201 08070605 2D000000 2D000000"
                        "000C 0008 6D62727475000000  0018 0004 00000002  0019 0004 000001F6"
                        "001A 0004 0000C000  0000 0000  11 83 02 C1 34 000000"
                        "0100 0200 6F6B0000  0200 0400 01000000  0000 0000  64000000")),
              toHex(QByteArray::fromStdString(captureBlock(packet))));
}

TEST(Pcapng, HasARequestOnInterfaceTx)
{
    const CapturedPacket packet = packetOf(hex("11 07 4C 22"), PieceKind::Unknown, FrameRole::Request);
    EXPECT_EQ(toHex(hex("06000000 60000000 00000000 04030201 08070605 2C000000 2C000000"
                        "000C 0008 6D62727475000000  0018 0004 00000002  0019 0004 0000C000"
                        "001A 0004 000001F6  0000 0000  11 07 4C 22"
                        "0100 0200 6F6B0000  0200 0400 02000000  0000 0000  60000000")),
              toHex(QByteArray::fromStdString(captureBlock(packet))));
}

TEST(Pcapng, NoiseIsDataWithErrors)
{
    const CapturedPacket packet = packetOf(hex("AA"), PieceKind::Noise, FrameRole::Either);
    EXPECT_EQ(toHex(hex("06000000 5C000000 01000000 04030201 08070605 25000000 25000000"
                        "000C 0004 64617461  0018 0004 00000002  0019 0004 000001F6"
                        "001A 0004 0000C000  0000 0000  AA 000000"
                        "0100 0200 6F6B0000  0200 0400 01000011  0000 0000  5C000000")),
              toHex(QByteArray::fromStdString(captureBlock(packet))));
}

TEST(Pcapng, TellsRateAndResolutionOfBothInterfaces)
{
    EXPECT_EQ(toHex(hex("0A0D0D0A 28000000 4D3C2B1A 0100 0000 FFFFFFFFFFFFFFFF 0400 0100 70000000 0000 0000"
                        "28000000"
                        "01000000 50000000 FC00 0000 00000000 0200 0200 74780000"
                        "0300 1500 746F207468652073746174696F6E732C206C696E65 000000"
                        "0800 0800 8025000000000000 0900 0100 09000000 0000 0000 50000000")),
              toHex(QByteArray::fromStdString(captureBegin({"p", "line", 9600}).substr(0, 120))));
    const std::string begin = captureBegin({"p", "line", 9600});
    EXPECT_NE(std::string::npos, begin.find("from the stations, line"));
    EXPECT_EQ(std::string::npos, captureBegin({"p", "line", 0}).find(bytesOf("0800 0800")))
        << "a pseudo-terminal has no rate";
}

TEST(CaptureReader, GivesBackWhatWasWritten)
{
    const CapturedPacket written[] = {
        packetOf(hex("11 03 00 64 00 02 87 44"), PieceKind::Frame, FrameRole::Request),
        packetOf(hex("11 03 04 12 34 AB CD 11 E1"), PieceKind::Frame, FrameRole::Reply),
        packetOf(hex("11 83 02 C1 34"), PieceKind::Exception, FrameRole::Reply),
        packetOf(hex("11 06 00 64 12 34 C7 F2"), PieceKind::Frame, FrameRole::Either),
        packetOf(hex("11 03 04 12 34 AB CD 00 00"), PieceKind::Damaged, FrameRole::Reply),
        packetOf(hex("AA 55"), PieceKind::Noise, FrameRole::Either)};
    std::string file = captureBegin({"p", "l", 9600});
    for (const CapturedPacket &packet : written)
        file += captureBlock(packet);
    const std::vector<CapturedPacket> read = packetsOf(file);
    ASSERT_EQ(std::size(written), read.size());
    for (std::size_t i = 0; i < read.size(); ++i) {
        EXPECT_EQ(written[i].frame.kind, read[i].frame.kind) << i;
        EXPECT_EQ(written[i].frame.role, read[i].frame.role) << i;
        EXPECT_EQ(written[i].frame.bytes, read[i].frame.bytes) << i;
        EXPECT_EQ(written[i].time, read[i].time) << i;
        EXPECT_EQ("ok", read[i].comment) << i;
        EXPECT_TRUE(read[i].hasDirection) << i;
    }
    EXPECT_EQ(17, read[2].frame.station);
    EXPECT_EQ(3, read[2].frame.function);
    EXPECT_EQ(2, read[2].frame.exceptionCode);
}

TEST(CaptureReader, TakesCapturesOfOtherMachinesAndBlocksThatItDoesNotKnow)
{
    const std::string file = bytesOf("0A0D0D0A 0000001C 1A2B3C4D 0001 0000 FFFFFFFFFFFFFFFF 0000001C"
                                     "00000001 00000014 00FC 0000 00000000 00000014"
                                     "00000BAD 00000010 01020304 00000010"
                                     "00000006 00000034 00000000 00000000 0000000A 00000014 00000014"
                                     "000C 0008 6D62727475000000 0000 0000 11 07 4C 22 00000034");
    const std::vector<CapturedPacket> read = packetsOf(file);
    ASSERT_EQ(1u, read.size());
    EXPECT_EQ(10000, read[0].time) << "microseconds, where no resolution is told";
    EXPECT_EQ("11 07 4C 22", toHex(read[0].frame.bytes));
    EXPECT_FALSE(read[0].hasDirection);
    EXPECT_TRUE(read[0].frame.isGood());
}

TEST(CaptureReader, EndsBeforeABlockThatBreaksOff)
{
    const std::string whole =
        captureBegin({"p", "l", 0}) +
        captureBlock(packetOf(hex("11 83 02 C1 34"), PieceKind::Exception, FrameRole::Reply));
    CaptureReader reader = readerOf(
        whole + captureBlock(packetOf(hex("AA"), PieceKind::Noise, FrameRole::Either)).substr(0, 30));
    CapturedPacket packet;
    EXPECT_TRUE(reader.next(&packet));
    EXPECT_FALSE(reader.isCut());
    EXPECT_FALSE(reader.next(&packet));
    EXPECT_TRUE(reader.isCut());
}

TEST(CaptureReader, RefusesWhatIsNoCaptureOfALineAndNamesThePlace)
{
    const struct
    {
        std::string file;
        const char *reason;
    } kCases[] = {
        {"", "byte 0: this is no pcapng"},
        {"text of any kind", "byte 0: this is no pcapng"},
        {bytesOf("0A0D0D0A 1C000000 11111111"), "byte 0: this is no pcapng"},
        {bytesOf("0A0D0D0A 08000000 4D3C2B1A"), "byte 0: a block of 8 bytes cannot be"},
        {bytesOf("0A0D0D0A 0C000000 4D3C2B1A"), "byte 0: a block of 12 bytes cannot be"},
        {bytesOf("0A0D0D0A FCFFFF7F 4D3C2B1A"), "byte 0: a block of 2147483644 bytes cannot be"},
        {bytesOf("0A0D0D0A 14000000 4D3C2B1A 00000000 14000000"), "byte 0: a section is too short"},
        {bytesOf("0A0D0D0A 1C000000 4D3C2B1A 0100 0000 FFFFFFFFFFFFFFFF 18000000"),
         "byte 0: a block ends with another length than it begins with"},
        {capture(bytesOf("06000000 10000000 00000000 10000000")), "byte 48: a packet is too short"},
        {capture(bytesOf("06000000 20000000 01000000 0000000000000000 00000000 00000000 20000000")),
         "byte 48: a packet is too short, or of an interface that is not there"},
        {capture(bytesOf("06000000 20000000 00000000 0000000000000000 FFFFFFFF 00000000 20000000")),
         "byte 48: a packet is longer than its block"},
        {capture(bytesOf("06000000 20000000 00000000 FFFFFFFFFFFFFFFF 00000000 00000000 20000000")),
         "byte 48: a time stamp lies behind the year 2116"},
        {capture(bytesOf("06000000 20000000 00000000 FEFFFF7F FFFFFFFF 00000000 00000000 20000000")),
         "byte 48: a time stamp lies behind the year 2116"},
        {capture(bytesOf("06000000 20000000 00000000 00000040 00000000 00000000 00000000 20000000")),
         "byte 48: a time stamp lies behind the year 2116"},
        {capture(bytesOf("06000000 20000000 00000000 0000000000000000 00000000 00000000 20000000")),
         "byte 48: a packet ends among its tags"},
        {capture(bytesOf("06000000 24000000 00000000 0000000000000000 04000000 04000000 000C FFFF 24000000")),
         "byte 48: a tag is longer than its packet"},
        {capture(bytesOf("06000000 28000000 00000000 0000000000000000 04000000 04000000 0000 0000"
                         "0100 FFFF 28000000")),
         "byte 48: an option is longer than its block"},
        {bytesOf(kSection) +
             bytesOf("01000000 14000000 0100 0000 00000000 14000000"
                     "06000000 20000000 00000000 0000000000000000 00000000 00000000 20000000"),
         "byte 48: a packet is of link type 1"},
        {bytesOf(kSection) +
             bytesOf("01000000 20000000 FC00 0000 00000000 0900 0100 8A000000 0000 0000 20000000"),
         "byte 28: time stamps are finer than nanoseconds, or in powers of two"}};
    for (const auto &refused : kCases) {
        const std::string said = refusalOf(refused.file);
        EXPECT_EQ(0u, said.find(std::string("x.pcapng: ") + refused.reason)) << said;
        EXPECT_EQ(std::string::npos, said.find('\n'));
    }
}

} // namespace
