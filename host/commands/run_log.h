/// @file
/// What --log keeps of a command that goes on.
#ifndef PLC_COMMANDS_RUN_LOG_H
#define PLC_COMMANDS_RUN_LOG_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/commands/output.h"
#include "host/commands/record_log.h"
#include "host/runtime_names.h"

namespace plc::host {

/// All values at the start of each interval and at the end, and everything else as it happens, as lines of
/// ndjson. SIGUSR1 has the file opened again. Does nothing where no file is named. One thread.
class RunLog
{
public:
    using Rows = std::function<std::vector<Row>()>;

    /// @param path  empty: no log.
    /// @throw Failure  (wrong usage) where the file cannot be opened.
    RunLog(const std::string &path, Time interval, NumberStyle style);

    void add(const std::string &record);
    /// To be called over and over.
    /// @param moment  since the start.
    /// @param rows    asked for the values, where they are due.
    /// @return what people should know, to be told; mostly empty.
    std::string attend(Time moment, const Rows &rows);
    /// All values.
    void addRows(Time moment, const Rows &rows);

private:
    std::optional<RecordLog> log_;
    const Time interval_;
    const NumberStyle style_;
    Time next_;
};

} // namespace plc::host

#endif
