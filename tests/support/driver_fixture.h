/// @file
/// A freshly constructed driver, set up by a runtime that remembers what it was told.
#ifndef PLC_TESTS_SUPPORT_DRIVER_FIXTURE_H
#define PLC_TESTS_SUPPORT_DRIVER_FIXTURE_H

#include <gtest/gtest.h>

#include <vector>

#include "plcdriver.h"
#include "support/hex.h"

namespace plc::test {

/// Destroys the driver object and builds it anew, and forgets the memory areas.
void renewDriver();

/// One call of the completion callback.
struct Outcome
{
    int callbackArg;
    int hostId;
    int hostSubId;
    int outcome;

    bool operator==(const Outcome &other) const
    {
        return callbackArg == other.callbackArg && hostId == other.hostId && hostSubId == other.hostSubId &&
               outcome == other.outcome;
    }
};

void PrintTo(const Outcome &outcome, std::ostream *out);

/// One call of the failure callback.
struct FailureReport
{
    int listLength; ///< -1 for a null list
    int hostId;
    int constant;

    bool operator==(const FailureReport &other) const
    {
        return listLength == other.listLength && hostId == other.hostId && constant == other.constant;
    }
};

void PrintTo(const FailureReport &report, std::ostream *out);

/// Makes a record in one expression: `holding(100).count(2).station(3)`.
class Variable
{
public:
    Variable(int regType, int address);

    Variable &count(int value) { return var_.count = value, *this; }
    Variable &station(int value) { return var_.station = value, *this; }
    Variable &ids(int hostId, int hostSubId)
    {
        return var_.hostId = hostId, var_.hostSubId = hostSubId, *this;
    }
    Variable &linkId(int value) { return var_.linkId = value, *this; }
    Variable &direction(int value) { return var_.direction = value, *this; }
    Variable &relayArgs(int first, int second)
    {
        return var_.relayArg1 = first, var_.relayArg2 = second, *this;
    }
    Variable &text(const char *addrText) { return var_.addrText = QString::fromLatin1(addrText), *this; }
    Variable &data(const char *hexText) { return var_.data = hex(hexText), var_.direction = 1, *this; }
    Variable &data(const QByteArray &bytes) { return var_.data = bytes, var_.direction = 1, *this; }

    operator RW_VAR() const { return var_; }

private:
    RW_VAR var_;
};

/// Station 1, count 1, link 0 unless said otherwise.
Variable coil(int address);
Variable discreteInput(int address);
Variable inputRegister(int address);
Variable holding(int address);
Variable holdingBit(int address); ///< address = register * 16 + bit
Variable holdingPair(int address);

/// A driver fresh from the constructor. Nothing is set up.
class FreshDriver : public ::testing::Test
{
protected:
    FreshDriver() { renewDriver(); }
    ~FreshDriver() override { renewDriver(); }
};

/// A driver set up by a runtime: settings (maxBlock 100, stationMode 1, retryLimit 2, writeMode 2,
/// callbackArg 77, everything else 0), a word area, and callbacks that are recorded.
class SetUpDriver : public FreshDriver
{
protected:
    SetUpDriver();

    /// Sets the option word and lets the driver decode it.
    void setOptions(quint32 options);
    /// Sets the station override word.
    void overrideStation(unsigned short word);

    int addRead(RW_VAR var) { return AddListReadVar(&var); }
    int addWrite(RW_VAR var, int mode = 1) { return AddListWriteVar(&var, mode); }
    int addOnceRead(RW_VAR var, int mode = 1) { return AddListOnceReadVar(&var, mode); }

    /// Next request; null when there is none.
    Protocol *next() { return ComCommunication(0); }
    /// Calls DataCom with @p bytes and their number and returns the status. The buffer as the driver left it
    /// is in #buffer.
    int receive(const QByteArray &bytes);
    /// Calls DataCom with nothing received.
    int silence();
    /// Calls DataCom twice, as a runtime does for a Modbus reply: found, then handled. Fails the test when
    /// the reply is not found. Returns the status of the second call.
    int complete(const QByteArray &reply);

    /// What the mirror holds of an element; empty when it has no entry. @p regType is a base type.
    QByteArray mirrored(int station, int regType, int address) const;
    /// Puts an entry into the mirror.
    void mirror(int station, int regType, int address, const QByteArray &entry);

    const QByteArray &queuedFrame(int index = 0) const { return PLC_driver.sendQueue.at(index).frame; }

    COM_INFO info;
    std::vector<unsigned short> words; ///< the runtime's word area, 51000 words
    QByteArray buffer;                 ///< what the last receive() left
    std::vector<Outcome> outcomes;
    std::vector<FailureReport> failures;

private:
    static void recordOutcome(int callbackArg, int hostId, int hostSubId, int outcome);
    static void recordFailure(QList<RW_VAR> *list, int hostId, int constant);
};

} // namespace plc::test

#endif
