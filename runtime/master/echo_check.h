/// @file
/// The read that goes before the first write to a station, on a line of which nobody knows yet whether it
/// hands back what is sent.
#ifndef PLC_MASTER_ECHO_CHECK_H
#define PLC_MASTER_ECHO_CHECK_H

#include <QByteArray>

#include <map>
#include <set>

#include "core/records.h"
#include "runtime/master/cycle.h"

namespace plc::runtime {

/// Says of each write whether it may go out. The echo of a single write is byte for byte its good reply, so
/// that on a line that echoes a write to a station that is not there would be reported as done. The echo of
/// a read is never its reply: so one is sent first, unless the station has answered anything before. Plain
/// silence lets the write go out as well as any answer does, but for a while only; where nothing but the echo
/// comes, it is refused.
///
/// The read is a transaction of its own, which the driver does not know of. Told what happens; no clock
/// inside. Not locked.
class EchoCheck
{
public:
    /// For so long further writes to a station that has not answered have the same fate without another read.
    static constexpr Time kVerdictLasts = std::chrono::seconds(10);

    enum class Fate
    {
        Free,     ///< the request may go out
        ToCheck,  ///< not before the read has ended
        OnlyEcho, ///< refused: nothing but the echo came
        LineBusy  ///< the line never fell silent for the read
    };

    /// @param isOn  false lets everything go out.
    /// @param info  the settings record of the driver; outlives the check.
    EchoCheck(bool isOn, COM_INFO &info) : isOn_(isOn), info_(info) {}

    Fate fateOf(const Request &request, Time now) const;

    /// The read that goes before @p write: of its first register or coil, by the station that its frame is
    /// addressed to. The record is the next transaction's, until ended() is called.
    Protocol *begin(const Request &write);
    /// The read that has begun; null for none.
    Protocol *head() { return isUnderWay_ ? &head_ : nullptr; }
    bool isUnderWay() const { return isUnderWay_; }
    /// As CycleDriver::judge(), for the read.
    int judge(const QByteArray &reply);
    /// An attempt of the read has ended so. Only where something came that is no answer it is repeated.
    void attemptEnded(AttemptEnd end) { lastEnd_ = end; }

    /// Takes the end of every transaction, the read's among them.
    void ended(const TransactionReport &report);
    /// Behind the port there may be another line from now on.
    void forget();

private:
    void endedCheck(const TransactionReport &report);

    bool isOn_;
    COM_INFO &info_;
    Protocol head_;
    bool isUnderWay_ = false;
    AttemptEnd lastEnd_ = AttemptEnd::NoReply;
    int busyTicket_ = 0;           ///< of the write for whose read the line never fell silent; 0 = none
    std::set<int> free_;           ///< stations that have answered
    std::map<int, Time> silent_;   ///< stations whose writes may go out, and until when
    std::map<int, Time> echoOnly_; ///< stations whose writes are refused, and until when
};

} // namespace plc::runtime

#endif
