/// @file
/// The front of a bus that is the public interface of libplcruntime.
#ifndef PLC_TESTS_BUS_LINE_FRONT_H
#define PLC_TESTS_BUS_LINE_FRONT_H

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "front.h"
#include "plcruntime/plcruntime.h"

namespace plc::bus {

/// A Line that nobody but the bus gives time. An order has the same number in the session below, since the
/// line is opened once; so the witness knows whose frame it sees.
class LineFront : public Front
{
public:
    /// What the front has from below the interface.
    struct Ground
    {
        runtime::LinkFactory makeLink;
        std::function<Time()> clock;
        /// Lets the time pass on the link, up to a moment or until there is news.
        std::function<void(Time)> wait;
        std::function<void(const std::string &)> complain;
    };

    LineFront(const std::string &driverFile, const runtime::LinkSettings &settings, Ground ground,
              Listener listener, const std::vector<runtime::Variable> &watched,
              const std::vector<std::pair<std::string, int>> &priorities);
    ~LineFront() override;

    void start() override;
    void pump(Time until) override;
    runtime::Ticket write(const runtime::Variable &variable, const runtime::Values &values) override;
    runtime::Ticket read(const runtime::Variable &variable) override;
    runtime::OrderResult result(runtime::Ticket ticket) const override;
    void forget(runtime::Ticket ticket) override;
    void setStationEnabled(int station, bool enabled) override;
    bool isOffline(int station) const override;
    bool isPortLost() const override;
    void checkStatus(Time now, std::size_t number, Witness &witness) const override;
    void checkChanges(Time now, Witness &witness) override;
    const runtime::DriverLibrary &driver() const override { return *driver_; }

private:
    static void take(void *context, const plcruntime::Event &event);
    void digest(const plcruntime::Event &event);
    plcruntime::VariableId idOf(const runtime::Variable &variable);
    runtime::Ticket taken(plcruntime::OrderId order, const plcruntime::Error &error);
    void mustSucceed(const plcruntime::Error &error) const;
    void checkValues(Time now, std::size_t number, Witness &witness) const;

    Ground ground_;
    Listener listener_;
    int station_; ///< of variables that name none
    std::vector<runtime::Variable> watched_;
    runtime::DriverLibrary *driver_ = nullptr; ///< the line's own
    std::unique_ptr<plcruntime::Line> line_;
    std::vector<plcruntime::VariableId> ids_;              ///< of the watched variables
    std::map<std::string, plcruntime::VariableId> places_; ///< of those that are ordered
    std::map<runtime::Ticket, int> told_;                  ///< how often an end was told
    std::set<plcruntime::VariableId> changed_;             ///< since checkChanges()
};

} // namespace plc::bus

#endif
