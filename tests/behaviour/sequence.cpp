#include "sequence.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "random.h"

namespace plc::behaviour {

namespace {

constexpr int kWords = 50501;
constexpr int kLists = 3;
constexpr int kOptionBits[] = {0, 1, 4, 5, 6, 7, 8, 9, 10, 11};
constexpr int kReadHalfMark = -1;
constexpr int kReplyNotFoundYet = -1;

using Bytes = QByteArray;

std::string text(int number)
{
    return std::to_string(number);
}

std::string hexOf(const Bytes &bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string result;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        result += digits[value >> 4];
        result += digits[value & 15];
    }
    return result.empty() ? "nothing" : result;
}

std::string quoted(const QString &words)
{
    return '"' + words.toStdString() + '"';
}

/// All fields of a record; its bytes differ from machine to machine.
std::string fieldsOf(const RW_VAR &var)
{
    std::string result = "type " + text(var.regType) + " address " + text(var.address) + " station " +
                         text(var.station) + " count " + text(var.count) + " ids " + text(var.hostId) + "/" +
                         text(var.hostSubId);
    result += " direction " + text(var.direction) + " link " + text(var.linkMode) + "/" + text(var.linkId) +
              " status " + text(var.status) + " arguments " + text(var.relayArg1) + "/" + text(var.relayArg2);
    return result + " name " + quoted(var.varName) + " text " + quoted(var.addrText) + " data " +
           hexOf(var.data);
}

/// CRC-16 bit by bit: the line must not depend on the driver's own.
unsigned crcOf(const Bytes &bytes)
{
    unsigned crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int i = 0; i < 8; ++i)
            crc = (crc & 1u) != 0 ? (crc >> 1) ^ 0xA001u : crc >> 1;
    }
    return crc;
}

int byteAt(const Bytes &bytes, int at)
{
    return at < bytes.size() ? static_cast<unsigned char>(bytes.at(at)) : 0;
}

Bytes fromNumbers(std::initializer_list<int> numbers)
{
    Bytes bytes;
    for (const int number : numbers)
        bytes.append(static_cast<char>(static_cast<unsigned char>(number & 0xFF)));
    return bytes;
}

const char *const kEvents[] = {
    // what is called
    "before the settings",
    "null refused",
    "settings handed over",
    "settings changed behind the back",
    "retry count cleared",
    "block limit 1",
    "block limit of several",
    "block limit 100",
    "block limit corrected",
    "station mode 0",
    "station mode 1",
    "link mode relay",
    "link mode Modbus",
    "write mode 2",
    "write mode of the mirror",
    "station overridden",
    "option bit 0",
    "option bit 1",
    "option bit 4",
    "option bit 5",
    "option bit 6",
    "option bit 7",
    "option bit 8",
    "option bit 9",
    "option bit 10",
    "option bit 11",
    "option bits without a meaning",
    "values set, type 0",
    "values set, type 1",
    "values set, type 2",
    "values set, type 3",
    "values set, type 4",
    "values set, type 5",
    "values set, type 6",
    "values set, type 7",
    "values set, type 8",
    "values set, type 9",
    "values set, no type",
    "values refused",
    "values of a whole area",
    "values in several requests",
    "values read, type 0",
    "values read, type 1",
    "values read, type 2",
    "values read, type 3",
    "values read, type 4",
    "values read, type 5",
    "values read, type 6",
    "values read, type 7",
    "values read, type 8",
    "values read, type 9",
    "values read, no type",
    "values read, bad address",
    "values other than zero read",
    "write added",
    "write merged",
    "write list full",
    "cyclic read added",
    "once read added as it is",
    "once read split",
    "once read queued already",
    "once read refused",
    "once list full",
    "rebuild",
    "rebuild with nothing",
    "rebuild of a large panel",
    "rebuild with priority reads",
    "rebuild with null elements",
    "name rows",
    "station switched off",
    "station switched on",
    "all stations switched on",
    "helpers called",
    "callbacks removed",
    "callback calls the driver",
    // what is sent
    "nothing to send",
    "request of function 1",
    "request of function 2",
    "request of function 3",
    "request of function 4",
    "request of function 5",
    "request of function 6",
    "request of function 15",
    "request of function 16",
    "request without a function",
    "relay read",
    "relay write",
    "broadcast",
    "bit write from the mirror",
    "read half of a bit write",
    "write half of a bit write",
    "five writes in a row",
    "five once reads in a row",
    "priority level 1 served",
    "priority level 2 served",
    "priority level 3 served",
    "priority level 4 served",
    "write of a switched-off station dropped",
    "once read of a switched-off station dropped",
    "cyclic reads all switched off",
    "the same request again",
    // what comes back
    "good reply",
    "reply in pieces",
    "noise before a reply",
    "noise behind a reply",
    "noise alone",
    "bad CRC",
    "reply of another station",
    "exception reply",
    "reply with too little data",
    "reply with too much data",
    "late reply",
    "silence",
    "no buffer",
    "found reply handed over damaged",
    "found reply handed over cut",
    "found reply taken away",
    "wrong length told",
    "unasked reply",
    // what it comes to
    "result 0",
    "result 1",
    "result 100",
    "result 41 for silence",
    "result 11",
    "result 12 to 22",
    "result 41 to 52",
    "result 71",
    "result 72 to 82",
    "result 111",
    "result 112 to 122",
    "result 141",
    "result 142 to 152",
    "result 171",
    "result 172 to 182",
    "done reported",
    "failure reported",
    "failure callback",
    "done without a report",
    "others discarded with a failure",
    "scan done",
    "full scan after reads",
    "two steps done",
    "bit write failed half way",
};

class Player
{
public:
    Player(LoadedDriver &driver, int number, EventCounts &events)
        : driver_(driver), object_(*driver.object), random_(static_cast<std::uint64_t>(number) + 1),
          events_(events), words_(kWords, 0)
    {
        std::memset(&info_, 0x5A, sizeof info_);
        info_.retryCount = info_.stepTotal = info_.stepDone = info_.scanDone = 0;
        current_ = this;
    }
    ~Player() { current_ = nullptr; }
    Player(const Player &) = delete;
    Player &operator=(const Player &) = delete;

    Transcript play()
    {
        driver_.renew();
        // Stations, areas and addresses close together meet more often.
        narrow_ = random_.percent(60);
        busy_ = random_.between(30, 70);
        faults_ = random_.pick({5, 20, 50});
        if (random_.oneIn(12)) {
            for (int i = random_.between(1, 6); i > 0; --i) {
                happened("before the settings");
                callOne();
            }
        }
        setCallbacks();
        handOver(true);
        if (random_.oneIn(50))
            fillLists();
        for (int i = random_.between(20, 90); i > 0; --i)
            callOne();
        lookAtTheEnd();
        // What the object still holds belongs to this sequence.
        driver_.renew();
        return transcript_;
    }

private:
    // ---------------------------------------------------------------------------------------------- writing
    // down

    void happened(const std::string &event)
    {
        const auto found = events_.find(event);
        if (found == events_.end())
            throw std::logic_error("no event of this name: " + event);
        ++found->second;
    }

    int length(int list) const
    {
        return list == 0   ? object_.readList.size()
               : list == 1 ? object_.writeList.size()
                           : object_.onceReadList.size();
    }

    void log(const std::string &asked, std::string found)
    {
        found += "; lists: reads " + text(length(0)) + ", writes " + text(length(1)) + ", once " +
                 text(length(2)) + ", to send " + text(object_.sendQueue.size()) + ", levels";
        for (const QList<RW_VAR> &level : object_.priorityReads)
            found += " " + text(level.size());
        found += ", mirror " + text(object_.registerCache.size());
        found += "; settings: scan done " + text(info_.scanDone) + ", retries " + text(info_.retryCount) +
                 ", steps " + text(info_.stepDone) + " of " + text(info_.stepTotal);
        for (const std::string &told : told_)
            found += "; " + told;
        told_.clear();
        transcript_.push_back({asked, found});
    }

    // -------------------------------------------------------------------------------------------------
    // callbacks

    static void onResult(int argument, int hostId, int hostSubId, int outcome)
    {
        current_->happened(outcome == 1 ? "done reported" : "failure reported");
        current_->tell("result callback: argument " + text(argument) + " ids " + text(hostId) + "/" +
                       text(hostSubId) + " outcome " + text(outcome));
    }

    static void onFailure(QList<RW_VAR> *list, int hostId, int one)
    {
        current_->happened("failure callback");
        current_->tell(
            "failure callback: " + (list ? text(list->size()) + " entries" : std::string("no list")) +
            ", id " + text(hostId) + ", " + text(one));
    }

    // Notes a callback; some runtimes call the driver from there, as far as that is allowed.
    void tell(std::string what)
    {
        ++reports_;
        if (callsBack_) {
            happened("callback calls the driver");
            Bytes values;
            const int result = driver_.GetRegisterData(QString(), 5, QLatin1String("2"), 1, &values, 4);
            what += " (reads " + hexOf(values) + " " + text(result);
            if (info_.writeMode != 2) {
                Bytes value = fromNumbers({hostWrites_ & 0xFF, 1});
                ++hostWrites_;
                what += ", sets " +
                        text(driver_.SetRegisterData(QString(), 5, QLatin1String("3"), 1, &value, 1, 1, 1));
            }
            what += ")";
        }
        told_.push_back(what);
    }

    void setCallbacks()
    {
        const int kind = random_.below(8);
        const bool result = kind != 0, failure = kind > 1;
        callsBack_ = kind > 5;
        if (!result || !failure)
            happened("callbacks removed");
        driver_.RegistCallBackFuncIntf(result ? onResult : nullptr, failure ? onFailure : nullptr);
        log("RegistCallBackFuncIntf(" + text(result) + ", " + text(failure) + ")", "done");
    }

    // ---------------------------------------------------------------------------------------- arguments of
    // calls

    int anyType() { return random_.oneIn(25) ? random_.pick({-1, 10, 77}) : random_.below(10); }

    int anyStation()
    {
        if (random_.oneIn(20))
            return random_.pick({0, 247, 255, 256, 257, -1});
        return narrow_ ? random_.between(1, 2) : random_.between(1, 4);
    }

    int anyAddress()
    {
        if (random_.oneIn(20))
            return random_.pick({65535, 65530, 65536, -1, 1 << 20, 0x7FFFFFFF});
        return random_.below(narrow_ ? 24 : 140);
    }

    int anyCount()
    {
        if (random_.oneIn(12))
            return random_.pick({0, -1, 17, 33, 64, 101, 130, 256, 300});
        return random_.oneIn(2) ? 1 : random_.between(1, 9);
    }

    int anyId() { return random_.oneIn(6) ? random_.pick({-1, 0, 11, 12, 300}) : random_.between(1, 12); }

    QString addressText(int regType)
    {
        if (random_.oneIn(25))
            return QLatin1String(random_.pick(
                {"", "abc", " 7", "+7", "-3", "1.2.3", "7x", "0x10", "99999999999", ".", "3.", ".5"}));
        std::string words = text(anyAddress());
        if (regType == 2 || regType == 3)
            words += "." + text(random_.oneIn(10) ? random_.between(16, 40) : random_.below(16));
        return QString::fromStdString(words);
    }

    Bytes randomBytes(int size)
    {
        Bytes bytes;
        for (int i = 0; i < size; ++i)
            bytes.append(random_.byte());
        return bytes;
    }

    // One byte a bit, in the layout of the runtime.
    Bytes randomBits(int size)
    {
        Bytes bytes;
        for (int i = 0; i < size; ++i)
            bytes.append(static_cast<char>(random_.oneIn(40) ? 2 : random_.below(2)));
        return bytes;
    }

    Bytes valuesFor(int regType, int count)
    {
        const int some = std::min(std::max(count, 0), 400);
        Bytes values =
            regType < 4 ? randomBits(some) : randomBytes(regType == 7 ? 2 * (some + some % 2) : 2 * some);
        if (random_.oneIn(12))
            values.truncate(random_.below(values.size() + 1));
        return values;
    }

    RW_VAR anyVariable(int direction)
    {
        RW_VAR var;
        var.direction = direction;
        var.regType = anyType();
        if (random_.percent(60))
            var.regType = random_.pick({0, 1, 4, 5});
        var.address = anyAddress();
        var.addrText = addressText(var.regType);
        var.station = anyStation();
        var.count = anyCount();
        var.hostId = anyId();
        var.hostSubId = random_.oneIn(8) ? anyId() : 1;
        var.linkMode = info_.linkMode;
        var.linkId = random_.oneIn(8) ? 2 : linkId_;
        var.varName = QString::fromStdString("v" + text(random_.below(5)));
        if (random_.oneIn(10))
            var.relayArg1 = random_.between(1, 900);
        var.relayArg2 = random_.oneIn(10) ? random_.between(-1, 70000) : 0;
        return var;
    }

    // ------------------------------------------------------------------------------------------------ the
    // calls

    void callOne()
    {
        if (random_.percent(busy_))
            return cycle();
        switch (random_.below(20)) {
        case 0:
        case 1:
        case 2:
        case 3:
            return setValues();
        case 4:
        case 5:
            return getValues();
        case 6:
        case 7:
        case 8:
            return addWrite();
        case 9:
        case 10:
            return addOnceRead();
        case 11:
            return addRead();
        case 12:
        case 13:
            return rebuild();
        case 14:
            return passNames();
        case 15:
            return switchStation();
        case 16:
            return random_.oneIn(2) ? helpers() : convertAddress();
        case 17:
            return changeBehindTheBack();
        case 18:
            return random_.oneIn(2) ? handOver(false) : refuseNull();
        default:
            return random_.oneIn(3) ? setCallbacks() : setValues();
        }
    }

    void handOver(bool first)
    {
        if (first || random_.oneIn(2)) {
            info_.options = 0;
            for (const int bit : kOptionBits) {
                if (random_.oneIn(5))
                    info_.options |= 1u << bit;
            }
            if (random_.oneIn(4)) {
                info_.options |= random_.bits() & 0xFFFFF00Cu;
                happened("option bits without a meaning");
            }
        }
        if (first || random_.oneIn(3)) {
            info_.maxBlock = random_.oneIn(3) ? 100 : random_.oneIn(5) ? 1 : random_.between(2, 20);
            if (random_.oneIn(8))
                info_.maxBlock = random_.pick({0, -5, 101, 0x7FFFFFFF});
            info_.stationMode = random_.oneIn(6) ? 0 : 1;
            info_.defaultStation = random_.oneIn(8) ? 0 : anyStation();
            info_.retryLimit = random_.pick({0, 0, 1, 2, 3, -1});
            info_.linkMode = random_.oneIn(4) ? random_.between(1, 2) : 0;
            info_.linkId = linkId_ = random_.oneIn(4) ? 7 : 0;
            info_.writeMode = random_.oneIn(8) ? random_.pick({0, 1, 3}) : 2;
            info_.callbackArg = random_.between(-1, 99);
        }
        const int asked = info_.maxBlock;
        happened("settings handed over");
        happened(info_.stationMode == 0 ? "station mode 0" : "station mode 1");
        happened(info_.linkMode == 0 ? "link mode Modbus" : "link mode relay");
        happened(info_.writeMode == 2 ? "write mode 2" : "write mode of the mirror");
        for (const int bit : kOptionBits) {
            if ((info_.options >> bit & 1u) != 0)
                happened("option bit " + text(bit));
        }
        driver_.SetComInfo(&info_);
        isHandedOver_ = true;
        options_ = info_.options;
        happened(info_.maxBlock != asked ? "block limit corrected"
                 : asked == 1            ? "block limit 1"
                 : asked == 100          ? "block limit 100"
                                         : "block limit of several");
        log("SetComInfo(block limit " + text(asked) + ", " + settingsText() + ")",
            "block limit " + text(info_.maxBlock) + ", reserved " + text(info_.reserved40) + " " +
                text(info_.reserved52));
        overrideStation();
    }

    std::string settingsText() const
    {
        return "options " + std::to_string(info_.options) + ", station mode " + text(info_.stationMode) +
               ", default station " + text(info_.defaultStation) + ", retry limit " + text(info_.retryLimit) +
               ", link " + text(info_.linkMode) + "/" + text(info_.linkId) + ", write mode " +
               text(info_.writeMode) + ", argument " + text(info_.callbackArg);
    }

    void overrideStation()
    {
        const bool none = random_.oneIn(4);
        words_[kWords - 1] =
            static_cast<unsigned short>(random_.oneIn(12) ? random_.pick({1, 9, 0x0103}) : 0);
        if (!none && words_[kWords - 1] != 0)
            happened("station overridden");
        driver_.FlashLocalRegister(nullptr, none ? nullptr : words_.data(), nullptr);
        log("FlashLocalRegister(" +
                (none ? std::string("no words") : "override " + text(words_[kWords - 1])) + ")",
            "done");
    }

    void changeBehindTheBack()
    {
        happened("settings changed behind the back");
        switch (random_.below(7)) {
        case 0:
            info_.retryLimit = random_.between(0, 2);
            break;
        case 1:
            info_.maxBlock = random_.pick({1, 3, 10, 100, 0, 120});
            break;
        case 2:
            info_.writeMode = random_.pick({0, 2, 2});
            break;
        case 3:
            info_.linkId = linkId_ = random_.pick({0, 7});
            break;
        case 4:
            info_.linkMode = random_.oneIn(3) ? 1 : 0;
            break;
        case 5:
            info_.stationMode = random_.below(2);
            break;
        default:
            info_.retryCount = 0;
            happened("retry count cleared");
            break;
        }
        log("settings changed: block limit " + text(info_.maxBlock) + ", " + settingsText(), "done");
    }

    void setValues()
    {
        int type = anyType(), count = anyCount();
        const int station = anyStation();
        if (random_.oneIn(600)) {
            type = random_.pick({0, 5, 7});
            count = random_.pick({65536, 65537, 65535});
        }
        const QString place = addressText(type);
        Bytes values = valuesFor(type, count);
        const int hostId = anyId(), hostSubId = random_.oneIn(3) ? anyId() : 1;
        const int before = length(1);
        const int result = driver_.SetRegisterData(QLatin1String("name"), type, place, station, &values,
                                                   count, hostId, hostSubId);
        happened("values set, " + (type >= 0 && type < 10 ? "type " + text(type) : std::string("no type")));
        if (isHandedOver_ && result == 0)
            happened("values refused");
        if (count >= 65535 && length(1) > before)
            happened("values of a whole area");
        if (length(1) > before + 1)
            happened("values in several requests");
        log("SetRegisterData(type " + text(type) + ", " + quoted(place) + ", station " + text(station) +
                ", " + hexOf(values) + ", count " + text(count) + ", ids " + text(hostId) + "/" +
                text(hostSubId) + ")",
            "returns " + text(result));
    }

    void getValues()
    {
        const int type = anyType(), station = anyStation();
        int count = random_.oneIn(3) ? anyCount() : random_.between(1, 40);
        const QString place = addressText(type);
        Bytes out = "left from before";
        const int result = driver_.GetRegisterData(QString(), type, place, station, &out, count);
        happened("values read, " + (type >= 0 && type < 10 ? "type " + text(type) : std::string("no type")));
        if (isHandedOver_ && result == 0)
            happened("values read, bad address");
        if (out.count('\0') < out.size())
            happened("values other than zero read");
        log("GetRegisterData(type " + text(type) + ", " + quoted(place) + ", station " + text(station) +
                ", count " + text(count) + ")",
            "returns " + text(result) + " and " + hexOf(out));
    }

    void addWrite()
    {
        RW_VAR var = anyVariable(1);
        if (random_.percent(70))
            var.regType = random_.pick({0, 3, 5, 7, 8, 9});
        if (random_.percent(35) && hasLastWrite_) {
            // The same place again, with another value.
            var.regType = lastWrite_.regType;
            var.address = lastWrite_.address;
            var.station = lastWrite_.station;
            var.count = lastWrite_.count;
        }
        const int some = std::min(std::max(var.count, 0), 120);
        const int size = var.regType < 4    ? (var.regType == 0 ? (some + 7) / 8 : 1)
                         : var.regType == 7 ? 4 * some
                                            : 2 * some;
        var.data = randomBytes(size);
        if (random_.oneIn(12))
            var.data.truncate(random_.below(size + 1));
        if (var.regType == 3 || (var.regType == 0 && var.count == 1))
            var.data = Bytes(1, static_cast<char>(random_.below(2)));
        lastWrite_ = var;
        hasLastWrite_ = true;
        const int mode = random_.oneIn(3) ? 1 : random_.pick({0, 0, 0, 2});
        const int before = length(1);
        const std::string asked = "AddListWriteVar(" + fieldsOf(var) + ", mode " + text(mode) + ")";
        const int result = driver_.AddListWriteVar(&var, mode);
        if (length(1) > before)
            happened("write added");
        else if (isHandedOver_)
            happened(before >= 1024 ? "write list full" : "write merged");
        log(asked, "returns " + text(result));
    }

    void addRead()
    {
        RW_VAR var = anyVariable(0);
        var.count = std::max(1, std::min(var.count, 125));
        // Taken as it is, with whatever the runtime left in it.
        var.status = random_.oneIn(8) ? plc::kPending : plc::kIdle;
        if (!random_.oneIn(10))
            var.regType = random_.pick({0, 1, 4, 5});
        const std::string asked = "AddListReadVar(" + fieldsOf(var) + ")";
        const int result = driver_.AddListReadVar(&var);
        if (isHandedOver_)
            happened("cyclic read added");
        log(asked, "returns " + text(result));
    }

    void addOnceRead()
    {
        RW_VAR var = random_.percent(25) && hasLastOnceRead_ ? lastOnceRead_ : anyVariable(0);
        lastOnceRead_ = var;
        hasLastOnceRead_ = true;
        const int mode = random_.oneIn(4) ? 1 : 0;
        const int before = length(2);
        const std::string asked = "AddListOnceReadVar(" + fieldsOf(var) + ", mode " + text(mode) + ")";
        const int result = driver_.AddListOnceReadVar(&var, mode);
        if (mode == 1 && isHandedOver_)
            happened("once read added as it is");
        else if (length(2) > before + 1)
            happened("once read split");
        else if (isHandedOver_ && result == 0)
            happened("once read refused");
        else if (isHandedOver_ && before < 1024 && length(2) == before && var.count > 0)
            happened("once read queued already");
        if (before >= 1024)
            happened("once list full");
        log(asked, "returns " + text(result) + " and " + fieldsOf(var));
    }

    void rebuild()
    {
        const bool large = random_.oneIn(15);
        const int size = random_.oneIn(12) ? 0 : large ? random_.between(80, 240) : random_.between(1, 24);
        std::vector<HostVariable> variables(static_cast<std::size_t>(size));
        QList<HostVariable *> list;
        std::string asked = "ReCreatReadVarList(";
        for (HostVariable &variable : variables) {
            const int type = anyType();
            variable.regType = static_cast<quint8>(type & 0xFF);
            variable.station = static_cast<quint8>(anyStation() & 0xFF);
            variable.addrText = large && type != 2 && type != 3
                                    ? QString::fromStdString(text(random_.below(4000)))
                                    : addressText(type);
            variable.varName = QString::fromStdString("n" + text(random_.below(9)));
            variable.count = anyCount();
            list.append(&variable);
            asked += text(variable.regType) + " " + quoted(variable.addrText) + " @" +
                     text(variable.station) + " x" + text(variable.count) + ", ";
        }
        if (random_.oneIn(10)) {
            list.insert(random_.below(list.size() + 1), nullptr);
            asked += "and a null element";
            happened("rebuild with null elements");
        }
        const int result = driver_.ReCreatReadVarList(&list);
        happened(list.isEmpty() ? "rebuild with nothing" : large ? "rebuild of a large panel" : "rebuild");
        for (const QList<RW_VAR> &level : object_.priorityReads) {
            if (!level.isEmpty()) {
                happened("rebuild with priority reads");
                break;
            }
        }
        log(asked + ")", "returns " + text(result) + "; " + contents());
    }

    void passNames()
    {
        happened("name rows");
        std::vector<NameRow> rows(static_cast<std::size_t>(random_.between(1, 6)));
        QList<NameRow *> list;
        std::string asked = "PassVarName(";
        for (NameRow &row : rows) {
            const char *const prefix =
                random_.pick({"4x", "4X", "3x", "0x", "1x", "4x_d", "3x_d", "4x_bit", "3X_BIT", "5x", ""});
            QString name = QLatin1String(prefix) + QString::fromStdString(text(anyAddress()));
            if (random_.oneIn(4))
                name += QLatin1String(".7");
            const int texts = random_.oneIn(10) ? random_.between(0, 9) : random_.between(10, 12);
            const QString level = QString::fromStdString(
                text(random_.oneIn(10) ? random_.pick({0, 5, -1}) : random_.between(1, 4)));
            for (int i = 0; i < texts; ++i)
                row.texts.append(i == texts - 1 ? name : i == 8 ? level : QString());
            list.append(random_.oneIn(15) ? nullptr : &row);
            asked += text(texts) + " texts, level " + level.toStdString() + ", " + quoted(name) + "; ";
        }
        driver_.PassVarName(&list);
        std::string found = "priority addresses";
        for (const QList<RW_VAR> &level : object_.priorityAddresses)
            found += " " + text(level.size());
        log(asked + ")", found);
    }

    void switchStation()
    {
        const int station = random_.oneIn(6) ? -1 : anyStation();
        const int enable = random_.oneIn(10) ? 2 : random_.below(2);
        happened(station < 0   ? "all stations switched on"
                 : enable == 0 ? "station switched off"
                               : "station switched on");
        const bool second = random_.oneIn(3);
        (second ? driver_.EnableEthernet : driver_.EnCommStation)(station, enable);
        log(std::string(second ? "EnableEthernet(" : "EnCommStation(") + text(station) + ", " + text(enable) +
                ")",
            text(object_.disabledStations.size()) + " switched off");
    }

    void helpers()
    {
        happened("helpers called");
        Bytes bytes = randomBytes(random_.below(40) + 1);
        auto *const start = reinterpret_cast<unsigned char *>(bytes.data());
        const auto size = static_cast<unsigned short>(random_.below(bytes.size() + 1));
        const int number = random_.oneIn(4) ? static_cast<int>(random_.bits()) : random_.between(-3, 130);
        log("helpers(" + hexOf(bytes) + ", " + text(size) + ", " + text(number) + ")",
            "CRC " + text(driver_.CalCRC(start, size)) + " sum " + text(driver_.CalSUM(start, size)) +
                " LRC " + text(driver_.CalLRC(start, size)) + " XOR " + text(driver_.CalXOR(start, size)) +
                " character " + text(driver_.DigitalToASCII(number)) + " digit " +
                text(driver_.ASCIIToDigital(number)) + " finished " + text(driver_.QueryFinishFlag()));
    }

    void convertAddress()
    {
        const int type = anyType();
        const QString place = addressText(type);
        log("PLCAddressChangeIntef(" + text(type) + ", " + quoted(place) + ")",
            "returns " + text(driver_.PLCAddressChangeIntef(type, place)));
    }

    void refuseNull()
    {
        happened("null refused");
        const int type = anyType();
        std::string found;
        driver_.SetComInfo(nullptr);
        driver_.PassVarName(nullptr);
        found += text(driver_.ReCreatReadVarList(nullptr)) + text(driver_.AddListReadVar(nullptr)) +
                 text(driver_.AddListWriteVar(nullptr, 0)) + text(driver_.AddListWriteVar(nullptr, 1)) +
                 text(driver_.AddListOnceReadVar(nullptr, 0)) + text(driver_.AddListOnceReadVar(nullptr, 1));
        found += text(driver_.GetRegisterData(QString(), type, QLatin1String("1"), 1, nullptr, 1)) +
                 text(driver_.SetRegisterData(QString(), type, QLatin1String("1"), 1, nullptr, 1, 1, 1));
        found += " " + text(driver_.CalCRC(nullptr, 3)) + " " + text(driver_.CalSUM(nullptr, 3)) + " " +
                 text(driver_.CalLRC(nullptr, 3)) + " " + text(driver_.CalXOR(nullptr, 3));
        log("null for every pointer, type " + text(type), "returns " + found);
    }

    // Lists are bounded: as many entries as they take, and some more.
    void fillLists()
    {
        long sum = 0;
        const int first = random_.below(50);
        for (int i = 0; i < 1030; ++i) {
            RW_VAR var;
            var.direction = 1;
            var.regType = 5;
            var.address = first + i;
            var.station = 1 + i % 3;
            var.count = 1;
            var.hostId = i % 40;
            var.data = fromNumbers({i, i >> 8});
            sum += driver_.AddListWriteVar(&var, 0);
            var.regType = i % 2 == 0 ? 5 : 3;
            var.direction = 0;
            var.addrText = QString::fromStdString(text(first + 2 * i) + (i % 2 == 0 ? "" : ".3"));
            var.count = i == 900 ? 900 : 1;
            sum += driver_.AddListOnceReadVar(&var, 0);
        }
        log("1030 writes and 1030 once reads, from address " + text(first),
            "results add up to " + std::to_string(sum));
        for (int i = 0; i < 3; ++i) {
            addWrite();
            addOnceRead();
        }
    }

    // ----------------------------------------------------------------------------------------------- the
    // cycle

    std::string transactionText(const Protocol &transaction) const
    {
        return "frame " + hexOf(transaction.frame) + ", send " + text(transaction.sendLen) + ", reply " +
               text(transaction.replyLen) + ", header " + text(transaction.headerLen) + ", data " +
               text(transaction.dataLen) + ", spares " + text(transaction.spare1) + text(transaction.spare2) +
               text(transaction.spare3) + ", " + fieldsOf(transaction.var);
    }

    void cycle()
    {
        const bool isNew = object_.sendQueue.isEmpty();
        const int before[kLists] = {length(0), length(1), length(2)};
        qint32 remaining[plc::kPriorityLevels];
        for (int level = 0; level < plc::kPriorityLevels; ++level)
            remaining[level] = object_.priorityClocks[level].remaining;
        const int scanBefore = info_.scanDone;

        const Protocol *const head = driver_.ComCommunication(random_.below(3));

        if (length(1) < before[1])
            happened("write of a switched-off station dropped");
        if (length(2) < before[2])
            happened("once read of a switched-off station dropped");
        if (!head) {
            if (isHandedOver_)
                happened("nothing to send");
            if (isHandedOver_ && length(0) > 0)
                happened("cyclic reads all switched off");
            if (scanBefore == 0 && info_.scanDone == 1)
                happened("scan done");
            log("ComCommunication()", "nothing");
            if (random_.oneIn(6)) {
                happened("unasked reply");
                handOverBytes(randomBytes(random_.below(9)), -1);
            }
            return;
        }
        if (isNew) {
            isRelayed_ = info_.linkMode != 0;
            noteRequest(*head);
            for (int level = 0; level < plc::kPriorityLevels; ++level) {
                if (object_.priorityClocks[level].remaining < remaining[level])
                    happened("priority level " + text(level + 1) + " served");
            }
        } else {
            happened("the same request again");
        }
        log("ComCommunication()", transactionText(*head));
        answer(*head);
    }

    void noteRequest(const Protocol &head)
    {
        if (object_.writeBurst == 5 && object_.servingList == plc::kServingWriteList)
            happened("five writes in a row");
        if (object_.onceBurst == 5 && object_.servingList == plc::kServingOnceReadList)
            happened("five once reads in a row");
        if (head.replyLen == 0)
            happened("broadcast");
        if (isRelayed_)
            return happened(head.var.direction != 0 ? "relay write" : "relay read");
        const int function = byteAt(head.frame, 1);
        if (function >= 1 && function <= 16 &&
            (head.var.regType == 0 || head.var.regType == 1 || head.var.regType == 4 ||
             head.var.regType == 5 || head.var.regType >= 7))
            happened("request of function " + text(function));
        else
            happened("request without a function");
        if (head.var.relayArg1 == kReadHalfMark)
            happened("read half of a bit write");
        else if (object_.servingList == plc::kServingWriteList && !object_.writeList.isEmpty() &&
                 object_.writeList.first().regType == 3 && hasOption(options_, kOptionBitFromMirror))
            happened("bit write from the mirror");
    }

    Bytes withCrc(Bytes bytes) const
    {
        const unsigned crc = crcOf(bytes);
        const auto low = static_cast<char>(crc & 0xFF), high = static_cast<char>(crc >> 8);
        const bool swapped = (options_ >> 8 & 1u) != 0;
        bytes.append(swapped ? high : low);
        bytes.append(swapped ? low : high);
        return bytes;
    }

    // What a station would answer. @p more  data bytes beyond those asked for, or below 0 fewer.
    Bytes replyTo(const Protocol &head, int more)
    {
        if (isRelayed_) {
            const int station = head.var.station & 0xFF;
            if (head.var.direction != 0)
                return withCrc(fromNumbers({station, 6, 0, 1, 0, 1}));
            const int size = std::min(std::max(0, head.dataLen + more), 600);
            return withCrc(fromNumbers({station, 3, size}) + randomBytes(size));
        }
        const int function = byteAt(head.frame, 1);
        if (function >= 1 && function <= 4) {
            const int size = std::min(std::max(0, head.dataLen + more), 250);
            return withCrc(head.frame.left(2) + fromNumbers({size}) + randomBytes(size));
        }
        return withCrc(head.frame.left(6));
    }

    void answer(const Protocol &head)
    {
        const Bytes late = late_;
        const bool isOpen = head.replyLen == kReplyNotFoundYet;
        if (!random_.percent(faults_)) {
            happened("good reply");
            return bring(replyTo(head, 0), isOpen);
        }
        Bytes reply = replyTo(head, 0);
        switch (random_.below(14)) {
        case 0:
        case 1:
            happened("silence");
            return handOverBytes(Bytes(), 0);
        case 2: {
            happened("reply in pieces");
            for (int size = random_.below(4); size < reply.size(); size += random_.between(1, 6))
                handOverBytes(reply.left(size), -1);
            return bring(reply, isOpen);
        }
        case 3:
            happened("noise before a reply");
            return bring(randomBytes(random_.between(1, 5)) + reply, isOpen);
        case 4:
            happened("noise behind a reply");
            return bring(reply + randomBytes(random_.between(1, 5)), isOpen);
        case 5:
            happened("noise alone");
            return bring(randomBytes(random_.between(1, 12)), isOpen);
        case 6: {
            happened("bad CRC");
            const int at = random_.below(reply.size());
            reply[at] = static_cast<char>(reply.at(at) ^ (1 << random_.below(8)));
            return bring(reply, isOpen);
        }
        case 7:
            happened("reply of another station");
            reply.chop(2);
            reply[0] = static_cast<char>(reply.at(0) + 1);
            return bring(withCrc(reply), isOpen);
        case 8:
            happened("exception reply");
            return bring(
                withCrc(fromNumbers({byteAt(reply, 0), byteAt(reply, 1) | 0x80, random_.between(1, 11)})),
                isOpen);
        case 9:
            happened("reply with too little data");
            return bring(replyTo(head, -random_.between(1, 3)), isOpen);
        case 10:
            happened("reply with too much data");
            return bring(replyTo(head, random_.between(1, 3)), isOpen);
        case 11:
            if (late.isEmpty())
                return bring(reply, isOpen);
            happened("late reply");
            return bring(random_.oneIn(2) ? late : late + reply, isOpen);
        case 12:
            happened("no buffer");
            return handOverNothing();
        default:
            happened("wrong length told");
            return handOverBytes(reply, reply.size() + random_.pick({-1, 1, 5}));
        }
    }

    // Hands bytes over, and the reply a second time when the driver has found it in them.
    void bring(const Bytes &bytes, bool isOpen)
    {
        late_ = bytes;
        handOverBytes(bytes, -1);
        if (!isOpen || object_.sendQueue.isEmpty() || object_.sendQueue.at(0).replyLen <= 0)
            return;
        Bytes found = left_;
        if (random_.percent(faults_ / 3)) {
            switch (random_.below(3)) {
            case 0:
                happened("found reply handed over damaged");
                found[found.size() - 1] = static_cast<char>(found.at(found.size() - 1) ^ 1);
                break;
            case 1:
                happened("found reply handed over cut");
                found.chop(1);
                break;
            default:
                happened("found reply taken away");
                found.clear();
                break;
            }
        }
        handOverBytes(found, -1);
    }

    void handOverNothing() { handOverTo(nullptr, 0, "DataCom(null, 0)"); }

    /// @param told  length that is told, -1 for that of the bytes.
    void handOverBytes(const Bytes &bytes, int told)
    {
        left_ = bytes;
        const int size = told < 0 ? bytes.size() : told;
        handOverTo(&left_, size, "DataCom(" + hexOf(bytes) + ", " + text(size) + ")");
    }

    void handOverTo(Bytes *bytes, int size, const std::string &asked)
    {
        const int queued = object_.sendQueue.size();
        const int before[kLists] = {length(0), length(1), length(2)};
        const bool wasReadHalf = queued > 0 && object_.sendQueue.at(0).var.relayArg1 == kReadHalfMark;
        const bool wasSilent = queued > 0 && object_.sendQueue.at(0).replyLen == kReplyNotFoundYet &&
                               (!bytes || bytes->isEmpty());
        const int scanBefore = info_.scanDone;
        const long reports = reports_;

        const RW_VAR *const record = driver_.DataCom(bytes, size);

        const int status = record->status;
        noteResult(status, wasSilent);
        const int removed = before[1] - length(1) + before[2] - length(2);
        if (removed > 1)
            happened("others discarded with a failure");
        if (removed == 1 && reports_ == reports)
            happened("done without a report");
        if (queued > 0 && scanBefore == 0 && info_.scanDone == 1)
            happened("full scan after reads");
        if (queued == 2 && object_.sendQueue.size() == 1)
            happened("write half of a bit write");
        if (info_.stepDone == 2 && queued == 1 && object_.sendQueue.isEmpty())
            happened("two steps done");
        if (wasReadHalf && object_.sendQueue.isEmpty())
            happened("bit write failed half way");
        log(asked, "result " + text(status) + ", buffer " + (bytes ? hexOf(*bytes) : std::string("null")) +
                       ", " + fieldsOf(*record) + (record == &object_.retVar ? "" : ", another record"));
    }

    void noteResult(int status, bool wasSilent)
    {
        if (status == kResultPending || isDone(status))
            return happened("result " + text(status));
        if (status == kResultNoReply && wasSilent)
            return happened("result 41 for silence");
        if (status >= 41 && status <= 52)
            return happened("result 41 to 52");
        for (const int first : {11, 71, 111, 141, 171}) {
            if (status == first)
                return happened("result " + text(first));
            if (status > first && status <= first + 11)
                return happened("result " + text(first + 1) + " to " + text(first + 11));
        }
    }

    // --------------------------------------------------------------------------------------------------- the
    // end

    std::string contents() const
    {
        std::string result;
        const auto add = [&result](const std::string &name, const QList<RW_VAR> &list) {
            for (int i = 0; i < list.size(); ++i)
                result += name + " " + text(i) + ": " + fieldsOf(list.at(i)) + "; ";
        };
        add("read", object_.readList);
        for (int level = 0; level < plc::kPriorityLevels; ++level)
            add("level " + text(level + 1) + ", read", object_.priorityReads[level]);
        return result;
    }

    void lookAtTheEnd()
    {
        log("lists of reads at the end", contents());
        std::string found;
        for (int i = 0; i < length(1); ++i)
            found += fieldsOf(object_.writeList.at(i)) + "; ";
        log("writes at the end", found);
        found.clear();
        for (int i = 0; i < length(2); ++i)
            found += fieldsOf(object_.onceReadList.at(i)) + "; ";
        log("once reads at the end", found);
        found.clear();
        for (int level = 0; level < plc::kPriorityLevels; ++level) {
            for (int i = 0; i < object_.priorityAddresses[level].size(); ++i)
                found += "level " + text(level + 1) + " " + fieldsOf(object_.priorityAddresses[level].at(i)) +
                         "; ";
        }
        log("priority addresses at the end", found);
        qint32 words[sizeof info_ / sizeof(qint32)];
        std::memcpy(words, &info_, sizeof words);
        found.clear();
        for (const qint32 word : words)
            found += text(word) + " ";
        log("settings record at the end", found);
        if (object_.registerCache.isEmpty())
            return;
        // With one-based addresses element 0 has two texts, and the last one is one further.
        for (const int station : {0, 1, 2, 3, 4, 247, 255}) {
            for (const int type : {0, 1, 4, 5}) {
                dump(type, station, 0, 180);
                if (!narrow_)
                    dump(type, station, 65528, 12);
            }
        }
    }

    void dump(int type, int station, int first, int count)
    {
        Bytes out;
        const int result = driver_.GetRegisterData(QString(), type, QString::fromStdString(text(first)),
                                                   station, &out, count);
        if (out.count('\0') == out.size())
            out.clear();
        log("mirror at the end: type " + text(type) + ", " + text(count) + " from " + text(first) +
                ", station " + text(station),
            text(result) + " " + hexOf(out));
    }

    static Player *current_; // callbacks carry no object

    LoadedDriver &driver_;
    Communication_Protocol &object_;
    Random random_;
    EventCounts &events_;
    Transcript transcript_;
    std::vector<std::string> told_;
    std::vector<unsigned short> words_;
    COM_INFO info_;
    RW_VAR lastWrite_, lastOnceRead_;
    Bytes late_, left_;
    quint32 options_ = 0;
    int linkId_ = 0, busy_ = 0, faults_ = 0, hostWrites_ = 0;
    long reports_ = 0;
    bool narrow_ = false, callsBack_ = false, isHandedOver_ = false, isRelayed_ = false;
    bool hasLastWrite_ = false, hasLastOnceRead_ = false;
};

Player *Player::current_ = nullptr;

} // namespace

Transcript play(LoadedDriver &driver, int number, EventCounts &events)
{
    return Player(driver, number, events).play();
}

EventCounts noEvents()
{
    EventCounts events;
    for (const char *const event : kEvents)
        events[event] = 0;
    return events;
}

} // namespace plc::behaviour
