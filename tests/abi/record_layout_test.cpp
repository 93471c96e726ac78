// Where the fields of the shared records lie.
#include <cstddef>
#include <type_traits>

#include "plcdriver.h"
#include "support/driver_fixture.h"

namespace plc::test {

namespace {

// The same fields, typed again by hand: a change of order or type in the header shows as a different offset.
struct ExpectedVariable
{
    qint32 hostId, hostSubId, direction, linkMode, linkId, status;
    QString varName, addrText;
    qint32 regType, address, station, count, relayArg1, relayArg2;
    QByteArray data;
};

struct ExpectedTransaction
{
    QByteArray frame;
    qint32 sendLen, replyLen, headerLen, dataLen;
    ExpectedVariable var;
    qint32 spare1, spare2, spare3;
};

#define EXPECT_FIELD(Record, Expected, field)                                                                \
    EXPECT_EQ(offsetof(Expected, field), offsetof(Record, field)) << #Record "::" #field;                    \
    EXPECT_EQ(sizeof(Expected::field), sizeof(Record::field)) << #Record "::" #field

TEST(RecordLayout, OfAVariableIsTheAgreedOrderOfFifteenFields)
{
    EXPECT_FIELD(RW_VAR, ExpectedVariable, hostId);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, hostSubId);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, direction);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, linkMode);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, linkId);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, status);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, varName);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, addrText);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, regType);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, address);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, station);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, count);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, relayArg1);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, relayArg2);
    EXPECT_FIELD(RW_VAR, ExpectedVariable, data);
    EXPECT_EQ(sizeof(ExpectedVariable), sizeof(RW_VAR));
    EXPECT_EQ(0u, offsetof(RW_VAR, hostId));
}

TEST(RecordLayout, OfATransactionIsTheAgreedOrderOfNineFields)
{
    EXPECT_FIELD(Protocol, ExpectedTransaction, frame);
    EXPECT_FIELD(Protocol, ExpectedTransaction, sendLen);
    EXPECT_FIELD(Protocol, ExpectedTransaction, replyLen);
    EXPECT_FIELD(Protocol, ExpectedTransaction, headerLen);
    EXPECT_FIELD(Protocol, ExpectedTransaction, dataLen);
    EXPECT_FIELD(Protocol, ExpectedTransaction, var);
    EXPECT_FIELD(Protocol, ExpectedTransaction, spare1);
    EXPECT_FIELD(Protocol, ExpectedTransaction, spare2);
    EXPECT_FIELD(Protocol, ExpectedTransaction, spare3);
    EXPECT_EQ(sizeof(ExpectedTransaction), sizeof(Protocol));
}

TEST(RecordLayout, OfTheSettingsHasEveryFieldAtItsAgreedByte)
{
    EXPECT_EQ(16u, offsetof(COM_INFO, maxBlock));
    EXPECT_EQ(24u, offsetof(COM_INFO, defaultStation));
    EXPECT_EQ(28u, offsetof(COM_INFO, retryLimit));
    EXPECT_EQ(32u, offsetof(COM_INFO, retryCount));
    EXPECT_EQ(36u, offsetof(COM_INFO, stationMode));
    EXPECT_EQ(40u, offsetof(COM_INFO, reserved40));
    EXPECT_EQ(44u, offsetof(COM_INFO, stepTotal));
    EXPECT_EQ(48u, offsetof(COM_INFO, stepDone));
    EXPECT_EQ(52u, offsetof(COM_INFO, reserved52));
    EXPECT_EQ(56u, offsetof(COM_INFO, linkMode));
    EXPECT_EQ(60u, offsetof(COM_INFO, linkId));
    EXPECT_EQ(64u, offsetof(COM_INFO, writeMode));
    EXPECT_EQ(68u, offsetof(COM_INFO, scanDone));
    EXPECT_EQ(72u, offsetof(COM_INFO, callbackArg));
    EXPECT_EQ(88u, offsetof(COM_INFO, options));
    EXPECT_EQ(92u, sizeof(COM_INFO));
}

TEST(RecordLayout, OfTheSettingsIsPlainMemory)
{
    EXPECT_TRUE(std::is_trivial<COM_INFO>::value);
    EXPECT_TRUE(std::is_standard_layout<COM_INFO>::value);
    EXPECT_TRUE((std::is_same<quint32, decltype(COM_INFO::options)>::value));
    EXPECT_TRUE((std::is_same<qint32, decltype(COM_INFO::maxBlock)>::value));
}

TEST(RecordLayout, OfTheDriverObjectHasNoVirtualTable)
{
    EXPECT_FALSE(std::is_polymorphic<Communication_Protocol>::value);
}

} // namespace

} // namespace plc::test
