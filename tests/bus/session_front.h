/// @file
/// The front of a bus that is a session of libplcruntime, below its public interface.
#ifndef PLC_TESTS_BUS_SESSION_FRONT_H
#define PLC_TESTS_BUS_SESSION_FRONT_H

#include <utility>
#include <vector>

#include "front.h"

namespace plc::bus {

class SessionFront : public Front
{
public:
    /// @param packed      the driver packs the variables into requests itself, as for a panel project.
    /// @param priorities  "4x100": places with a priority and its level, 1 to 4; only where the driver packs.
    SessionFront(runtime::DriverLibrary &driver, const runtime::LinkSettings &settings,
                 const runtime::LinkFactory &makeLink, Listener listener,
                 const std::vector<runtime::Variable> &watched, bool packed,
                 const std::vector<std::pair<std::string, int>> &priorities);

    runtime::Session &session() { return session_; }

    void start() override { session_.start(); }
    void pump(Time until) override { session_.pump(until); }
    runtime::Ticket write(const runtime::Variable &variable, const runtime::Values &values) override
    {
        return session_.write(variable, values);
    }
    runtime::Ticket read(const runtime::Variable &variable) override { return session_.read(variable); }
    runtime::OrderResult result(runtime::Ticket ticket) const override { return session_.result(ticket); }
    void forget(runtime::Ticket ticket) override { session_.forget(ticket); }
    void setStationEnabled(int station, bool enabled) override
    {
        session_.setStationEnabled(station, enabled);
    }
    bool isOffline(int station) const override { return session_.isOffline(station); }
    bool isPortLost() const override { return !session_.portLost().empty(); }
    void checkStatus(Time now, std::size_t number, Witness &witness) const override;
    void checkChanges(Time, Witness &) override {} // a session tells of no values
    const runtime::DriverLibrary &driver() const override { return driver_; }

private:
    void registerPacked(const std::vector<std::pair<std::string, int>> &priorities);

    runtime::DriverLibrary &driver_;
    runtime::Session session_;
    Listener listener_;
    std::vector<runtime::Variable> watched_;
    bool packed_;
    std::vector<int> firstReads_; ///< of each variable, its first cyclic read
};

} // namespace plc::bus

#endif
