#ifndef PLC_TESTS_STATION_STATION_PROCESS_H
#define PLC_TESTS_STATION_STATION_PROCESS_H

#include "station/bytes.h"

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

namespace plc::test {

using station::Bytes;

/// What a program left behind.
struct ProgramResult
{
    int exitCode = -1; ///< -1: it did not end by itself
    std::string output;
    std::string errors;
};

/// A running program with its two outputs in pipes. Where it still runs when this object goes, as after a
/// failed assertion, it is asked to end with SIGTERM and killed 2 s later.
class Program
{
public:
    /// Starts @p path, looked for on the search path when it has no slash. isRunning() is false where that
    /// fails.
    Program(const std::string &path, const std::vector<std::string> &arguments);
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    bool isRunning() const { return pid_ > 0; }
    pid_t pid() const { return pid_; }
    /// The next line of its standard output, without the line end; empty when there is none within 10 s.
    std::string readLine();
    void signal(int number) const;
    /// Waits up to 20 s for its end, gathering the rest of both outputs.
    ProgramResult wait();

private:
    pid_t pid_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string pending_; ///< standard output read and not yet handed out
};

/// The built plcstation with @p arguments, serving; path() is its pseudo-terminal. It ends with this object
/// and with the process of the test (--die-with-parent).
class StationProcess
{
public:
    explicit StationProcess(const std::vector<std::string> &arguments);

    const std::string &path() const { return path_; }
    pid_t pid() const { return program_.pid(); }
    /// Ends it with SIGTERM.
    ProgramResult stop();

private:
    Program program_;
    std::string path_;
};

/// Runs plcstation to its end: for calls that are refused.
ProgramResult runStation(const std::vector<std::string> &arguments);

/// A master's end of a pseudo-terminal: opens its path as a serial port in raw mode.
class MasterPort
{
public:
    explicit MasterPort(const std::string &path);
    ~MasterPort();
    MasterPort(const MasterPort &) = delete;
    MasterPort &operator=(const MasterPort &) = delete;

    bool isOpen() const { return descriptor_ >= 0; }
    void send(const Bytes &bytes) const;
    /// Reads until @p count bytes are there, at most for @p patience.
    Bytes receive(std::size_t count, std::chrono::milliseconds patience = std::chrono::seconds(5)) const;
    /// Sends @p request and reads @p replySize bytes.
    Bytes ask(const Bytes &request, std::size_t replySize) const;
    int descriptor() const { return descriptor_; }

private:
    int descriptor_ = -1;
};

} // namespace plc::test

#endif
