// Lines at the end of a file or pipe.
#include "host/commands/appended_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

#include <gtest/gtest.h>

namespace {

using plc::host::AppendedFile;

class AppendedPipe : public ::testing::Test
{
protected:
    AppendedPipe()
    {
        std::string name = ::testing::TempDir() + "plc_pipe_XXXXXX";
        folder = mkdtemp(name.data());
        path = folder + "/pipe";
        EXPECT_EQ(0, mkfifo(path.c_str(), 0600));
        reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    }
    ~AppendedPipe() override
    {
        close(reader);
        unlink(path.c_str());
        rmdir(folder.c_str());
    }
    std::string readAll() const
    {
        std::string text;
        char bytes[65536];
        for (ssize_t length = 0; (length = read(reader, bytes, sizeof bytes)) > 0;)
            text.append(bytes, static_cast<std::size_t>(length));
        return text;
    }

    std::string folder;
    std::string path;
    int reader = -1;
    const std::function<bool()> giveUp = [] { return true; };
};

TEST_F(AppendedPipe, ThatIsFullHasThePartOfALineAndTheNextOneBeginsALine)
{
    AppendedFile file(path, "--log");
    const std::string big(1000000, 'x');
    EXPECT_EQ(EAGAIN, file.append(big, giveUp));
    const std::string part = readAll();
    EXPECT_GT(part.size(), 0u);
    EXPECT_EQ(std::string(part.size(), 'x'), part);
    EXPECT_EQ(0, file.append("next", giveUp));
    EXPECT_EQ("\nnext\n", readAll());
    EXPECT_EQ(0, file.append("last", giveUp));
    EXPECT_EQ("last\n", readAll()) << "one end a line";
}

TEST_F(AppendedPipe, WhoseReaderHasGoneIsAFailure)
{
    std::signal(SIGPIPE, SIG_IGN);
    AppendedFile file(path, "--log");
    close(std::exchange(reader, -1));
    EXPECT_EQ(EPIPE, file.append("line"));
    std::signal(SIGPIPE, SIG_DFL);
}

} // namespace
