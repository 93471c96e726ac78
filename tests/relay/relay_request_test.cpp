// Relay frames, byte by byte, and the transactions that they make.
#include "relay/relay_request.h"

#include <climits>

#include "modbus/read_request.h"
#include "support/driver_fixture.h"
#include "support/lock_probe.h"

namespace plc::test {

namespace {

class RelayRequest : public SetUpDriver
{
protected:
    const Protocol &read(RW_VAR var)
    {
        Remote_ReadVar(&var);
        return PLC_driver.sendQueue.last();
    }

    const Protocol &write(RW_VAR var)
    {
        Remote_WriteVar(&var);
        return PLC_driver.sendQueue.last();
    }

    static Variable tenCoils() { return coil(256).count(10).station(7).ids(1, 9).linkId(2); }

    static Variable twoRegisters()
    {
        return holding(100).count(2).station(7).ids(5, 9).linkId(2).data("12 34 56 78");
    }

    /// Low byte of the sum of the first bytes.
    static char sumOf(const QByteArray &bytes, int count)
    {
        unsigned sum = 0;
        for (int i = 0; i < count; ++i)
            sum += static_cast<unsigned char>(bytes.at(i));
        return static_cast<char>(sum & 0xFF);
    }
};

class RelayRead : public RelayRequest
{};

class RelayWrite : public RelayRequest
{};

// ------------------------------------------------------------------------------------------------- reads

TEST_F(RelayRead, WrapsTheWholeRequestIntoTwentyTwoBytes)
{
    EXPECT_EQ(hex("16 01 00 02 07 0000 00000100 000A 00000000 00000000 2B"), read(tenCoils()).frame);
}

TEST_F(RelayRead, ExpectsAModbusReply)
{
    const Protocol &transaction = read(tenCoils());
    EXPECT_EQ(22, transaction.sendLen);
    EXPECT_EQ(7, transaction.replyLen);
    EXPECT_EQ(3, transaction.headerLen);
    EXPECT_EQ(2, transaction.dataLen);
}

TEST_F(RelayRead, ExpectsDataByTypeAndCount)
{
    struct Row
    {
        int regType;
        int count;
        int dataLen;
    };
    const Row rows[] = {{0, 1, 1}, {0, 8, 1}, {0, 9, 2},   {1, 16, 2}, {1, 17, 3}, {0, 0, 0}, {1, 0, 0},
                        {2, 3, 6}, {3, 1, 2}, {4, 10, 20}, {5, 1, 2},  {6, 4, 8},  {7, 4, 8}, {7, 3, 6},
                        {8, 1, 2}, {9, 2, 4}, {12, 2, 4},  {-1, 2, 4}, {5, 0, 0}};
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << "type " << row.regType << ", count " << row.count);
        const Protocol &transaction = read(Variable(row.regType, 100).count(row.count));
        EXPECT_EQ(row.dataLen, transaction.dataLen);
        EXPECT_EQ(row.dataLen + 5, transaction.replyLen);
        EXPECT_EQ(3, transaction.headerLen);
    }
}

TEST_F(RelayRead, ExpectsAReplyOfStationZeroToo)
{
    EXPECT_EQ(7, read(tenCoils().station(0)).replyLen);
}

TEST_F(RelayRead, SendsTypeAddressAndCountUnconverted)
{
    // Bits 35 of type 3: a Modbus request would ask for register 2.
    EXPECT_EQ(hex("16 00 00 00 01 0003 00000023 0001 00000000 00000000 3E"), read(Variable(3, 35)).frame);
}

TEST_F(RelayRead, SendsAllFourBytesOfAddressAndRelayValues)
{
    EXPECT_EQ(hex("16 00 00 00 01 0005 12345678 0001 A1B2C3D4 01020304 25"),
              read(holding(0x12345678).relayArgs(static_cast<int>(0xA1B2C3D4u), 0x01020304)).frame);
}

TEST_F(RelayRead, SendsAMinusOneAsFourBytesOfOnes)
{
    EXPECT_EQ(hex("16 00 00 00 01 0005 00000064 0001 FFFFFFFF 00000000 7D"),
              read(holding(100).relayArgs(-1, 0)).frame);
}

TEST_F(RelayRead, SendsANegativeAddressAsTwosComplement)
{
    EXPECT_EQ(hex("16 00 00 00 01 0005 FFFFFFFE 0001 00000000 00000000 18"), read(holding(-2)).frame);
}

TEST_F(RelayRead, CutsTheOtherFieldsToTheirBytes)
{
    RW_VAR var =
        Variable(0x12345, 1).count(0x54321).station(0x407).ids(0x181, 0).linkId(0x302).direction(0x1FE);
    EXPECT_EQ(hex("16 81 FE 02 07 2345 00000001 4321 00000000 00000000 6B"), read(var).frame);
}

TEST_F(RelayRead, SendsTheDirectionThatTheRequestCarries)
{
    EXPECT_EQ('\x01', read(tenCoils().direction(1)).frame.at(2));
}

TEST_F(RelayRead, SendsTheLinkOfTheRequestNotOfTheSettings)
{
    info.linkId = 99;
    EXPECT_EQ('\x02', read(tenCoils()).frame.at(3));
}

TEST_F(RelayRead, DoesNotSendDataOfTheRequest)
{
    const Protocol &transaction = read(tenCoils().data("11 22 33").direction(0));
    EXPECT_EQ(hex("16 01 00 02 07 0000 00000100 000A 00000000 00000000 2B"), transaction.frame);
    EXPECT_EQ(hex("11 22 33"), transaction.var.data);
}

TEST_F(RelayRead, IgnoresTheStationOverride)
{
    overrideStation(0x0109);
    EXPECT_EQ('\x07', read(tenCoils()).frame.at(4));
}

TEST_F(RelayRead, IgnoresTheOrderOfModbusChecksums)
{
    setOptions(kOptionSwapRequestCrc | kOptionSwapReplyCrc);
    EXPECT_EQ(hex("16 01 00 02 07 0000 00000100 000A 00000000 00000000 2B"), read(tenCoils()).frame);
}

TEST_F(RelayRead, CopiesTheWholeRequestIntoTheTransaction)
{
    RW_VAR var = tenCoils().relayArgs(3, 4).text("256").data("11 22").direction(0);
    var.varName = QString::fromLatin1("Name");
    var.linkMode = 8;
    var.status = -1;
    const RW_VAR copy = read(var).var;
    EXPECT_EQ(1, copy.hostId);
    EXPECT_EQ(9, copy.hostSubId);
    EXPECT_EQ(0, copy.direction);
    EXPECT_EQ(8, copy.linkMode);
    EXPECT_EQ(2, copy.linkId);
    EXPECT_EQ(-1, copy.status);
    EXPECT_EQ(QString::fromLatin1("Name"), copy.varName);
    EXPECT_EQ(QString::fromLatin1("256"), copy.addrText);
    EXPECT_EQ(0, copy.regType);
    EXPECT_EQ(256, copy.address);
    EXPECT_EQ(7, copy.station);
    EXPECT_EQ(10, copy.count);
    EXPECT_EQ(3, copy.relayArg1);
    EXPECT_EQ(4, copy.relayArg2);
    EXPECT_EQ(hex("11 22"), copy.data);
}

TEST_F(RelayRead, StartsAnOperationOfOneStep)
{
    info.stepTotal = 2;
    info.stepDone = 1;
    read(tenCoils());
    EXPECT_EQ(1, info.stepTotal);
    EXPECT_EQ(0, info.stepDone);
}

TEST_F(RelayRead, IsQueuedBehindWhatIsThere)
{
    read(tenCoils());
    read(holding(5));
    ASSERT_EQ(2, PLC_driver.sendQueue.size());
    EXPECT_EQ(256, PLC_driver.sendQueue.at(0).var.address);
    EXPECT_EQ(5, PLC_driver.sendQueue.at(1).var.address);
}

TEST_F(RelayRead, LeavesTheMirrorAlone)
{
    read(holding(100).data("12 34"));
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(RelayRead, OfNullDoesNothing)
{
    info.stepTotal = 5;
    Remote_ReadVar(nullptr);
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
    EXPECT_EQ(5, info.stepTotal);
}

// ------------------------------------------------------------------------------------------------ writes

TEST_F(RelayWrite, PutsTheDataUnchangedBehindTheRequest)
{
    EXPECT_EQ(hex("1A 05 01 02 07 0005 00000064 0002 00000000 00000000 12345678 A8"),
              write(twoRegisters()).frame);
}

TEST_F(RelayWrite, ExpectsAnEchoOfEightBytes)
{
    const Protocol &transaction = write(twoRegisters());
    EXPECT_EQ(26, transaction.sendLen);
    EXPECT_EQ(8, transaction.replyLen);
    EXPECT_EQ(0, transaction.headerLen);
    EXPECT_EQ(0, transaction.dataLen);
}

TEST_F(RelayWrite, OfStationZeroExpectsNoReply)
{
    EXPECT_EQ(0, write(twoRegisters().station(0)).replyLen);
}

TEST_F(RelayWrite, OfStationTwoHundredFiftySixExpectsAReplyAlthoughItsByteIsZero)
{
    const Protocol &transaction = write(twoRegisters().station(256));
    EXPECT_EQ('\x00', transaction.frame.at(4));
    EXPECT_EQ(8, transaction.replyLen);
}

TEST_F(RelayWrite, ExpectsAReplyAlsoUnderAStationOverride)
{
    overrideStation(0x0100);
    EXPECT_EQ(8, write(twoRegisters()).replyLen);
    overrideStation(9);
    EXPECT_EQ(0, write(twoRegisters().station(0)).replyLen);
}

TEST_F(RelayWrite, WithoutDataIsAsLongAsARead)
{
    EXPECT_EQ(hex("16 00 01 00 01 0005 00000064 0001 00000000 00000000 82"),
              write(holding(100).data("")).frame);
}

TEST_F(RelayWrite, SendsTheDirectionThatTheRequestCarries)
{
    EXPECT_EQ('\x00', write(twoRegisters().direction(0)).frame.at(2));
}

TEST_F(RelayWrite, CarriesItsLengthModuloTwoHundredFiftySix)
{
    struct Row
    {
        int dataBytes;
        int length;
        uchar firstByte;
    };
    const Row rows[] = {{0, 22, 0x16},    {233, 255, 0xFF}, {234, 256, 0x00},
                        {235, 257, 0x01}, {250, 272, 0x10}, {5000, 5022, 0x9E}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.dataBytes);
        const Protocol &transaction = write(holding(0).data(QByteArray(row.dataBytes, '\x5A')));
        EXPECT_EQ(row.length, transaction.frame.size());
        EXPECT_EQ(row.length, transaction.sendLen);
        EXPECT_EQ(row.firstByte, static_cast<uchar>(transaction.frame.at(0)));
        EXPECT_EQ(QByteArray(row.dataBytes, '\x5A'), transaction.frame.mid(21, row.dataBytes));
        EXPECT_EQ(sumOf(transaction.frame, row.length - 1), transaction.frame.at(row.length - 1));
    }
}

TEST_F(RelayWrite, CountsTheLengthByteIntoTheSum)
{
    // The two frames differ in one zero byte of data, so in length alone.
    const QByteArray shorter = write(holding(0).data("11")).frame;
    const QByteArray longer = write(holding(0).data("11 00")).frame;
    EXPECT_EQ(shorter.at(shorter.size() - 1) + 1, longer.at(longer.size() - 1));
}

TEST_F(RelayWrite, OfABitInARegisterIsOneFrame)
{
    EXPECT_EQ(hex("17 00 01 00 01 0003 00000023 0001 00000000 00000000 01 41"),
              write(holdingBit(35).data("01")).frame);
    EXPECT_EQ(1, PLC_driver.sendQueue.size());
    EXPECT_EQ(1, info.stepTotal);
}

TEST_F(RelayWrite, OfPairsKeepsCountAndByteOrder)
{
    EXPECT_EQ(hex("1A 00 01 00 01 0007 00000064 0001 00000000 00000000 78563412 9C"),
              write(holdingPair(100).data("78 56 34 12")).frame);
}

TEST_F(RelayWrite, OfAReadOnlyTypeIsSentButNotShown)
{
    EXPECT_EQ(hex("18 00 01 00 01 0004 00000064 0001 00000000 00000000 1234 C9"),
              write(inputRegister(100).data("12 34")).frame);
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(RelayWrite, StartsAnOperationOfOneStep)
{
    info.stepTotal = 2;
    info.stepDone = 1;
    write(twoRegisters());
    EXPECT_EQ(1, info.stepTotal);
    EXPECT_EQ(0, info.stepDone);
}

TEST_F(RelayWrite, ShowsTheValuesAtOnce)
{
    write(twoRegisters());
    EXPECT_EQ(hex("12 34"), mirrored(7, 5, 100));
    EXPECT_EQ(hex("56 78"), mirrored(7, 5, 101));
}

TEST_F(RelayWrite, ShowsTheValuesAlsoAfterAFailure)
{
    // Unlike a Modbus write, which leaves the mirror alone then.
    PLC_driver.failed = true;
    write(twoRegisters());
    EXPECT_EQ(hex("12 34"), mirrored(7, 5, 100));
}

TEST_F(RelayWrite, CopiesTheWholeRequestIntoTheTransaction)
{
    RW_VAR var = twoRegisters().relayArgs(3, 4).text("100");
    const RW_VAR copy = write(var).var;
    EXPECT_EQ(5, copy.hostId);
    EXPECT_EQ(9, copy.hostSubId);
    EXPECT_EQ(2, copy.linkId);
    EXPECT_EQ(QString::fromLatin1("100"), copy.addrText);
    EXPECT_EQ(3, copy.relayArg1);
    EXPECT_EQ(4, copy.relayArg2);
    EXPECT_EQ(hex("12 34 56 78"), copy.data);
}

TEST_F(RelayWrite, LeavesTheRequestAlone)
{
    RW_VAR var = twoRegisters();
    Remote_WriteVar(&var);
    EXPECT_EQ(hex("12 34 56 78"), var.data);
    EXPECT_EQ(5, var.regType);
    EXPECT_EQ(100, var.address);
    EXPECT_EQ(2, var.count);
}

TEST_F(RelayWrite, OfNullDoesNothing)
{
    info.stepTotal = 5;
    Remote_WriteVar(nullptr);
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
    EXPECT_EQ(5, info.stepTotal);
}

TEST_F(RelayWrite, NeedsTheCacheMutexAndNotTheListMutex)
{
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { write(twoRegisters()); }));
    EXPECT_TRUE(waitsFor(PLC_driver.cacheMutex, [this] { write(twoRegisters()); }));
    EXPECT_TRUE(!isHeld(PLC_driver.cacheMutex));
}

TEST_F(RelayRead, NeedsNoMutex)
{
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { read(tenCoils()); }));
    EXPECT_TRUE(returnsDespite(PLC_driver.cacheMutex, [this] { read(tenCoils()); }));
}

// ------------------------------------------------------------------------------------------- side effects

TEST_F(RelayRequest, DoesNotTouchTheFunctionCodeLeftFromTheLastModbusFrame)
{
    RW_VAR modbus = inputRegister(0);
    ReadRegister(&modbus);
    read(tenCoils());
    write(twoRegisters());
    RW_VAR unsupported = Variable(2, 0);
    ReadRegister(&unsupported);
    EXPECT_EQ('\x04', PLC_driver.sendQueue.last().frame.at(1));
}

TEST_F(RelayRequest, GoesOutWhenTheLinkModeSaysSo)
{
    for (const int linkMode : {1, 2, -1}) {
        SCOPED_TRACE(linkMode);
        renewDriver();
        SetComInfo(&info);
        info.linkMode = linkMode;
        addWrite(twoRegisters());
        Protocol *head = next();
        ASSERT_NE(nullptr, head);
        EXPECT_EQ(hex("1A 05 01 02 07 0005 00000064 0002 00000000 00000000 12345678 A8"), head->frame);
    }
}

} // namespace

} // namespace plc::test
