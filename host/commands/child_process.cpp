#include "host/commands/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "runtime/line/failure.h"

namespace plc::host {

namespace {

constexpr int kSignalBase = 128;
constexpr Time kReapPause = std::chrono::milliseconds(10);

/// A pipe whose ends are not handed on to other programs.
struct Pipe
{
    Pipe()
    {
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw Failure(FailureKind::Usage, std::string("no pipe can be made: ") + std::strerror(errno));
    }
    ~Pipe()
    {
        for (const int end : ends) {
            if (end >= 0)
                close(end);
        }
    }
    int takeReadEnd()
    {
        const int end = ends[0];
        ends[0] = -1;
        return end;
    }
    int ends[2] = {-1, -1};
};

int millisecondsUntil(Time until)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - steadyNow()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 1000000));
}

} // namespace

ChildProcess::ChildProcess(const std::string &program, const std::vector<std::string> &arguments,
                           bool takeErrors)
{
    Pipe output;
    Pipe errors;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDOUT_FILENO);
    if (takeErrors)
        posix_spawn_file_actions_adddup2(&actions, errors.ends[1], STDERR_FILENO);

    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const int error = posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw Failure(FailureKind::Usage, "'" + program + "' cannot be started: " + std::strerror(error));
    output_.descriptor = output.takeReadEnd();
    if (takeErrors)
        errors_.descriptor = errors.takeReadEnd();
}

ChildProcess::~ChildProcess()
{
    if (!exitCode_) {
        kill(pid_, SIGKILL);
        int status = 0;
        waitpid(pid_, &status, 0);
    }
    for (const Stream *stream : {&output_, &errors_}) {
        if (stream->descriptor >= 0)
            close(stream->descriptor);
    }
}

void ChildProcess::signal(int number)
{
    if (!exitCode_)
        kill(pid_, number);
}

/// Reads what is there, waiting until @p until for something.
/// @return false when the time is over or nothing more can come.
bool ChildProcess::readSome(Time until)
{
    Stream *const streams[] = {&output_, &errors_};
    pollfd polled[2];
    for (std::size_t i = 0; i < 2; ++i)
        polled[i] = {streams[i]->descriptor, POLLIN, 0};
    if (output_.descriptor < 0 && errors_.descriptor < 0)
        return false;
    if (poll(polled, 2, millisecondsUntil(until)) <= 0)
        return false;
    for (std::size_t i = 0; i < 2; ++i) {
        if (polled[i].revents == 0)
            continue;
        char bytes[4096];
        const ssize_t length = read(streams[i]->descriptor, bytes, sizeof bytes);
        if (length > 0) {
            streams[i]->text.append(bytes, static_cast<std::size_t>(length));
        } else {
            close(streams[i]->descriptor);
            streams[i]->descriptor = -1;
        }
    }
    return true;
}

std::optional<std::string> ChildProcess::readLine(Time until)
{
    for (;;) {
        const std::size_t end = output_.text.find('\n');
        if (end != std::string::npos) {
            const std::string line = output_.text.substr(0, end);
            output_.text.erase(0, end + 1);
            return line;
        }
        if (output_.descriptor < 0 || !readSome(until))
            return std::nullopt;
    }
}

bool ChildProcess::reap()
{
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) != pid_)
        return false;
    exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : kSignalBase + WTERMSIG(status);
    return true;
}

std::optional<int> ChildProcess::waitForEnd(Time until)
{
    while (!exitCode_ && !reap()) {
        if (steadyNow() >= until)
            return std::nullopt;
        const Time slice = std::min(until, steadyNow() + kReapPause);
        if (!readSome(slice))
            poll(nullptr, 0, millisecondsUntil(slice));
    }
    // What was written last may still lie in the pipes.
    while (readSome(steadyNow())) {
    }
    return exitCode_;
}

} // namespace plc::host
