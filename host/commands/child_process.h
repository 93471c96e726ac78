/// @file
/// Another program, started and looked after.
#ifndef PLC_COMMANDS_CHILD_PROCESS_H
#define PLC_COMMANDS_CHILD_PROCESS_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "host/runtime_names.h"
#include "runtime/line/link_time.h"

namespace plc::host {

/// Runs a program; ends it when this object ends. Not locked: one thread.
class ChildProcess
{
public:
    /// Starts the program. Its standard output is read here, its standard error too when @p takeErrors is
    /// set.
    /// @param program  path.
    /// @throw Failure  (wrong usage) when it cannot be started.
    ChildProcess(const std::string &program, const std::vector<std::string> &arguments,
                 bool takeErrors = false);
    /// Kills the program if it still runs.
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    /// Next line of its standard output without the end of the line; nothing when there is none until @p
    /// until or the program has closed its output.
    std::optional<std::string> readLine(Time until);

    /// Waits until the program has ended, reading what it writes.
    /// @return its exit code, 128 + number for a signal; nothing when it still runs at @p until.
    std::optional<int> waitForEnd(Time until);

    /// Sends a signal.
    void signal(int number);

    pid_t pid() const { return pid_; }
    /// Standard output that readLine() has not taken.
    const std::string &output() const { return output_.text; }
    /// Standard error so far.
    const std::string &errors() const { return errors_.text; }

private:
    struct Stream
    {
        int descriptor = -1;
        std::string text;
    };
    bool readSome(Time until);
    bool reap();

    pid_t pid_ = -1;
    std::optional<int> exitCode_;
    Stream output_;
    Stream errors_;
};

} // namespace plc::host

#endif
