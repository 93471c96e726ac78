/// @file
/// Everything on the line but the master: stations, their faults, noise and a second master.
#ifndef PLC_RUNTIME_TESTING_FIELD_H
#define PLC_RUNTIME_TESTING_FIELD_H

#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "runtime/testing/fault.h"
#include "runtime/testing/journal.h"
#include "runtime/testing/stations.h"
#include "runtime/testing/wire.h"

namespace plc::simulation {

struct StationPlan
{
    int number = 1;
    /// From the silence behind a request to the reply.
    Time fastest = std::chrono::milliseconds(2);
    Time slowest = std::chrono::milliseconds(20);
    /// Mean time between two changes of the measured values; 0 = they stay.
    Time moveEvery = std::chrono::seconds(5);
};

struct FieldPlan
{
    int baud = 19200;
    std::vector<StationPlan> stations;
    int items = 256; ///< in each area of a station, where a second master asks
    bool requestCrcHighFirst = false;
    bool replyCrcHighFirst = false;
    Time timeout = std::chrono::seconds(1); ///< the master's: what comes later is late
    /// From the end of a request to the start of the latest late reply: as long as the master has said it
    /// listens.
    Time latest = std::chrono::seconds(2);
    Time lateFrom{};                ///< the same to the start of the earliest one; 0 = about the time-out
    bool handsOverInBursts = false; ///< bytes reach the master some milliseconds late
    int faultPermille = 0;          ///< exchanges with a fault, while faults are on
    Time troubleEvery{};            ///< mean time between two faults that last; 0 = none
    /// Exchange faults that may happen; empty = all.
    std::vector<Fault> faults;
    /// Lasting faults that may happen; empty = all.
    std::vector<Fault> troubles;
};

/// Told what happens among the stations.
class FieldObserver
{
public:
    virtual ~FieldObserver() = default;
    /// A station has done a write that the master had sent with @p tag.
    virtual void executed(Time, int, const Bytes &, int) {}
    /// The reply to the master's request @p tag begins only now, after the time-out.
    virtual void lateReplyBegins(Time, int, int) {}
};

/// Told the time and the bytes on the line; no clock inside. Requests are framed by silence, as MODBUS over
/// Serial Line V1.02, 2.5.1.1, has it.
class Field
{
public:
    /// @param stations  those of the plan; they outlive the field, as all that it is given does.
    /// @param salt      makes all that happens by chance.
    Field(const FieldPlan &plan, Stations &stations, Wire &wire, Journal &journal, FieldObserver &observer,
          std::uint64_t salt);

    /// The master sends. @param tag  comes back in the observer's calls.
    /// @return when the last byte has left.
    Time masterSends(Time now, const Bytes &frame, int tag);
    /// Hands over a byte that has ended on the line.
    void hear(const WireByte &byte);
    /// When run() wants to be called next.
    Time nextEvent() const;
    void run(Time now);

    /// From now on faults happen; or none does, and what was going on ends.
    void setFaults(Time now, bool on);
    bool faultsOn() const { return faultsOn_; }

    // For tests that make one fault at a time.
    /// One that is there already stays as it is.
    void addStation(const StationPlan &station);
    void setAnswerTime(int station, Time time);
    void setFaultPermille(int permille) { plan_.faultPermille = permille; }
    /// Made-up bytes, from @p at on.
    void makeNoise(Time at, int bytes);
    void muteStation(int station, Time until);
    void cutLine(bool cut);
    void restartStation(Time now, int station);
    /// It answers everything with exception 06.
    void makeBusy(int station, Time until) { devices_.at(station).busyUntil = until; }
    /// It does writes and answers them with exception 05.
    void letAcknowledge(int station, Time until) { devices_.at(station).acknowledgesUntil = until; }
    /// From now on somebody else changes the registers there that the master reads one at a time.
    void letOtherWrite(Time now, int station, Time until);
    /// The next exchange with a station has this fault.
    void makeNext(Fault fault, int station) { forced_.emplace_back(fault, station); }
    /// Anything at all: the bytes are on the line from @p at on, a time that is not over yet.
    void sendAt(Time at, int source, const Message &message);
    /// Answers the requests of the master instead of the stations, with a message without bytes not at all;
    /// nothing leaves it to them.
    using Answering = std::function<std::optional<Message>(Time now, const Bytes &request)>;
    void setAnswering(Answering answering) { answering_ = std::move(answering); }

    /// The master's port is pulled out, which nobody on the line notices.
    void notePortGone(Time now) { count(now, Fault::PortGone, 0); }

    bool isLineCut() const { return lineCut_; }
    bool isMuted(int station) const;
    /// A reply in time to the master's last request is under way or will come.
    bool isReplyOpen(Time now) const { return now < openUntil_; }
    /// The master hears this request come back although the line has no echo. Asked once for each request.
    bool takeStrayEcho();
    /// The echo of the request that ends at @p end, and what comes behind it, is handed over only at that
    /// time; nothing when there is no such fault. Asked once for each request.
    std::optional<Time> takeLateEcho(Time end);

    bool hasStation(int station) const { return devices_.count(station) > 0; }
    const FaultCounts &faults() const { return counts_; }

private:
    struct Device
    {
        StationPlan plan;
        Time mutedUntil{};
        Time busyUntil{};
        Time acknowledgesUntil{};
        Time otherWriterUntil{};
    };
    struct Request
    {
        int station;
        Bytes frame;
        int tag; ///< of the master's requests; -1 = a second master's
        Time end;
    };

    void schedule(Time at, std::function<void(Time)> what);
    void endFrame(Time now);
    void broadcast(Time now, const Bytes &frame);
    void answer(Time now, const Request &request);
    void answerLate(Time now, const Request &request);
    void answerWith(Time now, const Request &request, Fault fault);
    std::optional<Bytes> refusalOf(Time now, const Request &request);
    Bytes execute(Time now, const Request &request);
    void reply(Time at, const Request &request, const Message &message, bool late, const char *what);
    Message damaged(const Bytes &reply, Fault fault);
    bool drawFault(int station, Fault *fault);
    bool applies(Fault fault, const Bytes &frame) const;
    void move(int station);
    void makeTrouble(Time now);
    void secondMasterSends(Time now);
    void otherWriterWrites(Time now, int station);
    void babble(Time now);
    Time untilSome(Time mean);
    void count(Time now, Fault fault, int station);

    FieldPlan plan_;
    Stations &stations_;
    Wire &wire_;
    Journal &journal_;
    FieldObserver &observer_;
    Random random_;
    std::map<int, Device> devices_;
    std::multimap<Time, std::function<void(Time)>> agenda_;

    Bytes frame_;              ///< heard since the last silence
    std::vector<int> sources_; ///< who sent it
    Time lastHeard_{};
    Time now_{};

    bool faultsOn_ = false;
    bool lineCut_ = false;
    Time secondMasterUntil_{};
    Time babbleUntil_{};
    int tag_ = -1; ///< of the master's last request
    Time openUntil_{};
    bool strayEcho_ = false;
    bool lateEcho_ = false;
    bool isHeldBack_ = false;    ///< what comes on the line now reaches the master late
    std::optional<Fault> drawn_; ///< the station has this fault when it answers the master's last request
    std::vector<std::pair<Fault, int>> forced_;
    Answering answering_;
    FaultCounts counts_{};
};

} // namespace plc::simulation

#endif
