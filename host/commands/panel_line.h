/// @file
/// A line of libplcruntime as the commands use it.
#ifndef PLC_COMMANDS_PANEL_LINE_H
#define PLC_COMMANDS_PANEL_LINE_H

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/capture/captured_port.h"
#include "host/commands/output.h"
#include "host/commands/wall_clock.h"
#include "host/runtime_names.h"
#include "runtime/master/link.h"
#include "runtime/master/link_settings.h"
#include "runtime/panel/registration.h"
#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::host {

/// What a command wants of its line besides the settings.
struct LineManner
{
    bool verbose = false;  ///< the trace, and all that the port tells, go to standard error; else warnings
    bool readOnly = false; ///< nothing is written, see plcruntime::LineGround
    std::string captureFile = {}; ///< of --capture; empty = none
    bool realtime = false;        ///< the thread of the line goes before all others
    /// Each variable is asked for by itself, so that a station refuses no other one with it.
    bool separateReads = false;
    std::vector<PriorityRow> rows = {};                       ///< name rows for the driver
    std::function<void(const News &)> newsListener = nullptr; ///< see plcruntime::LineGround
    std::function<void(const StationChange &)> onStation = nullptr;
    std::function<void(const PortChange &)> onPort = nullptr;
    /// Take the lines for standard error in its place: what people are told, and the trace.
    std::function<void(const std::string &)> onLine = nullptr;
    std::function<void(const std::string &)> onTrace = nullptr;
    /// Gets what the line tells as lines of ndjson: stations, port, messages, and frames where it is verbose.
    std::function<void(const std::string &)> onRecord = nullptr;
    WallClock wallClock = std::chrono::system_clock::now;
};

/// The settings in the terms of the library.
plcruntime::LineSettings publicSettings(const LinkSettings &link);

/// One line of the trace: "2026-03-29T01:59:59.123456+01:00      0.001234 -> 01 03 ...".
/// @param startUs  when the line was opened.
/// @param time     of the frame.
std::string traceLine(const plcruntime::Frame &frame, qint64 startUs, WallTime time);

/// The raw values of a variable in the bytes that the library gives.
Values valuesOf(const Variable &variable, const QByteArray &raw);

/// The line is open from open() to close(). Functions that wait end when the program is interrupted.
class PanelLine
{
public:
    PanelLine(const LinkSettings &link, LineManner manner);
    ~PanelLine();
    PanelLine(const PanelLine &) = delete;
    PanelLine &operator=(const PanelLine &) = delete;

    /// Refuses more orders than can be open at a time, before the first is given.
    /// @throw Failure  (wrong usage)
    static void checkNumber(std::size_t orders);
    /// @throw Failure  as the library refuses it.
    VariableId add(const Variable &variable);
    /// The variables that are read over and over. Before open().
    /// @throw Failure  (wrong usage) for one that nobody can read.
    void show(const std::vector<VariableId> &variables);
    /// Refuse what read() and write() would, before the line is opened.
    /// @throw Failure  (wrong usage)
    void checkRead(VariableId id) const;
    void checkWrite(VariableId id, const Values &values) const;

    /// @throw Failure  (port, driver, wrong usage)
    void open();
    void close();

    /// @throw Failure  (wrong usage)
    OrderId read(VariableId id);
    OrderId write(VariableId id, const Values &values);
    OrderResult result(OrderId order) const { return line_->result(order); }
    /// Waits until the order has ended, the port is lost or the program is interrupted.
    OrderResult await(OrderId order);
    /// Waits until @p until for something to happen.
    void poll(Time until);
    /// @throw Failure  (wrong usage)
    void setStationEnabled(int station, bool enabled);

    /// From now on there is a trace, also where LineManner::verbose has asked for none.
    void traceFrames();

    VariableState state(VariableId id) const { return line_->value(id); }
    /// The row of a variable that is read over and over, whose state() is @p state. Of a variable that takes
    /// several requests it has what is known.
    Row rowOf(VariableId id, const Variable &variable, int station, const VariableState &state) const;
    plcruntime::StationState stationState(int station) const { return line_->stationState(station); }
    /// What the clock on the wall showed at a moment of the line's own clock, which is not ahead.
    WallTime wallTime(qint64 momentUs) const;
    /// The same of the end of an order; of an order that is open: now.
    WallTime endOf(const OrderResult &result) const;
    Statistics statistics() const { return line_->statistics(); }
    /// Why the port is gone; empty while it is there.
    std::string portLost() const;

private:
    static void take(void *context, const plcruntime::Event &event);
    void wantEvents(bool withFrames);
    void tell(const plcruntime::LogLine &line);
    void tell(const plcruntime::Frame &frame);
    qint64 openedAt();
    QList<plcruntime::Value> publicValues(VariableId id, const Values &values) const;

    LineManner manner_;
    int usualStation_; ///< of variables that name none
    std::string port_;
    LineSettings lineSettings_;
    bool hasEcho_;
    /// Null until open(), and where there is none; shared with threads that open the port, which may outlive
    /// this object.
    std::shared_ptr<std::shared_ptr<Capture>> capture_ = std::make_shared<std::shared_ptr<Capture>>();
    std::unique_ptr<plcruntime::Line> line_;
    std::map<VariableId, Variable> variables_;
    std::optional<qint64> openedAt_; ///< in microseconds
};

} // namespace plc::host

#endif
