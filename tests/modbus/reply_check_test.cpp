#include "modbus/reply_check.h"

#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstring>
#include <future>
#include <utility>
#include <vector>

#include "core/result_codes.h"
#include "modbus/exchanges.h"

namespace plc::test {
namespace {

/// What a line brings that is no reply to a request of @p exchange.
std::vector<QByteArray> noises(const Exchange &exchange)
{
    const QByteArray reply = hex(exchange.reply);
    const QByteArray start = reply.left(2);
    QByteArray foreign = reply.left(reply.size() - 2);
    foreign.data()[0] = '\x12';
    foreign = withCrc(toHex(foreign).c_str());
    QByteArray exception = start;
    exception.data()[1] = static_cast<char>(exception.at(1) | 0x80);
    exception = withCrc(toHex(exception.append('\x02')).c_str());
    return {
        hex("00 FF"),
        hex("00"),
        QByteArray(300, '\xFF'),
        start.left(1),                  // the station alone
        start,                          // station and function, then a new beginning
        QByteArray(start).append('\0'), // the beginning of an empty reply
        QByteArray(start).append('\xFA'),
        bitFlipped(reply, 8 * 3),     // the reply itself, damaged
        reply.left(reply.size() - 1), // the reply itself, one byte lost
        crcSwapped(reply),
        foreign,
        exception,
    };
}

class ReplyCheck : public SetUpDriver
{
protected:
    /// check_data on @p bytes; what it left is in #buffer.
    int check(const QByteArray &bytes)
    {
        buffer = bytes;
        return check_data(&buffer);
    }

    void expectAccepted(const QByteArray &frame, const QByteArray &received)
    {
        EXPECT_EQ(1, check(received)) << toHex(received);
        EXPECT_EQ(frame, buffer) << "in " << toHex(received);
    }

    void expectNotYet(const QByteArray &received)
    {
        EXPECT_EQ(0, check(received)) << toHex(received);
        EXPECT_EQ(received, buffer) << "a buffer without a reply must stay as it is";
    }
};

// The table of frames, looked for in all that a line can bring.

class ReplyCheckOf : public ReplyCheck, public ::testing::WithParamInterface<Exchange>
{
protected:
    ReplyCheckOf() : reply(hex(GetParam().reply)) { expectReplyTo(GetParam()); }

    const QByteArray reply;
};

TEST_P(ReplyCheckOf, FindsItWhole)
{
    expectAccepted(reply, reply);
}

TEST_P(ReplyCheckOf, WaitsForItByteByByte)
{
    for (int size = 0; size < reply.size(); ++size)
        expectNotYet(reply.left(size));
    expectAccepted(reply, reply);
}

TEST_P(ReplyCheckOf, FindsItAfterNoise)
{
    for (const QByteArray &noise : noises(GetParam()))
        expectAccepted(reply, noise + reply);
}

TEST_P(ReplyCheckOf, WaitsForItByteByByteAfterNoise)
{
    for (const QByteArray &noise : noises(GetParam())) {
        for (int size = 0; size < reply.size(); ++size)
            expectNotYet(noise + reply.left(size));
        expectAccepted(reply, noise + reply);
    }
}

TEST_P(ReplyCheckOf, FindsItBeforeNoise)
{
    for (const QByteArray &noise : noises(GetParam()))
        expectAccepted(reply, reply + noise);
}

TEST_P(ReplyCheckOf, FindsItBetweenNoises)
{
    for (const QByteArray &before : noises(GetParam())) {
        for (const QByteArray &after : noises(GetParam()))
            expectAccepted(reply, before + reply + after);
    }
}

TEST_P(ReplyCheckOf, KeepsOneOfTwo)
{
    expectAccepted(reply, reply + reply);
    expectAccepted(reply, reply + hex("00 FF") + reply);
}

TEST_P(ReplyCheckOf, PassesOverADamagedOneToTheNext)
{
    for (int bit = 0; bit < reply.size() * 8; ++bit)
        expectAccepted(reply, bitFlipped(reply, bit) + reply);
}

TEST_P(ReplyCheckOf, IsNotFoundWhenAnyBitIsWrong)
{
    for (int bit = 0; bit < reply.size() * 8; ++bit)
        expectNotYet(bitFlipped(reply, bit));
}

TEST_P(ReplyCheckOf, IsNotFoundWhenItsBeginningIsCut)
{
    for (int lost = 1; lost <= reply.size(); ++lost)
        expectNotYet(reply.mid(lost));
}

TEST_P(ReplyCheckOf, IsNotFoundWhenAnyOneByteIsLost)
{
    // With more bytes behind it, the damaged copy has the length of a whole frame again.
    for (int lost = 0; lost < reply.size(); ++lost) {
        const QByteArray damaged = reply.left(lost) + reply.mid(lost + 1);
        expectNotYet(damaged);
        expectNotYet(damaged + hex("00 FF"));
    }
}

TEST_P(ReplyCheckOf, IsNotFoundWithTheCrcInTheOtherOrder)
{
    expectNotYet(crcSwapped(reply));
}

TEST_P(ReplyCheckOf, IsFoundWithTheCrcHighByteFirstOnOptionBit8)
{
    setOptions(kOptionSwapReplyCrc);
    expectAccepted(crcSwapped(reply), crcSwapped(reply));
}

TEST_P(ReplyCheckOf, IsNotFoundWithTheCrcLowByteFirstOnOptionBit8)
{
    setOptions(kOptionSwapReplyCrc);
    expectNotYet(reply);
}

TEST_P(ReplyCheckOf, DoesNotHeedTheCrcOrderOfRequests)
{
    setOptions(kOptionSwapRequestCrc);
    expectAccepted(reply, reply);
    expectNotYet(crcSwapped(reply));
}

TEST_P(ReplyCheckOf, DoesNotHeedOptionsThatWereNotHandedOver)
{
    info.options = kOptionSwapReplyCrc;
    expectAccepted(reply, reply);
}

TEST_P(ReplyCheckOf, IsNotFoundInAnExceptionReply)
{
    for (int code = 1; code <= 11; ++code) {
        QByteArray exception = reply.left(2);
        exception.data()[1] = static_cast<char>(exception.at(1) | 0x80);
        exception.append(static_cast<char>(code));
        expectNotYet(withCrc(toHex(exception).c_str()));
    }
}

TEST_P(ReplyCheckOf, IsNotFoundInTheReplyOfAnotherStation)
{
    for (const char *station : {"00", "10", "12", "91"}) {
        const QByteArray foreign = hex(station) + reply.mid(1, reply.size() - 3);
        expectNotYet(withCrc(toHex(foreign).c_str()));
    }
}

TEST_P(ReplyCheckOf, IsNotFoundInTheReplyToAnotherFunction)
{
    for (const Exchange &other : allExchanges()) {
        if (other.function() != GetParam().function())
            expectNotYet(hex(other.reply));
    }
}

TEST_P(ReplyCheckOf, IsFoundAmongTheRepliesToAllOtherFunctions)
{
    QByteArray before;
    for (const Exchange &other : allExchanges()) {
        if (other.function() != GetParam().function())
            before += hex(other.reply);
    }
    expectAccepted(reply, before + reply + before);
}

INSTANTIATE_TEST_SUITE_P(Each, ReplyCheckOf, ::testing::ValuesIn(allExchanges()), exchangeName);

// Single claims.

TEST_F(ReplyCheck, CutsTheNoiseBeforeTheReply)
{
    expectReplyTo("01 03 0000 0001 840A", holding(0));
    expectAccepted(hex("01 03 02 002A 399B"), hex("00 FF 01 03 02 002A 399B"));
}

TEST_F(ReplyCheck, KeepsTheFirstOfTwoDifferentReplies)
{
    expectReplyTo("01 03 0000 0001 840A", holding(0));
    expectAccepted(hex("01 03 02 002A 399B"), hex("01 03 02 002A 399B") + hex("01 03 02 0001 7984"));
    expectAccepted(hex("01 03 02 0001 7984"), hex("01 03 02 0001 7984") + hex("01 03 02 002A 399B"));
}

TEST_F(ReplyCheck, KeepsTheFirstGoodReplyBehindABadOne)
{
    expectReplyTo("01 03 0000 0001 840A", holding(0));
    expectAccepted(hex("01 03 02 0001 7984"), hex("01 03 02 002A 399C") + hex("01 03 02 0001 7984"));
}

TEST_F(ReplyCheck, WaitsForTheDataThatTheByteCountPromises)
{
    expectReplyTo("01 03 0000 0002 C40B", holding(0).count(2));
    const QByteArray whole = withCrc("01 03 04 1234 5678");
    expectNotYet(whole.left(5));
    expectNotYet(whole.left(7));
    expectAccepted(whole, whole);
}

TEST_F(ReplyCheck, IsNotFoundInAnExceptionReplyToFunction3)
{
    expectReplyTo("11 03 0064 0002 8744", holding(100).station(0x11).count(2), 3, 4);
    expectNotYet(hex("11 83 02 C134"));
}

TEST_F(ReplyCheck, TakesTheLengthFromTheReplyNotFromTheRequest)
{
    expectReplyTo("11 03 0064 0002 8744", holding(100).station(0x11).count(2), 3, 4);
    expectAccepted(hex("11 03 02 1234 74F0"), hex("11 03 02 1234 74F0"));
    expectAccepted(withCrc("11 03 06 1234 5678 9ABC"), withCrc("11 03 06 1234 5678 9ABC"));
}

TEST_F(ReplyCheck, FindsFiveBytesOnlyAsAReplyWithoutData)
{
    for (int function = 1; function <= 4; ++function) {
        SCOPED_TRACE(function);
        PLC_driver.sendQueue.clear();
        RW_VAR var = holding(0).station(0x11);
        Protocol &head = expectReplyTo("11 03 0000 0000 475A", var);
        head.frame.data()[1] = static_cast<char>(function);
        QByteArray empty = head.frame.left(2).append('\0');
        empty = withCrc(toHex(empty).c_str());
        expectAccepted(empty, empty);
        expectAccepted(empty, hex("00 FF 11") + empty);
        expectAccepted(empty, hex("00 FF 11") + empty + hex("00"));
    }
    PLC_driver.sendQueue.clear();
    expectReplyTo("11 03 0000 0000 475A", holding(0).station(0x11));
    expectAccepted(hex("11 03 00 2135"), hex("11 03 00 2135"));
}

TEST_F(ReplyCheck, NeverFindsAnythingInFourBytesOrFewer)
{
    for (const Exchange &exchange : allExchanges()) {
        PLC_driver.sendQueue.clear();
        expectReplyTo(exchange);
        for (int size = 0; size <= 4; ++size)
            expectNotYet(hex(exchange.reply).left(size));
    }
}

TEST_F(ReplyCheck, ReadsNothingBehindTheBytesReceived)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void *const memory = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, memory);
    char *const end = static_cast<char *>(memory) + page;
    // A byte read from here on ends the program.
    ASSERT_EQ(0, mprotect(end, page, PROT_NONE));
    for (const Exchange &exchange : allExchanges()) {
        PLC_driver.sendQueue.clear();
        expectReplyTo(exchange);
        const QByteArray reply = hex(exchange.reply);
        for (int size = 0; size < reply.size(); ++size) {
            char *const start = end - size;
            std::memcpy(start, reply.constData(), static_cast<std::size_t>(size));
            QByteArray received = QByteArray::fromRawData(start, size);
            EXPECT_EQ(0, check_data(&received)) << toHex(received);
        }
    }
    munmap(memory, 2 * page);
}

TEST_F(ReplyCheck, CountsTheDataAsAnUnsignedByte)
{
    expectReplyTo("01 03 0000 0064 4421", holding(0).count(100));
    for (int byteCount : {126, 127, 128, 200, 250, 254, 255}) {
        SCOPED_TRACE(byteCount);
        QByteArray reply = hex("01 03");
        reply.append(static_cast<char>(byteCount)).append(QByteArray(byteCount, '\x5A'));
        reply = withCrc(toHex(reply).c_str());
        ASSERT_EQ(byteCount + 5, reply.size());
        expectAccepted(reply, reply);
        expectNotYet(reply.left(reply.size() - 1));
    }
}

TEST_F(ReplyCheck, ComparesStationsAbove127)
{
    expectReplyTo("F7 03 0000 0001 909C", holding(0).station(247));
    const QByteArray reply = withCrc("F7 03 02 002A");
    expectAccepted(reply, reply);
    expectAccepted(reply, hex("F7 F7") + reply);
}

TEST_F(ReplyCheck, GivesAWriteEchoEightBytesWhateverItsThirdByteIs)
{
    for (const char *request : {"11 06 0064 1234", "11 06 0364 1234", "11 06 FF64 1234", "11 05 0213 FF00"}) {
        PLC_driver.sendQueue.clear();
        expectReplyTo(request, holding(100).station(0x11).data("3412"));
        expectAccepted(withCrc(request), withCrc(request));
        expectAccepted(withCrc(request), withCrc(request) + hex("00 FF"));
    }
}

TEST_F(ReplyCheck, TakesAnEchoWithAnotherAddressAndValue)
{
    expectReplyTo("11 06 0064 1234 C7F2", holding(100).station(0x11).data("3412"));
    const QByteArray other = withCrc("11 06 0065 4321");
    expectAccepted(other, other);
}

TEST_F(ReplyCheck, NeverFindsTheReplyToAFunctionThatIsNotBuilt)
{
    const int functions[] = {0,  7,  8,  9,  10,  11,  12,  13,  14,  17, 18,
                             20, 22, 23, 43, 100, 127, 128, 131, 144, 255};
    for (int function : functions) {
        SCOPED_TRACE(function);
        PLC_driver.sendQueue.clear();
        Protocol &head = expectReplyTo("11 03 0064 0002 8744", holding(100).station(0x11));
        head.frame.data()[1] = static_cast<char>(function);
        for (const char *tail : {"02 1234", "0064 1234", "02", "00"}) {
            QByteArray reply = head.frame.left(2) + hex(tail);
            expectNotYet(withCrc(toHex(reply).c_str()));
        }
    }
}

TEST_F(ReplyCheck, ComparesWithTheFrameThatWentOutNotWithTheVariable)
{
    overrideStation(0x0107);
    RW_VAR var = holding(0).station(1);
    addRead(var);
    ASSERT_NE(nullptr, next());
    expectAccepted(hex("07 03 02 002A B19B"), hex("07 03 02 002A B19B"));
    expectNotYet(hex("01 03 02 002A 399B"));
}

TEST_F(ReplyCheck, LooksOnlyAtTheHead)
{
    expectReplyTo("11 03 0064 0002 8744", holding(100).station(0x11).count(2), 3, 4);
    expectReplyTo("01 03 0000 0001 840A", holding(0), 3, 2);
    expectNotYet(hex("01 03 02 002A 399B"));
}

TEST_F(ReplyCheck, TakesTheOuterOfTwoFramesThatContainOneAnother)
{
    expectReplyTo("01 03 0000 0004 4409", holding(0).count(4), 3, 8);
    const QByteArray inner = hex("01 03 02 002A 399B");
    const QByteArray outer = withCrc(("01 03 08 " + toHex(inner) + " 00").c_str());
    expectAccepted(outer, outer);
    QByteArray broken = outer;
    broken.data()[broken.size() - 1] = static_cast<char>(~broken.at(broken.size() - 1));
    expectAccepted(inner, broken);
}

TEST_F(ReplyCheck, TakesAnEchoedReadRequestThatLooksLikeAReply)
{
    // Address 0x0300: its third byte reads as three data bytes, and eight bytes with a good CRC follow from
    // it.
    expectReplyTo("01 03 0300 0001 844E", holding(0x300));
    expectAccepted(hex("01 03 0300 0001 844E"), hex("01 03 0300 0001 844E"));
}

TEST_F(ReplyCheck, LeavesThoseWhoShareTheBytesAlone)
{
    expectReplyTo("01 03 0000 0001 840A", holding(0));
    const QByteArray shared = hex("00 FF 01 03 02 002A 399B");
    expectAccepted(hex("01 03 02 002A 399B"), shared);
    EXPECT_EQ(hex("00 FF 01 03 02 002A 399B"), shared);
}

TEST_F(ReplyCheck, ChangesNoCounterAndNoTransaction)
{
    Protocol &head = expectReplyTo("01 03 0000 0001 840A", holding(0), 3, 2);
    info.retryCount = 1;
    check(hex("01 03 02 002A 399B"));
    check(hex("01 03 02 002A 399C"));
    EXPECT_EQ(1, info.retryCount);
    EXPECT_EQ(-1, head.replyLen);
    EXPECT_EQ(1, PLC_driver.sendQueue.size());
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

// ---- the read half of a bit write ----

/// The driver's own read of the register whose bit is to be written.
class ReadHalfCheck : public SetUpDriver
{
protected:
    ReadHalfCheck()
    {
        addWrite(holdingBit(35).ids(21, 22).data("01"));
        const Protocol *read = next();
        EXPECT_EQ(hex("01 03 0002 0001 25CA"), read ? read->frame : QByteArray());
    }

    int check(const QByteArray &bytes)
    {
        buffer = bytes;
        return check_data(&buffer);
    }
};

TEST_F(ReadHalfCheck, PassesOverRepliesThatLackTheRegister)
{
    EXPECT_EQ(0, check(withCrc("01 03 00")));
    EXPECT_EQ(0, check(withCrc("01 03 01 AB")));
    EXPECT_EQ(withCrc("01 03 01 AB"), buffer) << "the buffer stays as it was";
}

TEST_F(ReadHalfCheck, FindsTheWholeRegister)
{
    EXPECT_EQ(1, check(hex("01 03 02 0001 7984")));
    EXPECT_EQ(hex("01 03 02 0001 7984"), buffer);
}

TEST_F(ReadHalfCheck, FindsTheWholeRegisterBehindARegisterCutShort)
{
    EXPECT_EQ(1, check(withCrc("01 03 01 AB") + withCrc("01 03 00") + hex("01 03 02 0001 7984")));
    EXPECT_EQ(hex("01 03 02 0001 7984"), buffer);
}

TEST_F(ReadHalfCheck, TakesMoreThanTheRegister)
{
    EXPECT_EQ(1, check(withCrc("01 03 03 0001 AB")));
}

TEST_F(ReadHalfCheck, AppliesToNoOtherRead)
{
    RW_VAR &head = PLC_driver.sendQueue.first().var;
    const RW_VAR readHalf = head;
    head.relayArg1 = 0;
    EXPECT_EQ(1, check(withCrc("01 03 01 AB"))) << "an ordinary read";
    head = readHalf;
    head.count = 2;
    EXPECT_EQ(1, check(withCrc("01 03 01 AB"))) << "of two registers";
    head = readHalf;
    head.regType = 4;
    EXPECT_EQ(1, check(withCrc("01 03 01 AB"))) << "of another area";
    head = readHalf;
    EXPECT_EQ(0, check(withCrc("01 03 01 AB")));
}

TEST_F(ReplyCheck, FindsNothingInANullBuffer)
{
    expectReplyTo("01 03 0000 0001 840A", holding(0));
    EXPECT_EQ(0, check_data(nullptr));
}

TEST_F(ReplyCheck, FindsNothingWhenNothingWasAskedFor)
{
    EXPECT_EQ(0, check(hex("01 03 02 1234 B533")));
    EXPECT_EQ(hex("01 03 02 1234 B533"), buffer);
}

TEST_F(ReplyCheck, FindsNothingForARequestThatHasNoFunction)
{
    const QByteArray reply = hex("01 03 02 1234 B533");
    for (const char *frame : {"", "01"}) {
        SCOPED_TRACE(frame);
        PLC_driver.sendQueue.clear();
        expectReplyTo(frame, holding(0), 3, 2);
        EXPECT_EQ(0, check(reply));
    }
    PLC_driver.sendQueue.clear();
    expectReplyTo("01 03", holding(0), 3, 2);
    EXPECT_EQ(1, check(reply));
}

TEST_F(ReplyCheck, TakesNoLock)
{
    expectReplyTo("01 03 0000 0001 840A", holding(0));
    QMutexLocker lists(&PLC_driver.listMutex);
    QMutexLocker cache(&PLC_driver.cacheMutex);
    expectAccepted(hex("01 03 02 002A 399B"), hex("00 01 03 02 002A 399B"));
}

// Station and CRC against the variable.

class GetDataCheck : public SetUpDriver
{
protected:
    int judge(const QByteArray &bytes, int unused = 0)
    {
        QByteArray reply = bytes;
        return CheckGetData(&reply, unused);
    }
};

class GetDataCheckOf : public GetDataCheck, public ::testing::WithParamInterface<Exchange>
{
protected:
    GetDataCheckOf() : reply(hex(GetParam().reply))
    {
        expectReplyTo(GetParam());
        accepted = GetParam().isRead() ? 1 : 2;
    }

    const QByteArray reply;
    int accepted;
};

TEST_P(GetDataCheckOf, TellsReadsToStoreFromWritesNotToStore)
{
    EXPECT_EQ(accepted, judge(reply));
}

TEST_P(GetDataCheckOf, RejectsEveryWrongBit)
{
    for (int bit = 0; bit < reply.size() * 8; ++bit)
        EXPECT_EQ(0, judge(bitFlipped(reply, bit))) << toHex(bitFlipped(reply, bit));
}

TEST_P(GetDataCheckOf, RejectsTheCrcInTheOtherOrder)
{
    EXPECT_EQ(0, judge(crcSwapped(reply)));
}

TEST_P(GetDataCheckOf, ExpectsTheCrcHighByteFirstOnOptionBit8)
{
    setOptions(kOptionSwapReplyCrc);
    EXPECT_EQ(accepted, judge(crcSwapped(reply)));
    EXPECT_EQ(0, judge(reply));
}

TEST_P(GetDataCheckOf, DoesNotHeedTheCrcOrderOfRequests)
{
    setOptions(kOptionSwapRequestCrc);
    EXPECT_EQ(accepted, judge(reply));
}

TEST_P(GetDataCheckOf, RejectsNoiseBeforeAndBehind)
{
    EXPECT_EQ(0, judge(hex("00") + reply));
    EXPECT_EQ(0, judge(hex("11") + reply));
    EXPECT_EQ(0, judge(reply + hex("FF")));
    EXPECT_EQ(0, judge(reply + reply.left(3)));
}

TEST_P(GetDataCheckOf, RejectsEveryCutReply)
{
    for (int size = 0; size < reply.size(); ++size)
        EXPECT_EQ(0, judge(reply.left(size))) << size;
}

INSTANTIATE_TEST_SUITE_P(Each, GetDataCheckOf, ::testing::ValuesIn(allExchanges()), exchangeName);

TEST_F(GetDataCheck, RejectsFiveBytesWithAGoodCrc)
{
    expectReplyTo("11 03 0064 0000 0685", holding(100).station(0x11));
    EXPECT_EQ(0, judge(hex("11 03 00 2135")));
}

TEST_F(GetDataCheck, AcceptsSixBytesWithAGoodCrc)
{
    expectReplyTo("11 03 0064 0001 C745", holding(100).station(0x11));
    EXPECT_EQ(1, judge(hex("11 03 01 12 7485")));
}

TEST_F(GetDataCheck, LooksNeitherAtFunctionNorAtByteCount)
{
    expectReplyTo("11 03 0064 0001 C745", holding(100).station(0x11));
    EXPECT_EQ(1, judge(withCrc("11 83 02 00")));
    EXPECT_EQ(1, judge(withCrc("11 06 0064 1234")));
    EXPECT_EQ(1, judge(withCrc("11 03 FF 12")));
}

TEST_F(GetDataCheck, DoesNotUseItsNumber)
{
    expectReplyTo("11 03 0064 0002 8744", holding(100).station(0x11));
    for (int unused : {0, 1, 8, -1, INT_MAX, INT_MIN})
        EXPECT_EQ(1, judge(hex("11 03 04 1234 ABCD 11E1"), unused)) << unused;
}

TEST_F(GetDataCheck, AcceptsABroadcastWithoutLookingAtTheReply)
{
    for (int direction : {0, 1}) {
        PLC_driver.sendQueue.clear();
        expectReplyTo("00 06 0064 0001 0804", holding(100).station(0).direction(direction));
        EXPECT_EQ(2, judge(QByteArray()));
        EXPECT_EQ(2, judge(hex("01 02 03")));
        EXPECT_EQ(2, judge(hex("11 03 04 1234 ABCD 11E2")));
    }
}

TEST_F(GetDataCheck, TakesStation256ForABroadcast)
{
    expectReplyTo("00 06 0064 0001 0804", holding(100).station(256).direction(0));
    EXPECT_EQ(2, judge(QByteArray()));
}

TEST_F(GetDataCheck, ComparesTheLowByteOfTheVariablesStation)
{
    expectReplyTo("11 03 0064 0002 8744", holding(100).station(0x111));
    EXPECT_EQ(1, judge(hex("11 03 04 1234 ABCD 11E1")));
    PLC_driver.sendQueue.clear();
    expectReplyTo("F7 03 0064 0001 D143", holding(100).station(247));
    EXPECT_EQ(1, judge(withCrc("F7 03 02 1234")));
    PLC_driver.sendQueue.clear();
    expectReplyTo("FF 03 0064 0001 D00B", holding(100).station(-1));
    EXPECT_EQ(1, judge(withCrc("FF 03 02 1234")));
}

TEST_F(GetDataCheck, ComparesWithTheVariableNotWithTheFrameThatWentOut)
{
    expectReplyTo("07 03 0000 0001 846C", holding(0).station(1));
    EXPECT_EQ(0, judge(hex("07 03 02 002A B19B")));
    EXPECT_EQ(1, judge(hex("01 03 02 002A 399B")));
}

TEST_F(GetDataCheck, AcceptsWithoutStoringForAnyDirectionButZero)
{
    for (int direction : {1, 2, -1, INT_MIN}) {
        SCOPED_TRACE(direction);
        PLC_driver.sendQueue.clear();
        expectReplyTo("11 03 0064 0002 8744", holding(100).station(0x11).direction(direction));
        EXPECT_EQ(2, judge(hex("11 03 04 1234 ABCD 11E1")));
    }
}

TEST_F(GetDataCheck, LeavesTheReplyAlone)
{
    expectReplyTo("11 03 0064 0002 8744", holding(100).station(0x11));
    QByteArray reply = hex("11 03 04 1234 ABCD 11E1");
    const QByteArray shared = reply;
    CheckGetData(&reply, 0);
    EXPECT_EQ(hex("11 03 04 1234 ABCD 11E1"), reply);
    EXPECT_EQ(hex("11 03 04 1234 ABCD 11E1"), shared);
}

TEST_F(GetDataCheck, RejectsWhatNobodyAskedFor)
{
    PLC_driver.sendQueue.clear();
    QByteArray reply = hex("01 03 02 1234 B533");
    EXPECT_EQ(kReject, CheckGetData(&reply, reply.size()));
}

TEST_F(GetDataCheck, TakesANullReplyForAnEmptyOne)
{
    expectReplyTo("11 03 0064 0002 8744", holding(100).station(0x11));
    EXPECT_EQ(0, CheckGetData(nullptr, 0));
    PLC_driver.sendQueue.clear();
    expectReplyTo("00 06 0064 0001 0804", holding(100).station(0).direction(1));
    EXPECT_EQ(2, CheckGetData(nullptr, 0));
}

// The outcome of a local reply.

class LocalReply : public SetUpDriver
{
protected:
    const QByteArray good = hex("11 03 04 1234 ABCD 11E1");

    void expectRead(int replyLen, int hostId = 0)
    {
        expectReplyTo("11 03 0064 0002 8744", holding(100).station(0x11).count(2).ids(hostId, 0), 3, 4,
                      replyLen);
    }

    int judge(const QByteArray &bytes, int length)
    {
        QByteArray reply = bytes;
        return DealDataOfLocalArea(&reply, length);
    }

    bool stored() const { return !PLC_driver.registerCache.isEmpty(); }
};

TEST_F(LocalReply, IsStoredWhenItsLengthIsTheRecordedOne)
{
    expectRead(9);
    EXPECT_EQ(1, judge(good, 9));
    EXPECT_EQ(hex("3412"), mirrored(0x11, 5, 100));
    EXPECT_EQ(hex("CDAB"), mirrored(0x11, 5, 101));
}

TEST_F(LocalReply, IsStoredWhenNoLengthIsRecordedYet)
{
    for (int length : {9, 1, 200, -7}) {
        SCOPED_TRACE(length);
        renewDriver();
        SetComInfo(&info);
        expectRead(-1);
        EXPECT_EQ(1, judge(good, length));
        EXPECT_TRUE(stored());
    }
}

TEST_F(LocalReply, IsBadWhenStationOrCrcAreWrong)
{
    expectRead(9);
    EXPECT_EQ(11, judge(hex("12 03 04 1234 ABCD 11E1"), 9));
    EXPECT_EQ(11, judge(withCrc("12 03 04 1234 ABCD"), 9));
    EXPECT_EQ(11, judge(hex("11 03 04 1234 ABCD E111"), 9));
    EXPECT_FALSE(stored());
}

TEST_F(LocalReply, IsMissingWhenTheLengthIsZeroThoughOneIsDue)
{
    for (int replyLen : {-1, 9, 1, -2}) {
        SCOPED_TRACE(replyLen);
        PLC_driver.sendQueue.clear();
        expectRead(replyLen);
        EXPECT_EQ(41, judge(QByteArray(), 0));
    }
}

TEST_F(LocalReply, IsMissingWhenTheLengthIsZeroEvenIfTheBytesAreThere)
{
    expectRead(9);
    EXPECT_EQ(41, judge(good, 0));
    EXPECT_FALSE(stored());
}

TEST_F(LocalReply, IsDoneWhenNoneIsDueAndNoneCame)
{
    expectRead(0);
    EXPECT_EQ(1, judge(QByteArray(), 0));
}

TEST_F(LocalReply, IsDoneUnseenWhenNoneIsDueButOneCame)
{
    expectRead(0);
    EXPECT_EQ(1, judge(good, 9));
    EXPECT_EQ(1, judge(hex("FF"), 1));
    EXPECT_EQ(1, judge(hex("FF"), -1));
    EXPECT_FALSE(stored());
}

TEST_F(LocalReply, HasTheWrongLengthWhenItDiffersFromTheRecordedOne)
{
    for (int length : {8, 10, -1, -9, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(length);
        PLC_driver.sendQueue.clear();
        expectRead(9);
        EXPECT_EQ(71, judge(good, length));
    }
    EXPECT_FALSE(stored());
}

TEST_F(LocalReply, HasTheWrongLengthWhenTheRecordedOneIsNegativeButNotMinusOne)
{
    expectRead(-2);
    EXPECT_EQ(71, judge(good, 9));
    EXPECT_EQ(1, judge(good, -2));
}

TEST_F(LocalReply, IsMeasuredByTheNumberGivenNotByItsBytes)
{
    expectRead(77);
    EXPECT_EQ(1, judge(good, 77));
    EXPECT_TRUE(stored());
    EXPECT_EQ(71, judge(good, 9));
}

TEST_F(LocalReply, ShiftsItsErrorsByTheHostId)
{
    expectRead(9, 4);
    EXPECT_EQ(15, judge(hex("00"), 9));
    EXPECT_EQ(45, judge(QByteArray(), 0));
    EXPECT_EQ(75, judge(good, 8));
    EXPECT_EQ(1, judge(good, 9));
}

TEST_F(LocalReply, OfAWriteIsDoneWithoutStoring)
{
    expectReplyTo("11 06 0064 1234 C7F2", holding(100).station(0x11).data("3412"), 0, 0, 8);
    EXPECT_EQ(1, judge(hex("11 06 0064 1234 C7F2"), 8));
    EXPECT_FALSE(stored());
}

TEST_F(LocalReply, OfABroadcastIsDoneWithoutStoringWhateverCame)
{
    expectReplyTo("00 03 0064 0002 8405", holding(100).station(0).count(2), 3, 4, -1);
    EXPECT_EQ(1, judge(hex("55"), 1));
    EXPECT_EQ(1, judge(good, 9));
    EXPECT_FALSE(stored());
}

TEST_F(LocalReply, CountsNothingAndRemovesNothing)
{
    expectRead(9);
    info.retryCount = 1;
    judge(good, 9);
    judge(good, 8);
    judge(hex("00"), 9);
    EXPECT_EQ(1, info.retryCount);
    EXPECT_EQ(0, info.stepDone);
    EXPECT_EQ(1, PLC_driver.sendQueue.size());
    EXPECT_EQ(9, PLC_driver.sendQueue.first().replyLen);
    EXPECT_TRUE(outcomes.empty());
}

TEST_F(LocalReply, ThatNobodyAskedForIsAMissingOne)
{
    PLC_driver.sendQueue.clear();
    QByteArray reply = hex("01 03 02 1234 B533");
    EXPECT_EQ(41, DealDataOfLocalArea(&reply, reply.size()));
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(LocalReply, TakesANullReplyForAnEmptyOne)
{
    expectRead(-1);
    EXPECT_EQ(11, DealDataOfLocalArea(nullptr, 9));
    EXPECT_EQ(41, DealDataOfLocalArea(nullptr, 0));
}

TEST_F(LocalReply, LeavesTheBytesAlone)
{
    expectRead(9);
    QByteArray reply = good;
    const QByteArray shared = reply;
    DealDataOfLocalArea(&reply, 9);
    EXPECT_EQ(hex("11 03 04 1234 ABCD 11E1"), reply);
    EXPECT_EQ(hex("11 03 04 1234 ABCD 11E1"), shared);
}

TEST_F(LocalReply, WaitsForTheMirrorsMutexWhileItStores)
{
    expectRead(9);
    PLC_driver.cacheMutex.lock();
    std::future<int> result = std::async(std::launch::async, [this] { return judge(good, 9); });
    EXPECT_EQ(std::future_status::timeout, result.wait_for(std::chrono::milliseconds(30)));
    EXPECT_FALSE(stored());
    PLC_driver.cacheMutex.unlock();
    EXPECT_EQ(1, result.get());
    EXPECT_TRUE(stored());
}

TEST_F(LocalReply, FreesTheMirrorsMutexAgain)
{
    expectRead(9);
    judge(good, 9);
    ASSERT_TRUE(PLC_driver.cacheMutex.tryLock());
    PLC_driver.cacheMutex.unlock();
}

TEST_F(LocalReply, TakesTheMirrorsMutexOnlyToStore)
{
    QMutexLocker cache(&PLC_driver.cacheMutex);
    expectRead(9);
    EXPECT_EQ(11, judge(hex("00"), 9));
    EXPECT_EQ(41, judge(QByteArray(), 0));
    EXPECT_EQ(71, judge(good, 8));
    PLC_driver.sendQueue.clear();
    expectReplyTo("11 06 0064 1234 C7F2", holding(100).station(0x11).data("3412"), 0, 0, 8);
    EXPECT_EQ(1, judge(hex("11 06 0064 1234 C7F2"), 8));
    PLC_driver.sendQueue.clear();
    expectRead(0);
    EXPECT_EQ(1, judge(good, 9));
}

TEST_F(LocalReply, DoesNotTakeTheListMutex)
{
    QMutexLocker lists(&PLC_driver.listMutex);
    expectRead(9);
    EXPECT_EQ(1, judge(good, 9));
}

// Replies whose data is shorter than the request asked for.

struct ShortReply
{
    const char *name;
    RW_VAR variable;
    const char *request;
    const char *whole; ///< without CRC
    const char *oneShort;
    const char *twoShort;
    int dataLen;
};

void PrintTo(const ShortReply &reply, std::ostream *out)
{
    *out << reply.name;
}

class ShortLocalReply : public LocalReply, public ::testing::WithParamInterface<ShortReply>
{
protected:
    ShortLocalReply() { expectReplyTo(GetParam().request, GetParam().variable, 3, GetParam().dataLen); }

    void expectIgnored(const char *reply)
    {
        SCOPED_TRACE(reply);
        EXPECT_EQ(1, judge(withCrc(reply), withCrc(reply).size()));
        EXPECT_FALSE(stored());
    }
};

TEST_P(ShortLocalReply, IsStoredWhenItIsWhole)
{
    EXPECT_EQ(1, judge(withCrc(GetParam().whole), 1));
    EXPECT_TRUE(stored());
}

TEST_P(ShortLocalReply, OneByteShortIsDoneButStoresNoCrcAsValue)
{
    expectIgnored(GetParam().oneShort);
}

TEST_P(ShortLocalReply, TwoBytesShortIsDoneButStoresNoCrcAsValue)
{
    expectIgnored(GetParam().twoShort);
}

TEST_P(ShortLocalReply, IsFoundByItsOwnByteCount)
{
    QByteArray received = withCrc(GetParam().oneShort);
    EXPECT_EQ(1, check_data(&received));
    EXPECT_EQ(withCrc(GetParam().oneShort), received);
    received = withCrc(GetParam().twoShort);
    EXPECT_EQ(1, check_data(&received));
}

TEST_P(ShortLocalReply, IsNotFoundWhenItsByteCountPromisesMore)
{
    for (const char *shortened : {GetParam().oneShort, GetParam().twoShort}) {
        QByteArray lying = hex(shortened);
        lying.data()[2] = static_cast<char>(GetParam().dataLen);
        lying = withCrc(toHex(lying).c_str());
        const QByteArray before = lying;
        EXPECT_EQ(0, check_data(&lying));
        EXPECT_EQ(before, lying);
    }
}

const ShortReply kShortReplies[] = {
    {"Function1", coil(0).station(0x11).count(24), "11 01 0000 0018 3E90", "11 01 03 A51C7F", "11 01 02 A51C",
     "11 01 01 A5", 3},
    {"Function2", discreteInput(0).station(0x11).count(24), "11 02 0000 0018 7A90", "11 02 03 A51C7F",
     "11 02 02 A51C", "11 02 01 A5", 3},
    {"Function3", holding(100).station(0x11).count(2), "11 03 0064 0002 8744", "11 03 04 1234 ABCD",
     "11 03 03 1234 AB", "11 03 02 1234", 4},
    {"Function4", inputRegister(100).station(0x11).count(2), "11 04 0064 0002 3284", "11 04 04 1234 ABCD",
     "11 04 03 1234 AB", "11 04 02 1234", 4},
};

INSTANTIATE_TEST_SUITE_P(Each, ShortLocalReply, ::testing::ValuesIn(kShortReplies),
                         [](const ::testing::TestParamInfo<ShortReply> &reply) { return reply.param.name; });

TEST_F(LocalReply, ThatIsLongerThanAskedForStoresOnlyWhatWasAskedFor)
{
    expectRead(-1);
    EXPECT_EQ(1, judge(withCrc("11 03 06 1234 ABCD 5678"), 11));
    EXPECT_EQ(hex("3412"), mirrored(0x11, 5, 100));
    EXPECT_EQ(hex("CDAB"), mirrored(0x11, 5, 101));
    EXPECT_EQ(2, PLC_driver.registerCache.size());
}

TEST_F(LocalReply, ThatIsShortLeavesOlderValuesInTheMirror)
{
    expectRead(-1);
    mirror(0x11, 5, 100, hex("1111"));
    mirror(0x11, 5, 101, hex("2222"));
    EXPECT_EQ(1, judge(hex("11 03 03 1234AB B064"), 8));
    EXPECT_EQ(hex("1111"), mirrored(0x11, 5, 100));
    EXPECT_EQ(hex("2222"), mirrored(0x11, 5, 101));
}

TEST_F(LocalReply, ToTheReadHalfOfABitWriteThatIsShortDoesNotTurnItsCrcIntoAValue)
{
    addWrite(holdingBit(35).station(0x11).data("01"));
    ASSERT_NE(nullptr, next());
    EXPECT_EQ(1, judge(hex("11 03 01 12 7485"), 6));
    EXPECT_EQ(withCrc("11 06 0002 0000"), queuedFrame(1));
}

// The same table driven through the engine.

class Conversation : public SetUpDriver, public ::testing::WithParamInterface<Exchange>
{
protected:
    Conversation() : reply(hex(GetParam().reply)) {}

    /// Queues the exchange's variable and lets it go out.
    void ask()
    {
        if (GetParam().isRead())
            addRead(GetParam().variable);
        else
            addWrite(GetParam().variable);
        head = next();
        ASSERT_NE(nullptr, head);
        ASSERT_EQ(hex(GetParam().request), head->frame);
        elementsBefore = PLC_driver.registerCache.size();
    }

    /// The buffer holds exactly the reply, and nothing has been counted.
    void expectFound()
    {
        EXPECT_EQ(reply, buffer);
        EXPECT_EQ(reply.size(), head->replyLen);
        EXPECT_EQ(0, info.retryCount);
    }

    /// One more call ends the operation as a success.
    void expectDone()
    {
        EXPECT_EQ(kResultDone, receive(buffer));
        EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
        EXPECT_EQ(0, info.retryCount);
        for (const Element &element : GetParam().elements)
            EXPECT_EQ(hex(element.bytes), mirrored(0x11, GetParam().variable.regType, element.address))
                << "element " << element.address;
        EXPECT_EQ(static_cast<int>(GetParam().elements.size()), PLC_driver.registerCache.size());
        const std::vector<Outcome> done = {{77, 21, 22, 1}};
        EXPECT_EQ(GetParam().isRead() ? std::vector<Outcome>() : done, outcomes);
        EXPECT_TRUE(failures.empty());
    }

    void expectNotYet(const QByteArray &received)
    {
        EXPECT_EQ(kResultPending, receive(received)) << toHex(received);
        EXPECT_EQ(received, buffer);
        EXPECT_EQ(-1, head->replyLen);
        EXPECT_EQ(0, info.retryCount) << "waiting for more bytes is no failure";
        EXPECT_EQ(elementsBefore, PLC_driver.registerCache.size());
    }

    const QByteArray reply;
    Protocol *head = nullptr;
    int elementsBefore = 0;
};

TEST_P(Conversation, EndsWithTheWholeReply)
{
    ask();
    EXPECT_EQ(kResultDone, receive(reply));
    expectFound();
    EXPECT_EQ(1, PLC_driver.sendQueue.size()) << "found, but handled by the next call only";
    EXPECT_TRUE(outcomes.empty());
    expectDone();
}

TEST_P(Conversation, EndsWithTheReplyByteByByte)
{
    ask();
    for (int size = 1; size < reply.size(); ++size)
        expectNotYet(reply.left(size));
    EXPECT_EQ(kResultDone, receive(reply));
    expectFound();
    expectDone();
}

TEST_P(Conversation, EndsWithTheReplyAfterNoise)
{
    ask();
    EXPECT_EQ(kResultDone, receive(hex("00 FF 11") + reply));
    expectFound();
    expectDone();
}

TEST_P(Conversation, EndsWithTheReplyByteByByteAfterEveryNoise)
{
    for (const QByteArray &noise : noises(GetParam())) {
        SCOPED_TRACE(toHex(noise));
        PLC_driver.sendQueue.clear();
        PLC_driver.readList.clear();
        PLC_driver.writeList.clear();
        PLC_driver.registerCache.clear();
        outcomes.clear();
        PLC_driver.writeBurst = 0;
        ask();
        for (int size = 1; size < reply.size(); ++size)
            expectNotYet(noise + reply.left(size));
        EXPECT_EQ(kResultDone, receive(noise + reply));
        expectFound();
        expectDone();
    }
}

TEST_P(Conversation, EndsWithTheReplyBeforeNoise)
{
    ask();
    EXPECT_EQ(kResultDone, receive(reply + hex("00 FF 11")));
    expectFound();
    expectDone();
}

TEST_P(Conversation, EndsOnceWithTheReplyDoubled)
{
    ask();
    EXPECT_EQ(kResultDone, receive(reply + reply));
    expectFound();
    expectDone();
}

TEST_P(Conversation, EndsWhenACutReplyIsCompleted)
{
    ask();
    expectNotYet(reply.left(4));
    expectNotYet(reply.left(reply.size() - 1));
    EXPECT_EQ(kResultDone, receive(reply));
    expectFound();
    expectDone();
}

TEST_P(Conversation, CountsACutReplyOnlyWhenTheWaitHasRunOut)
{
    ask();
    expectNotYet(reply.left(reply.size() - 1));
    EXPECT_EQ(kResultPending, silence());
    EXPECT_EQ(1, info.retryCount);
    EXPECT_EQ(head, next()) << "the same request goes out again";
}

TEST_P(Conversation, DoesNotEndWithTheCrcInTheOtherOrder)
{
    ask();
    expectNotYet(crcSwapped(reply));
}

TEST_P(Conversation, EndsWithTheCrcHighByteFirstOnOptionBit8)
{
    setOptions(kOptionSwapReplyCrc);
    ask();
    expectNotYet(reply);
    EXPECT_EQ(kResultDone, receive(hex("00") + crcSwapped(reply)));
    EXPECT_EQ(crcSwapped(reply), buffer);
    expectDone();
}

TEST_P(Conversation, DoesNotEndWithAnException)
{
    ask();
    QByteArray exception = reply.left(2);
    exception.data()[1] = static_cast<char>(exception.at(1) | 0x80);
    expectNotYet(withCrc(toHex(exception.append('\x02')).c_str()));
}

TEST_P(Conversation, FailsAfterRepeatedSilence)
{
    ask();
    EXPECT_EQ(kResultPending, silence());
    EXPECT_EQ(kResultPending, silence());
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
    EXPECT_TRUE(PLC_driver.failed);
    EXPECT_EQ(0, info.retryCount);
    const std::vector<Outcome> failed = {{77, 21, 22, 2}};
    EXPECT_EQ(GetParam().isRead() ? std::vector<Outcome>() : failed, outcomes);
}

TEST_P(Conversation, RetriesWhenTheFoundReplyIsDamagedBeforeItIsHandled)
{
    ask();
    EXPECT_EQ(kResultDone, receive(reply));
    EXPECT_EQ(kResultPending, receive(bitFlipped(reply, 8 * 3)));
    EXPECT_EQ(1, info.retryCount);
    EXPECT_EQ(reply.size(), head->replyLen);
    EXPECT_EQ(elementsBefore, PLC_driver.registerCache.size());
    EXPECT_EQ(head, next());
}

TEST_P(Conversation, DoesNotLookForTheReplyInNoiseAnyMoreOnceOneWasFound)
{
    ask();
    EXPECT_EQ(kResultDone, receive(reply));
    EXPECT_EQ(kResultPending, receive(hex("00") + reply));
    EXPECT_EQ(hex("00") + reply, buffer);
    EXPECT_EQ(1, info.retryCount);
    EXPECT_EQ(kResultPending, receive(reply.left(reply.size() - 1)));
    EXPECT_EQ(2, info.retryCount) << "a reply not yet complete counts now";
    EXPECT_EQ(kResultDone, receive(reply));
    EXPECT_EQ(2, info.retryCount) << "success does not reset the count";
}

TEST_P(Conversation, FailsWithTheVerdictOnTheLastBadReply)
{
    ask();
    EXPECT_EQ(kResultDone, receive(reply));
    EXPECT_EQ(kResultPending, silence());
    EXPECT_EQ(kResultPending, receive(bitFlipped(reply, 0)));
    EXPECT_EQ(71, receive(reply + reply));
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
}

TEST_P(Conversation, FailsWithABadReplyAtLast)
{
    info.retryLimit = 0;
    ask();
    EXPECT_EQ(kResultDone, receive(reply));
    EXPECT_EQ(11, receive(crcSwapped(reply)));
}

TEST_P(Conversation, FailsWithAnEmptyReplyAtLastThoughOneWasFound)
{
    info.retryLimit = 0;
    ask();
    EXPECT_EQ(kResultDone, receive(reply));
    EXPECT_EQ(kResultNoReply, silence());
}

TEST_P(Conversation, NeverEndsWellUnderAnOverridingStationOtherThanTheVariables)
{
    info.retryLimit = 1;
    overrideStation(0x12);
    if (GetParam().isRead())
        addRead(GetParam().variable);
    else
        addWrite(GetParam().variable);
    ASSERT_NE(nullptr, next());
    QByteArray foreign = reply.left(reply.size() - 2);
    foreign.data()[0] = '\x12';
    foreign = withCrc(toHex(foreign).c_str());
    EXPECT_EQ(kResultPending, receive(reply)) << "the frame that went out names another station";
    EXPECT_EQ(kResultDone, receive(foreign));
    EXPECT_EQ(kResultPending, receive(foreign)) << "the variable names another station";
    EXPECT_EQ(11, receive(foreign));
}

TEST_P(Conversation, EndsWellUnderAnOverridingStationEqualToTheVariables)
{
    overrideStation(0x11);
    ask();
    EXPECT_EQ(kResultDone, receive(reply));
    expectDone();
}

INSTANTIATE_TEST_SUITE_P(Each, Conversation, ::testing::ValuesIn(allExchanges()), exchangeName);

class EngineReply : public SetUpDriver
{};

TEST_F(EngineReply, WithoutDataIsFoundAndThenBad)
{
    addRead(holding(100).station(0x11).count(2));
    ASSERT_NE(nullptr, next());
    EXPECT_EQ(kResultDone, receive(hex("11 03 00 2135")));
    EXPECT_EQ(kResultPending, receive(buffer));
    EXPECT_EQ(1, info.retryCount);
}

TEST_F(EngineReply, OneOrTwoBytesShortWithAGoodCrcIsDoneButStoresNothing)
{
    for (const char *shortened : {"11 03 03 1234AB B064", "11 03 02 1234 74F0", "11 03 01 12 7485"}) {
        SCOPED_TRACE(shortened);
        PLC_driver.readList.clear();
        addRead(holding(100).station(0x11).count(2));
        ASSERT_NE(nullptr, next());
        EXPECT_EQ(kResultDone, complete(hex(shortened)));
        EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
        EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
        EXPECT_EQ(0, info.retryCount);
    }
}

TEST_F(EngineReply, ToAWriteOneOrTwoBytesShortWithAGoodCrcIsNoReply)
{
    for (const Exchange &write : writeExchanges()) {
        SCOPED_TRACE(write.name);
        PLC_driver.sendQueue.clear();
        PLC_driver.writeList.clear();
        PLC_driver.writeBurst = 0;
        addWrite(write.variable);
        ASSERT_NE(nullptr, next());
        for (int size : {5, 4}) {
            const QByteArray shortened = withCrc(toHex(hex(write.reply).left(size)).c_str());
            EXPECT_EQ(kResultPending, receive(shortened));
            EXPECT_EQ(shortened, buffer);
        }
        EXPECT_EQ(0, info.retryCount);
    }
}

TEST_F(EngineReply, ToAWriteOneByteLongWithAGoodCrcIsNoReply)
{
    for (const Exchange &write : writeExchanges()) {
        SCOPED_TRACE(write.name);
        PLC_driver.sendQueue.clear();
        PLC_driver.writeList.clear();
        PLC_driver.writeBurst = 0;
        addWrite(write.variable);
        ASSERT_NE(nullptr, next());
        EXPECT_EQ(kResultPending, receive(withCrc((toHex(hex(write.reply).left(6)) + " 77").c_str())));
    }
}

TEST_F(EngineReply, ToAWriteWithAnotherValueIsDoneAndTheMirrorKeepsWhatWasWritten)
{
    addWrite(holding(100).station(0x11).ids(21, 22).data("3412"));
    ASSERT_NE(nullptr, next());
    EXPECT_EQ(kResultDone, complete(withCrc("11 06 0065 4321")));
    EXPECT_EQ(hex("3412"), mirrored(0x11, 5, 100));
    EXPECT_EQ(1, PLC_driver.registerCache.size());
    EXPECT_EQ((std::vector<Outcome>{{77, 21, 22, 1}}), outcomes);
}

TEST_F(EngineReply, OfABroadcastIsNotAwaited)
{
    addWrite(holding(100).station(0).ids(21, 22).data("0100"));
    const Protocol *head = next();
    ASSERT_NE(nullptr, head);
    EXPECT_EQ(hex("00 06 0064 0001 0804"), head->frame);
    EXPECT_EQ(kResultDone, silence());
    EXPECT_EQ((std::vector<Outcome>{{77, 21, 22, 1}}), outcomes);
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
}

TEST_F(EngineReply, OfALargeReadArrivesByteByByte)
{
    addRead(holding(0).station(0x11).count(100));
    ASSERT_NE(nullptr, next());
    QByteArray data;
    for (int i = 0; i < 100; ++i)
        data.append(static_cast<char>(i)).append(static_cast<char>(200 - i));
    const QByteArray reply = withCrc(("11 03 C8 " + toHex(data)).c_str());
    ASSERT_EQ(205, reply.size());
    for (int size = 1; size < reply.size(); ++size)
        ASSERT_EQ(kResultPending, receive(reply.left(size))) << size;
    EXPECT_EQ(kResultDone, complete(reply));
    EXPECT_EQ(hex("C800"), mirrored(0x11, 5, 0));
    EXPECT_EQ(hex("6563"), mirrored(0x11, 5, 99));
    EXPECT_EQ(100, PLC_driver.registerCache.size());
}

} // namespace
} // namespace plc::test
