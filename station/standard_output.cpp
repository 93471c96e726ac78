#include "standard_output.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace plc::station {

void prepareStreams()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // open() takes the lowest number that is free. The stand-in is for the wrong direction.
        if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF)
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

std::string print(const std::string &text)
{
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t written = write(STDOUT_FILENO, text.data() + done, text.size() - done);
        if (written >= 0)
            done += static_cast<std::size_t>(written);
        else if (errno == EPIPE)
            return {};
        else if (errno != EINTR)
            return std::string("standard output cannot be written: ") + std::strerror(errno) +
                   "; send it elsewhere";
    }
    return {};
}

} // namespace plc::station
