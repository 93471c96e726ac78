#include "core/records.h"

#include <climits>
#include <cstddef>
#include <cstring>
#include <vector>

#include "core/register_types.h"
#include "support/driver_fixture.h"
#include "support/records.h"
#include "varlists/registration.h"

namespace plc::test {
namespace {

template <typename Record, typename Field>
std::ptrdiff_t offsetIn(const Record &record, const Field &field)
{
    return reinterpret_cast<const char *>(&field) - reinterpret_cast<const char *>(&record);
}

TEST(VariableRecord, StartsWithZerosAndEmptyTexts)
{
    const RW_VAR var;
    for (const qint32 number :
         {var.hostId, var.hostSubId, var.direction, var.linkMode, var.linkId, var.status, var.regType,
          var.address, var.station, var.count, var.relayArg1, var.relayArg2})
        EXPECT_EQ(0, number);
    EXPECT_TRUE(var.varName.isEmpty());
    EXPECT_TRUE(var.addrText.isEmpty());
    EXPECT_TRUE(var.data.isEmpty());
}

TEST(VariableRecord, KeepsItsFieldsInTheOrderThatRuntimesWereBuiltWith)
{
    const RW_VAR var;
    const std::ptrdiff_t pointer = sizeof(void *);
    EXPECT_EQ(0, offsetIn(var, var.hostId));
    EXPECT_EQ(4, offsetIn(var, var.hostSubId));
    EXPECT_EQ(8, offsetIn(var, var.direction));
    EXPECT_EQ(12, offsetIn(var, var.linkMode));
    EXPECT_EQ(16, offsetIn(var, var.linkId));
    EXPECT_EQ(20, offsetIn(var, var.status));
    EXPECT_EQ(24, offsetIn(var, var.varName));
    EXPECT_EQ(24 + pointer, offsetIn(var, var.addrText));
    EXPECT_EQ(24 + 2 * pointer, offsetIn(var, var.regType));
    EXPECT_EQ(28 + 2 * pointer, offsetIn(var, var.address));
    EXPECT_EQ(32 + 2 * pointer, offsetIn(var, var.station));
    EXPECT_EQ(36 + 2 * pointer, offsetIn(var, var.count));
    EXPECT_EQ(40 + 2 * pointer, offsetIn(var, var.relayArg1));
    EXPECT_EQ(44 + 2 * pointer, offsetIn(var, var.relayArg2));
    EXPECT_EQ(48 + 2 * pointer, offsetIn(var, var.data));
    EXPECT_EQ(48u + 3 * sizeof(void *), sizeof(RW_VAR));
}

TEST(TransactionRecord, KeepsItsFieldsInTheOrderThatRuntimesWereBuiltWith)
{
    const Protocol transaction;
    const std::ptrdiff_t pointer = sizeof(void *);
    const std::ptrdiff_t behindVar = 16 + pointer + std::ptrdiff_t(sizeof(RW_VAR));
    EXPECT_EQ(0, offsetIn(transaction, transaction.frame));
    EXPECT_EQ(pointer, offsetIn(transaction, transaction.sendLen));
    EXPECT_EQ(4 + pointer, offsetIn(transaction, transaction.replyLen));
    EXPECT_EQ(8 + pointer, offsetIn(transaction, transaction.headerLen));
    EXPECT_EQ(12 + pointer, offsetIn(transaction, transaction.dataLen));
    EXPECT_EQ(16 + pointer, offsetIn(transaction, transaction.var));
    EXPECT_EQ(behindVar, offsetIn(transaction, transaction.spare1));
    EXPECT_EQ(behindVar + 4, offsetIn(transaction, transaction.spare2));
    EXPECT_EQ(behindVar + 8, offsetIn(transaction, transaction.spare3));
}

TEST(SettingsRecord, KeepsTheOffsetsThatRuntimesWereBuiltWith)
{
    const COM_INFO info{};
    EXPECT_EQ(16, offsetIn(info, info.maxBlock));
    EXPECT_EQ(24, offsetIn(info, info.defaultStation));
    EXPECT_EQ(28, offsetIn(info, info.retryLimit));
    EXPECT_EQ(32, offsetIn(info, info.retryCount));
    EXPECT_EQ(36, offsetIn(info, info.stationMode));
    EXPECT_EQ(40, offsetIn(info, info.reserved40));
    EXPECT_EQ(44, offsetIn(info, info.stepTotal));
    EXPECT_EQ(48, offsetIn(info, info.stepDone));
    EXPECT_EQ(52, offsetIn(info, info.reserved52));
    EXPECT_EQ(56, offsetIn(info, info.linkMode));
    EXPECT_EQ(60, offsetIn(info, info.linkId));
    EXPECT_EQ(64, offsetIn(info, info.writeMode));
    EXPECT_EQ(68, offsetIn(info, info.scanDone));
    EXPECT_EQ(72, offsetIn(info, info.callbackArg));
    EXPECT_EQ(88, offsetIn(info, info.options));
    EXPECT_EQ(92u, sizeof(COM_INFO));
}

/// A settings record as the runtime has it in memory: 23 words, each with a value of its own.
class RawSettings : public SetUpDriver
{
protected:
    RawSettings()
    {
        for (int i = 0; i < 23; ++i)
            raw[i] = 0x5A000000 + i;
        at(24) = 1; // defaultStation
        at(28) = 1; // retryLimit
        at(32) = 0; // retryCount
        at(36) = 1; // stationMode
        at(56) = 0; // linkMode
        at(60) = 0; // linkId
        at(64) = 2; // writeMode
        at(88) = 0; // options
        SetComInfo(reinterpret_cast<COM_INFO *>(raw));
    }

    qint32 &at(int offset) { return raw[offset / 4]; }

    void runReadsWritesAndFailures()
    {
        addRead(holding(0));
        addWrite(holdingBit(35).ids(1, 0).data("01"));
        addWrite(holding(9).ids(2, 0).data("01 00"));
        next();
        EXPECT_EQ(kResultDone, complete(hex("01 03 02 00 00 B8 44")));
        next();
        EXPECT_EQ(kResultDone, complete(hex("01 06 00 02 00 08 29 CC")));
        next();
        EXPECT_EQ(kResultPending, silence());
        EXPECT_EQ(kResultNoReply, silence());
        next();
        EXPECT_EQ(kResultDone, complete(hex("01 03 02 00 2A 39 9B")));
    }

    qint32 raw[23];
};

TEST_F(RawSettings, WordsOfTheRuntimeAreNeverTouched)
{
    runReadsWritesAndFailures();
    for (const int offset : {0, 4, 8, 12, 20, 76, 80, 84}) {
        SCOPED_TRACE(offset);
        EXPECT_EQ(0x5A000000 + offset / 4, at(offset));
    }
}

TEST_F(RawSettings, FieldsThatTheRuntimeWritesStayAsTheyAre)
{
    runReadsWritesAndFailures();
    EXPECT_EQ(1, at(24));
    EXPECT_EQ(1, at(28));
    EXPECT_EQ(1, at(36));
    EXPECT_EQ(0, at(56));
    EXPECT_EQ(0, at(60));
    EXPECT_EQ(2, at(64));
    EXPECT_EQ(0x5A000000 + 18, at(72));
    EXPECT_EQ(0, at(88));
}

TEST_F(RawSettings, ReservedWordsAreZeroedAtOffsets40And52)
{
    EXPECT_EQ(0, at(40));
    EXPECT_EQ(0, at(52));
}

TEST_F(RawSettings, StepsAreCountedAtOffsets44And48)
{
    addWrite(holdingBit(35).data("01"));
    next();
    EXPECT_EQ(2, at(44));
    EXPECT_EQ(0, at(48));
    complete(hex("01 03 02 00 00 B8 44"));
    EXPECT_EQ(1, at(48));
}

TEST_F(RawSettings, FailuresAreCountedAtOffset32)
{
    addRead(holding(0));
    next();
    silence();
    EXPECT_EQ(1, at(32));
}

TEST_F(RawSettings, ScanIsReportedAtOffset68)
{
    next();
    EXPECT_EQ(1, at(68));
}

TEST_F(RawSettings, CallbackArgumentIsTakenFromOffset72)
{
    at(72) = 31;
    addWrite(holding(9).ids(3, 4).data("01 00"));
    next();
    complete(hex("01 06 00 09 00 01 98 08"));
    EXPECT_THAT(outcomes, ::testing::ElementsAre(Outcome{31, 3, 4, 1}));
}

TEST_F(RawSettings, OptionsAreTakenFromOffset88)
{
    at(88) = 0x80;
    SetComInfo(reinterpret_cast<COM_INFO *>(raw));
    EXPECT_TRUE(PLC_driver.optBit7);
}

class LargestBlock : public SetUpDriver
{
protected:
    int afterSetUpWith(int maxBlock)
    {
        info.maxBlock = maxBlock;
        SetComInfo(&info);
        return info.maxBlock;
    }
};

TEST_F(LargestBlock, AboveOneHundredIsLoweredInTheRuntimesRecord)
{
    EXPECT_EQ(100, afterSetUpWith(250));
    EXPECT_EQ(100, afterSetUpWith(101));
    EXPECT_EQ(100, afterSetUpWith(INT_MAX));
}

TEST_F(LargestBlock, FromOneToOneHundredIsLeftAlone)
{
    EXPECT_EQ(100, afterSetUpWith(100));
    EXPECT_EQ(60, afterSetUpWith(60));
    EXPECT_EQ(1, afterSetUpWith(1));
}

TEST_F(LargestBlock, BelowOneIsRaisedToOneInTheRuntimesRecord)
{
    EXPECT_EQ(1, afterSetUpWith(0));
    EXPECT_EQ(1, afterSetUpWith(-1));
    EXPECT_EQ(1, afterSetUpWith(INT_MIN));
}

using ResultRecord = SetUpDriver;

TEST_F(ResultRecord, TakesTheFieldsOfAVariable)
{
    const RW_VAR var = distinctVariable();
    passRetValue(&var);
    expectSameRequest(var, PLC_driver.retVar);
}

TEST_F(ResultRecord, TakesTheStatusOfAVariable)
{
    const RW_VAR var = distinctVariable();
    passRetValue(&var);
    EXPECT_EQ(106, PLC_driver.retVar.status);
}

// Values of a read are handed over by the mirror only; a runtime that finds data here would show stale
// values.
TEST_F(ResultRecord, NeverTakesTheDataOfAVariable)
{
    PLC_driver.retVar.data = hex("AA BB");
    const RW_VAR var = distinctVariable();
    passRetValue(&var);
    EXPECT_TRUE(PLC_driver.retVar.data.isEmpty());
}

TEST_F(ResultRecord, LeavesTheVariableItselfAlone)
{
    const RW_VAR var = distinctVariable();
    passRetValue(&var);
    EXPECT_EQ(hex("0F 1E"), var.data);
}

TEST_F(ResultRecord, KeepsItsContentWhenThereIsNoVariable)
{
    const RW_VAR var = distinctVariable();
    passRetValue(&var);
    passRetValue(nullptr);
    expectSameRequest(var, PLC_driver.retVar);
}

TEST(RegisterTypes, EachCodeHasItsBaseType)
{
    const int bases[10] = {0, 1, 4, 5, 4, 5, 4, 5, 5, 5};
    for (int code = 0; code < 10; ++code) {
        SCOPED_TRACE(code);
        EXPECT_EQ(bases[code], getPlcReg(code));
    }
}

TEST(RegisterTypes, AnyOtherCodeIsItsOwnBaseType)
{
    for (const int code : {10, 11, 255, INT_MAX, -1, -2, INT_MIN}) {
        SCOPED_TRACE(code);
        EXPECT_EQ(code, getPlcReg(code));
    }
}

RW_VAR converted(RW_VAR var)
{
    EXPECT_EQ(0, updateRwVar(&var));
    return var;
}

TEST(ReadConversion, BitInRegisterIsReadAsItsRegister)
{
    const RW_VAR var = converted(holdingBit(35).count(1));
    EXPECT_EQ(5, var.regType);
    EXPECT_EQ(2, var.address);
    EXPECT_EQ(1, var.count);
}

TEST(ReadConversion, BitsAcrossARegisterBorderAreReadAsBothRegisters)
{
    const RW_VAR var = converted(holdingBit(47).count(2));
    EXPECT_EQ(2, var.address);
    EXPECT_EQ(2, var.count);
}

TEST(ReadConversion, PairsAreReadInAnEvenNumberOfRegisters)
{
    const RW_VAR var = converted(holdingPair(200).count(3));
    EXPECT_EQ(5, var.regType);
    EXPECT_EQ(200, var.address);
    EXPECT_EQ(4, var.count);
}

TEST(ReadConversion, RefusesCodesOutsideTheTable)
{
    for (const int code : {10, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(code);
        RW_VAR var = Variable(code, 35);
        EXPECT_EQ(1, updateRwVar(&var));
        EXPECT_EQ(code, var.regType);
        EXPECT_EQ(35, var.address);
    }
}

using TypesOnTheLine = SetUpDriver;

TEST_F(TypesOnTheLine, EachTypeIsReadWithTheFunctionOfItsArea)
{
    const char functions[10] = {1, 2, 4, 3, 4, 3, 4, 3, 3, 3};
    for (int code = 0; code < 10; ++code) {
        SCOPED_TRACE(code);
        PLC_driver.sendQueue.clear();
        PLC_driver.onceReadList.clear();
        PLC_driver.onceBurst = 0;
        addOnceRead(Variable(code, 0).text(code == 2 || code == 3 ? "7.0" : "7"), 0);
        ASSERT_NE(nullptr, next());
        EXPECT_EQ(8, queuedFrame().size());
        EXPECT_EQ(functions[code], queuedFrame().at(1));
    }
}

struct WriteRow
{
    int regType;
    int count;
    const char *data;
    int function;
};

TEST_F(TypesOnTheLine, EachWritableTypeIsWrittenWithItsFunction)
{
    const WriteRow rows[] = {{0, 1, "01", 5},           {0, 2, "03", 15},   {5, 1, "01 00", 6},
                             {5, 2, "01 00 02 00", 16}, {8, 1, "01 00", 6}, {9, 1, "01 00", 16},
                             {7, 1, "01 00 00 00", 16}};
    for (const WriteRow &row : rows) {
        SCOPED_TRACE(::testing::Message() << "type " << row.regType << ", count " << row.count);
        PLC_driver.sendQueue.clear();
        PLC_driver.writeList.clear();
        PLC_driver.writeBurst = 0;
        addWrite(Variable(row.regType, 7).count(row.count).data(row.data));
        ASSERT_NE(nullptr, next());
        EXPECT_EQ(row.function, queuedFrame().at(1));
    }
}

TEST_F(TypesOnTheLine, ReadOnlyTypesHaveNoWriteFrameOfTheirOwn)
{
    for (const int code : {1, 2, 4, 6}) {
        SCOPED_TRACE(code);
        PLC_driver.sendQueue.clear();
        PLC_driver.writeList.clear();
        PLC_driver.writeBurst = 0;
        addWrite(Variable(code, 7).data("01 00"));
        ASSERT_NE(nullptr, next());
        EXPECT_EQ(6, queuedFrame().size());
    }
}

} // namespace
} // namespace plc::test
