/// @file
/// What speaks for a station at one setting, and what it comes to.
#ifndef PLC_FINDING_SCAN_EVIDENCE_H
#define PLC_FINDING_SCAN_EVIDENCE_H

#include <set>
#include <string>

#include "host/finding/scan_plan.h"
#include "host/finding/scan_replies.h"
#include "runtime/line/histogram.h"

namespace plc::host {

enum class FindState
{
    Good,
    BadLink,     ///< it is there, but replies come damaged
    TwoStations, ///< two stations answer to this address
    Heard        ///< not asked: it answered somebody else
};

/// A station that is there.
struct Find
{
    int station = 0;
    ScanSetting setting;
    FindState state = FindState::Good;
    std::string reason;    ///< for people; empty where there is nothing to say
    int exceptionCode = 0; ///< of its replies; 0 = values
    int asked = 0;
    int answered = 0;     ///< replies with a good CRC
    int damaged = 0;      ///< requests to which nothing but other bytes came
    bool isLate = false;  ///< a reply came only when others had been asked
    Histogram replyTimes; ///< from the end of a request to the reply
};

/// Evidence on one station.
class ScanEvidence
{
public:
    /// A station that odd replies come from is asked that often.
    static constexpr int kMostAsks = 6;

    /// @param isAlone  nothing else was on the line that could be taken for an answer.
    void asked(bool isAlone);
    void answered(const ScanReply &reply);
    /// The reply came in time, so long after the request.
    void timed(Time replyTime) { find_.replyTimes.add(replyTime); }
    void cameLate() { find_.isLate = true; }
    /// Bytes that are no reply may be one of this station.
    /// @param resembles    see resemblesReply().
    /// @param delay        from the end of the request.
    /// @param replyLength  of a whole reply.
    void damagedBy(const ScanRubbish &rubbish, bool resembles, Time delay, int replyLength);
    /// Other bytes came besides the reply, or none of either.
    void disturbed() { isDisturbed_ = true; }
    /// Nothing came.
    void silent() { ++silences_; }
    void heardOf() { isHeard_ = true; }

    bool isFound() const { return find_.answered > 0; }
    bool isSuspect() const { return find_.answered > 0 || find_.damaged > 0; }
    int asksAlone() const { return alone_; }
    int damagedWithoutLikeness() const { return find_.damaged - resembling_; }
    /// Each request was answered by bytes that are no reply.
    bool isAlwaysDamaged() const { return find_.damaged > 1 && find_.damaged + 1 >= find_.asked; }
    /// How often it has to be asked to be sure.
    int asksWanted() const;
    /// Whether it must be asked while nothing else is on the line.
    bool needsQuiet() const { return isOdd() || find_.isLate; }
    int asks() const { return find_.asked; }
    bool isQueued = false; ///< to be asked again
    Time slowest{};        ///< longest time from a request to bytes that may be the reply

    /// @param rubbishIsRare  bytes that are no reply come to few requests to other stations.
    /// @param hasOthers      another master gets replies, too.
    /// @return false where there is no station.
    bool conclude(bool rubbishIsRare, bool hasOthers, Find *find) const;

private:
    bool isOdd() const;
    bool isSteady() const;
    bool hasOneLength() const { return shortest_ == longest_; }

    Find find_;
    int alone_ = 0;
    int silences_ = 0;             ///< in a row
    int resembling_ = 0;           ///< of the damaged ones
    int tooLong_ = 0;              ///< the same
    int shortest_ = kLongestFrame; ///< least and most bytes of them
    int longest_ = 0;
    Time soonest_ = Time::max(); ///< least and most from a request to bytes that are no reply
    Time latest_ = Time::min();
    bool isDisturbed_ = false;
    bool isHeard_ = false;
    std::set<int> kinds_; ///< exception codes, 0 for values
};

/// Whether bytes look like a damaged reply of a station: its first three bytes are right.
/// @param isAlone  no other station may have sent them: two bytes of these are enough.
bool resemblesReply(const ScanRubbish &rubbish, int station, bool isAlone, const ScanPlan &plan);

} // namespace plc::host

#endif
