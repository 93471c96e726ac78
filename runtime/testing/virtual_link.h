/// @file
/// The host's link over a simulated line, in virtual time.
#ifndef PLC_RUNTIME_TESTING_VIRTUAL_LINK_H
#define PLC_RUNTIME_TESTING_VIRTUAL_LINK_H

#include "runtime/line/port_search.h"
#include "runtime/master/direct_link.h"
#include "runtime/testing/field.h"

namespace plc::simulation {

/// Looks on, byte by byte.
class LinkObserver
{
public:
    virtual ~LinkObserver() = default;
    /// True ends every wait: nothing is to happen any more.
    virtual bool isOver() const { return false; }
    /// @param lastHeard  end of the last byte that the master has been handed, or has sent.
    virtual void masterSends(Time, Time, const Bytes &) {}
    /// The master's last request has left.
    virtual void masterHasSent(Time) {}
    /// The master has been handed the bytes of its last request, as they were sent.
    virtual void masterHearsItself() {}
    virtual void news(Time, const runtime::News &) {}
    /// The link wants to be woken in the past again and again.
    virtual void timeStandsStill(Time) {}
};

/// What the virtual line is made of; outlives the link.
struct Line
{
    Wire &wire;
    Field &field;
    LinkObserver &observer;
    Journal &journal;
    Time &now; ///< goes on where one link is followed by another
    /// How long a converter may hold bytes back; 0 = they are handed over as they end.
    Time burst{};
    /// The master hears itself.
    bool echo = false;
    /// The host's own trace goes into the journal.
    bool trace = false;
};

/// Runs the line whenever the session waits: the time jumps from event to event.
class VirtualLink : public runtime::DirectLink
{
public:
    VirtualLink(runtime::DriverLibrary &driver, COM_INFO &info, const runtime::LinkSettings &settings,
                Line line);

    void start(const std::map<int, int> &cyclicReads, bool trace) override;
    void stop() override { running_ = false; }
    void setTrace(bool trace) override;
    Time now() const override { return line_.now; }
    void wait(Time until) override;
    void setOpenOrders(int count) override;

    const runtime::Statistics &statistics() const { return link_.statistics(); }

    /// The port goes now, and can be opened again from @p backAt on. What is being sent still leaves. What
    /// comes meanwhile is lost, and what a converter holds back as well.
    void losePort(Time backAt);
    /// It can be opened again now.
    void returnPort() { portBackAt_ = line_.now; }
    /// Whether the master hears itself from now on.
    void setEcho(bool echo) { line_.echo = echo; }

private:
    void put(runtime::News &&news) override;
    void step(Time until);
    void stepWithoutPort(Time until);
    void deliver(const WireByte &byte);
    void noteEcho(const WireByte &byte);
    void advance();
    void transmit(const QByteArray &frame);
    void noteFrame(const runtime::FrameNews &frame);

    Line line_;
    bool hasTraceReader_ = false; ///< the session wants the trace, whatever the journal wants
    bool running_ = false;
    Time wakeAt_{};
    int idleCalls_ = 0; ///< in a row that found nothing to do
    int standing_ = 0;  ///< calls in a row that asked to be called again at once
    int openOrders_ = 0;

    runtime::PortSearch search_;
    bool isPortLost_ = false;
    Time portBackAt_{};

    int tag_ = -1; ///< of the last request
    bool transmitting_ = false;
    Time sentAt_{};
    Time lastHeard_ = -std::chrono::hours(1); ///< end of the last byte that the link was handed, or has sent
    QByteArray held_;                         ///< by the converter
    Time heldLast_{};
    Time flushAt_ = Time::max();
    Time heldUntil_{}; ///< all that is heard before is held back
    int echoLeft_ = 0; ///< bytes of the last request that have not come back
    bool echoIsWhole_ = false;
    QByteArray arrived_;
};

} // namespace plc::simulation

#endif
