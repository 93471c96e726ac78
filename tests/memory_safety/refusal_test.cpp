// Null pointers, and calls before the settings are there.
#include <climits>

#include "core/register_types.h"
#include "core/result_codes.h"
#include "cycle/station_set.h"
#include "mirror/register_cache.h"
#include "modbus/read_request.h"
#include "modbus/reply_check.h"
#include "modbus/reply_store.h"
#include "modbus/write_request.h"
#include "relay/relay_reply.h"
#include "relay/relay_request.h"
#include "support/driver_fixture.h"
#include "support/lock_probe.h"
#include "support/own_log_file.h"
#include "varlists/address_text.h"
#include "varlists/registration.h"

namespace plc::test {

namespace {

void expectNobodyHoldsAMutex()
{
    EXPECT_TRUE(!isHeld(PLC_driver.listMutex));
    EXPECT_TRUE(!isHeld(PLC_driver.cacheMutex));
    EXPECT_TRUE(!isHeld(PLC_driver.stationMutex));
}

// -------------------------------------------------------------------------------------- before the settings

class BeforeSetUp : public FreshDriver
{
protected:
    ~BeforeSetUp() override { expectNobodyHoldsAMutex(); }
};

TEST_F(BeforeSetUp, ThereIsNothingToSend)
{
    EXPECT_EQ(nullptr, ComCommunication(0));
}

TEST_F(BeforeSetUp, VariablesAreRefused)
{
    RW_VAR var = holding(100).data("12 34");
    EXPECT_EQ(0, AddListReadVar(&var));
    EXPECT_EQ(0, AddListWriteVar(&var, 0));
    EXPECT_EQ(0, AddListWriteVar(&var, 1));
    EXPECT_EQ(0, AddListOnceReadVar(&var, 1));
    EXPECT_EQ(nullptr, ComCommunication(0));
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
}

TEST_F(BeforeSetUp, DataComReturnsItsRecord)
{
    QByteArray reply = hex("01 03 02 0001 7984");
    EXPECT_EQ(&PLC_driver.retVar, DataCom(&reply, 7));
    EXPECT_EQ(&PLC_driver.retVar, DataCom(nullptr, 0));
    EXPECT_EQ(1, PLC_driver.retVar.status);
}

TEST_F(BeforeSetUp, DataComReturnsItsRecordAlsoForARequestSomehowQueued)
{
    Protocol transaction;
    transaction.frame = withCrc("01 03 0000 0001");
    transaction.replyLen = -1;
    transaction.var = holding(0);
    PLC_driver.sendQueue.append(transaction);
    QByteArray reply = hex("01 03 02 0001 7984");
    EXPECT_EQ(&PLC_driver.retVar, DataCom(&reply, 7));
    EXPECT_EQ(&PLC_driver.retVar, DataCom(&reply, 7));
    EXPECT_EQ(&PLC_driver.retVar, DataCom(nullptr, 0));
}

TEST_F(BeforeSetUp, ValuesAreNeitherReadNorWritten)
{
    QByteArray data = hex("12 34");
    EXPECT_EQ(0, GetRegisterData(QString(), 5, QString::fromLatin1("100"), 1, &data, 1));
    EXPECT_EQ(0, SetRegisterData(QString(), 5, QString::fromLatin1("100"), 1, &data, 1, 0, 0));
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(BeforeSetUp, OneShotReadsAreRefused)
{
    RW_VAR var = holding(0).text("100");
    EXPECT_EQ(0, AddListOnceReadVar(&var, 0));
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
}

TEST_F(BeforeSetUp, AddressesAreConverted)
{
    EXPECT_EQ(100, PLCAddressChangeIntef(5, QString::fromLatin1("100")));
}

TEST_F(BeforeSetUp, StationsCanBeSwitched)
{
    EnCommStation(5, 0);
    EnableEthernet(6, 0);
    EXPECT_EQ(1, Ethernetcontains(5));
    EXPECT_EQ(1, Ethernetcontains(6));
}

TEST_F(BeforeSetUp, TheRestDoesItsWork)
{
    EXPECT_EQ(1, QueryFinishFlag());
    FlashLocalRegister(nullptr, nullptr, nullptr);
    RegistCallBackFuncIntf(nullptr, nullptr);
    SetComInfo(nullptr);
    EXPECT_EQ(nullptr, PLC_driver.comInfo);
}

TEST_F(BeforeSetUp, RequestBuildersAreSafe)
{
    RW_VAR bit = holdingBit(16).data("01");
    RW_VAR var = holding(16).data("12 34");
    for (RW_VAR *each : {&bit, &var}) {
        ReadRegister(each);
        ReadAnalog(each);
        WriteRegister(each);
        WriteAnalog(each);
        Remote_ReadVar(each);
        Remote_WriteVar(each);
        WriteDataToLocal(each);
        updateRwVar(each);
    }
}

TEST_F(BeforeSetUp, ReplyHandlersAreSafe)
{
    Protocol transaction;
    transaction.frame = withCrc("01 03 0000 0001");
    transaction.replyLen = -1;
    transaction.headerLen = 3;
    transaction.dataLen = 2;
    transaction.var = holding(0).relayArgs(-1, 0);
    PLC_driver.sendQueue.append(transaction);
    QByteArray reply = hex("01 03 02 0001 7984");
    check_data(&reply);
    CheckGetData(&reply, 7);
    DealDataOfLocalArea(&reply, 7);
    DealDataOfRemoteArea(&reply, 7);
    SaveToLocalDataErea(&reply);
    SpecialRegisterSave(&reply);
}

// ------------------------------------------------------------------------------------------ null arguments

class NullArguments : public SetUpDriver
{
protected:
    ~NullArguments() override { expectNobodyHoldsAMutex(); }
};

TEST_F(NullArguments, OfSettingsKeepTheOnesBefore)
{
    SetComInfo(nullptr);
    EXPECT_EQ(&info, PLC_driver.comInfo);
}

TEST_F(NullArguments, OfListEntryPointsAreRefused)
{
    addRead(holding(1));
    addWrite(holding(1).data("00 00"));
    addOnceRead(holding(1));
    EXPECT_EQ(0, AddListReadVar(nullptr));
    EXPECT_EQ(0, AddListWriteVar(nullptr, 0));
    EXPECT_EQ(0, AddListWriteVar(nullptr, 1));
    EXPECT_EQ(0, AddListOnceReadVar(nullptr, 0));
    EXPECT_EQ(0, AddListOnceReadVar(nullptr, 1));
    EXPECT_EQ(1, PLC_driver.readList.size());
    EXPECT_EQ(1, PLC_driver.writeList.size());
    EXPECT_EQ(1, PLC_driver.onceReadList.size());
}

TEST_F(NullArguments, OfDataAccessAreRefused)
{
    addWrite(holding(1).data("00 00"));
    for (int regType = -1; regType <= 10; ++regType) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(0, GetRegisterData(QString(), regType, QString::fromLatin1("1"), 1, nullptr, 3));
        EXPECT_EQ(0, GetRegisterData(QString(), regType, QString::fromLatin1("x"), 1, nullptr, 3));
        EXPECT_EQ(0, SetRegisterData(QString(), regType, QString::fromLatin1("1"), 1, nullptr, 3, 0, 0));
        EXPECT_EQ(0, SetRegisterData(QString(), regType, QString::fromLatin1("x"), 1, nullptr, 3, 0, 0));
    }
    EXPECT_EQ(1, PLC_driver.writeList.size());
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(NullArguments, OfTextsAreEmptyTexts)
{
    QByteArray out;
    EXPECT_EQ(0, GetRegisterData(QString(), 5, QString(), 1, &out, 1));
    EXPECT_EQ(-1, PLCAddressChangeIntef(5, QString()));
}

TEST_F(NullArguments, OfBuffersCountAsSilence)
{
    addRead(holding(0));
    next();
    EXPECT_EQ(0, DataCom(nullptr, 0)->status);
    EXPECT_EQ(0, DataCom(nullptr, 7)->status);
    EXPECT_EQ(2, info.retryCount);
    EXPECT_EQ(41, DataCom(nullptr, 0)->status);
}

TEST_F(NullArguments, OfBuffersCountAsABadReplyOnceAReplyWasFound)
{
    addRead(holding(0));
    next();
    EXPECT_EQ(kResultDone, receive(hex("01 03 02 0001 7984")));
    EXPECT_EQ(0, DataCom(nullptr, 7)->status);
    EXPECT_EQ(1, info.retryCount);
    EXPECT_EQ(0, DataCom(nullptr, 0)->status);
    EXPECT_EQ(42 - 1, DataCom(nullptr, 0)->status);
}

TEST_F(NullArguments, OfBuffersAreSafeForRelayReplies)
{
    info.linkMode = 1;
    info.retryLimit = 0;
    addRead(holding(0).linkId(5));
    next();
    EXPECT_EQ(111, DataCom(nullptr, 7)->status);
    next();
    EXPECT_EQ(141, DataCom(nullptr, 0)->status);
}

TEST_F(NullArguments, OfBuffersFinishARequestWithoutReply)
{
    addWrite(holding(0).station(0).data("12 34"));
    next();
    EXPECT_EQ(1, DataCom(nullptr, 0)->status);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

TEST_F(NullArguments, OfCallbacksAreSkipped)
{
    RegistCallBackFuncIntf(nullptr, nullptr);
    info.retryLimit = 0;
    addWrite(holding(0).data("12 34"));
    addWrite(holding(0).data("12 34").ids(1, 1));
    addOnceRead(holding(0));
    next();
    EXPECT_EQ(kResultDone, complete(withCrc("01 06 0000 3412")));
    next();
    EXPECT_EQ(kResultNoReply, silence());
    next();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
}

TEST_F(NullArguments, OfOneCallbackLeaveTheOther)
{
    info.retryLimit = 0;
    RegistCallBackFuncIntf(nullptr, PLC_driver.failureCallback);
    addWrite(holding(0).data("12 34"));
    next();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_TRUE(outcomes.empty());
    EXPECT_EQ(1u, failures.size());
}

TEST_F(NullArguments, OfTheWordAreaMeanNoStationOverride)
{
    FlashLocalRegister(nullptr, nullptr, nullptr);
    RW_VAR var = holding(0).station(3).data("12 34");
    ReadRegister(&var);
    WriteRegister(&var);
    EXPECT_EQ(withCrc("03 03 0000 0001"), queuedFrame(0));
    EXPECT_EQ(withCrc("03 06 0000 3412"), queuedFrame(1));
}

TEST_F(NullArguments, OfRecordsDoNothingInside)
{
    ReadRegister(nullptr);
    ReadAnalog(nullptr);
    WriteRegister(nullptr);
    WriteAnalog(nullptr);
    Remote_ReadVar(nullptr);
    Remote_WriteVar(nullptr);
    WriteDataToLocal(nullptr);
    passRetValue(nullptr);
    EXPECT_EQ(1, updateRwVar(nullptr));
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(NullArguments, OfRepliesAreEmptyReplies)
{
    RW_VAR var = holding(0);
    ReadRegister(&var);
    EXPECT_EQ(0, check_data(nullptr));
    EXPECT_EQ(0, CheckGetData(nullptr, 7));
    EXPECT_EQ(41, DealDataOfLocalArea(nullptr, 0));
    EXPECT_EQ(11, DealDataOfLocalArea(nullptr, 7));
    SaveToLocalDataErea(nullptr);
    SpecialRegisterSave(nullptr);
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(NullArguments, OfChecksumsGiveTheValueOfNothing)
{
    EXPECT_EQ(0xFFFF, CalCRC(nullptr, 5));
    EXPECT_EQ(0, CalSUM(nullptr, 5));
    EXPECT_EQ(256, CalLRC(nullptr, 5));
    EXPECT_EQ(0, CalXOR(nullptr, 5));
}

TEST_F(NullArguments, OfLogMessagesAreSafe)
{
    const OwnLogFile logFile;
    customMessageHandler(QtDebugMsg, nullptr);
}

// ------------------------------------------------------------------------------------- nothing in progress

class NothingInProgress : public SetUpDriver
{};

TEST_F(NothingInProgress, RepliesAreIgnored)
{
    EXPECT_EQ(kResultDone, receive(hex("01 03 02 0001 7984")));
    EXPECT_EQ(1, DataCom(nullptr, -5)->status);
    EXPECT_EQ(1, DataCom(nullptr, INT_MAX)->status);
    EXPECT_EQ(0, info.retryCount);
}

TEST_F(NothingInProgress, ALengthThatIsNotTheBuffersIsOnlyCompared)
{
    addRead(holding(0));
    for (const int length : {-1, 6, 8, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(length);
        info.retryLimit = 0;
        next();
        QByteArray reply = hex("01 03 02 0001 7984");
        EXPECT_EQ(1, DataCom(&reply, length)->status);
        EXPECT_EQ(71, DataCom(&reply, length)->status);
    }
}

} // namespace

} // namespace plc::test
