// Frames are complete however long or short the data of a write is, and received bytes are never trusted.
#include <string>

#include "core/register_types.h"
#include "modbus/read_request.h"
#include "modbus/reply_check.h"
#include "modbus/reply_store.h"
#include "modbus/write_request.h"
#include "support/driver_fixture.h"

namespace plc::test {

namespace {

/// Bytes with a pattern that shows a shift or a swap anywhere.
QByteArray pattern(int size)
{
    QByteArray bytes;
    bytes.reserve(size);
    for (int i = 0; i < size; ++i)
        bytes.append(static_cast<char>(i * 31 + i / 251));
    return bytes;
}

/// @p bytes in groups of @p group, each reversed.
QByteArray reversedGroups(const QByteArray &bytes, int group)
{
    QByteArray reversed;
    reversed.reserve(bytes.size());
    for (int start = 0; start < bytes.size(); start += group)
        for (int i = group - 1; i >= 0; --i)
            reversed.append(bytes.at(start + i));
    return reversed;
}

QByteArray withWitnessCrc(QByteArray bytes)
{
    const quint16 crc = witnessCrc(bytes);
    bytes.append(static_cast<char>(crc & 0xFF));
    bytes.append(static_cast<char>(crc >> 8));
    return bytes;
}

class LongData : public SetUpDriver
{
protected:
    /// The frame that the cycle sends for a queued write.
    QByteArray frameOf(RW_VAR var)
    {
        PLC_driver.writeList.clear();
        PLC_driver.sendQueue.clear();
        PLC_driver.writeBurst = 0;
        AddListWriteVar(&var, 1);
        const Protocol *head = next();
        if (!head)
            return QByteArray();
        EXPECT_EQ(head->frame.size(), head->sendLen);
        return head->frame;
    }
};

TEST_F(LongData, OfCoilsGoesOutWhole)
{
    for (const int size : {253, 1017, 1018, 1019, 1026, 5000, 70000}) {
        SCOPED_TRACE(size);
        // The byte count field holds the low byte of the size.
        QByteArray head = hex("01 0F 0010 9C40");
        head.append(static_cast<char>(size & 0xFF));
        EXPECT_EQ(withWitnessCrc(head + pattern(size)), frameOf(coil(16).count(40000).data(pattern(size))));
    }
}

TEST_F(LongData, OfRegistersGoesOutWhole)
{
    for (const int size : {254, 1016, 1018, 1020, 1026, 5000, 70000}) {
        for (const int regType : {5, 9}) {
            SCOPED_TRACE(::testing::Message() << "type " << regType << ", " << size << " bytes");
            QByteArray head = hex("01 10 0010 09C4");
            head.append(static_cast<char>(size & 0xFF));
            EXPECT_EQ(withWitnessCrc(head + reversedGroups(pattern(size), 2)),
                      frameOf(Variable(regType, 16).count(2500).data(pattern(size))));
        }
    }
}

TEST_F(LongData, OfPairsGoesOutWhole)
{
    for (const int size : {252, 1016, 1020, 5000, 70000}) {
        SCOPED_TRACE(size);
        QByteArray head = hex("01 10 0010 09C4");
        head.append(static_cast<char>(size & 0xFF));
        EXPECT_EQ(withWitnessCrc(head + reversedGroups(pattern(size), 4)),
                  frameOf(holdingPair(16).count(1250).data(pattern(size))));
    }
}

TEST_F(LongData, OfASingleElementIsCutToIt)
{
    EXPECT_EQ(withCrc("01 05 0010 FF00"), frameOf(coil(16).data(QByteArray(5000, 1))));
    EXPECT_EQ(withCrc("01 06 0010 1F00"), frameOf(holding(16).data(pattern(5000))));
    EXPECT_EQ(withCrc("01 06 0010 1F00"), frameOf(Variable(8, 16).count(2500).data(pattern(5000))));
}

TEST_F(LongData, OfABitInARegisterIsCutToIt)
{
    QByteArray data(5000, '\0');
    data[0] = 1;
    EXPECT_EQ(withCrc("01 03 0001 0001"), frameOf(holdingBit(16).data(data)));
    EXPECT_EQ(withCrc("01 06 0001 0000"), queuedFrame(1));
}

TEST_F(LongData, OfABitWrittenFromTheMirrorIsCutToTheRegister)
{
    setOptions(kOptionBitFromMirror);
    QByteArray data(5000, '\0');
    data[0] = 1;
    EXPECT_EQ(withCrc("01 06 0001 0001"), frameOf(holdingBit(16).data(data)));
    setOptions(kOptionBitFromMirror | kOptionRegisterAsBlock);
    const QByteArray frame = frameOf(holdingBit(16).data(data));
    EXPECT_EQ(hex("01 10 0001 0001"), frame.left(6));
    EXPECT_EQ(hex("00 01"), frame.mid(7, 2));
}

TEST_F(LongData, OfARelayFrameGoesOutWhole)
{
    info.linkMode = 1;
    for (const int size : {1004, 1005, 5000, 70000}) {
        SCOPED_TRACE(size);
        QByteArray frame = hex("00 00 01 00 01 0005 00000010 09C4 00000000 00000000");
        frame[0] = static_cast<char>((22 + size) & 0xFF);
        frame += pattern(size);
        unsigned sum = 0;
        for (const char byte : frame)
            sum += static_cast<unsigned char>(byte);
        frame.append(static_cast<char>(sum & 0xFF));
        EXPECT_EQ(frame, frameOf(holding(16).count(2500).data(pattern(size))));
    }
}

TEST_F(LongData, IsShownInTheMirrorWhole)
{
    frameOf(holding(16).count(2500).data(pattern(5000)));
    EXPECT_EQ(2500, PLC_driver.registerCache.size());
    EXPECT_EQ(pattern(5000).right(2), mirrored(1, 5, 16 + 2499));
}

TEST_F(LongData, LeavesNextRequestsAlone)
{
    frameOf(holding(16).count(2500).data(pattern(5000)));
    EXPECT_EQ(withCrc("01 06 0010 3412"), frameOf(holding(16).data("12 34")));
}

TEST_F(LongData, KeepsTheFunctionCodeThatAnUnsupportedTypeRepeats)
{
    frameOf(holding(16).count(2500).data(pattern(5000)));
    EXPECT_EQ(withCrc("01 10 0010"), frameOf(inputRegister(16).data("12 34")));
    frameOf(coil(16).count(40000).data(pattern(5000)));
    EXPECT_EQ(withCrc("01 0F 0010"), frameOf(inputRegister(16).data("12 34")));
}

// ------------------------------------------------------------------------------------- empty and short data

class ShortData : public LongData
{};

TEST_F(ShortData, OfEveryTypeSendsZeros)
{
    struct Row
    {
        int regType;
        int count;
        const char *frame;
    };
    const Row rows[] = {
        {0, 1, "01 05 0010 0000"},    {0, 10, "01 0F 0010 000A 00"}, {5, 1, "01 06 0010 0000"},
        {5, 2, "01 10 0010 0002 00"}, {7, 1, "01 10 0010 0002 00"},  {7, 0, "01 10 0010 0000 00"},
        {8, 1, "01 06 0010 0000"},    {8, 5, "01 06 0010 0000"},     {9, 1, "01 10 0010 0001 00"},
        {5, 0, "01 10 0010 0000 00"}, {0, 0, "01 0F 0010 0000 00"},  {3, 1, "01 03 0001 0001"}};
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << "type " << row.regType << ", count " << row.count);
        EXPECT_EQ(withCrc(row.frame), frameOf(Variable(row.regType, 16).count(row.count).data("")));
    }
}

TEST_F(ShortData, OfReadOnlyAndUnknownTypesSendsSixBytes)
{
    frameOf(holding(16).data("12 34"));
    for (const int regType : {1, 2, 4, 6, 10, -1}) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(withCrc("01 06 0010"), frameOf(Variable(regType, 16).data("")));
    }
}

TEST_F(ShortData, WithOptionOneSendsAnEmptyBlock)
{
    setOptions(kOptionRegisterAsBlock);
    EXPECT_EQ(withCrc("01 10 0010 0001 00"), frameOf(holding(16).data("")));
}

TEST_F(ShortData, OfHalfARegisterIsCompletedWithZero)
{
    EXPECT_EQ(withCrc("01 06 0010 0012"), frameOf(holding(16).data("12")));
    EXPECT_EQ(withCrc("01 06 0010 0012"), frameOf(Variable(8, 16).data("12")));
    EXPECT_EQ(withCrc("01 10 0010 0002 03 3412 0056"), frameOf(holding(16).count(2).data("12 34 56")));
    EXPECT_EQ(withCrc("01 10 0010 0001 01 0012"), frameOf(Variable(9, 16).data("12")));
}

TEST_F(ShortData, OfHalfAPairIsCompletedWithZeros)
{
    EXPECT_EQ(withCrc("01 10 0010 0002 01 00000012"), frameOf(holdingPair(16).data("12")));
    EXPECT_EQ(withCrc("01 10 0010 0004 06 78563412 0000BC9A"),
              frameOf(holdingPair(16).count(2).data("12 34 56 78 9A BC")));
}

TEST_F(ShortData, IsCompletedWithZerosAlsoAfterALongFrame)
{
    // Not with what the scratch buffer held.
    frameOf(holding(16).count(500).data(QByteArray(1000, '\xEE')));
    EXPECT_EQ(withCrc("01 10 0010 0002 03 3412 0056"), frameOf(holding(16).count(2).data("12 34 56")));
    EXPECT_EQ(withCrc("01 06 0010 0012"), frameOf(holding(16).data("12")));
    EXPECT_EQ(withCrc("01 05 0010 0000"), frameOf(coil(16).data("")));
}

TEST_F(ShortData, OfABitInARegisterClearsIt)
{
    setOptions(kOptionBitFromMirror);
    mirror(1, 5, 1, hex("FF FF"));
    EXPECT_EQ(withCrc("01 06 0001 FFFE"), frameOf(holdingBit(16).data("")));
}

TEST_F(ShortData, OfABitInARegisterClearsItInTheReplyToo)
{
    frameOf(holdingBit(16).data(""));
    EXPECT_EQ(kResultDone, complete(withCrc("01 03 02 FFFF")));
    EXPECT_EQ(withCrc("01 06 0001 FFFE"), queuedFrame(0));
}

TEST_F(ShortData, OfABitWrittenFromAShortOrMissingMirrorEntryCountsItAsZero)
{
    setOptions(kOptionBitFromMirror);
    EXPECT_EQ(withCrc("01 06 0001 0001"), frameOf(holdingBit(16).data("01")));
    PLC_driver.registerCache.clear();
    mirror(1, 5, 1, hex("F0"));
    EXPECT_EQ(withCrc("01 06 0001 00F1"), frameOf(holdingBit(16).data("01")));
    mirror(1, 5, 1, QByteArray(""));
    EXPECT_EQ(withCrc("01 06 0001 0001"), frameOf(holdingBit(16).data("01")));
}

TEST_F(ShortData, MirrorsZerosWhereItSendsZeros)
{
    mirror(1, 0, 16, hex("01"));
    frameOf(coil(16).data(""));
    EXPECT_EQ(hex("00"), mirrored(1, 0, 16));
}

// --------------------------------------------------------------------------------------------- short replies

class ShortReply : public SetUpDriver
{};

TEST_F(ShortReply, OfEveryLengthIsSafeAtEveryStage)
{
    const QByteArray whole = withCrc("01 03 04 1234 5678");
    for (int length = 0; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        PLC_driver.sendQueue.clear();
        PLC_driver.registerCache.clear();
        RW_VAR var = holding(100).count(2);
        ReadRegister(&var);
        QByteArray reply = whole.left(length);
        EXPECT_EQ(length == whole.size() ? 1 : 0, check_data(&reply));
        EXPECT_EQ(length == whole.size() ? 1 : 0, CheckGetData(&reply, 0));
        SaveToLocalDataErea(&reply);
        SpecialRegisterSave(&reply);
        EXPECT_EQ(length >= 7 ? 2 : 0, PLC_driver.registerCache.size());
    }
}

TEST_F(ShortReply, WithAByteCountBeyondTheBufferIsNotFound)
{
    RW_VAR var = holding(100).count(2);
    ReadRegister(&var);
    for (const char *bytes :
         {"01 03 FF 12 34", "01 03 FF", "01 03", "01", "01 03 02 12 34", "00 00 00 01 03 04"}) {
        SCOPED_TRACE(bytes);
        QByteArray reply = hex(bytes);
        EXPECT_EQ(0, check_data(&reply));
        EXPECT_EQ(hex(bytes), reply);
    }
}

TEST_F(ShortReply, OfCoilsStoresNoBitsBeyondIt)
{
    // The request asks for 100 coils, the reply brings what it claims: two bytes.
    RW_VAR var = coil(0).count(100);
    ReadRegister(&var);
    PLC_driver.sendQueue[0].dataLen = 2;
    QByteArray reply = withCrc("01 01 02 FFFF");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(QByteArray(), mirrored(1, 0, 99));
    EXPECT_EQ(hex("01"), mirrored(1, 0, 15));
}

TEST_F(ShortReply, OfANegativeHeaderOrDataLengthStoresNothing)
{
    for (const int length : {-1, -3, -1000, -2147483647 - 1}) {
        SCOPED_TRACE(length);
        for (const int regType : {0, 5}) {
            PLC_driver.sendQueue.clear();
            RW_VAR var = Variable(regType, 0).count(2);
            ReadRegister(&var);
            QByteArray reply = withCrc("01 03 04 1234 5678");
            PLC_driver.sendQueue[0].dataLen = length;
            SaveToLocalDataErea(&reply);
            PLC_driver.sendQueue[0].dataLen = 4;
            PLC_driver.sendQueue[0].headerLen = length;
            SaveToLocalDataErea(&reply);
        }
    }
    SUCCEED() << "no access outside the reply";
}

TEST_F(ShortReply, OfAReadModifyWriteLengthensAShortWriteFrame)
{
    RW_VAR var = holdingBit(16).data("01");
    AddListWriteVar(&var, 1);
    WriteRegister(&var);
    PLC_driver.sendQueue[1].frame = hex("01 06");
    QByteArray reply = withCrc("01 03 02 0000");
    SpecialRegisterSave(&reply);
    EXPECT_EQ(8, queuedFrame(1).size());
    EXPECT_EQ(hex("00 01"), queuedFrame(1).mid(4, 2));
    PLC_driver.sendQueue[1].frame = QByteArray();
    SpecialRegisterSave(&reply);
    PLC_driver.sendQueue[1].frame = hex("01");
    SpecialRegisterSave(&reply);
    SUCCEED() << "no access outside the frame";
}

} // namespace

} // namespace plc::test
