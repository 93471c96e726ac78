/// @file
/// Stations on a line in given time: bytes in, bytes and moments out.
#ifndef PLC_STATION_STATION_LINE_H
#define PLC_STATION_STATION_LINE_H

#include "faults.h"
#include "framer.h"
#include "relay.h"
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>

namespace plc::station {

/// A point in time since any origin, the same one for all calls: a steady clock's, or a number that a test
/// counts up.
using Time = std::chrono::nanoseconds;

struct LineSettings
{
    /// 0: bytes take no time. Otherwise every character takes 11 bits at this rate, in both directions.
    int baud = 0;
    /// From the end of a request to the start of its reply; on a paced line never below 3.5 characters.
    std::chrono::nanoseconds answerDelay{0};
    /// A reply starts up to this much later, by chance.
    std::chrono::nanoseconds delaySpread{0};
    std::uint64_t seed = 1; ///< of that chance
    /// A request that begins sooner behind a reply is not heard.
    std::chrono::nanoseconds leastPause{0};
    /// Silence that ends a frame; 0 chooses defaultSilence(baud).
    std::chrono::nanoseconds silence{0};
    /// Moving items move on once in this time; 0: with every answered request.
    std::chrono::nanoseconds tick{0};
    bool relay = false;
    CrcOrder requestOrder = CrcOrder::LowFirst;
};

/// Silence of 3.5 characters (1.75 ms above 19200 baud), but at least 20 ms: on a pseudo-terminal a busy
/// machine may pause a sender in mid-frame for longer than a wire ever would.
std::chrono::nanoseconds defaultSilence(int baud);
/// What one character of 11 bits takes at @p baud; 0 at 0 baud.
std::chrono::nanoseconds characterTime(int baud);

struct LineStatistics
{
    std::uint64_t answered = 0;
    std::uint64_t refused = 0; ///< exception replies, the ones of the fault plan included
    std::uint64_t broadcasts = 0;
    std::uint64_t foreign = 0;
    std::uint64_t silent = 0;
    std::uint64_t bad = 0; ///< stretches of bytes that were no good frame
    std::uint64_t bytesReceived = 0;
    std::uint64_t bytesSent = 0;
};

/// The stations' end of a serial line in time: frames what comes in, has it answered, spoils replies, and
/// says which bytes leave when. It owns no clock and no port: its owner tells the time, hands over bytes and
/// takes bytes, so that the same object serves a pseudo-terminal and a test in virtual time.
class StationLine
{
public:
    enum class Event
    {
        Request,
        Reply,
        Note
    };
    /// Told of every frame, reply and remark, in the order of their times.
    using Trace = std::function<void(Time, Event, const Bytes &, const std::string &)>;

    /// @param bus     the stations; outlives this object
    /// @param faults  the same; null for a line without faults
    StationLine(const LineSettings &settings, StationBus *bus, FaultPlan *faults = nullptr,
                Trace trace = nullptr);

    /// Takes bytes that the master put on the line at @p now. On a paced line they arrive one after another.
    void receive(Time now, ByteView bytes);
    /// Does everything that is due at @p now.
    /// @return the bytes that have arrived at the master since the last call
    Bytes advance(Time now);
    /// When advance() has something to do next; nothing while the line is idle. On a paced line whole
    /// milliseconds of bytes are handed over together, but the last one of a reply never late.
    std::optional<Time> nextEvent() const;

    const LineStatistics &statistics() const { return statistics_; }

private:
    struct TimedByte
    {
        Time due;
        std::uint8_t value;
    };

    std::optional<Time> nextInput() const;
    void processInput(Time now);
    void take(Time now, ByteView bytes);
    void endOfFrame(Time now);
    void handle(Time now, const Bytes &frame);
    void countBadFrames(Time now);
    void schedule(Time requestEnd, const Bytes &reply);
    void startDue(Time now);
    void note(Time now, Event event, const Bytes &bytes, const std::string &text) const;

    LineSettings settings_;
    StationBus *bus_;
    RelayResponder relay_;
    Responder *responder_;
    FaultPlan *faults_;
    Trace trace_;
    Framer framer_;
    std::chrono::nanoseconds character_;

    std::deque<TimedByte> incoming_; ///< still on their way to the stations
    Time lastInput_{0};              ///< when the last byte arrived, or will
    Time silenceFrom_{0};
    Time frameFrom_{0}; ///< when the bytes that are held back began
    Time replyEnd_ = Time::min();
    std::multimap<Time, Bytes> scheduled_; ///< replies, by the time at which they start
    std::deque<TimedByte> outgoing_;       ///< on the line, with the time at which they arrive at the master
    Time lineFree_{0};
    Time lastOutput_{0};
    std::optional<Time> nextTick_;
    std::size_t badSeen_ = 0;
    LineStatistics statistics_;
    std::mt19937_64 random_;
};

} // namespace plc::station

#endif
