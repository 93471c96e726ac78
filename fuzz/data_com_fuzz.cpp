// What comes from the line, for every kind of request in progress: each call of DataCom() is compared with a
// slow twin that knows the rules of accepting, storing, retrying and completing and shares no code with the
// driver.
#include <algorithm>
#include <map>
#include <vector>

#include "fuzz/support/claim.h"
#include "fuzz/support/input.h"
#include "fuzz/support/runtime.h"

namespace plc::fuzz {

namespace {

constexpr int kOpen = -1;
constexpr int kReadHalfMark = -1;
constexpr int kMostSteps = 48;
constexpr int kMostCoils = 255;

struct Step
{
    QByteArray frame;
    int replyLen = 0;
    int headerLen = 0;
    int dataLen = 0;
    RW_VAR var;
};

/// Everything that a call of DataCom() may change.
struct State
{
    std::vector<Step> queue;
    std::vector<RW_VAR> lists[3]; ///< cyclic reads, writes, one-shot reads: numbered as servingList
    QHash<quint64, QByteArray> mirror;
    int servingList = 0;
    int readsServed = 0;
    bool failed = false;
    int retryCount = 0;
    int stepDone = 0;
    int scanDone = 0;
    RW_VAR result;
    std::vector<Report> reports;
    std::vector<int> failures;
};

std::vector<RW_VAR> copyOf(const QList<RW_VAR> &list)
{
    return std::vector<RW_VAR>(list.begin(), list.end());
}

State stateOf(const Runtime &runtime)
{
    State state;
    // Element by element: a copy of the list would make the driver move its own.
    for (int i = 0; i < PLC_driver.sendQueue.size(); ++i) {
        const Protocol &from = PLC_driver.sendQueue.at(i);
        state.queue.push_back({from.frame, from.replyLen, from.headerLen, from.dataLen, from.var});
    }
    state.lists[0] = copyOf(PLC_driver.readList);
    state.lists[1] = copyOf(PLC_driver.writeList);
    state.lists[2] = copyOf(PLC_driver.onceReadList);
    state.mirror = PLC_driver.registerCache;
    state.servingList = PLC_driver.servingList;
    state.readsServed = PLC_driver.readsServed;
    state.failed = PLC_driver.failed.load();
    state.retryCount = runtime.info.retryCount;
    state.stepDone = runtime.info.stepDone;
    state.scanDone = runtime.info.scanDone;
    state.result = PLC_driver.retVar;
    state.reports = runtime.reports;
    state.failures = runtime.failures;
    return state;
}

int nextCount(int count)
{
    return count < INT_MAX ? count + 1 : INT_MAX;
}

/// The slow twin.
class Twin
{
public:
    Twin(const COM_INFO &info, const State &before) : info_(info), options_(info.options), now(before) {}

    void receive(QByteArray *buffer, int length)
    {
        now.result.status = 1;
        if (now.queue.empty())
            return;
        Step &head = now.queue.front();
        if (head.replyLen == kOpen && isAnsweredByNobody(head.var.regType))
            head.replyLen = 0;
        if (head.replyLen != kOpen)
            judge(*buffer, length);
        else if (!buffer->isEmpty())
            find(buffer);
        else if (mayTryAgain())
            now.result.status = 0;
        else
            fail(41, true);
    }

private:
    bool option(int bit) const { return (options_ >> bit & 1u) != 0; }
    bool isLocal() const { return now.queue.front().var.linkId == info_.linkId; }

    bool isAnsweredByNobody(int regType) const
    {
        return (option(9) && regType == 8) || (option(10) && regType == 9);
    }

    /// Every piece of the buffer is tried as the reply, first ones first.
    void find(QByteArray *buffer)
    {
        const QByteArray start = now.queue.front().frame.left(2);
        for (int at = buffer->indexOf(start); at >= 0; at = buffer->indexOf(start, at + 1)) {
            for (int size = 5; at + size <= buffer->size(); ++size) {
                const QByteArray piece = buffer->mid(at, size);
                if (!isWholeReply(piece))
                    continue;
                now.queue.front().replyLen = size;
                *buffer = piece;
                return;
            }
        }
        now.result.status = 0;
    }

    bool isWholeReply(const QByteArray &piece) const
    {
        const int function = byteOf(piece, 1);
        const bool reads = function >= 1 && function <= 4;
        const bool writes = function == 5 || function == 6 || function == 15 || function == 16;
        const int length = reads ? byteOf(piece, 2) + 5 : writes ? 8 : 0;
        return piece.size() == length && hasGoodCrc(piece, option(8)) && !lacksItsRegister(piece);
    }

    /// The one register that a bit write puts back has to be there whole.
    bool lacksItsRegister(const QByteArray &piece) const
    {
        const RW_VAR &var = now.queue.front().var;
        return var.relayArg1 == kReadHalfMark && var.regType == 5 && var.count == 1 && piece.size() < 7;
    }

    void judge(const QByteArray &reply, int length)
    {
        const int expected = now.queue.front().replyLen;
        const bool local = isLocal();
        int code = 0;
        if (local && (length == 0 || expected == 0))
            code = length == 0 && expected != 0 ? offsetOf(40) : 1;
        else if (!local && length == 0 && expected != 0)
            code = offsetOf(140);
        else if (length != 0 && length != expected)
            code = offsetOf(local ? 70 : 170);
        else
            code = local ? takeLocal(reply) : takeRelayed(reply);
        if (code == 1 || code == 100)
            succeed(code, local);
        else if (mayTryAgain())
            now.result.status = 0;
        else
            fail(code, local);
    }

    int offsetOf(int base) const
    {
        const int id = now.queue.front().var.hostId;
        return base + 1 + (id >= 1 && id <= 11 ? id : 0);
    }

    bool isFromStation(const QByteArray &reply) const
    {
        return reply.size() >= 6 && byteOf(reply, 0) == (now.queue.front().var.station & 0xFF) &&
               hasGoodCrc(reply, option(8));
    }

    int takeLocal(const QByteArray &reply)
    {
        const Step &head = now.queue.front();
        if ((head.var.station & 0xFF) == 0)
            return 1;
        if (!isFromStation(reply))
            return offsetOf(10);
        if (head.var.direction != 0 || qint64(head.headerLen) + head.dataLen > reply.size() - 2)
            return 1;
        if (head.var.relayArg1 == kReadHalfMark)
            patchWriteHalf(reply);
        else
            store(reply);
        return 1;
    }

    int takeRelayed(const QByteArray &reply)
    {
        const Step &head = now.queue.front();
        if ((head.var.station & 0xFF) != 0 && !isFromStation(reply))
            return offsetOf(110);
        if (head.var.relayArg1 != kReadHalfMark)
            return 100;
        patchWriteHalf(reply);
        return now.stepDone == 1 ? 100 : 1;
    }

    void set(int element, const QByteArray &value)
    {
        const RW_VAR &var = now.queue.front().var;
        const quint64 station = static_cast<quint64>(var.station & 0xFF) << 56;
        const quint64 area = static_cast<quint64>(var.regType) << 48;
        const quint64 first = station | area | static_cast<quint64>(static_cast<qint64>(var.address));
        QByteArray &entry = now.mirror[first + static_cast<quint64>(element)];
        entry = value + entry.mid(value.size());
    }

    void store(const QByteArray &reply)
    {
        const Step &head = now.queue.front();
        if (head.var.regType == 0 || head.var.regType == 1) {
            for (int i = 0; i < head.var.count; ++i)
                set(i, QByteArray(1, static_cast<char>(byteOf(reply, head.headerLen + i / 8) >> i % 8 & 1)));
        } else if (head.var.regType == 4 || head.var.regType == 5) {
            for (int i = 0; i < head.dataLen / 2; ++i) {
                const int at = head.headerLen + 2 * i;
                set(i, QByteArray(1, reply.at(at + 1)) + reply.at(at));
            }
        }
    }

    void patchWriteHalf(const QByteArray &reply)
    {
        if (reply.size() < 6 || now.lists[1].empty() || now.queue.size() < 2)
            return;
        const RW_VAR &bit = now.lists[1].front();
        int value = byteOf(reply, 3) * 256 + byteOf(reply, 4);
        if (bit.address % 16 >= 0) {
            const int mask = 1 << bit.address % 16;
            value = byteOf(bit.data, 0) != 0 ? value | mask : value & ~mask;
        }
        QByteArray &frame = now.queue[1].frame;
        const int valueAt = byteOf(frame, 1) == 6 ? 4 : 7;
        QByteArray patched = frame.leftJustified(valueAt, '\0', true);
        patched.append(static_cast<char>(value >> 8 & 0xFF)).append(static_cast<char>(value & 0xFF));
        appendCrc(&patched, option(7));
        frame = patched + frame.mid(patched.size());
    }

    bool mayTryAgain()
    {
        now.retryCount = nextCount(now.retryCount);
        return now.retryCount <= info_.retryLimit;
    }

    void succeed(int code, bool local)
    {
        now.failed = false;
        now.stepDone = nextCount(now.stepDone);
        const bool complete = info_.stepTotal <= now.stepDone;
        if (complete && now.scanDone == 0 && local &&
            ++now.readsServed > static_cast<int>(now.lists[0].size())) {
            now.readsServed = 0;
            now.scanDone = 1;
        }
        now.queue.erase(now.queue.begin());
        if (complete)
            completeOperation(local);
        now.result.status = code;
    }

    void fail(int code, bool local)
    {
        now.readsServed = 0;
        now.failed = true;
        now.scanDone = 0;
        now.retryCount = 0;
        now.queue.clear();
        completeOperation(local);
        now.result.status = code;
    }

    void completeOperation(bool local)
    {
        if (now.servingList == 0)
            completeCyclic();
        else if (now.servingList == 1 || now.servingList == 2)
            completeQueued(now.lists[now.servingList], now.servingList == 2, local);
        if (!now.failed)
            return;
        now.failures.push_back(now.result.hostId);
        if (now.servingList != 1 && now.servingList != 2)
            return;
        std::vector<RW_VAR> &list = now.lists[now.servingList];
        list.erase(std::remove_if(list.begin(), list.end(),
                                  [this](const RW_VAR &entry) {
                                      return entry.hostId == now.result.hostId &&
                                             entry.hostSubId == now.result.hostSubId &&
                                             (info_.stationMode == 0 || entry.station == now.result.station);
                                  }),
                   list.end());
    }

    void completeCyclic()
    {
        std::vector<RW_VAR> &list = now.lists[0];
        if (list.empty() || list.front().status != -1)
            return;
        list.front().status = 0;
        take(list.front());
        std::rotate(list.begin(), list.begin() + 1, list.end());
    }

    void completeQueued(std::vector<RW_VAR> &list, bool once, bool local)
    {
        if (list.empty())
            return;
        const RW_VAR done = list.front();
        list.erase(list.begin());
        const bool shared = std::any_of(list.begin(), list.end(), [&](const RW_VAR &other) {
            return other.hostId == done.hostId && other.hostSubId == done.hostSubId &&
                   (!once || other.linkId == info_.linkId);
        });
        if ((local || !once) && (now.failed || !shared))
            now.reports.push_back(
                {info_.callbackArg, done.hostId, done.hostSubId, now.failed ? kOutcomeFailed : kOutcomeDone});
        take(done);
    }

    void take(const RW_VAR &var)
    {
        now.result = var;
        now.result.data.clear();
    }

    const COM_INFO info_; ///< as it was before
    const quint32 options_;

public:
    State now;
};

bool isSame(const RW_VAR &a, const RW_VAR &b)
{
    return a.hostId == b.hostId && a.hostSubId == b.hostSubId && a.direction == b.direction &&
           a.linkId == b.linkId && a.status == b.status && a.regType == b.regType && a.address == b.address &&
           a.station == b.station && a.count == b.count && a.data == b.data;
}

void claimSame(const State &expected, const State &found)
{
    claim(expected.result.status == found.result.status, "the status is the one that the rules give");
    claim(expected.queue.size() == found.queue.size(), "the queue shrinks by what was finished");
    for (std::size_t i = 0; i < found.queue.size(); ++i) {
        claim(expected.queue[i].frame == found.queue[i].frame, "a queued frame changes by the register read");
        claim(expected.queue[i].replyLen == found.queue[i].replyLen, "the length of the reply is kept");
    }
    claim(expected.mirror == found.mirror, "the mirror holds the values asked for, and nothing else changes");
    claim(expected.retryCount == found.retryCount, "every failed attempt is counted once");
    claim(expected.stepDone == found.stepDone, "every finished step is counted once");
    claim(expected.scanDone == found.scanDone, "a scan is complete when all were served");
    claim(expected.readsServed == found.readsServed, "every completed operation is counted once");
    claim(expected.failed == found.failed, "the driver remembers whether it failed");
    claim(expected.reports == found.reports, "every queued entry is reported once");
    claim(expected.failures == found.failures, "every failure is reported once");
    for (int list = 0; list < 3; ++list) {
        claim(expected.lists[list].size() == found.lists[list].size(), "what is completed leaves its list");
        for (std::size_t i = 0; i < found.lists[list].size(); ++i)
            claim(isSame(expected.lists[list][i], found.lists[list][i]), "other entries stay as they are");
    }
    claim(isSame(expected.result, found.result), "the result record is that of the completed variable");
}

RW_VAR readVariable(Input &input, int direction)
{
    RW_VAR var;
    var.direction = direction;
    var.regType = input.below(16);
    if (var.regType > 10)
        var.regType = var.regType % 2 == 0 ? 5 : 0; // the common ones more often
    var.address = input.number();
    var.count = input.number();
    var.station = input.flag() ? 1 : input.number();
    var.hostId = input.below(14);
    var.hostSubId = input.below(2);
    const int link = input.byte();
    var.linkId = link & 1;
    var.relayArg1 = (link & 0x7E) == 0x7E ? kReadHalfMark : 0;
    var.data = toQt(input.bytes(24));
    if (direction == 1 && var.regType == 0)
        var.count = var.count > kMostCoils ? var.count & 0xFF : var.count; // the mirror gets an entry a coil
    return var;
}

void fillLists(Input &input)
{
    for (int left = 1 + input.below(3); left > 0; --left) {
        const int list = input.below(3);
        RW_VAR var = readVariable(input, list == 1 ? 1 : 0);
        if (list == 0)
            AddListReadVar(&var);
        else if (list == 1)
            AddListWriteVar(&var, 1);
        else
            AddListOnceReadVar(&var, 1);
    }
}

/// What a good station would answer, with @p byteCount bytes of data if it is asked for values.
QByteArray goodReply(const Protocol &head, Input &input, bool relayed, bool highFirst)
{
    QByteArray reply(1, static_cast<char>(relayed ? head.var.station : byteOf(head.frame, 0)));
    if (head.headerLen != 3) {
        reply.append(head.frame.mid(1, 5).leftJustified(5, '\0'));
    } else {
        const int excess =
            input.below(8); // most stations send what was asked for, others a byte more or less
        const int byteCount = ((head.dataLen & 0xFF) + (excess < 6 ? 0 : 2 * excess - 13)) & 0xFF;
        reply.append(relayed ? '\3' : head.frame.at(1)).append(static_cast<char>(byteCount));
        for (int seed = input.byte(), i = 0; i < byteCount; ++i)
            reply.append(static_cast<char>(seed + 37 * i));
    }
    appendCrc(&reply, highFirst);
    return reply;
}

/// Plays the line: changes what has been received so far.
void arrive(Input &input, const Runtime &runtime, const Protocol &head, QByteArray *line)
{
    const bool highFirst = (runtime.info.options >> 8 & 1u) != 0;
    const bool relayed = runtime.info.linkMode != 0;
    switch (input.below(8)) {
    case 0: // noise
        line->append(toQt(input.bytes(40)));
        break;
    case 1: { // a damaged reply
        QByteArray reply = goodReply(head, input, relayed, highFirst);
        reply[input.byte() % reply.size()] = static_cast<char>(input.byte());
        line->append(reply);
        break;
    }
    case 2: { // anything with a good CRC
        QByteArray frame = head.frame.left(2) + toQt(input.bytes(40));
        appendCrc(&frame, highFirst);
        line->append(frame);
        break;
    }
    case 3: // a cut reply
        line->append(goodReply(head, input, relayed, highFirst));
        line->chop(input.below(8));
        break;
    case 4:
        line->clear();
        break;
    default:
        line->append(goodReply(head, input, relayed, highFirst));
        break;
    }
    *line = line->left(700);
}

void callDataCom(Input &input, Runtime &runtime, QByteArray *line)
{
    const State before = stateOf(runtime);
    const COM_INFO info = runtime.info;
    const int way = input.below(8);
    QByteArray expectedLine = way == 7 ? QByteArray() : *line;
    const int length = way == 6 ? input.number() : way == 7 ? 0 : line->size();

    Twin twin(info, before);
    twin.receive(&expectedLine, length);
    const RW_VAR *const result = DataCom(way == 7 ? nullptr : line, length);

    claim(result == &PLC_driver.retVar, "DataCom returns its own record");
    claim(result->data.isEmpty(), "the result record carries no data");
    if (way != 7)
        claim(*line == expectedLine, "the buffer is cut down to the reply or left alone");
    claimSame(twin.now, stateOf(runtime));
    claimLocksFree();
}

/// A write half that is sent after its read half was stored carries its own CRC.
void claimGoodFrame(const Protocol &head, const COM_INFO &info)
{
    claim(head.sendLen == head.frame.size() && head.sendLen >= 6, "a frame is sent whole");
    if (info.linkMode == 0)
        claim(hasGoodCrc(head.frame, (info.options >> 7 & 1u) != 0), "every request has a good CRC");
}

void play(Input &input)
{
    Runtime runtime;
    runtime.info.options = static_cast<quint32>(input.twoBytes());
    runtime.info.retryLimit = input.flag() ? input.below(4) : input.number();
    runtime.info.stationMode = input.below(2);
    runtime.info.linkMode = input.below(4) == 3 ? 1 : 0;
    runtime.info.linkId = input.below(2);
    runtime.applySettings();
    if (input.below(8) == 7)
        runtime.overrideStation(static_cast<unsigned short>(input.twoBytes()));
    fillLists(input);

    QByteArray line;
    for (int step = 0; step < kMostSteps && !input.isEmpty(); ++step) {
        const Protocol *const head = ComCommunication(0);
        claimLocksFree();
        if (!head)
            break;
        claim(head == ComCommunication(0), "the transaction in progress stays the head");
        claimGoodFrame(*head, runtime.info);
        arrive(input, runtime, *head, &line);
        callDataCom(input, runtime, &line);
    }
}

} // namespace

} // namespace plc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    plc::fuzz::Input input(data, size);
    plc::fuzz::play(input);
    return 0;
}
