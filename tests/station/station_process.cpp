#include "station/station_process.h"

#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

extern char **environ;

namespace plc::test {

using namespace station;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kLinePatience = 10s;
constexpr auto kEndPatience = 20s;
/// What a program has for its end when it is asked to go; then it is killed.
constexpr auto kGoodbye = 2s;

int millisecondsUntil(Clock::time_point end)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    return left < 0 ? 0 : static_cast<int>(left) + 1;
}

bool waitReadable(int descriptor, Clock::time_point end)
{
    pollfd polled = {descriptor, POLLIN, 0};
    return poll(&polled, 1, millisecondsUntil(end)) > 0;
}

/// Appends what is there to @p text. False at the end of the stream.
bool readSome(int descriptor, std::string *text)
{
    char chunk[4096];
    const ssize_t got = read(descriptor, chunk, sizeof chunk);
    if (got > 0)
        text->append(chunk, static_cast<std::size_t>(got));
    return got > 0;
}

/// Reads both streams to their ends, or until @p end.
void readToEnds(int first, std::string *firstText, int second, std::string *secondText, Clock::time_point end)
{
    pollfd polled[] = {{first, POLLIN, 0}, {second, POLLIN, 0}};
    std::string *texts[] = {firstText, secondText};
    while ((polled[0].fd >= 0 || polled[1].fd >= 0) && poll(polled, 2, millisecondsUntil(end)) > 0) {
        for (int i = 0; i < 2; ++i) {
            if (polled[i].revents != 0 && !readSome(polled[i].fd, texts[i]))
                polled[i].fd = -1;
        }
    }
}

/// Waits until @p pid has ended. False when it still runs at @p end.
bool waitForEnd(pid_t pid, Clock::time_point end)
{
    pid_t ended = waitpid(pid, nullptr, WNOHANG);
    while (ended == 0 && Clock::now() < end) {
        usleep(1000);
        ended = waitpid(pid, nullptr, WNOHANG);
    }
    return ended != 0;
}

/// Options of every station that a test starts. A test that is killed cannot stop its station any more.
std::vector<std::string> withParent(const std::vector<std::string> &arguments)
{
    std::vector<std::string> all = {"--die-with-parent"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

} // namespace

Program::Program(const std::string &path, const std::vector<std::string> &arguments)
{
    int output[2];
    int errors[2];
    if (pipe2(output, O_CLOEXEC) != 0 || pipe2(errors, O_CLOEXEC) != 0)
        return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors[1], STDERR_FILENO);

    std::vector<std::string> texts = arguments;
    texts.insert(texts.begin(), path);
    std::vector<char *> pointers;
    for (std::string &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    if (posix_spawnp(&pid_, path.c_str(), &actions, nullptr, pointers.data(), environ) != 0)
        pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(output[1]);
    close(errors[1]);
    output_ = output[0];
    errors_ = errors[0];
}

Program::~Program()
{
    // First, so that the program does not hang on a full pipe instead of ending.
    close(output_);
    close(errors_);
    if (pid_ <= 0)
        return;
    kill(pid_, SIGTERM);
    if (waitForEnd(pid_, Clock::now() + kGoodbye))
        return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

std::string Program::readLine()
{
    const auto end = Clock::now() + kLinePatience;
    std::size_t newline = pending_.find('\n');
    while (newline == std::string::npos && waitReadable(output_, end) && readSome(output_, &pending_))
        newline = pending_.find('\n');
    if (newline == std::string::npos)
        return {};
    const std::string line = pending_.substr(0, newline);
    pending_.erase(0, newline + 1);
    return line;
}

void Program::signal(int number) const
{
    if (pid_ > 0)
        kill(pid_, number);
}

ProgramResult Program::wait()
{
    ProgramResult result;
    if (pid_ <= 0)
        return result;
    const auto end = Clock::now() + kEndPatience;
    result.output = pending_;
    readToEnds(output_, &result.output, errors_, &result.errors, end);
    int status = 0;
    // Its outputs are closed, so it is gone or about to go; only a program that hangs is killed.
    if (Clock::now() >= end)
        kill(pid_, SIGKILL);
    waitpid(pid_, &status, 0);
    pid_ = -1;
    if (WIFEXITED(status))
        result.exitCode = WEXITSTATUS(status);
    return result;
}

StationProcess::StationProcess(const std::vector<std::string> &arguments)
    : program_(PLC_STATION_PROGRAM, withParent(arguments))
{
    path_ = program_.readLine();
}

ProgramResult StationProcess::stop()
{
    program_.signal(SIGTERM);
    return program_.wait();
}

ProgramResult runStation(const std::vector<std::string> &arguments)
{
    Program program(PLC_STATION_PROGRAM, withParent(arguments));
    return program.wait();
}

MasterPort::MasterPort(const std::string &path)
    : descriptor_(open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    termios mode;
    if (descriptor_ < 0 || tcgetattr(descriptor_, &mode) != 0)
        return;
    cfmakeraw(&mode);
    tcsetattr(descriptor_, TCSANOW, &mode);
}

MasterPort::~MasterPort()
{
    if (descriptor_ >= 0)
        close(descriptor_);
}

void MasterPort::send(const Bytes &bytes) const
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t put = write(descriptor_, bytes.data() + sent, bytes.size() - sent);
        if (put <= 0)
            return;
        sent += static_cast<std::size_t>(put);
    }
}

Bytes MasterPort::receive(std::size_t count, std::chrono::milliseconds patience) const
{
    const auto end = Clock::now() + patience;
    Bytes received;
    while (received.size() < count && waitReadable(descriptor_, end)) {
        std::uint8_t chunk[512];
        const ssize_t got = read(descriptor_, chunk, std::min(sizeof chunk, count - received.size()));
        if (got <= 0)
            break;
        received.insert(received.end(), chunk, chunk + got);
    }
    return received;
}

Bytes MasterPort::ask(const Bytes &request, std::size_t replySize) const
{
    send(request);
    return receive(replySize);
}

} // namespace plc::test
