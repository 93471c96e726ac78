#include "host/commands/audit.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "host/commands/interrupt.h"
#include "host/commands/json_line.h"
#include "host/commands/standard_streams.h"
#include "runtime/line/failure.h"

namespace plc::host {

namespace {

/// The name of the user who has started the program, or the number of one without a name.
std::string userName()
{
    const passwd *const entry = getpwuid(getuid());
    return entry && entry->pw_name[0] != '\0' ? entry->pw_name : std::to_string(getuid());
}

std::string reasonOf(int error)
{
    return error == EAGAIN ? "nobody has read the pipe before the interruption" : std::strerror(error);
}

} // namespace

Audit::Audit(const std::string &path, std::string port) : port_(std::move(port)), user_(userName())
{
    if (!path.empty())
        file_.emplace(path, "--audit");
}

Audit::~Audit()
{
    while (!open_.empty()) {
        const auto [number, ordered] = *open_.begin();
        Row row = ordered;
        row.state = stateName(OrderEnd::Open);
        row.reason = "the command has ended, and nobody knows whether the write was done";
        row.time = std::chrono::system_clock::now();
        end(number, row);
    }
}

std::uint64_t Audit::order(const Row &row)
{
    if (!file_)
        return 0;
    const std::uint64_t number = ++orders_;
    JsonLine line("order");
    line.text("time", isoTime(std::chrono::system_clock::now()))
        .number("order", number)
        .number("process", getpid())
        .text("user", user_)
        .text("port", port_)
        .text("variable", row.variable.text)
        .number("station", row.station)
        .raw("values", valuesInJson(row.variable, *row.values, NumberStyle::Unsigned));
    if (const int error = file_->append(line.object(), isInterrupted); error != 0) {
        failOutput();
        throw Failure(FailureKind::Usage,
                      "not sent: --audit: '" + file_->path() + "' cannot be written: " + reasonOf(error));
    }
    open_.emplace(number, row);
    return number;
}

void Audit::end(std::uint64_t number, Row row)
{
    if (open_.erase(number) == 0)
        return;
    row.isWrite = true;
    row.order = number;
    const int error = file_->append(recordOf(row, NumberStyle::Unsigned), isInterrupted);
    if (error == 0)
        return;
    failOutput();
    if (!std::exchange(failureTold_, true))
        std::fprintf(stderr,
                     "plchost: --audit: '%s' cannot be written: %s; ends of writes are missing in it\n",
                     file_->path().c_str(), reasonOf(error).c_str());
}

} // namespace plc::host
