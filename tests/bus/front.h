/// @file
/// What stands between the panel of a bus and its line: a session, or the public interface.
#ifndef PLC_TESTS_BUS_FRONT_H
#define PLC_TESTS_BUS_FRONT_H

#include <functional>
#include <string>

#include "runtime/panel/session.h"
#include "simulated_line.h"

namespace plc::bus {

class Witness;

class Front
{
public:
    /// Told what has happened, inside the calls of the front.
    struct Listener
    {
        std::function<void(const runtime::TransactionReport &)> transaction; ///< not by the public interface
        std::function<void(int station, bool offline)> station;
        std::function<void(bool isBack)> port;
    };

    virtual ~Front() = default;

    virtual void start() = 0;
    /// Lets the time pass up to @p until, or less where something has happened.
    virtual void pump(Time until) = 0;
    virtual runtime::Ticket write(const runtime::Variable &variable, const runtime::Values &values) = 0;
    virtual runtime::Ticket read(const runtime::Variable &variable) = 0;
    /// How the order ended, in the words of a session.
    virtual runtime::OrderResult result(runtime::Ticket ticket) const = 0;
    virtual void forget(runtime::Ticket ticket) = 0;
    virtual void setStationEnabled(int station, bool enabled) = 0;
    virtual bool isOffline(int station) const = 0;
    virtual bool isPortLost() const = 0;
    /// Shows the witness what is told of a watched variable.
    virtual void checkStatus(Time now, std::size_t number, Witness &witness) const = 0;
    /// Shows the witness the values that are told to have changed since the last call.
    virtual void checkChanges(Time now, Witness &witness) = 0;
    /// The driver of this line.
    virtual const runtime::DriverLibrary &driver() const = 0;
};

} // namespace plc::bus

#endif
