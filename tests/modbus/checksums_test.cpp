#include "modbus/checksums.h"

#include <gtest/gtest.h>

#include <climits>

#include "plcdriver.h"
#include "support/hex.h"

namespace plc::test {
namespace {

uchar *bytesOf(QByteArray &bytes)
{
    return reinterpret_cast<uchar *>(bytes.data());
}

unsigned crcOf(QByteArray bytes)
{
    return CalCRC(bytesOf(bytes), static_cast<unsigned short>(bytes.size()));
}

unsigned sumOf(QByteArray bytes)
{
    return CalSUM(bytesOf(bytes), static_cast<unsigned short>(bytes.size()));
}

int lrcOf(QByteArray bytes)
{
    return CalLRC(bytesOf(bytes), static_cast<unsigned short>(bytes.size()));
}

unsigned xorOf(QByteArray bytes)
{
    return CalXOR(bytesOf(bytes), static_cast<unsigned short>(bytes.size()));
}

/// @p size bytes without any pattern, the same ones in every run.
QByteArray scrambled(int size)
{
    QByteArray bytes;
    quint32 state = 12345;
    for (int i = 0; i < size; ++i) {
        state = state * 1664525u + 1013904223u;
        bytes.append(static_cast<char>(state >> 24));
    }
    return bytes;
}

TEST(CalCrc, GivesTheNumberWhoseLowByteGoesFirstOnTheLine)
{
    EXPECT_EQ(0xCDC5u, crcOf(hex("01 03 0000 000A")));
}

TEST(CalCrc, GivesTheCatalogueCheckValue)
{
    EXPECT_EQ(0x4B37u, crcOf(QByteArray("123456789")));
}

TEST(CalCrc, GivesTheExampleOfTheSerialLineGuideUnswapped)
{
    EXPECT_EQ(0x1241u, crcOf(hex("02 07")));
}

TEST(CalCrc, OfNothingIsTheInitialValue)
{
    EXPECT_EQ(0xFFFFu, crcOf(QByteArray()));
}

TEST(CalCrc, OfNothingDoesNotLookAtTheBuffer)
{
    uchar byte = 0x5A;
    EXPECT_EQ(0xFFFFu, CalCRC(&byte, 0));
}

TEST(CalCrc, OfANullBufferIsTheInitialValue)
{
    EXPECT_EQ(0xFFFFu, CalCRC(nullptr, 0));
    EXPECT_EQ(0xFFFFu, CalCRC(nullptr, 7));
}

TEST(CalCrc, OfEverySingleByteEqualsTheBitwiseWitness)
{
    for (int value = 0; value < 256; ++value) {
        const QByteArray one(1, static_cast<char>(value));
        EXPECT_EQ(witnessCrc(one), crcOf(one)) << "byte " << value;
    }
}

TEST(CalCrc, OfEveryLengthUpTo300EqualsTheBitwiseWitness)
{
    for (int length = 0; length <= 300; ++length) {
        SCOPED_TRACE(length);
        EXPECT_EQ(witnessCrc(scrambled(length)), crcOf(scrambled(length)));
        EXPECT_EQ(witnessCrc(QByteArray(length, '\0')), crcOf(QByteArray(length, '\0')));
        EXPECT_EQ(witnessCrc(QByteArray(length, '\xFF')), crcOf(QByteArray(length, '\xFF')));
    }
}

TEST(CalCrc, OfTheGreatestLengthEqualsTheBitwiseWitness)
{
    EXPECT_EQ(witnessCrc(scrambled(65535)), crcOf(scrambled(65535)));
}

TEST(CalCrc, StopsAtTheLengthGiven)
{
    QByteArray bytes = hex("01 03 0000 000A FFFF");
    EXPECT_EQ(0xCDC5u, CalCRC(bytesOf(bytes), 6));
}

TEST(CalCrc, ReadsABufferAtAnOddAddress)
{
    QByteArray bytes = hex("EE 01 03 0000 000A");
    EXPECT_EQ(0xCDC5u, CalCRC(bytesOf(bytes) + 1, 6));
}

TEST(CalCrc, OfAFrameWithItsCrcLowByteFirstIsZero)
{
    EXPECT_EQ(0u, crcOf(hex("11 03 04 1234 ABCD 11E1")));
    EXPECT_NE(0u, crcOf(hex("11 03 04 1234 ABCD E111")));
}

TEST(CalCrc, TellsAnyTwoFlippedBitsOfOneCharacter)
{
    const QByteArray good = hex("11 03 04 1234 ABCD");
    for (int at = 0; at < good.size(); ++at) {
        for (int first = 0; first < 8; ++first) {
            for (int second = first + 1; second < 8; ++second) {
                QByteArray bad = good;
                bad.data()[at] = static_cast<char>(bad.at(at) ^ (1 << first) ^ (1 << second));
                EXPECT_NE(crcOf(good), crcOf(bad)) << toHex(bad);
            }
        }
    }
}

TEST(CalCrc, LeavesTheBufferAlone)
{
    QByteArray bytes = hex("01 03 0000 000A");
    CalCRC(bytesOf(bytes), 6);
    EXPECT_EQ(hex("01 03 0000 000A"), bytes);
}

TEST(Crc16, CoversFramesLongerThan65535Bytes)
{
    QByteArray bytes = scrambled(70009);
    EXPECT_EQ(witnessCrc(bytes), crc16(bytesOf(bytes), bytes.size()));
}

TEST(Crc16, OfNothingIsTheInitialValue)
{
    EXPECT_EQ(0xFFFF, crc16(nullptr, 0));
}

TEST(SumByte, IsTheLowByteOfTheSum)
{
    QByteArray bytes = hex("FF FF 03");
    EXPECT_EQ(0x01, sumByte(bytesOf(bytes), 3));
    EXPECT_EQ(0xFE, sumByte(bytesOf(bytes), 2));
    EXPECT_EQ(0x00, sumByte(bytesOf(bytes), 0));
}

TEST(CalSum, KeepsTheLow16Bits)
{
    EXPECT_EQ(0x2AD4u, sumOf(QByteArray(300, '\xFF')));
}

TEST(CalSum, DoesNotWrapBefore65535)
{
    EXPECT_EQ(65535u, sumOf(QByteArray(257, '\xFF')));
    EXPECT_EQ(0u, sumOf(QByteArray(257, '\xFF').append('\x01')));
}

TEST(CalSum, AddsBytesAsUnsignedValues)
{
    EXPECT_EQ(0x80u, sumOf(hex("80")));
    EXPECT_EQ(0x17Fu, sumOf(hex("80 FF")));
}

TEST(CalSum, OfNothingIsZero)
{
    uchar byte = 0x5A;
    EXPECT_EQ(0u, CalSUM(&byte, 0));
    EXPECT_EQ(0u, CalSUM(nullptr, 0));
    EXPECT_EQ(0u, CalSUM(nullptr, 3));
}

TEST(CalSum, StopsAtTheLengthGiven)
{
    QByteArray bytes = hex("01 02 03");
    EXPECT_EQ(3u, CalSUM(bytesOf(bytes), 2));
}

TEST(CalLrc, Is256MinusTheLowByteOfTheSum)
{
    EXPECT_EQ(253, lrcOf(hex("01 02")));
    EXPECT_EQ(255, lrcOf(hex("01")));
    EXPECT_EQ(1, lrcOf(hex("FF")));
}

TEST(CalLrc, Is256AndNotZeroWhenTheLowByteOfTheSumIsZero)
{
    EXPECT_EQ(256, lrcOf(hex("00")));
    EXPECT_EQ(256, lrcOf(hex("80 80")));
    EXPECT_EQ(256, lrcOf(QByteArray(256, '\xFF')));
}

TEST(CalLrc, OfNothingIs256)
{
    uchar byte = 0x5A;
    EXPECT_EQ(256, CalLRC(&byte, 0));
    EXPECT_EQ(256, CalLRC(nullptr, 0));
    EXPECT_EQ(256, CalLRC(nullptr, 3));
}

TEST(CalLrc, AddsBytesAsUnsignedValues)
{
    EXPECT_EQ(2, lrcOf(hex("FF FF")));
    EXPECT_EQ(0x80, lrcOf(hex("80")));
}

TEST(CalLrc, StopsAtTheLengthGiven)
{
    QByteArray bytes = hex("01 02 03");
    EXPECT_EQ(253, CalLRC(bytesOf(bytes), 2));
}

TEST(CalXor, CombinesAllBytes)
{
    EXPECT_EQ(0x03u, xorOf(hex("01 02")));
    EXPECT_EQ(0x00u, xorOf(hex("01 02 03")));
    EXPECT_EQ(0x5Au, xorOf(hex("A5 FF")));
}

TEST(CalXor, OfALengthOfOneOrZeroIsTheFirstByte)
{
    QByteArray bytes = hex("C3 01 02");
    EXPECT_EQ(0xC3u, CalXOR(bytesOf(bytes), 1));
    EXPECT_EQ(0xC3u, CalXOR(bytesOf(bytes), 0));
}

TEST(CalXor, StopsAtTheLengthGiven)
{
    QByteArray bytes = hex("01 02 F0");
    EXPECT_EQ(0x03u, CalXOR(bytesOf(bytes), 2));
}

TEST(CalXor, OfANullBufferIsZero)
{
    EXPECT_EQ(0u, CalXOR(nullptr, 0));
    EXPECT_EQ(0u, CalXOR(nullptr, 4));
}

TEST(CalXor, OfTheGreatestLengthCoversTheLastByte)
{
    QByteArray bytes(65534, '\0');
    bytes.append('\x81');
    EXPECT_EQ(0x81u, xorOf(bytes));
}

TEST(DigitalToAscii, GivesTheSixteenHexadecimalDigits)
{
    const char digits[] = "0123456789ABCDEF";
    for (int value = 0; value < 16; ++value)
        EXPECT_EQ(digits[value], DigitalToASCII(value)) << value;
}

TEST(DigitalToAscii, DoesNotCheckTheRange)
{
    EXPECT_EQ('G', DigitalToASCII(16));
    EXPECT_EQ('/', DigitalToASCII(-1));
    EXPECT_EQ(0, DigitalToASCII(-0x30));
    EXPECT_EQ(-0x70, DigitalToASCII(-0xA0));
    EXPECT_EQ(0x100 + 0x37, DigitalToASCII(0x100));
    EXPECT_EQ(INT_MIN + 0x30, DigitalToASCII(INT_MIN));
}

TEST(DigitalToAscii, WrapsAtTheGreatestNumber)
{
    EXPECT_EQ(INT_MAX, DigitalToASCII(INT_MAX - 0x37));
    EXPECT_EQ(INT_MIN + 0x36, DigitalToASCII(INT_MAX));
}

TEST(AsciiToDigital, GivesTheValuesOfTheSixteenDigits)
{
    const char digits[] = "0123456789ABCDEF";
    for (int value = 0; value < 16; ++value)
        EXPECT_EQ(value, ASCIIToDigital(digits[value])) << digits[value];
}

TEST(AsciiToDigital, TakesTheSixCharactersBehindNineAsTenToFifteen)
{
    const char characters[] = ":;<=>?";
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(10 + i, ASCIIToDigital(characters[i])) << characters[i];
}

TEST(AsciiToDigital, GivesZeroForTheAtSignBetweenTheTwoRanges)
{
    EXPECT_EQ(15, ASCIIToDigital('?'));
    EXPECT_EQ(0, ASCIIToDigital('@'));
    EXPECT_EQ(10, ASCIIToDigital('A'));
}

TEST(AsciiToDigital, GivesZeroForEverythingBelowTheDigits)
{
    EXPECT_EQ(0, ASCIIToDigital('/'));
    EXPECT_EQ(0, ASCIIToDigital(1));
    EXPECT_EQ(0, ASCIIToDigital(0));
    EXPECT_EQ(0, ASCIIToDigital(-1));
    EXPECT_EQ(0, ASCIIToDigital(INT_MIN));
}

TEST(AsciiToDigital, DoesNotFoldSmallLetters)
{
    EXPECT_EQ(42, ASCIIToDigital('a'));
    EXPECT_EQ(47, ASCIIToDigital('f'));
}

TEST(AsciiToDigital, DoesNotCheckTheRangeAbove)
{
    EXPECT_EQ(16, ASCIIToDigital('G'));
    EXPECT_EQ(0x100 - 0x37, ASCIIToDigital(0x100));
    EXPECT_EQ(INT_MAX - 0x37, ASCIIToDigital(INT_MAX));
}

} // namespace
} // namespace plc::test
