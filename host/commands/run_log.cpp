#include "host/commands/run_log.h"

#include <algorithm>

#include "host/commands/interrupt.h"
#include "host/commands/next_tick.h"

namespace plc::host {

RunLog::RunLog(const std::string &path, Time interval, NumberStyle style)
    : interval_(interval), style_(style), next_(interval)
{
    if (path.empty())
        return;
    log_.emplace(path);
    catchReopening();
}

void RunLog::add(const std::string &record)
{
    if (log_)
        log_->add(record);
}

std::string RunLog::attend(Time moment, const Rows &rows)
{
    if (!log_)
        return std::string();
    if (takeReopening())
        log_->reopen();
    if (moment >= next_) {
        addRows(moment, rows);
        next_ = nextTick(next_, interval_, moment);
    }
    return log_->complaint();
}

void RunLog::addRows(Time moment, const Rows &rows)
{
    if (!log_)
        return;
    const WallTime time = std::chrono::system_clock::now();
    for (Row &row : rows()) {
        row.moment = moment;
        row.time = time;
        log_->add(recordOf(row, style_));
    }
}

} // namespace plc::host
