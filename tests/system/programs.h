/// @file
/// The built programs, run as people run them.
#ifndef PLC_TESTS_SYSTEM_PROGRAMS_H
#define PLC_TESTS_SYSTEM_PROGRAMS_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/commands/child_process.h"

namespace plc::test {

using Words = std::vector<std::string>;

/// Long enough for a loaded machine; reached only when something hangs.
constexpr host::Time kPatience = std::chrono::seconds(120);

inline Words operator+(Words left, const Words &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// What a program that has ended left behind.
struct Finished
{
    int exitCode = -1;
    std::string output;
    std::string errors;
    /// Lines of the standard output.
    Words lines() const;
};

void PrintTo(const Finished &finished, std::ostream *out);

/// The text with TIME where a time of the clock on the wall stands.
std::string withoutWallTimes(const std::string &text);

/// Runs plchost to its end.
Finished plchost(const Words &arguments);

/// A program that serves a pseudo-terminal and names it in its first line.
class Server
{
public:
    Server(const std::string &program, const Words &arguments);
    const std::string &terminal() const { return terminal_; }
    host::ChildProcess &process() { return *process_; }
    /// Ends it politely.
    Finished stop();

private:
    std::unique_ptr<host::ChildProcess> process_;
    std::string terminal_;
};

/// A running plcstation.
std::unique_ptr<Server> startStation(const Words &arguments);

/// A file that is gone with its object.
class TemporaryFile
{
public:
    explicit TemporaryFile(const std::string &content);
    ~TemporaryFile();
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

/// A pipe with a name that is full and whose reader reads nothing. Gone with its object.
class FullPipe
{
public:
    FullPipe();
    ~FullPipe();
    FullPipe(const FullPipe &) = delete;
    FullPipe &operator=(const FullPipe &) = delete;
    const std::string &path() const { return path_; }

private:
    std::string path_;
    int reader_ = -1;
};

/// Waits until the program has said that on standard error.
void awaitError(host::ChildProcess &process, const std::string &text);

} // namespace plc::test

#endif
