#include "runtime/master/echo_check.h"

#include <algorithm>

#include "core/options.h"
#include "core/register_types.h"
#include "core/result_codes.h"
#include "runtime/line/reply_search.h"
#include "runtime/line/rtu_layout.h"
#include "runtime/master/request_ids.h"

namespace plc::runtime {

namespace {

/// A read of the one register or coil at which the write @p frame begins.
QByteArray readBefore(const QByteArray &frame, bool isCoil, bool crcHighFirst)
{
    constexpr int kPlaceEnd = 4; // station, function, address
    QByteArray read = frame.left(kPlaceEnd);
    read[1] = static_cast<char>(isCoil ? kReadCoils : kReadHoldingRegisters);
    read.append('\0').append('\1');
    const unsigned crc = crcOf(read.constData(), read.size());
    const char low = static_cast<char>(crc & 0xFFu);
    const char high = static_cast<char>(crc >> 8);
    return read.append(crcHighFirst ? high : low).append(crcHighFirst ? low : high);
}

/// In any attempt of the read, not in the last alone.
bool hasEchoed(const TransactionReport &report)
{
    return report.echoHeard ||
           std::any_of(report.missed.begin(), report.missed.end(), [](const MissedAttempts &group) {
               return group.miss.kind == Miss::Kind::Echo || group.miss.alsoEcho;
           });
}

} // namespace

EchoCheck::Fate EchoCheck::fateOf(const Request &request, Time now) const
{
    // No function: a relay frame, whose echo looks like no reply. No answer is due to a broadcast.
    const bool mayPassUnseen = isOn_ && isWriteFunction(request.function) && request.station != 0;
    if (!mayPassUnseen || free_.count(request.station) > 0)
        return Fate::Free;
    if (busyTicket_ != 0 && busyTicket_ == request.hostSubId)
        return Fate::LineBusy;
    const auto silent = silent_.find(request.station);
    if (silent != silent_.end() && now < silent->second)
        return Fate::Free;
    const auto refused = echoOnly_.find(request.station);
    return refused != echoOnly_.end() && now < refused->second ? Fate::OnlyEcho : Fate::ToCheck;
}

Protocol *EchoCheck::begin(const Request &write)
{
    const bool isCoil = write.function == kWriteSingleCoil || write.function == kWriteMultipleCoils;
    head_ = Protocol();
    head_.frame = readBefore(write.frame, isCoil, hasOption(info_.options, kOptionSwapRequestCrc));
    head_.sendLen = head_.frame.size();
    head_.replyLen = kReplyOpen;
    head_.var.hostId = kEchoCheckHostId;
    head_.var.hostSubId = write.hostSubId;
    head_.var.regType = isCoil ? kCoil : kHoldingRegister;
    head_.var.address =
        static_cast<unsigned char>(write.frame.at(2)) * 256 + static_cast<unsigned char>(write.frame.at(3));
    head_.var.station = write.station;
    head_.var.count = 1;
    isUnderWay_ = true;
    busyTicket_ = 0;
    return &head_;
}

int EchoCheck::judge(const QByteArray &reply)
{
    if (reply.isEmpty()) {
        const bool isRepeated = lastEnd_ == AttemptEnd::Unusable && info_.retryCount < info_.retryLimit;
        info_.retryCount += isRepeated ? 1 : 0;
        return isRepeated ? kResultPending : kResultNoReply;
    }
    // A cycle that does not check replies hands over whatever has come.
    const bool crcHighFirst = hasOption(info_.options, kOptionSwapReplyCrc);
    const Found found = findReply(reply, modbusReplyShape(head_.frame, crcHighFirst, true), true).found;
    if (found != Found::Reply && found != Found::Exception)
        return kResultPending;
    head_.replyLen = reply.size();
    return kResultDone;
}

void EchoCheck::ended(const TransactionReport &report)
{
    if (!isOn_)
        return;
    if (isUnderWay_)
        endedCheck(report);
    if (report.cause == AttemptEnd::Good || report.cause == AttemptEnd::Exception) {
        free_.insert(report.request.station);
        silent_.erase(report.request.station);
        echoOnly_.erase(report.request.station);
    }
}

void EchoCheck::endedCheck(const TransactionReport &report)
{
    isUnderWay_ = false;
    switch (report.cause) {
    case AttemptEnd::Unusable: // or noise, which is no echo
    case AttemptEnd::NoReply:
        (hasEchoed(report) ? echoOnly_ : silent_)[report.request.station] = report.endedAt + kVerdictLasts;
        break;
    case AttemptEnd::LineBusy:
        busyTicket_ = report.request.hostSubId;
        break;
    case AttemptEnd::Good:
    case AttemptEnd::Exception:
    case AttemptEnd::NoReplyDue:
    case AttemptEnd::Withheld:
    case AttemptEnd::PortLost:
        break;
    }
}

void EchoCheck::forget()
{
    free_.clear();
    silent_.clear();
    echoOnly_.clear();
    busyTicket_ = 0;
}

} // namespace plc::runtime
