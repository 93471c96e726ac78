#include "core/records.h"

#include <climits>
#include <type_traits>

#include "core/register_types.h"
#include "support/driver_fixture.h"
#include "support/records.h"
#include "varlists/registration.h"

namespace plc::test {
namespace {

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

TEST(SettingsRecord, IsPlainMemory)
{
    EXPECT_TRUE(std::is_trivial<COM_INFO>::value);
    EXPECT_TRUE(std::is_standard_layout<COM_INFO>::value);
    EXPECT_TRUE((std::is_same<quint32, decltype(COM_INFO::options)>::value));
    EXPECT_TRUE((std::is_same<qint32, decltype(COM_INFO::maxBlock)>::value));
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
