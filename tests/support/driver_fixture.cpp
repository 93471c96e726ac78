#include "support/driver_fixture.h"

#include <cstring>
#include <new>

namespace plc::test {

namespace {

std::vector<Outcome> *recordedOutcomes = nullptr;
std::vector<FailureReport> *recordedFailures = nullptr;

// Built from the stated bit layout, not with the driver's own function.
quint64 keyOf(int station, int baseType, int address)
{
    const quint64 upper =
        (static_cast<quint64>(station & 0xFF) << 56) | (static_cast<quint64>(baseType) << 48);
    return upper | static_cast<quint64>(static_cast<qint64>(address));
}

} // namespace

void renewDriver()
{
    PLC_driver.~Communication_Protocol();
    new (&PLC_driver) Communication_Protocol();
    LB = nullptr;
    LW = nullptr;
    RWI = nullptr;
}

void PrintTo(const Outcome &outcome, std::ostream *out)
{
    *out << "(arg " << outcome.callbackArg << ", ids " << outcome.hostId << "/" << outcome.hostSubId
         << ", outcome " << outcome.outcome << ")";
}

void PrintTo(const FailureReport &report, std::ostream *out)
{
    *out << "(list of " << report.listLength << ", hostId " << report.hostId << ", " << report.constant
         << ")";
}

Variable::Variable(int regType, int address)
{
    var_.regType = regType;
    var_.address = address;
    var_.station = 1;
    var_.count = 1;
}

Variable coil(int address)
{
    return Variable(0, address);
}

Variable discreteInput(int address)
{
    return Variable(1, address);
}

Variable inputRegister(int address)
{
    return Variable(4, address);
}

Variable holding(int address)
{
    return Variable(5, address);
}

Variable holdingBit(int address)
{
    return Variable(3, address);
}

Variable holdingPair(int address)
{
    return Variable(7, address);
}

SetUpDriver::SetUpDriver() : words(51000, 0)
{
    std::memset(&info, 0, sizeof info);
    info.maxBlock = 100;
    info.stationMode = 1;
    info.retryLimit = 2;
    info.writeMode = 2;
    info.callbackArg = 77;
    recordedOutcomes = &outcomes;
    recordedFailures = &failures;
    SetComInfo(&info);
    FlashLocalRegister(nullptr, words.data(), nullptr);
    RegistCallBackFuncIntf(recordOutcome, recordFailure);
}

void SetUpDriver::setOptions(quint32 options)
{
    info.options = options;
    SetComInfo(&info);
}

void SetUpDriver::overrideStation(unsigned short word)
{
    words[50500] = word;
}

int SetUpDriver::receive(const QByteArray &bytes)
{
    buffer = bytes;
    return DataCom(&buffer, bytes.size())->status;
}

int SetUpDriver::silence()
{
    return receive(QByteArray());
}

int SetUpDriver::complete(const QByteArray &reply)
{
    const int found = receive(reply);
    EXPECT_EQ(1, found) << "the reply was not found";
    return receive(buffer);
}

QByteArray SetUpDriver::mirrored(int station, int regType, int address) const
{
    return PLC_driver.registerCache.value(keyOf(station, regType, address));
}

void SetUpDriver::mirror(int station, int regType, int address, const QByteArray &entry)
{
    PLC_driver.registerCache.insert(keyOf(station, regType, address), entry);
}

void SetUpDriver::recordOutcome(int callbackArg, int hostId, int hostSubId, int outcome)
{
    recordedOutcomes->push_back({callbackArg, hostId, hostSubId, outcome});
}

void SetUpDriver::recordFailure(QList<RW_VAR> *list, int hostId, int constant)
{
    recordedFailures->push_back({list ? list->size() : -1, hostId, constant});
}

} // namespace plc::test
