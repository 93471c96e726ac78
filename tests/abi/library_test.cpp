// The library as a runtime meets it: loaded by name at run time, called through looked-up names, with records
// that are typed here by hand and a settings record that is nothing but bytes.
#include <gtest/gtest.h>

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <cstring>
#include <string>
#include <vector>

#include <dlfcn.h>

namespace {

// ------------------------------------------------------------------------------------- the runtime's records

struct HostVariable
{
    qint32 hostId = 0, hostSubId = 0, direction = 0, linkMode = 0, linkId = 0, status = 0;
    QString varName, addrText;
    qint32 regType = 0, address = 0, station = 0, count = 0, relayArg1 = 0, relayArg2 = 0;
    QByteArray data;
};

struct HostTransaction
{
    QByteArray frame;
    qint32 sendLen, replyLen, headerLen, dataLen;
    HostVariable var;
    qint32 spare1, spare2, spare3;
};

/// The settings as bytes, with a fence behind them. Words that nobody agreed upon hold a pattern.
class SettingsBytes
{
public:
    SettingsBytes()
    {
        std::memset(bytes_, kPattern, sizeof bytes_);
        for (const int offset : {16, 24, 28, 32, 36, 40, 44, 48, 52, 56, 60, 64, 68, 72, 88})
            put(offset, 0);
        put(16, 100);
        put(36, 1);
        put(64, 2);
    }

    void put(int offset, qint32 value) { std::memcpy(bytes_ + offset, &value, sizeof value); }

    qint32 at(int offset) const
    {
        qint32 value;
        std::memcpy(&value, bytes_ + offset, sizeof value);
        return value;
    }

    bool isPatternUntouched() const
    {
        return isPattern(0, 16) && isPattern(20, 24) && isPattern(76, 88) && isPattern(92, sizeof bytes_);
    }

    void *data() { return bytes_; }

private:
    static constexpr unsigned char kPattern = 0xA5;

    bool isPattern(size_t from, size_t to) const
    {
        for (size_t i = from; i < to; ++i)
            if (bytes_[i] != kPattern)
                return false;
        return true;
    }

    alignas(8) unsigned char bytes_[128];
};

std::vector<std::string> recordedOutcomes;

void recordOutcome(int callbackArg, int hostId, int hostSubId, int outcome)
{
    recordedOutcomes.push_back(std::to_string(callbackArg) + " " + std::to_string(hostId) + " " +
                               std::to_string(hostSubId) + " " + std::to_string(outcome));
}

// ------------------------------------------------------------------------------------------------ fixture

class Library : public ::testing::Test
{
protected:
    Library()
    {
        recordedOutcomes.clear();
        load();
    }

    ~Library() override { unload(); }

    void load()
    {
        library_ = dlopen(PLC_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        if (!library_)
            ADD_FAILURE() << dlerror();
    }

    void unload()
    {
        if (library_)
            dlclose(library_);
        library_ = nullptr;
    }

    void *address(const char *name) const { return library_ ? dlsym(library_, name) : nullptr; }

    template <typename Function>
    Function *function(const char *name) const
    {
        void *const found = address(name);
        EXPECT_NE(nullptr, found) << name;
        return reinterpret_cast<Function *>(found);
    }

    void setUp()
    {
        function<void(void *)>("SetComInfo")(settings.data());
        function<void(unsigned char *, unsigned short *, unsigned short *)>("FlashLocalRegister")(
            nullptr, nullptr, nullptr);
        function<void(void (*)(int, int, int, int), void (*)(QList<HostVariable> *, int, int))>(
            "RegistCallBackFuncIntf")(recordOutcome, nullptr);
    }

    const HostTransaction *next() const { return function<HostTransaction *(int)>("ComCommunication")(0); }

    /// Hex of the next frame, checksum included; empty when there is none.
    std::string nextFrame() const
    {
        const HostTransaction *head = next();
        return head ? head->frame.left(head->sendLen).toHex().toStdString() : std::string();
    }

    int receive(const char *hexText) const
    {
        QByteArray reply = QByteArray::fromHex(hexText);
        return function<HostVariable *(QByteArray *, int)>("DataCom")(&reply, reply.size())->status;
    }

    int write(int regType, const char *addressText, const char *hexText, int count, int station = 1) const
    {
        QByteArray data = QByteArray::fromHex(hexText);
        return function<int(const QString &, int, const QString &, int, QByteArray *, int, int, int)>(
            "SetRegisterData")(QString(), regType, QString::fromLatin1(addressText), station, &data, count, 5,
                               6);
    }

    static HostVariable holding(int address, int count = 1)
    {
        HostVariable var;
        var.regType = 5;
        var.address = address;
        var.station = 1;
        var.count = count;
        return var;
    }

    int addRead(HostVariable var) const { return function<int(HostVariable *)>("AddListReadVar")(&var); }

    SettingsBytes settings;

private:
    void *library_ = nullptr;
};

// -------------------------------------------------------------------------------------------------- names

TEST_F(Library, KeepsTheMemoryAreasInTheOrderOfTheCall)
{
    unsigned char bits[1];
    unsigned short words[1], third[1];
    function<void(unsigned char *, unsigned short *, unsigned short *)>("FlashLocalRegister")(bits, words,
                                                                                              third);
    EXPECT_EQ(bits, *static_cast<unsigned char **>(address("LB")));
    EXPECT_EQ(words, *static_cast<unsigned short **>(address("LW")));
    EXPECT_EQ(third, *static_cast<unsigned short **>(address("RWI")));
}

TEST_F(Library, IsGoneAfterUnloadingAndStartsAfreshWhenLoadedAgain)
{
    setUp();
    addRead(holding(1));
    EXPECT_EQ(2, addRead(holding(2)));
    unload();
    EXPECT_EQ(nullptr, dlopen(PLC_LIBRARY, RTLD_NOW | RTLD_NOLOAD));
    load();
    setUp();
    EXPECT_EQ(1, addRead(holding(1)));
}

TEST_F(Library, WorksThroughPlainCalls)
{
    unsigned char bytes[] = {0x01, 0x03, 0x00, 0x00, 0x00, 0x0A};
    EXPECT_EQ(0xCDC5, function<unsigned short(unsigned char *, unsigned short)>("CalCRC")(bytes, 6));
    EXPECT_EQ(1, function<int()>("QueryFinishFlag")());
    EXPECT_EQ(163, function<int(int, QString)>("PLCAddressChangeIntef")(3, QString::fromLatin1("10.3")));
}

// ---------------------------------------------------------------- grouping utilities, by their plain names

TEST_F(Library, PacksIntoTheListOfTheCaller)
{
    QList<HostVariable> bucket, out;
    bucket << holding(10, 2) << holding(14, 2) << holding(200);
    function<void(QList<HostVariable> *, int, QList<HostVariable> &)>("BitVarReCreat_2")(&bucket, 100, out);
    ASSERT_EQ(2, out.size());
    EXPECT_EQ(10, out.at(0).address);
    EXPECT_EQ(6, out.at(0).count);
    EXPECT_EQ(200, out.at(1).address);
    EXPECT_EQ(1, out.at(1).count);
}

TEST_F(Library, SplitsAVariableIntoPieces)
{
    QList<HostVariable> out;
    HostVariable var = holding(10);
    function<void(int, int, HostVariable *, QList<HostVariable> *)>("WhetherGroup")(250, 100, &var, &out);
    ASSERT_EQ(3, out.size());
    EXPECT_EQ(110, out.at(1).address);
    EXPECT_EQ(100, out.at(1).count);
    EXPECT_EQ(210, var.address);
    EXPECT_EQ(50, var.count);
}

TEST_F(Library, KeepsTheFirstRecordOfAKey)
{
    QHash<QString, HostVariable> records;
    auto *const insert = function<int(QString, HostVariable, QHash<QString, HostVariable> &)>("speed_insert");
    EXPECT_EQ(0, insert(QString::fromLatin1("key"), holding(1), records));
    EXPECT_EQ(1, insert(QString::fromLatin1("key"), holding(2), records));
    EXPECT_EQ(1, records.value(QString::fromLatin1("key")).address);
}

// ------------------------------------------------------------------------ settings: fields that are read

TEST_F(Library, CountsStepsInBytesFortyFourAndFortyEight)
{
    setUp();
    write(3, "1.0", "01", 1);
    EXPECT_EQ("010300010001d5ca", nextFrame());
    EXPECT_EQ(2, settings.at(44));
    EXPECT_EQ(0, settings.at(48));
    EXPECT_EQ(1, receive("0103020000b844"));
    EXPECT_EQ(1, receive("0103020000b844"));
    EXPECT_EQ(1, settings.at(48));
    EXPECT_EQ("010600010001", nextFrame().substr(0, 12));
}

TEST_F(Library, TouchesNoOtherByteOfTheSettings)
{
    settings.put(28, 0);
    setUp();
    EXPECT_TRUE(settings.isPatternUntouched());
    addRead(holding(0, 10));
    write(5, "16", "3412", 1);
    write(3, "1.0", "01", 1);
    for (int i = 0; i < 10; ++i) {
        next();
        receive(i % 2 ? "" : "0106001012348578");
    }
    EXPECT_TRUE(settings.isPatternUntouched());
}

// ---------------------------------------------------------------------------------------- the other records

TEST_F(Library, HandsTransactionsOutInTheAgreedLayout)
{
    setUp();
    HostVariable var = holding(0, 10);
    var.hostId = 11;
    var.relayArg2 = 12;
    var.varName = QString::fromLatin1("name");
    var.data = QByteArray("data");
    addRead(var);
    const HostTransaction *head = next();
    ASSERT_NE(nullptr, head);
    EXPECT_EQ("01030000000ac5cd", head->frame.toHex().toStdString());
    EXPECT_EQ(8, head->sendLen);
    EXPECT_EQ(-1, head->replyLen);
    EXPECT_EQ(3, head->headerLen);
    EXPECT_EQ(20, head->dataLen);
    EXPECT_EQ(11, head->var.hostId);
    EXPECT_EQ("name", head->var.varName.toStdString());
    EXPECT_EQ(5, head->var.regType);
    EXPECT_EQ(1, head->var.station);
    EXPECT_EQ(10, head->var.count);
    EXPECT_EQ(12, head->var.relayArg2);
    EXPECT_EQ(QByteArray("data"), head->var.data);
    EXPECT_EQ(0, head->spare1);
    EXPECT_EQ(0, head->spare2);
    EXPECT_EQ(0, head->spare3);
}

TEST_F(Library, KeepsTheTransactionInPlaceUntilItIsFinished)
{
    setUp();
    write(3, "1.0", "01", 1);
    const HostTransaction *head = next();
    EXPECT_EQ(head, next());
    write(5, "16", "3412", 1);
    EXPECT_EQ(head, next());
}

TEST_F(Library, HandsTheResultOutInTheAgreedLayoutWithoutData)
{
    setUp();
    HostVariable var = holding(7);
    var.hostId = 11;
    var.hostSubId = 12;
    var.varName = QString::fromLatin1("name");
    var.data = QByteArray("data");
    addRead(var);
    next();
    QByteArray reply = QByteArray::fromHex("010302002a399b");
    auto *dataCom = function<HostVariable *(QByteArray *, int)>("DataCom");
    const HostVariable *result = dataCom(&reply, 7);
    EXPECT_EQ(1, result->status);
    EXPECT_EQ(result, dataCom(&reply, 7));
    EXPECT_EQ(1, result->status);
    EXPECT_EQ(11, result->hostId);
    EXPECT_EQ(12, result->hostSubId);
    EXPECT_EQ("name", result->varName.toStdString());
    EXPECT_EQ(7, result->address);
    EXPECT_EQ(1, result->count);
    EXPECT_TRUE(result->data.isEmpty());
}

} // namespace
