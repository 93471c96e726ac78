/// @file
/// A panel's view of a link: variables in, values out, while the communication thread does the rest.
#ifndef PLC_PANEL_SESSION_H
#define PLC_PANEL_SESSION_H

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "runtime/master/driver_library.h"
#include "runtime/master/link.h"
#include "runtime/master/link_settings.h"
#include "runtime/master/order_ledger.h"
#include "runtime/master/station_state.h"
#include "runtime/master/surroundings.h"
#include "runtime/panel/read_state.h"
#include "runtime/panel/registration.h"
#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::runtime {

/// Gets one line of text for people.
using TraceListener = std::function<void(const std::string &line)>;

/// Drives the driver. All calls on one thread, the main thread; one session at a time.
class Session
{
public:
    /// Sets the driver up, to be run over the port of the settings.
    /// @param driver  outlives the session.
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

    /// @p listener gets all news of the communication thread, inside pump(), and only looks on. Before
    /// start().
    void setListener(std::function<void(const News &)> listener) { listener_ = std::move(listener); }

    /// Tells which stations have reads with a priority level; see levelStations(). Before start().
    void setLevelStations(const std::set<int> &stations) { link_->setLevelStations(stations); }

    /// Opens the port and starts communication.
    /// @param trace    gets a line for each frame, inside pump(); none for no trace.
    /// @throw Failure  (port) when the port cannot be opened.
    void start(TraceListener trace = nullptr);

    /// Ends communication. Values and states remain readable.
    void stop();

    /// Orders one reading of a variable. It ends in exactly one result; at once while the station is offline
    /// or the port is lost. Orders go to the driver as soon as it has room; they keep their order where their
    /// places overlap, and nowhere else.
    /// @throw Failure  (wrong usage) when the driver cannot take it, or OrderLedger::kMostOpen are open.
    Ticket read(const Variable &variable);

    /// Orders a write.
    /// @param values   as many as the variable has.
    /// @throw Failure  (wrong usage) when the area cannot be written, the driver cannot take the write, or
    ///                 OrderLedger::kMostOpen are open.
    Ticket write(const Variable &variable, const Values &values);

    /// Digests what the communication thread has to tell. Waits until @p until at the latest; ends of orders,
    /// changes of stations and the loss of the port end the wait, reads that have ended do not.
    void pump(Time until);

    /// Result of an order; its `end` is Open until it has ended.
    OrderResult result(Ticket ticket) const { return ledger_.result(ticket); }

    /// True while nothing of an order that is open can have been sent: it waits for its turn.
    bool isWaiting(Ticket ticket) const { return waiting_.count(ticket) > 0; }

    /// Drops a result that nobody asks for any more.
    void forget(Ticket ticket) { ledger_.forget(ticket); }

    /// Pumps until the order has ended, the port is lost or the wait is cancelled.
    OrderResult await(Ticket ticket);

    /// Switches a station off or on. The driver drops the orders that wait for a station that is off; they
    /// end.
    void setStationEnabled(int station, bool enabled);

    /// Values of a variable as the driver's mirror has them; 0 where nothing is known.
    Values values(const Variable &variable) const;

    WatchStatus status(int number) const;

    /// State of a station as the news have told it that were digested last; On also where it is on probation.
    StationState stationState(int station) const;
    bool isOffline(int station) const { return stationState(station) == StationState::Offline; }

    /// What has been counted up to now.
    Statistics statistics() const { return link_->statisticsSoFar(); }
    Time runningFor() const { return (running_ ? link_->now() : stoppedAt_) - startedAt_; }
    const LinkSettings &settings() const { return settings_; }
    /// Station that a variable is served at.
    int stationOf(const Variable &variable) const { return variable.station.value_or(settings_.station); }
    /// Why the port is gone or cannot be opened again; empty while it is there. Meanwhile every new order
    /// ends at once, as all that were open have. With LinkSettings::reopen the port is looked for until it is
    /// back, and all goes on by itself.
    const std::string &portLost() const { return portLost_; }

private:
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
    };

    void takeNews(Time until);
    void digest(News &&news);
    void noteCyclic(const TransactionReport &report);
    void notePort(const PortNews &news);
    void noteStation(const StationNews &news);
    void noteState(int station, StationState state);
    Ticket submit(const Variable &variable, const Values &values, bool isWrite);
    void startWaiting();
    void handOver(Ticket ticket, const Order &order);
    void end(Ticket ticket, OrderEnd end);
    void handRead(Ticket ticket, const Order &order);
    void handWrite(Ticket ticket, const Order &order);
    std::vector<Ticket> endAll(int station, OrderEnd end, const std::set<Ticket> &sent);
    void checkWrite(const Variable &variable) const;
    void checkBitWrite(const Variable &variable) const;
    void noteRegisters(const TransactionReport &report);

    DriverLibrary &driver_;
    LinkSettings settings_;
    COM_INFO info_{};
    std::vector<unsigned short> words_; ///< the panel's word area
    std::unique_ptr<Link> link_;
    OrderLedger ledger_;
    std::map<Ticket, Order> waiting_; ///< not handed to the driver yet
    std::vector<Variable> watched_;
    std::vector<CyclicRead> cyclicReads_;
    /// What the news have told of stations. The link is not asked, since its own state is ahead of the news.
    /// The variables of a station would disagree with each other, and with the ends of orders.
    std::map<int, StationState> stations_;
    /// Station and address of what was read; kept only where bits are written from it.
    std::set<std::pair<int, int>> knownRegisters_;
    std::function<void(const News &)> listener_;
    TraceListener trace_;
    std::function<bool()> isCancelled_ = [] { return false; };
    std::string portLost_;
    bool running_ = false;
    Time startedAt_{};
    Time stoppedAt_{};
};

} // namespace plc::runtime

#endif
