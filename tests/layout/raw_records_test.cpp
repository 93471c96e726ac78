// The interface with the runtime as bytes: every record is written at offsets typed here, every result is
// read at offsets typed here. No structure describes them, so no compiler and no header can move a field
// unnoticed.
#include <gtest/gtest.h>

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstring>
#include <deque>
#include <new>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/resource.h>

namespace {

constexpr bool kIsPanel = sizeof(void *) == 4;

/// The offset on a panel, and that where pointers have 8 bytes.
constexpr int at(int onPanel, int withLargePointers)
{
    return kIsPanel ? onPanel : withLargePointers;
}

// ---------------------------------------------------------------------------------------------- raw memory

/// Memory of a record, filled with a pattern that no field has as its value.
class RawRecord
{
public:
    explicit RawRecord(int size) : bytes_(static_cast<std::size_t>(size), kPattern) {}
    RawRecord(const RawRecord &) = delete;
    RawRecord &operator=(const RawRecord &) = delete;
    ~RawRecord()
    {
        for (QString *text : texts_)
            text->~QString();
        for (QByteArray *array : arrays_)
            array->~QByteArray();
        for (QList<QString> *list : lists_)
            list->~QList<QString>();
    }

    void putByte(int offset, int value) { bytes_[index(offset)] = static_cast<unsigned char>(value); }
    void putInt(int offset, qint32 value) { std::memcpy(memory(offset), &value, sizeof value); }
    void putText(int offset, const char *text)
    {
        texts_.push_back(new (memory(offset)) QString(QString::fromLatin1(text)));
    }
    void putArray(int offset, const QByteArray &array)
    {
        arrays_.push_back(new (memory(offset)) QByteArray(array));
    }
    void putTexts(int offset, const QList<QString> &texts)
    {
        lists_.push_back(new (memory(offset)) QList<QString>(texts));
    }

    qint32 intAt(int offset) const
    {
        qint32 value;
        std::memcpy(&value, bytes_.data() + index(offset), sizeof value);
        return value;
    }
    /// Offsets of the bytes that differ from those of @p before.
    std::vector<int> changedSince(const std::vector<unsigned char> &before) const
    {
        std::vector<int> changed;
        for (std::size_t i = 0; i < bytes_.size(); ++i) {
            if (bytes_[i] != before[i])
                changed.push_back(static_cast<int>(i));
        }
        return changed;
    }
    const std::vector<unsigned char> &bytes() const { return bytes_; }
    void *memory(int offset = 0) { return bytes_.data() + index(offset); }

private:
    static constexpr unsigned char kPattern = 0xEE;

    std::size_t index(int offset) const { return static_cast<std::size_t>(offset); }

    // A vector's memory comes from operator new, so it suits every type that stands in it.
    std::vector<unsigned char> bytes_;
    std::vector<QString *> texts_;
    std::vector<QByteArray *> arrays_;
    std::vector<QList<QString> *> lists_;
};

/// What the driver hands out.
class RawView
{
public:
    explicit RawView(const void *memory) : memory_(static_cast<const unsigned char *>(memory)) {}

    bool isNull() const { return memory_ == nullptr; }
    const void *address() const { return memory_; }
    qint32 intAt(int offset) const
    {
        qint32 value;
        std::memcpy(&value, memory_ + offset, sizeof value);
        return value;
    }
    std::string textAt(int offset) const { return object<QString>(offset).toLatin1().constData(); }
    std::string hexAt(int offset) const { return object<QByteArray>(offset).toHex().constData(); }

private:
    template <typename Object>
    const Object &object(int offset) const
    {
        return *static_cast<const Object *>(static_cast<const void *>(memory_ + offset));
    }

    const unsigned char *memory_;
};

// ------------------------------------------------------------------------------------------------- offsets

// Variable request.
constexpr int kHostId = 0;
constexpr int kHostSubId = 4;
constexpr int kDirection = 8;
constexpr int kLinkMode = 12;
constexpr int kLinkId = 16;
constexpr int kStatus = 20;
constexpr int kVarName = 24;
constexpr int kAddrText = at(28, 32);
constexpr int kRegType = at(32, 40);
constexpr int kAddress = at(36, 44);
constexpr int kStation = at(40, 48);
constexpr int kCount = at(44, 52);
constexpr int kRelayArg1 = at(48, 56);
constexpr int kRelayArg2 = at(52, 60);
constexpr int kData = at(56, 64);
constexpr int kVariableSize = at(60, 72);

// Transaction.
constexpr int kFrame = 0;
constexpr int kSendLen = at(4, 8);
constexpr int kReplyLen = at(8, 12);
constexpr int kHeaderLen = at(12, 16);
constexpr int kDataLen = at(16, 20);
constexpr int kVariable = at(20, 24);
constexpr int kSpare1 = at(80, 96);
constexpr int kSpare2 = at(84, 100);
constexpr int kSpare3 = at(88, 104);

// Host variable.
constexpr int kHostRegType = 1;
constexpr int kHostStation = 2;
constexpr int kHostAddrText = 8;
constexpr int kHostVarName = at(12, 16);
constexpr int kHostCount = at(16, 24);
constexpr int kHostVariableSize = at(20, 32);

// Name row.
constexpr int kRowTexts = at(12, 16);
constexpr int kRowSize = at(16, 24);

// Settings, the same everywhere.
constexpr int kMaxBlock = 16;
constexpr int kDefaultStation = 24;
constexpr int kRetryLimit = 28;
constexpr int kRetryCount = 32;
constexpr int kStationMode = 36;
constexpr int kReserved40 = 40;
constexpr int kStepTotal = 44;
constexpr int kStepDone = 48;
constexpr int kReserved52 = 52;
constexpr int kSettingsLinkMode = 56;
constexpr int kSettingsLinkId = 60;
constexpr int kWriteMode = 64;
constexpr int kScanDone = 68;
constexpr int kCallbackArg = 72;
constexpr int kOptions = 88;
constexpr int kSettingsSize = 92;

// ------------------------------------------------------------------------------------------------- fixture

std::vector<std::string> recordedOutcomes;

void recordOutcome(int callbackArg, int hostId, int hostSubId, int outcome)
{
    recordedOutcomes.push_back(std::to_string(callbackArg) + " " + std::to_string(hostId) + " " +
                               std::to_string(hostSubId) + " " + std::to_string(outcome));
}

/// The library, loaded for one test and unloaded behind it, with settings that are nothing but bytes.
class RawRecords : public ::testing::Test
{
protected:
    RawRecords() : settings(kSettingsSize), library_(dlopen(PLC_LIBRARY, RTLD_NOW | RTLD_LOCAL))
    {
        if (!library_) {
            ADD_FAILURE() << dlerror();
            return;
        }
        recordedOutcomes.clear();
        for (int offset :
             {kDefaultStation, kRetryLimit, kRetryCount, kReserved40, kStepTotal, kStepDone, kReserved52,
              kSettingsLinkMode, kSettingsLinkId, kScanDone, kCallbackArg, kOptions})
            settings.putInt(offset, 0);
        settings.putInt(kMaxBlock, 100);
        settings.putInt(kStationMode, 1);
        settings.putInt(kWriteMode, 2);
    }

    ~RawRecords() override
    {
        if (library_)
            dlclose(library_);
    }

    template <typename Function>
    Function *function(const char *name) const
    {
        void *const found = library_ ? dlsym(library_, name) : nullptr;
        if (!found)
            throw std::string(name) + " is not in the library";
        return reinterpret_cast<Function *>(found);
    }

    void setUp()
    {
        function<void(void *)>("SetComInfo")(settings.memory());
        function<void(void *, void *, void *)>("FlashLocalRegister")(nullptr, nullptr, nullptr);
        function<void(void (*)(int, int, int, int), void (*)(void *, int, int))>("RegistCallBackFuncIntf")(
            recordOutcome, nullptr);
    }

    /// A variable of a screen; the record is kept until the test ends.
    void *hostVariable(int regType, int station, const char *address, const char *name, int count)
    {
        RawRecord &record = keep(kHostVariableSize);
        record.putByte(kHostRegType, regType);
        record.putByte(kHostStation, station);
        record.putText(kHostAddrText, address);
        record.putText(kHostVarName, name);
        record.putInt(kHostCount, count);
        return record.memory();
    }

    /// A row of the table of names: nine texts, the level the last of them, and then the name.
    void *nameRow(const char *level, const char *name)
    {
        QList<QString> texts;
        for (int i = 0; i < 8; ++i)
            texts.append(QString::fromLatin1("text %1").arg(i));
        texts.append(QString::fromLatin1(level));
        texts.append(QString::fromLatin1(name));
        RawRecord &record = keep(kRowSize);
        record.putTexts(kRowTexts, texts);
        return record.memory();
    }

    /// A variable request with every field set.
    RawRecord &variable(int hostId, int hostSubId, int direction, int regType, int address, int station,
                        int count, const QByteArray &data)
    {
        RawRecord &record = keep(kVariableSize);
        record.putInt(kHostId, hostId);
        record.putInt(kHostSubId, hostSubId);
        record.putInt(kDirection, direction);
        record.putInt(kLinkMode, 0);
        record.putInt(kLinkId, 0);
        record.putInt(kStatus, 0);
        record.putText(kVarName, "valve");
        record.putText(kAddrText, "typed");
        record.putInt(kRegType, regType);
        record.putInt(kAddress, address);
        record.putInt(kStation, station);
        record.putInt(kCount, count);
        record.putInt(kRelayArg1, 0x01020304);
        record.putInt(kRelayArg2, 0x05060708);
        record.putArray(kData, data);
        return record;
    }

    int rebuild(QList<void *> variables)
    {
        return function<int(QList<void *> *)>("ReCreatReadVarList")(&variables);
    }
    void passNames(QList<void *> rows) { function<void(QList<void *> *)>("PassVarName")(&rows); }
    RawView next() { return RawView(function<void *(int)>("ComCommunication")(0)); }
    std::string nextFrame()
    {
        const RawView head = next();
        return head.isNull() ? std::string() : head.hexAt(kFrame);
    }
    RawView receive(const char *hexText)
    {
        QByteArray reply = QByteArray::fromHex(hexText);
        return RawView(function<void *(QByteArray *, int)>("DataCom")(&reply, reply.size()));
    }
    int get(int regType, const char *address, int count, QByteArray *out)
    {
        return function<int(const QString &, int, const QString &, int, QByteArray *, int)>(
            "GetRegisterData")(QString(), regType, QString::fromLatin1(address), 1, out, count);
    }
    /// Writes one holding register of station 1.
    int set(const char *address, const char *hexValue)
    {
        QByteArray value = QByteArray::fromHex(hexValue);
        return function<int(const QString &, int, const QString &, int, QByteArray *, int, int, int)>(
            "SetRegisterData")(QString(), 5, QString::fromLatin1(address), 1, &value, 1, 7, 8);
    }

    RawRecord settings;

private:
    RawRecord &keep(int size)
    {
        records_.emplace_back(size);
        return records_.back();
    }

    void *library_;
    std::deque<RawRecord> records_;
};

// ------------------------------------------------------------------------------------------------ settings

TEST_F(RawRecords, SettingsAreCorrectedAtTheirBytesAndNowhereElse)
{
    settings.putInt(kMaxBlock, 250);
    settings.putInt(kReserved40, 7);
    settings.putInt(kReserved52, 9);
    const std::vector<unsigned char> before = settings.bytes();
    function<void(void *)>("SetComInfo")(settings.memory());
    EXPECT_EQ(100, settings.intAt(kMaxBlock));
    EXPECT_EQ(0, settings.intAt(kReserved40));
    EXPECT_EQ(0, settings.intAt(kReserved52));
    EXPECT_EQ((std::vector<int>{16, 40, 52}), settings.changedSince(before));
}

TEST_F(RawRecords, SettingsOfAWholeCycleChangeOnlyAtTheDriversBytes)
{
    settings.putInt(kRetryLimit, 2);
    setUp();
    const std::vector<unsigned char> before = settings.bytes();
    rebuild({hostVariable(5, 1, "10", "", 1)});
    ASSERT_EQ("0103000a0001a408", nextFrame());
    EXPECT_EQ(0, receive("").intAt(kStatus));
    EXPECT_EQ(1, settings.intAt(kRetryCount));
    EXPECT_EQ(1, settings.intAt(kStepTotal));
    EXPECT_EQ(1, receive("0103021234b533").intAt(kStatus));
    EXPECT_EQ(1, receive("0103021234b533").intAt(kStatus));
    EXPECT_EQ(1, settings.intAt(kStepDone));
    for (const int offset : settings.changedSince(before))
        EXPECT_TRUE((offset >= kRetryCount && offset < kStationMode) ||
                    (offset >= kStepTotal && offset < kReserved52) ||
                    (offset >= kScanDone && offset < kCallbackArg))
            << "byte " << offset;
}

TEST_F(RawRecords, SettingsLimitARequestAtByteSixteen)
{
    settings.putInt(kMaxBlock, 2);
    setUp();
    EXPECT_EQ(3, rebuild({hostVariable(5, 1, "10", "", 5)}));
}

TEST_F(RawRecords, SettingsLimitRetriesAtByteTwentyEightAndCountThemAtByteThirtyTwo)
{
    settings.putInt(kRetryLimit, 2);
    setUp();
    rebuild({hostVariable(5, 1, "10", "", 1)});
    ASSERT_EQ("0103000a0001a408", nextFrame());
    EXPECT_EQ(0, receive("").intAt(kStatus));
    EXPECT_EQ(1, settings.intAt(kRetryCount));
    EXPECT_EQ(0, receive("").intAt(kStatus));
    EXPECT_EQ(2, settings.intAt(kRetryCount));
    EXPECT_EQ(41, receive("").intAt(kStatus));
    EXPECT_EQ(0, settings.intAt(kRetryCount));
}

TEST_F(RawRecords, SettingsOfferTheDefaultStationAtByteTwentyFour)
{
    settings.putInt(kStationMode, 0);
    settings.putInt(kDefaultStation, 17);
    setUp();
    rebuild({hostVariable(5, 1, "10", "", 1)});
    EXPECT_EQ("1103000a0001a698", nextFrame());
}

TEST_F(RawRecords, SettingsTellAtByteThirtySixThatEachVariableHasItsStation)
{
    settings.putInt(kStationMode, 1);
    settings.putInt(kDefaultStation, 17);
    setUp();
    rebuild({hostVariable(5, 3, "10", "", 1)});
    EXPECT_EQ("0303000a0001a5ea", nextFrame());
}

TEST_F(RawRecords, SettingsAskAtByteFiftySixForRelayFramesOfTheLinkAtByteSixty)
{
    settings.putInt(kSettingsLinkMode, 1);
    settings.putInt(kSettingsLinkId, 0x22);
    setUp();
    EXPECT_LT(0, set("16", "3412"));
    EXPECT_EQ("18070122010005000000100001"
              "0000000000000000"
              "3412"
              "9f",
              nextFrame());
}

TEST_F(RawRecords, SettingsTellAtByteSixtyFourWhetherWritesGoOut)
{
    setUp();
    EXPECT_LT(0, set("10", "3412"));
    EXPECT_EQ("0106000a1234a4bf", nextFrame());
}

TEST_F(RawRecords, SettingsTellAtByteSixtyFourWhetherWritesStayInTheMirror)
{
    settings.putInt(kWriteMode, 0);
    setUp();
    set("10", "3412");
    EXPECT_TRUE(next().isNull());
    QByteArray values;
    EXPECT_EQ(1, get(5, "10", 1, &values));
    EXPECT_EQ("3412", values.toHex());
}

TEST_F(RawRecords, SettingsSayAtByteSixtyEightThatNothingIsLeftToDo)
{
    setUp();
    EXPECT_TRUE(next().isNull());
    EXPECT_EQ(1, settings.intAt(kScanDone));
}

TEST_F(RawRecords, SettingsHaveTheOptionsAtByteEightyEight)
{
    settings.putInt(kOptions, 0x80); // the CRC of requests goes out high byte first
    setUp();
    rebuild({hostVariable(5, 1, "10", "", 1)});
    EXPECT_EQ("0103000a000108a4", nextFrame());
}

// ------------------------------------------------------------------------------------------- host variables

TEST_F(RawRecords, HostVariableIsReadAtItsBytes)
{
    settings.putInt(kSettingsLinkId, 3);
    setUp();
    EXPECT_EQ(1, rebuild({hostVariable(4, 9, "300", "boiler", 2)}));
    const RawView head = next();
    ASSERT_FALSE(head.isNull());
    EXPECT_EQ("0904012c0002b0b6", head.hexAt(kFrame));
    EXPECT_EQ(8, head.intAt(kSendLen));
    EXPECT_EQ(-1, head.intAt(kReplyLen));
    EXPECT_EQ(3, head.intAt(kHeaderLen));
    EXPECT_EQ(4, head.intAt(kDataLen));
    EXPECT_EQ(0, head.intAt(kVariable + kHostId));
    EXPECT_EQ(-1, head.intAt(kVariable + kHostSubId));
    EXPECT_EQ(0, head.intAt(kVariable + kDirection));
    EXPECT_EQ(0, head.intAt(kVariable + kLinkMode));
    EXPECT_EQ(3, head.intAt(kVariable + kLinkId));
    EXPECT_EQ("boiler", head.textAt(kVariable + kVarName));
    EXPECT_EQ("300", head.textAt(kVariable + kAddrText));
    EXPECT_EQ(4, head.intAt(kVariable + kRegType));
    EXPECT_EQ(300, head.intAt(kVariable + kAddress));
    EXPECT_EQ(9, head.intAt(kVariable + kStation));
    EXPECT_EQ(2, head.intAt(kVariable + kCount));
    EXPECT_EQ(0, head.intAt(kVariable + kRelayArg1));
    EXPECT_EQ(0, head.intAt(kVariable + kRelayArg2));
    EXPECT_EQ("", head.hexAt(kVariable + kData));
    EXPECT_EQ(0, head.intAt(kSpare1));
    EXPECT_EQ(0, head.intAt(kSpare2));
    EXPECT_EQ(0, head.intAt(kSpare3));
}

TEST_F(RawRecords, HostVariableKeepsItsLargestStationByte)
{
    setUp();
    rebuild({hostVariable(0, 247, "5", "", 3)});
    EXPECT_EQ("f70100050003789c", nextFrame());
}

TEST_F(RawRecords, HostVariablesOfOneListAreEachReadAtTheirBytes)
{
    setUp();
    EXPECT_EQ(2, rebuild({hostVariable(5, 2, "700", "b", 1), hostVariable(1, 2, "16", "a", 8),
                          hostVariable(5, 2, "701", "c", 1)}));
    EXPECT_EQ("020200100008783a", nextFrame());
}

TEST_F(RawRecords, HostVariableRecordIsOnlyRead)
{
    setUp();
    RawRecord record(kHostVariableSize);
    record.putByte(kHostRegType, 5);
    record.putByte(kHostStation, 1);
    record.putText(kHostAddrText, "10");
    record.putText(kHostVarName, "name");
    record.putInt(kHostCount, 1);
    const std::vector<unsigned char> before = record.bytes();
    rebuild({record.memory()});
    EXPECT_EQ(std::vector<int>(), record.changedSince(before));
}

// ------------------------------------------------------------------------------------------------ name rows

TEST_F(RawRecords, NameRowIsReadAtItsBytes)
{
    setUp();
    passNames({nameRow("4", "4x205")});
    // Two cyclic reads stay and one that covers the named address moves to its level: a level 4 is folded
    // back only when one or none is left.
    EXPECT_EQ(2, rebuild({hostVariable(5, 1, "10", "", 1), hostVariable(5, 2, "200", "", 10),
                          hostVariable(5, 3, "10", "", 1)}));
}

TEST_F(RawRecords, NameRowOfAnAddressThatNobodyReadsMovesNothing)
{
    setUp();
    passNames({nameRow("4", "4x210")});
    EXPECT_EQ(3, rebuild({hostVariable(5, 1, "10", "", 1), hostVariable(5, 2, "200", "", 10),
                          hostVariable(5, 3, "10", "", 1)}));
}

TEST_F(RawRecords, NameRowIsOnlyRead)
{
    setUp();
    RawRecord row(kRowSize);
    QList<QString> texts;
    for (int i = 0; i < 8; ++i)
        texts.append(QString());
    texts << QString::fromLatin1("1") << QString::fromLatin1("4x_bit12.3");
    row.putTexts(kRowTexts, texts);
    const std::vector<unsigned char> before = row.bytes();
    passNames({row.memory()});
    EXPECT_EQ(std::vector<int>(), row.changedSince(before));
}

// --------------------------------------------------------------------------------------- variable requests

TEST_F(RawRecords, VariableRequestIsReadAtItsBytesAndHandedOutAtThem)
{
    settings.putInt(kCallbackArg, 77);
    setUp();
    RawRecord &write = variable(5, 6, 1, 5, 500, 4, 2, QByteArray::fromHex("34127856"));
    EXPECT_EQ(1, function<int(void *, int)>("AddListWriteVar")(write.memory(), 1));
    const RawView head = next();
    ASSERT_FALSE(head.isNull());
    EXPECT_EQ("041001f4000204123456789a70", head.hexAt(kFrame));
    EXPECT_EQ(13, head.intAt(kSendLen));
    EXPECT_EQ(5, head.intAt(kVariable + kHostId));
    EXPECT_EQ(6, head.intAt(kVariable + kHostSubId));
    EXPECT_EQ(1, head.intAt(kVariable + kDirection));
    EXPECT_EQ("valve", head.textAt(kVariable + kVarName));
    EXPECT_EQ("typed", head.textAt(kVariable + kAddrText));
    EXPECT_EQ(5, head.intAt(kVariable + kRegType));
    EXPECT_EQ(500, head.intAt(kVariable + kAddress));
    EXPECT_EQ(4, head.intAt(kVariable + kStation));
    EXPECT_EQ(2, head.intAt(kVariable + kCount));
    EXPECT_EQ(0x01020304, head.intAt(kVariable + kRelayArg1));
    EXPECT_EQ(0x05060708, head.intAt(kVariable + kRelayArg2));
    EXPECT_EQ("34127856", head.hexAt(kVariable + kData));

    EXPECT_EQ(1, receive("041001f400020193").intAt(kStatus));
    const RawView result = receive("041001f400020193");
    EXPECT_EQ(1, result.intAt(kStatus));
    EXPECT_EQ(5, result.intAt(kHostId));
    EXPECT_EQ(6, result.intAt(kHostSubId));
    EXPECT_EQ(500, result.intAt(kAddress));
    EXPECT_EQ("valve", result.textAt(kVarName));
    EXPECT_EQ("", result.hexAt(kData));
    EXPECT_EQ(std::vector<std::string>{"77 5 6 1"}, recordedOutcomes);
}

TEST_F(RawRecords, VariableRequestOfARelayCarriesItsArguments)
{
    settings.putInt(kSettingsLinkMode, 1);
    setUp();
    RawRecord &read = variable(2, 3, 0, 5, 0x11223344, 7, 1, QByteArray());
    EXPECT_EQ(1, function<int(void *)>("AddListReadVar")(read.memory()));
    EXPECT_EQ("160200000700051122334400010102030405060708f3", nextFrame());
}

// ------------------------------------------------------------------------------------------------- memory

/// Takes the address space of this process until no piece of some size is left; gives it back at its end.
class AddressSpaceTaken
{
public:
    explicit AddressSpaceTaken(std::size_t piece) : piece_(piece)
    {
        getrlimit(RLIMIT_AS, &usual_);
        rlimit small = usual_;
        // More than a panel has is never used up.
        if (!kIsPanel)
            small.rlim_cur = rlim_t{2} << 30;
        setrlimit(RLIMIT_AS, &small);
        for (void *taken = take(); taken != MAP_FAILED; taken = take())
            pieces_.push_back(taken);
    }
    ~AddressSpaceTaken()
    {
        for (void *taken : pieces_)
            munmap(taken, piece_);
        setrlimit(RLIMIT_AS, &usual_);
    }
    AddressSpaceTaken(const AddressSpaceTaken &) = delete;
    AddressSpaceTaken &operator=(const AddressSpaceTaken &) = delete;

private:
    void *take() const
    {
        return mmap(nullptr, piece_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    }

    std::size_t piece_;
    std::vector<void *> pieces_;
    rlimit usual_{};
};

// QtCore throws, the library catches: with a compiler runtime of its own it has to understand the other one's
// exceptions.
TEST_F(RawRecords, OutputThatDoesNotFitTheMemoryIsRefusedAndNothingEnds)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer itself takes more address space than there is then";
#endif
    setUp();
    QByteArray out("left");
    int result = -1;
    {
        const std::size_t piece = 64u << 20;
        const AddressSpaceTaken taken(piece);
        result = get(0, "0", 200 << 20, &out);
    }
    EXPECT_EQ(0, result);
    EXPECT_EQ(1, get(0, "0", 3, &out));
    EXPECT_EQ(3, out.size());
}

} // namespace
