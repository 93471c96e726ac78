/// @file
/// A whole bus in virtual time: the loaded driver, a session of the host, a line, stations and a witness.
#ifndef PLC_TESTS_BUS_BUS_H
#define PLC_TESTS_BUS_BUS_H

#include "line_front.h"
#include "session_front.h"
#include "witness.h"

namespace plc::bus {

struct BusPlan
{
    std::uint64_t seed = 1;
    FieldPlan field;
    runtime::LinkSettings link;
    Time burst{};
    bool echo = false;
    bool trace = false;               ///< the journal has the host's own trace as well, and is longer
    std::vector<std::string> watched; ///< variables as people write them
    /// The driver packs the variables into requests itself, as for a panel project. Without pauses between
    /// scans.
    bool packed = false;
    /// "4x100": places with a priority and its level, 1 to 4; only where the driver packs.
    std::vector<std::pair<std::string, int>> priorities;
};

/// Brings the times and orders that both sides must know of into agreement: what the stations are told is
/// taken from the settings of the link.
BusPlan agreed(BusPlan plan);

/// Everything that is on a line. One at a time in a process.
class Bus
{
public:
    /// A bus below a session.
    /// @param plan    in agreement.
    /// @param driver  not used before.
    Bus(const BusPlan &plan, runtime::DriverLibrary &driver);
    /// A bus below the public interface, where the driver always packs the variables into requests.
    Bus(const BusPlan &plan, const std::string &driverFile);

    /// Begins communication.
    void start() { front_->start(); }
    /// Lets the time pass, up to @p until.
    void runUntil(Time until);
    void runFor(Time time) { runUntil(now() + time); }
    Time now() const { return now_; }

    /// Orders a write of @p values to a variable, and tells the witness.
    runtime::Ticket write(const std::string &variable, const runtime::Values &values);
    runtime::Ticket write(const runtime::Variable &variable, const runtime::Values &values);
    runtime::Ticket read(const std::string &variable);
    /// How an order ended; Open while it has not, and when it has been forgotten.
    runtime::OrderEnd endOf(runtime::Ticket ticket) const { return front_->result(ticket).end; }
    runtime::Values valuesOf(const std::string &variable);
    /// Forgets how orders ended, as a runtime does that has shown it, and what was known of them.
    void forgetEnds();
    void setStationEnabled(int station, bool enabled);
    /// The port goes, and can be opened again after that time.
    void losePort(Time lasts);
    bool isPortLost() const { return front_->isPortLost(); }
    bool isOffline(int station) const { return front_->isOffline(station); }

    /// How often a station went offline.
    std::uint64_t wentOffline() const { return wentOffline_; }

    /// Looks at one of the watched variables: at its values in the mirror, and at its state.
    void lookAt(std::size_t watched);

    int watchedCount() const { return static_cast<int>(watched_.size()); }
    const runtime::Variable &watched(std::size_t number) const { return watched_[number]; }
    /// Orders that have not ended, with the time of the order.
    const std::map<runtime::Ticket, Time> &openOrders() const { return open_; }

    /// Of a bus whose front is a session.
    runtime::Session &session() { return static_cast<SessionFront &>(*front_).session(); }
    /// Station that a variable is served at.
    int stationOf(const runtime::Variable &variable) const
    {
        return variable.station.value_or(plan_.link.station);
    }
    Field &field() { return field_; }
    History &history(int station) { return stations_.history(station); }
    Wire &wire() { return wire_; }
    Witness &witness() { return witness_; }
    Journal &journal() { return journal_; }
    const runtime::Statistics &statistics() const;
    const BusPlan &plan() const { return plan_; }
    /// Transactions that ended since the start.
    const std::vector<runtime::TransactionReport> &transactions() const { return transactions_; }
    void keepTransactions(bool keep) { keepTransactions_ = keep; }

private:
    explicit Bus(const BusPlan &plan);
    void watch();
    runtime::LinkFactory linkFactory();
    Front::Listener listener();
    void digestEnds();
    void checkRefused(runtime::Ticket ticket, int station);
    void note(const std::string &what);

    BusPlan plan_;
    Time now_{};
    Journal journal_;
    Wire wire_;
    Witness witness_;
    WitnessedStations stations_;
    Field field_;
    VirtualLink *link_ = nullptr; ///< the front's
    std::vector<runtime::Variable> watched_;
    std::unique_ptr<Front> front_;
    std::map<runtime::Ticket, Time> open_;
    std::vector<runtime::Ticket> ended_; ///< and not forgotten
    std::uint64_t wentOffline_ = 0;
    bool keepTransactions_ = false;
    std::vector<runtime::TransactionReport> transactions_;
};

} // namespace plc::bus

#endif
