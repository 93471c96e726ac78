/// @file
/// What was heard on a line, for people and for programs.
#ifndef PLC_COMMANDS_LISTEN_REPORT_H
#define PLC_COMMANDS_LISTEN_REPORT_H

#include <string>
#include <vector>

#include "host/capture/heard_line.h"
#include "host/commands/output.h"
#include "host/runtime_names.h"

namespace plc::host {

/// A frame with all that is known of it.
struct HeardRow
{
    HeardFrame frame;
    Heard heard;
    Time moment{0}; ///< of its end, since the start
    WallTime time;  ///< the same on the wall
};

/// Lines for frames as they come, line ends included.
/// - text: moment, direction, station, what the frame says, and a line for each variable that it tells of;
/// - csv: a head line, then a line for each frame;
/// - ndjson: an object for each frame.
class HeardPrinter
{
public:
    /// @param variables  with their stations; outlives the printer.
    HeardPrinter(Format format, NumberStyle style, const std::vector<Variable> &variables, bool withBytes)
        : format_(format), style_(style), variables_(variables), withBytes_(withBytes)
    {}

    std::string render(const HeardRow &row);

private:
    std::string text(const HeardRow &row) const;
    std::string csv(const HeardRow &row) const;
    std::string object(const HeardRow &row) const;

    Format format_;
    NumberStyle style_;
    const std::vector<Variable> &variables_;
    bool withBytes_;
    bool headDone_ = false;
};

/// The statistics, several lines.
/// @param setting  how the line was listened to, as "19200 8E"; empty where it has no rate.
std::string heardStatistics(const HeardLine &line, const std::string &setting);

/// The same as an object of JSON, without the end of the line.
/// @param baud  0 where the line has no rate.
std::string heardRecord(const HeardLine &line, int baud, WallTime time);

} // namespace plc::host

#endif
