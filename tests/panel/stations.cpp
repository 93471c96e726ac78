#include "stations.h"

#include <gtest/gtest.h>

#include <csignal>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace plc::test {

Stations::Stations(std::string port) : port_(std::move(port))
{
    // A station that is gone shows in what it does not answer.
    std::signal(SIGPIPE, SIG_IGN);
}

Stations::~Stations()
{
    if (pid_ > 0)
        pullOut();
}

void Stations::plugIn()
{
    int commands[2];
    int values[2];
    ASSERT_EQ(0, pipe2(commands, O_CLOEXEC));
    ASSERT_EQ(0, pipe2(values, O_CLOEXEC));
    posix_spawn_file_actions_t actions;
    ASSERT_EQ(0, posix_spawn_file_actions_init(&actions));
    ASSERT_EQ(0, posix_spawn_file_actions_adddup2(&actions, commands[0], STDIN_FILENO));
    ASSERT_EQ(0, posix_spawn_file_actions_adddup2(&actions, values[1], STDOUT_FILENO));
    const char *const words[] = {
        PLC_STATION_PROGRAM, "-a", "1-8",  "--commands", "--die-with-parent", "--link",
        port_.c_str(),       "-q", nullptr};
    ASSERT_EQ(
        0, posix_spawn(&pid_, PLC_STATION_PROGRAM, &actions, nullptr, const_cast<char **>(words), environ));
    posix_spawn_file_actions_destroy(&actions);
    close(commands[0]);
    close(values[1]);
    input_ = commands[1];
    output_ = values[0];
    ASSERT_NE("", readLine()) << "the name of the terminal";
}

void Stations::pullOut()
{
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
    close(input_);
    close(output_);
    pid_ = input_ = output_ = -1;
}

void Stations::say(const std::string &command)
{
    write(command);
    get("1 4x:0"); // comes behind it
}

std::string Stations::get(const std::string &place)
{
    write("get " + place);
    return readLine();
}

void Stations::write(const std::string &line) const
{
    const std::string text = line + '\n';
    EXPECT_EQ(static_cast<ssize_t>(text.size()), ::write(input_, text.data(), text.size()));
}

std::string Stations::readLine()
{
    std::string line;
    char letter = 0;
    while (read(output_, &letter, 1) == 1 && letter != '\n')
        line += letter;
    return line;
}

} // namespace plc::test
