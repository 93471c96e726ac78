// Limits, counts and addresses at and beyond the ends of their ranges.
#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include <sys/resource.h>

#include "core/register_types.h"
#include "mirror/register_cache.h"
#include "modbus/read_request.h"
#include "modbus/reply_store.h"
#include "modbus/write_request.h"
#include "relay/relay_request.h"
#include "support/driver_fixture.h"
#include "varlists/registration.h"

namespace plc::test {

namespace {

using Places = std::vector<std::string>;

Places places(const QList<RW_VAR> &list)
{
    Places entries;
    for (const RW_VAR &var : list)
        entries.push_back(std::to_string(var.address) + " x " + std::to_string(var.count));
    return entries;
}

class Limits : public SetUpDriver
{
protected:
    int set(int regType, const char *address, QByteArray data, int count)
    {
        return SetRegisterData(QString(), regType, QString::fromLatin1(address), 1, &data, count, 0, 0);
    }

    int get(int regType, const char *address, int count)
    {
        return GetRegisterData(QString(), regType, QString::fromLatin1(address), 1, &out, count);
    }

    int addOnce(int regType, const char *address, int count)
    {
        return addOnceRead(Variable(regType, 0).text(address).count(count), 0);
    }

    QByteArray out;
};

// ---------------------------------------------------------------------------------------- block limit

class BlockLimit : public Limits
{};

TEST_F(BlockLimit, IsBroughtIntoOneToAHundredWhenTheSettingsAreHandedOver)
{
    const struct
    {
        int given;
        int kept;
    } rows[] = {{250, 100}, {101, 100}, {100, 100}, {99, 99},     {60, 60},      {2, 2},
                {1, 1},     {0, 1},     {-1, 1},    {INT_MIN, 1}, {INT_MAX, 100}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.given);
        info.maxBlock = row.given;
        SetComInfo(&info);
        EXPECT_EQ(row.kept, info.maxBlock);
    }
}

TEST_F(BlockLimit, WrittenBelowOneLaterActsAsOneInOneShotReads)
{
    for (const int maxBlock : {0, -1, -100, INT_MIN}) {
        SCOPED_TRACE(maxBlock);
        PLC_driver.onceReadList.clear();
        info.maxBlock = maxBlock;
        EXPECT_EQ(3, addOnce(5, "10", 3));
        EXPECT_EQ(5, addOnce(0, "5", 9));
        EXPECT_EQ((Places{"10 x 1", "11 x 1", "12 x 1", "5 x 8", "13 x 1"}), places(PLC_driver.onceReadList));
    }
}

TEST_F(BlockLimit, WrittenBelowOneLaterActsAsOneInWrites)
{
    for (const int maxBlock : {1, 0, -1, -100, INT_MIN}) {
        SCOPED_TRACE(maxBlock);
        PLC_driver.writeList.clear();
        info.maxBlock = maxBlock;
        set(5, "10", QByteArray(6, 'x'), 3);
        set(0, "5", QByteArray(20, 1), 20);
        set(7, "30", QByteArray(500, 'x'), 250);
        EXPECT_EQ((Places{"10 x 3", "5 x 20", "30 x 60", "150 x 60", "270 x 5"}),
                  places(PLC_driver.writeList));
    }
}

TEST_F(BlockLimit, WrittenBelowOneLaterWritesSingleElementsToo)
{
    info.maxBlock = 0;
    setOptions(kOptionSingleRegisters | kOptionSingleCoils);
    info.maxBlock = 0;
    set(5, "10", QByteArray(4, 'x'), 2);
    set(0, "5", QByteArray(2, 1), 2);
    set(3, "1.0", QByteArray(2, 1), 2);
    set(8, "20", QByteArray(4, 'x'), 2);
    EXPECT_EQ((Places{"10 x 1", "11 x 1", "5 x 1", "6 x 1", "16 x 1", "17 x 1", "20 x 1", "21 x 1"}),
              places(PLC_driver.writeList));
}

TEST_F(BlockLimit, WrittenHugeLaterDoesNotOverflowInBits)
{
    for (const int maxBlock : {INT_MAX, INT_MAX / 8, INT_MAX / 8 + 1, 0x10000000, 0x20000000, 0x40000000}) {
        SCOPED_TRACE(maxBlock);
        PLC_driver.onceReadList.clear();
        PLC_driver.writeList.clear();
        info.maxBlock = maxBlock;
        EXPECT_EQ(1, addOnce(0, "5", 60000));
        EXPECT_EQ(2, addOnce(5, "5", 60000));
        EXPECT_EQ(1, set(0, "5", QByteArray(60000, 1), 60000));
        EXPECT_EQ(2, set(5, "5", QByteArray(120000, 1), 60000));
    }
}

// ---------------------------------------------------------------------------------------------- counts

class Counts : public Limits
{};

TEST_F(Counts, ThatDoNotFitAnOutputGiveAnEmptyOneAndZero)
{
    const struct
    {
        int regType;
        const char *address;
        int count;
    } rows[] = {{0, "0", INT_MAX}, {1, "0", INT_MAX},     {2, "0.0", INT_MAX},       {3, "0.0", INT_MAX},
                {4, "0", INT_MAX}, {5, "0", INT_MAX},     {5, "0", INT_MAX / 2 + 1}, {6, "0", INT_MAX},
                {7, "0", INT_MAX}, {7, "0", INT_MAX - 1}, {7, "0", INT_MAX / 2 + 1}, {8, "0", INT_MAX},
                {9, "0", INT_MAX}, {5, "x", INT_MAX},     {0, "x", INT_MAX / 2 + 1}, {10, "0", INT_MAX}};
    for (const auto &row : rows) {
        SCOPED_TRACE(::testing::Message() << "type " << row.regType << ", count " << row.count);
        out = QByteArray(5, 'x');
        EXPECT_EQ(0, get(row.regType, row.address, row.count));
        EXPECT_EQ(0, out.size());
        EXPECT_TRUE(PLC_driver.cacheMutex.tryLock());
        PLC_driver.cacheMutex.unlock();
    }
}

TEST_F(Counts, OfEveryRequestAreSafeInAReadFrame)
{
    for (const int count : {0, -1, -7, -8, INT_MIN, INT_MIN + 1, INT_MAX, INT_MAX - 6, INT_MAX - 7, 65536}) {
        for (int regType = -1; regType <= 10; ++regType) {
            SCOPED_TRACE(::testing::Message() << "type " << regType << ", count " << count);
            PLC_driver.sendQueue.clear();
            RW_VAR var = Variable(regType, 16).count(count);
            ReadRegister(&var);
            ASSERT_EQ(1, PLC_driver.sendQueue.size());
            EXPECT_EQ(8, queuedFrame().size());
            Remote_ReadVar(&var);
            ASSERT_EQ(2, PLC_driver.sendQueue.size());
            EXPECT_EQ(22, queuedFrame(1).size());
        }
    }
}

TEST_F(Counts, OfEveryRequestAreSafeWhenAReplyIsStored)
{
    for (const int count :
         {0, -1, -7, -8, -9, INT_MIN, INT_MIN + 1, INT_MAX, INT_MAX - 6, INT_MAX - 7, 65536}) {
        for (const int regType : {0, 1, 4, 5}) {
            SCOPED_TRACE(::testing::Message() << "type " << regType << ", count " << count);
            PLC_driver.sendQueue.clear();
            RW_VAR var = Variable(regType, 16).count(count);
            ReadRegister(&var);
            QByteArray reply = withCrc("01 03 04 1234 5678");
            SaveToLocalDataErea(&reply);
            EXPECT_GE(48, PLC_driver.registerCache.size()) << "so many bits follow the header";
            PLC_driver.registerCache.clear();
        }
    }
}

TEST_F(Counts, OfEveryWriteAreSafe)
{
    for (const int count : {0, -1, -7, -8, INT_MIN, INT_MAX, INT_MAX - 6, 65536}) {
        for (int regType = -1; regType <= 10; ++regType) {
            if (regType == 0 && count > 65536)
                continue; // see ABillionCoilsDoNotFillTheMirror
            SCOPED_TRACE(::testing::Message() << "type " << regType << ", count " << count);
            PLC_driver.sendQueue.clear();
            RW_VAR var = Variable(regType, 16).count(count).data("01 02 03 04");
            WriteRegister(&var);
            ASSERT_FALSE(PLC_driver.sendQueue.isEmpty());
            PLC_driver.sendQueue.clear();
            Remote_WriteVar(&var);
            EXPECT_EQ(26, queuedFrame().size());
        }
    }
}

TEST_F(Counts, ABillionCoilsDoNotFillTheMirror)
{
    for (const int count : {65537, 1000000000, INT_MAX}) {
        SCOPED_TRACE(count);
        RW_VAR var = coil(0).count(count).data("FF");
        WriteDataToLocal(&var);
        EXPECT_GE(65536, PLC_driver.registerCache.size());
    }
}

TEST_F(Counts, OfCoilsGoOutModulo65536)
{
    RW_VAR var = coil(16).count(65546).data("FF 03");
    WriteAnalog(&var);
    EXPECT_EQ(withCrc("01 0F 0010 000A 02 FF03"), queuedFrame());
}

TEST_F(Counts, OfPairsAreDoubledWithoutOverflow)
{
    const struct
    {
        int count;
        const char *frame;
    } rows[] = {{INT_MAX, "01 10 0010 FFFE 04 78563412"},
                {INT_MIN, "01 10 0010 0000 04 78563412"},
                {0x40000001, "01 10 0010 0002 04 78563412"},
                {-1, "01 10 0010 FFFE 04 78563412"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.count);
        PLC_driver.sendQueue.clear();
        RW_VAR var = holdingPair(16).count(row.count).data("12 34 56 78");
        WriteAnalog(&var);
        EXPECT_EQ(withCrc(row.frame), queuedFrame());
    }
}

TEST_F(Counts, AreConvertedWithoutOverflow)
{
    for (int regType = 0; regType < 10; ++regType) {
        for (const int count : {INT_MAX, INT_MAX - 1, INT_MAX - 15, INT_MIN, INT_MIN + 1}) {
            for (const int address : {0, 15, INT_MAX, INT_MIN, -1}) {
                RW_VAR var = Variable(regType, address).count(count);
                EXPECT_EQ(0, updateRwVar(&var));
            }
        }
    }
}

// ------------------------------------------------------------------------------------------- addresses

class Addresses : public Limits
{};

TEST_F(Addresses, NearTheTopAreReadWithoutOverflow)
{
    storeRegisterLocked(makeCacheKey(1, 5, INT_MAX), 0x3412);
    storeRegisterLocked(makeCacheKey(1, 5, INT_MIN), 0x7856); // the number behind the largest
    EXPECT_EQ(1, get(5, "2147483647", 3));
    EXPECT_EQ(hex("12 34 56 78 00 00"), out);
    EXPECT_EQ(1, get(7, "2147483647", 4));
    EXPECT_EQ(8, out.size());
    EXPECT_EQ(hex("12 34"), out.mid(2, 2));
    EXPECT_EQ(1, get(0, "2147483647", 3));
    EXPECT_EQ(3, out.size());
    EXPECT_EQ(1, get(3, "134217727.15", 3));
    EXPECT_EQ(3, out.size());
}

TEST_F(Addresses, NearTheTopAreWrittenWithoutOverflow)
{
    for (const int writeMode : {0, 2}) {
        info.writeMode = writeMode;
        info.maxBlock = 2;
        for (const int regType : {0, 5, 7, 8, 9}) {
            SCOPED_TRACE(::testing::Message() << "type " << regType << ", writeMode " << writeMode);
            set(regType, "2147483646", QByteArray(100, 1), 50);
        }
        set(3, "134217727.14", QByteArray(5, 1), 5);
    }
    EXPECT_EQ(INT_MAX - 1, PLC_driver.writeList.at(0).address);
}

TEST_F(Addresses, NearTheTopAreQueuedForOneShotReadsWithoutOverflow)
{
    info.maxBlock = 2;
    RW_VAR var = Variable(5, 0).text("2147483646").count(5);
    EXPECT_EQ(3, AddListOnceReadVar(&var, 0));
    EXPECT_EQ((Places{"2147483646 x 2", "-2147483648 x 2", "-2147483646 x 1"}),
              places(PLC_driver.onceReadList));
    EXPECT_EQ(INT_MIN + 3, var.address);
}

TEST_F(Addresses, BelowZeroAndNearTheTopAreStoredFromReplies)
{
    for (const int address : {-1, -2, INT_MIN, INT_MAX, INT_MAX - 1}) {
        for (const int regType : {0, 5}) {
            SCOPED_TRACE(::testing::Message() << "type " << regType << ", address " << address);
            PLC_driver.sendQueue.clear();
            PLC_driver.registerCache.clear();
            RW_VAR var = Variable(regType, address).count(2);
            ReadRegister(&var);
            QByteArray reply = regType == 0 ? withCrc("01 01 01 03") : withCrc("01 03 04 1234 5678");
            SaveToLocalDataErea(&reply);
            EXPECT_EQ(2, PLC_driver.registerCache.size());
        }
    }
}

TEST_F(Addresses, BelowZeroOfABitInARegisterAreWrittenSafely)
{
    for (const quint32 options : {0u, kOptionBitFromMirror}) {
        setOptions(options);
        for (const int address : {-1, -15, -16, -17, INT_MIN, INT_MAX}) {
            SCOPED_TRACE(address);
            PLC_driver.sendQueue.clear();
            PLC_driver.writeList.clear();
            PLC_driver.writeBurst = 0;
            addWrite(holdingBit(address).data("01"));
            ASSERT_NE(nullptr, next());
            if (options == 0) {
                EXPECT_EQ(kResultDone, complete(QByteArray(withCrc("01 03 02 0000"))));
            }
            EXPECT_EQ(8, queuedFrame().size());
        }
    }
}

TEST_F(Addresses, AndCountsAtTheirLimitsRunThroughAWholeCycle)
{
    for (const int linkMode : {0, 1}) {
        info.linkMode = linkMode;
        info.retryLimit = 0;
        for (int regType = -1; regType <= 10; ++regType) {
            for (const int address : {INT_MIN, -1, INT_MAX}) {
                for (const int count : {INT_MIN, -1, 0, 65536}) {
                    addRead(Variable(regType, address).count(count));
                    addWrite(Variable(regType, address).count(count).data("01"));
                    addOnceRead(Variable(regType, address).count(count));
                }
            }
        }
        for (int i = 0; i < 1000; ++i) {
            if (!next())
                break;
            receive(withCrc("01 03 04 1234 5678"));
            silence();
        }
    }
    SUCCEED() << "no access outside memory, no overflow";
}

// ------------------------------------------------------------------------------------ running out of memory

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

/// Ends the process with 0 when a read of a gigabyte is refused in a process that has none.
void readAGigabyteWithoutMemory()
{
    const rlimit limit = {512u << 20, 512u << 20};
    if (setrlimit(RLIMIT_AS, &limit) != 0)
        std::exit(2);
    QByteArray out;
    const int result = GetRegisterData(QString(), 0, QString::fromLatin1("0"), 1, &out, 1000000000);
    const bool refused = result == 0 && PLC_driver.cacheMutex.tryLock();
    std::exit(refused ? 0 : 1);
}

TEST_F(Limits, OfMemoryRefuseTheCallAndReleaseTheMutex)
{
    EXPECT_EXIT(readAGigabyteWithoutMemory(), ::testing::ExitedWithCode(0), "");
}

#endif

} // namespace

} // namespace plc::test
