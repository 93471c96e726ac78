#include "programs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace plc::test {

namespace {

Finished collect(host::ChildProcess &process)
{
    Finished finished;
    const auto code = process.waitForEnd(host::steadyNow() + kPatience);
    finished.exitCode = code.value_or(-1);
    finished.output = process.output();
    finished.errors = process.errors();
    EXPECT_TRUE(code.has_value()) << "the program does not end; so far it said:\n" << finished.errors;
    return finished;
}

} // namespace

Words Finished::lines() const
{
    Words result;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);)
        result.push_back(line);
    return result;
}

void PrintTo(const Finished &finished, std::ostream *out)
{
    *out << "exit code " << finished.exitCode << "\n--- output\n"
         << finished.output << "--- errors\n"
         << finished.errors;
}

std::string withoutWallTimes(const std::string &text)
{
    static const std::regex time("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}"
                                 "[-+][0-9]{2}:[0-9]{2}");
    return std::regex_replace(text, time, "TIME");
}

Finished plchost(const Words &arguments)
{
    host::ChildProcess process(PLC_HOST_PROGRAM, arguments, true);
    return collect(process);
}

Server::Server(const std::string &program, const Words &arguments)
    : process_(std::make_unique<host::ChildProcess>(program, arguments, true))
{
    const auto line = process_->readLine(host::steadyNow() + kPatience);
    if (!line)
        throw std::runtime_error(program + " named no terminal: " + process_->errors());
    terminal_ = *line;
}

Finished Server::stop()
{
    process_->signal(SIGTERM);
    return collect(*process_);
}

std::unique_ptr<Server> startStation(const Words &arguments)
{
    return std::make_unique<Server>(PLC_STATION_PROGRAM, Words{"--die-with-parent"} + arguments);
}

TemporaryFile::TemporaryFile(const std::string &content)
{
    std::string path = ::testing::TempDir() + "plc_test_XXXXXX";
    const int file = mkstemp(path.data());
    if (file < 0 || write(file, content.data(), content.size()) != static_cast<ssize_t>(content.size()))
        throw std::runtime_error("no temporary file in " + ::testing::TempDir());
    close(file);
    path_ = path;
}

TemporaryFile::~TemporaryFile()
{
    unlink(path_.c_str());
}

FullPipe::FullPipe()
{
    const TemporaryFile name("");
    path_ = name.path() + ".pipe";
    if (mkfifo(path_.c_str(), 0600) != 0)
        throw std::runtime_error("no pipe in " + ::testing::TempDir());
    reader_ = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const int writer = open(path_.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    const std::string page(4096, ' ');
    while (write(writer, page.data(), page.size()) > 0)
        continue;
    close(writer);
}

FullPipe::~FullPipe()
{
    close(reader_);
    unlink(path_.c_str());
}

void awaitError(host::ChildProcess &process, const std::string &text)
{
    const auto limit = host::steadyNow() + kPatience;
    while (process.errors().find(text) == std::string::npos && host::steadyNow() < limit) {
        if (process.waitForEnd(host::steadyNow() + std::chrono::milliseconds(20)))
            break;
    }
    EXPECT_THAT(process.errors(), ::testing::HasSubstr(text));
}

} // namespace plc::test
