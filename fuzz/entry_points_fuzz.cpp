// Sequences of all entry points with arguments that no runtime should hand over. A ledger follows every
// queued write: it is reported once or dropped where the interface says so. Lists stay bounded, values
// written come back, and no call leaves a lock behind.
#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "fuzz/support/claim.h"
#include "fuzz/support/input.h"
#include "fuzz/support/runtime.h"

namespace plc::fuzz {

namespace {

using Ids = std::pair<int, int>;

constexpr int kMostCalls = 64;
constexpr int kListLimit = 1024;
constexpr int kMostValues = 300;

Ids idsOf(const RW_VAR &var)
{
    return {var.hostId, var.hostSubId};
}

/// How many entries of the write list carry which identifiers.
std::map<Ids, int> countWrites()
{
    std::map<Ids, int> counts;
    for (const RW_VAR &write : PLC_driver.writeList)
        ++counts[idsOf(write)];
    return counts;
}

class Session
{
public:
    explicit Session(Input *input) : input_(*input) {}

    void play()
    {
        for (int i = 0; i < kMostCalls && !input_.isEmpty(); ++i) {
            callOne();
            claimLocksFree();
            claimBounded();
        }
    }

private:
    void callOne()
    {
        switch (input_.below(16)) {
        case 0:
            return changeSettings();
        case 1:
        case 2:
            return addWrite();
        case 3:
            return addOnceRead();
        case 4:
            return addRead();
        case 5:
        case 6:
            return setValues();
        case 7:
            return getValues();
        case 8:
            return rebuild();
        case 9:
            return switchStation();
        case 10:
            return passNames();
        case 11:
            return callHelpers();
        default:
            return cycle();
        }
    }

    void changeSettings()
    {
        COM_INFO &info = runtime_.info;
        info.maxBlock = input_.number();
        info.options = static_cast<quint32>(input_.number());
        info.retryLimit = input_.below(3);
        info.stationMode = input_.below(2);
        info.defaultStation = input_.below(3);
        info.linkMode = input_.below(2);
        info.linkId = input_.below(2);
        info.writeMode = input_.below(4) == 0 ? 0 : 2;
        SetComInfo(nullptr);
        runtime_.applySettings();
        runtime_.overrideStation(static_cast<unsigned short>(input_.below(8) == 7 ? input_.twoBytes() : 0));
        claim(info.maxBlock >= 1 && info.maxBlock <= 100, "the driver brings the block size into its range");
        // What a runtime may do behind the driver's back.
        if (input_.below(16) == 15)
            info.maxBlock = input_.number();
    }

    RW_VAR readVariable(int direction)
    {
        RW_VAR var;
        var.direction = direction;
        var.regType = input_.below(12) - 1;
        var.address = input_.number();
        var.addrText = addressText();
        var.station = input_.below(4) == 3 ? input_.number() : input_.below(3);
        var.count = std::min(input_.number(), kMostValues);
        var.linkId = input_.below(2);
        var.data = toQt(input_.bytes(20));
        // Identifiers of their own, so that every report can be told from the others.
        var.hostId = ++lastId_;
        var.hostSubId = input_.byte();
        return var;
    }

    QString addressText()
    {
        const int kind = input_.below(8);
        if (kind == 7)
            return QString::fromLatin1(toQt(input_.bytes(8)));
        const QString number = QString::number(input_.number());
        return kind < 4 ? number : number + QLatin1Char('.') + QString::number(input_.below(20));
    }

    /// Only the write at @p at, if any, may have made room for the new one.
    void claimMerged(const QList<RW_VAR> &before, const RW_VAR &write, int length)
    {
        const QList<RW_VAR> &after = PLC_driver.writeList;
        claim(length == after.size(), "the result is the length of the write list");
        claim(after.size() == before.size() || after.size() == before.size() + 1,
              "a write adds one entry at most");
        int changed = 0;
        for (int i = 0; i < before.size(); ++i) {
            if (idsOf(before.at(i)) == idsOf(after.at(i)))
                continue;
            ++changed;
            claim(i > 0, "a write that may be on the line is never overwritten");
            claim(idsOf(after.at(i)) == idsOf(write), "only the new write takes an older one's place");
            claim(before.at(i).station == write.station && before.at(i).address == write.address &&
                      before.at(i).count == write.count && before.at(i).regType == write.regType,
                  "a write replaces one to the same place");
        }
        claim(changed == 0 || (changed == 1 && after.size() == before.size()),
              "a write replaces one at most");
        claim(changed == 1 || after.size() == before.size() + 1 || before.size() >= kListLimit,
              "a write is refused only by a full list");
    }

    void addWrite()
    {
        claim(AddListWriteVar(nullptr, 0) == 0, "no write is no write");
        RW_VAR var = readVariable(1);
        const int mode = input_.below(3);
        const QList<RW_VAR> before = PLC_driver.writeList;
        const int length = AddListWriteVar(&var, mode);
        claimMerged(before, var, length);
        if (mode == 1)
            claim(length == before.size() + 1, "an appended write is never merged");
    }

    void addOnceRead()
    {
        claim(AddListOnceReadVar(nullptr, 0) == 0, "no read is no read");
        RW_VAR var = readVariable(0);
        const int mode = input_.below(3);
        const int before = PLC_driver.onceReadList.size();
        const int length = AddListOnceReadVar(&var, mode);
        const int after = PLC_driver.onceReadList.size();
        claim(length == after || (length == 0 && after == before),
              "the result is the length of the list, or 0");
        claim(after >= before, "reads are only added");
        if (mode == 1)
            claim(after == before + 1, "an appended read is never merged");
        for (int i = before; i < after && mode != 1; ++i) {
            const RW_VAR &piece = PLC_driver.onceReadList.at(i);
            const bool bits = piece.regType == 0 || piece.regType == 1;
            const qint64 block = std::max(runtime_.info.maxBlock, 1);
            claim(piece.count >= 1 && piece.count <= (bits ? block * 8 : block),
                  "a piece is one request at most");
            claim(piece.station != 0 && idsOf(piece) == idsOf(var), "a piece belongs to its variable");
        }
    }

    void addRead()
    {
        if (PLC_driver.readList.size() > 40)
            return;
        RW_VAR var = readVariable(0);
        const int before = PLC_driver.readList.size();
        claim(AddListReadVar(nullptr) == 0, "no read is no read");
        claim(AddListReadVar(&var) == before + 1, "a cyclic read is appended");
    }

    void rebuild()
    {
        std::vector<HostVariable> variables(static_cast<std::size_t>(input_.below(6)));
        QList<HostVariable *> list;
        for (HostVariable &variable : variables) {
            variable = HostVariable();
            variable.regType = static_cast<quint8>(input_.below(11));
            variable.station = static_cast<quint8>(input_.below(4));
            variable.addrText = addressText();
            variable.count = input_.below(8) == 7 ? input_.number() : input_.byte();
            list << &variable << nullptr;
        }
        claim(ReCreatReadVarList(nullptr) == 0, "no list is refused");
        claim(ReCreatReadVarList(&list) == PLC_driver.readList.size(), "the result is the number of reads");
    }

    void switchStation()
    {
        int station = input_.below(4);
        station -= input_.below(16) == 15 ? 4 : 0;
        const int enable = input_.below(3);
        (input_.flag() ? EnCommStation : EnableEthernet)(station, enable);
        if (station < 0)
            off_.clear();
        else if (enable == 0)
            off_.insert(station);
        else if (enable == 1)
            off_.erase(station);
    }

    void passNames()
    {
        PassVarName(nullptr);
        NameRow row = NameRow();
        for (int i = 0; i < 10; ++i)
            row.texts.append(QString::number(input_.below(6)));
        row.texts.last() = QLatin1String("4x") + QString::number(input_.byte());
        QList<NameRow *> rows;
        rows << &row << nullptr;
        PassVarName(&rows);
    }

    void callHelpers()
    {
        QByteArray bytes = toQt(input_.bytes(40));
        uchar *const data = reinterpret_cast<uchar *>(bytes.data());
        const unsigned short size = static_cast<unsigned short>(bytes.size());
        QByteArray withCrc = bytes;
        appendCrc(&withCrc, true);
        claim(CalCRC(data, size) == byteOf(withCrc, size) * 256 + byteOf(withCrc, size + 1),
              "the CRC is that of the bitwise rule");
        claim((CalSUM(data, size) & 0xFF) == (256 - CalLRC(data, size) % 256) % 256, "sum and LRC fit");
        claim(CalCRC(nullptr, size) == 0xFFFF && CalSUM(nullptr, size) == 0 && CalLRC(nullptr, size) == 256 &&
                  CalXOR(nullptr, size) == 0,
              "no bytes have the checksum of none");
        const int digit = input_.below(16);
        claim(ASCIIToDigital(DigitalToASCII(digit)) == digit, "a digit comes back");
        DigitalToASCII(input_.below(256));
        ASCIIToDigital(input_.below(256));
        claim(QueryFinishFlag() == 1, "there is no background work");
    }

    static bool isBitType(int regType) { return regType >= 0 && regType <= 3; }
    static bool isPairType(int regType) { return regType == 6 || regType == 7; }

    static int outputSize(int regType, int count)
    {
        const int units = std::max(count, 0);
        if (isBitType(regType))
            return units;
        return isPairType(regType) ? (units + 1) / 2 * 4 : units * 2;
    }

    void getValues()
    {
        const int regType = input_.below(12) - 1;
        const QString text = addressText();
        const int count = std::min(input_.number(), 4 * kMostValues);
        const QHash<quint64, QByteArray> before = PLC_driver.registerCache;
        QByteArray out = toQt(input_.bytes(4));
        const int result = GetRegisterData(QString(), regType, text, input_.below(3), &out, count);
        const bool parsed = PLCAddressChangeIntef(regType, text) >= 0;
        claim(result == (parsed ? 1 : 0), "values are given for an address that can be read");
        claim(out.size() == (parsed ? outputSize(regType, count) : std::max(count, 0) * 2),
              "the output has the size that the count asks for");
        claim(before == PLC_driver.registerCache, "reading changes nothing");
        claim(GetRegisterData(QString(), regType, text, 1, nullptr, count) == 0, "no output is refused");
    }

    void setValues()
    {
        const int regType = input_.below(12) - 1;
        const QString text = addressText();
        const int count = std::min(input_.number(), kMostValues);
        const int station = input_.below(3);
        QByteArray values = toQt(input_.bytes(60));
        if (regType == 0 || regType == 3) {
            for (char &value : values)
                value = static_cast<char>(value & 1);
        }
        const QByteArray given = values;
        const std::map<Ids, int> before = countWrites();
        const int length = PLC_driver.writeList.size();
        const int hostId = ++lastId_;
        const int result = SetRegisterData(QString(), regType, text, station, &values, count, hostId, 0);
        claim(values == given, "the runtime's values are only read");
        claim(SetRegisterData(QString(), regType, text, station, nullptr, count, hostId, 0) == 0,
              "no values are refused");

        const bool parsed = PLCAddressChangeIntef(regType, text) >= 0;
        claim(result == (parsed ? PLC_driver.writeList.size() : 0),
              "the result is the length of the write list");
        if (!parsed || runtime_.info.writeMode != 2)
            claim(PLC_driver.writeList.size() == length, "nothing is queued unless writes are to be sent");
        claim(PLC_driver.writeList.size() <= std::max(length, kListLimit), "a full list takes nothing more");
        for (const auto &[ids, entries] : countWrites())
            claim(ids.first == hostId || entries <= before.at(ids), "only the new write adds entries");
        if (parsed && runtime_.info.writeMode != 2)
            claimComesBack(regType, text, station, given, count);
    }

    /// Values that went into the mirror alone are read back as they were, missing ones as zeros.
    void claimComesBack(int regType, const QString &text, int station, const QByteArray &given, int count)
    {
        const bool writable = regType == 0 || regType == 3 || regType == 5 || regType >= 7;
        // At the very end of the numbers addresses wrap and elements fall on each other.
        if (!writable || count < 1 || PLCAddressChangeIntef(regType, text) > INT_MAX - 4 * kMostValues)
            return;
        QByteArray out;
        GetRegisterData(QString(), regType, text, station, &out, count);
        QByteArray expected = given.left(out.size());
        expected.append(QByteArray(out.size() - expected.size(), '\0'));
        claim(out == expected, "a value that was written is read back");
    }

    void cycle()
    {
        buildRequest();
        for (int calls = 1 + input_.below(3); calls > 0; --calls)
            answer();
    }

    /// A request that is built now is not for a switched-off station, unless a priority level chose it.
    void buildRequest()
    {
        const bool idle = PLC_driver.sendQueue.isEmpty();
        const QList<RW_VAR> before = PLC_driver.writeList;
        const std::size_t reported = runtime_.reports.size();
        const Protocol *const head = ComCommunication(input_.byte());
        claim((head == nullptr) == PLC_driver.sendQueue.isEmpty(), "a transaction in progress is given");
        // Without one, asking again is a new choice: a burst of writes that nothing else followed has just
        // ended.
        claim(!head || head == ComCommunication(0), "the transaction in progress stays the same");
        claim(PLC_driver.sendQueue.size() <= 2, "an operation has two transactions at most");
        claim(runtime_.reports.size() == reported, "choosing a request reports nothing");
        if (!idle)
            claim(PLC_driver.writeList.size() == before.size(), "nothing is dropped while a request waits");
        const int dropped = before.size() - PLC_driver.writeList.size();
        for (int i = 0; i < dropped; ++i)
            claim(off_.count(before.at(i).station) == 1, "only writes of switched-off stations are dropped");
        for (int i = dropped; i < before.size(); ++i)
            claim(idsOf(before.at(i)) == idsOf(PLC_driver.writeList.at(i - dropped)),
                  "the others keep their order");
        if (!idle || !head)
            return;
        if (PLC_driver.servingList == 1)
            claim(off_.count(head->var.station) == 0, "a switched-off station gets no write");
        claimGoodFrame(*head);
    }

    void claimGoodFrame(const Protocol &head) const
    {
        claim(head.sendLen == head.frame.size() && head.sendLen >= 6, "a frame is sent whole");
        if (runtime_.info.linkMode == 0)
            return claim(hasGoodCrc(head.frame, (runtime_.info.options >> 7 & 1u) != 0),
                         "a request has a good CRC");
        int sum = 0;
        for (int i = 0; i + 1 < head.frame.size(); ++i)
            sum += byteOf(head.frame, i);
        claim((sum & 0xFF) == byteOf(head.frame, head.frame.size() - 1), "a relay frame has a good sum");
    }

    QByteArray replyTo(const Protocol &head)
    {
        const int kind = input_.below(8);
        if (kind == 0)
            return QByteArray();
        if (kind == 1)
            return toQt(input_.bytes(40));
        QByteArray reply(
            1, static_cast<char>(runtime_.info.linkMode == 0 ? byteOf(head.frame, 0) : head.var.station));
        if (head.headerLen == 3) {
            reply.append(head.frame.at(1)).append(static_cast<char>(head.dataLen));
            reply.append(QByteArray(head.dataLen & 0xFF, static_cast<char>(input_.byte())));
        } else {
            reply.append(head.frame.mid(1, 5));
        }
        appendCrc(&reply, (runtime_.info.options >> 8 & 1u) != 0);
        return kind == 2 ? reply.left(input_.byte()) : reply;
    }

    /// One call of DataCom, and what it does to the ledger of writes.
    void answer()
    {
        QByteArray reply;
        if (!PLC_driver.sendQueue.isEmpty())
            reply = replyTo(PLC_driver.sendQueue.first());
        const std::map<Ids, int> before = countWrites();
        const int serving = PLC_driver.servingList;
        const int queued = PLC_driver.sendQueue.size();
        const std::size_t reported = runtime_.reports.size();
        const int length = input_.below(16) == 15 ? input_.number() : reply.size();
        const RW_VAR *const result = DataCom(input_.below(32) == 31 ? nullptr : &reply, length);

        claim(result == &PLC_driver.retVar && result->data.isEmpty(), "DataCom returns its own record");
        claimStatus(result->status);
        claim(PLC_driver.sendQueue.size() <= queued, "an answer starts nothing");
        const std::vector<Report> reports(runtime_.reports.begin() + static_cast<std::ptrdiff_t>(reported),
                                          runtime_.reports.end());
        claim(reports.size() <= 1, "one operation ends at a time");
        if (PLC_driver.sendQueue.size() == queued)
            claim(reports.empty(), "nothing is reported while the transaction goes on");
        for (const Report &report : reports)
            claim((report.outcome == kOutcomeDone) == isDone(result->status),
                  "the outcome is that of the transaction");
        claimLedger(before, countWrites(), serving == 1 ? reports : std::vector<Report>());
    }

    static void claimStatus(int status)
    {
        bool band = false;
        for (const int first : {kBandBadReply, kBandReplyMissing, kBandWrongLength, kBandRelayBadReply,
                                kBandRelayReplyMissing, kBandRelayWrongLength})
            band = band || isInBand(status, first);
        claim(status == kResultPending || isDone(status) || band,
              "the status is one that the interface knows");
    }

    /// Writes end one by one, the last entry with the same identifiers with a report; a failure ends all of
    /// them.
    static void claimLedger(const std::map<Ids, int> &before, std::map<Ids, int> after,
                            const std::vector<Report> &reports)
    {
        std::vector<Ids> ended;
        for (const auto &[ids, entries] : before) {
            const int left = after[ids];
            claim(left <= entries, "an answer adds no write");
            if (left < entries && left > 0)
                claim(left == entries - 1 && reports.empty(),
                      "of a split write one piece ends, without a report");
            if (left == 0)
                ended.push_back(ids);
        }
        claim(ended.size() == reports.size(), "every write that has ended is reported once");
        for (const Report &report : reports)
            claim(ended.front() == Ids(report.hostId, report.hostSubId) && report.callbackArg == 77,
                  "the report is that of the write that has ended");
        for (const Ids &ids : ended)
            claim(before.at(ids) == 1 || reports.front().outcome == kOutcomeFailed,
                  "several pieces end at once only by a failure");
    }

    void claimBounded() const
    {
        claim(PLC_driver.writeList.size() <= kListLimit + kMostCalls, "the write list is bounded");
        claim(PLC_driver.onceReadList.size() <= kListLimit + kMostCalls,
              "the list of one-shot reads is bounded");
        claim(PLC_driver.spareList.isEmpty() && PLC_driver.extendList.isEmpty(), "spare lists stay empty");
        claim(PLC_driver.writeCount.load() == PLC_driver.writeList.size(),
              "the count of writes is up to date");
    }

    Input &input_;
    Runtime runtime_;
    std::set<int> off_; ///< switched-off stations
    int lastId_ = 0;
};

} // namespace

} // namespace plc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    plc::fuzz::Input input(data, size);
    plc::fuzz::Session(&input).play();
    return 0;
}
