/// @file
/// A panel's view of a link: variables in, values out, while the communication thread does the rest.
#ifndef PLC_PANEL_SESSION_H
#define PLC_PANEL_SESSION_H

#include <functional>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "runtime/master/driver_library.h"
#include "runtime/master/link.h"
#include "runtime/master/link_settings.h"
#include "runtime/master/order_ledger.h"
#include "runtime/master/station_state.h"
#include "runtime/master/surroundings.h"
#include "runtime/panel/order_checks.h"
#include "runtime/panel/read_state.h"
#include "runtime/panel/registration.h"
#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::runtime {

/// Gets one line of text for people.
using TraceListener = std::function<void(const std::string &line)>;

/// Drives a driver of its own. Not locked: one call at a time, but for those that say otherwise.
///
/// A session is started once and stopped once. Afterwards everything can be asked and nothing more ordered:
/// whoever wants to go on makes another session with another driver.
class Session
{
public:
    /// Sets the driver up, to be run over the port of the settings.
    /// @param driver   outlives the session. Nobody has used it, or will.
    /// @throw Failure  (driver) when somebody has; see DriverLibrary::claim().
    Session(DriverLibrary &driver, const LinkSettings &settings, const Surroundings &surroundings = {});
    /// The same over any other link. No wait of a call is cancelled.
    Session(DriverLibrary &driver, const LinkSettings &settings, const LinkFactory &makeLink);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    /// Registers a variable to be read over and over. Before start().
    /// @return its number, counted from 0.
    int watch(const Variable &variable);

    /// Hands the variables of a project over, see plc::runtime::registerVariables(). Before start(), once.
    int registerVariables(const std::vector<Variable> &variables, const std::vector<PriorityRow> &rows);

    /// @p listener gets all news, in their order, inside the calls that digest news, each when the session
    /// has digested it. What it throws leaves that call, and the news behind come with the next. It may pump:
    /// then nothing is digested until it returns. Where memory runs out in a call that digests, the news that
    /// are not digested come with the next, too.
    void setListener(std::function<void(const News &)> listener) { listener_ = std::move(listener); }

    /// Tells which stations have reads with a priority level; see levelStations().
    void setLevelStations(const std::set<int> &stations) { link_->setLevelStations(stations); }
    /// From now on the listener hears of each frame, or of none.
    void setTrace(bool trace) { link_->setTrace(trace); }
    /// How many cyclic reads there are by station; see Link::setCyclicReads(). Those of watch() are known.
    void setCyclicReads(const std::map<int, int> &reads) { link_->setCyclicReads(reads); }

    /// Opens the port and starts communication. Once.
    /// @param trace    gets a line for each frame, as a listener does; none for no trace.
    /// @throw Failure  (port) when the port cannot be opened; (wrong usage) when it was called before.
    void start(TraceListener trace = nullptr);

    /// Ends communication, and all orders that are open: as Unconfirmed where a frame of a write has gone
    /// out, as Closed otherwise. Values, states and results remain.
    void stop();

    bool isRunning() const { return life_ == Life::Running; }

    /// Replaces the cyclic reads by what the driver makes of @p variables, in requests of its own grouping.
    /// Not together with watch().
    /// @return the number that News::screen has in news of these reads.
    int show(const std::vector<Variable> &variables);

    /// Orders one reading of a variable. It ends in exactly one result; at once while the station is offline
    /// or the port is lost. Orders go to the driver as soon as it has room; they keep their order where their
    /// places overlap, and nowhere else.
    /// @param deadline  on the clock of now(). From then on no frame of it goes out, and it ends: as
    ///                  Unconfirmed where a frame of a write was out, as Expired otherwise.
    /// @throw Failure   (wrong usage) when the driver cannot take it, when OrderLedger::kMostOpen are open,
    /// or
    ///                  behind stop().
    Ticket read(const Variable &variable, Time deadline = Time::max());

    /// Orders a write.
    /// @param values   `variable.rawCount()` of them.
    /// @throw Failure  (wrong usage) as of read(), when the area cannot be written, and when there are more
    /// or
    ///                 fewer values than the variable has.
    Ticket write(const Variable &variable, const Values &values, Time deadline = Time::max());

    /// Waits, then digests what the link has to tell. Waits until @p until at the latest; ends of orders,
    /// changes of stations and the loss of the port end the wait, reads that have ended do not.
    void pump(Time until);
    /// The waiting half of pump(), which may run beside all other calls.
    void waitForNews(Time until) { link_->wait(until); }
    /// The other half, which waits for nothing.
    void digestNews();
    /// Ends the wait of pump() or waitForNews() that is under way, or the next one. Any thread.
    void wake() { link_->wake(); }
    /// When digestNews() has something to do although nothing is told: the next deadline. Time::max() for
    /// never.
    Time nextDeadline() const;
    Time now() const { return link_->now(); }

    /// Result of an order; its `end` is Open until it has ended.
    OrderResult result(Ticket ticket) const { return ledger_.result(ticket); }
    bool isOpen(Ticket ticket) const { return ledger_.isOpen(ticket); }
    /// As OrderLedger::endedSince(); @p count becomes the number of all.
    std::vector<Ticket> endedSince(std::uint64_t *count) const
    {
        std::vector<Ticket> ended = ledger_.endedSince(*count);
        *count = ledger_.endedCount();
        return ended;
    }

    /// True while nothing of an order that is open can have been sent: it waits for its turn.
    bool isWaiting(Ticket ticket) const { return waiting_.count(ticket) > 0; }

    /// Drops a result that nobody asks for any more.
    void forget(Ticket ticket) { ledger_.forget(ticket); }

    /// Pumps until the order has ended, the port is lost or the wait is cancelled. Returns at once where the
    /// session is not running, or has no such order open.
    OrderResult await(Ticket ticket);

    /// Switches a station off or on. The driver drops the orders that wait for a station that is off; they
    /// end.
    /// @throw Failure  (wrong usage) when @p station is none of kStationLimits: other numbers mean something
    ///                 else to the driver.
    void setStationEnabled(int station, bool enabled);

    /// Values of a variable as the driver's mirror has them; 0 where nothing is known.
    Values values(const Variable &variable) const;
    /// True while the mirror may have values of the variable that are to be written and no station has.
    bool isBeingWritten(const Variable &variable) const;
    /// The same as bytes, in the layout of encodeValues().
    QByteArray bytes(const Variable &variable) const;

    WatchStatus status(int number) const;

    const KnownRegisters &knownRegisters() const { return knownRegisters_; }

    /// State of a station as the news have told it that were digested last; On also where it is on probation.
    StationState stationState(int station) const;
    bool isOffline(int station) const { return stationState(station) == StationState::Offline; }

    /// What has been counted up to now.
    Statistics statistics() const { return link_->statisticsSoFar(); }
    Time runningFor() const { return (isRunning() ? link_->now() : stoppedAt_) - startedAt_; }
    const LinkSettings &settings() const { return settings_; }
    /// Station that a variable is served at.
    int stationOf(const Variable &variable) const { return variable.station.value_or(settings_.station); }
    /// Why the port is gone or cannot be opened again; empty while it is there. Meanwhile every new order
    /// ends at once, as all that were open have. With LinkSettings::reopen the port is looked for until it is
    /// back, and all goes on by itself.
    const std::string &portLost() const { return portLost_; }

private:
    enum class Life
    {
        Fresh,
        Running,
        Over
    };
    /// What the driver has taken of an order.
    enum class Taken
    {
        Nothing,
        Part,
        All
    };
    struct CyclicRead
    {
        int variable = 0;
        int station = 0;
        ReadState state;
    };
    struct Order
    {
        Variable variable;
        Values values;
        bool isWrite;
        Time deadline;
    };

    void takeNews();
    void digest(const News &news);
    void noteCyclic(const TransactionReport &report);
    void notePort(const PortNews &news);
    void noteStation(const StationNews &news);
    void noteState(int station, StationState state);
    Ticket submit(Order &&order);
    Footprint placeOf(const Variable &variable) const;
    Footprint footprintOf(const Variable &variable, bool isWrite) const;
    void startWaiting();
    void endCutShort();
    void withdraw(const std::vector<Ticket> &tickets);
    void handOver(Ticket ticket, const Order &order);
    void end(Ticket ticket, OrderEnd end);
    Taken handRead(Ticket ticket, const Order &order);
    Taken handWrite(Ticket ticket, const Order &order);
    void keepDeadline(Ticket ticket, Time deadline);
    void expire();
    void endExpired(const std::vector<Ticket> &due);
    std::vector<Ticket> endAll(int station, OrderEnd end, const std::set<Ticket> &sent);
    void noteRegisters(const TransactionReport &report);

    DriverLibrary &driver_;
    LinkSettings settings_;
    COM_INFO info_{};
    std::vector<unsigned short> words_; ///< the panel's word area
    std::unique_ptr<Link> link_;
    OrderLedger ledger_;
    std::map<Ticket, Order> waiting_; ///< not handed to the driver yet
    Ticket cutShort_ = 0;             ///< its hand-over is under way, or memory ran out in it; 0 for none
    std::vector<Ticket> toWithdraw_;  ///< ended, and the link does not know
    std::vector<Variable> watched_;
    std::vector<CyclicRead> cyclicReads_;
    /// What the news have told of stations. The link is not asked, since its own state is ahead of the news.
    /// The variables of a station would disagree with each other, and with the ends of orders.
    std::map<int, StationState> stations_;
    KnownRegisters knownRegisters_; ///< kept only where bits are written from them
    std::function<void(const News &)> listener_;
    TraceListener trace_;
    std::function<bool()> isCancelled_ = [] { return false; };
    std::list<std::vector<News>> news_; ///< taken, and some of the first ones digested
    std::size_t digested_ = 0;          ///< of the first ones
    bool isDigesting_ = false;
    std::multimap<Time, Ticket> deadlines_; ///< of orders that may have ended
    std::string portLost_;
    Life life_ = Life::Fresh;
    Time startedAt_{};
    Time stoppedAt_{};
};

} // namespace plc::runtime

#endif
