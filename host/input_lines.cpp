#include "input_lines.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

namespace plc::host {

std::vector<std::string> InputLines::take(Time patience)
{
    if (isOver_) {
        std::this_thread::sleep_for(patience);
        return {};
    }
    pollfd waiting{descriptor_, POLLIN, 0};
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(patience).count();
    if (poll(&waiting, 1, static_cast<int>(milliseconds)) <= 0)
        return {};
    char piece[4096];
    const ssize_t length = read(descriptor_, piece, sizeof piece);
    if (length < 0 && (errno == EINTR || errno == EAGAIN))
        return {};
    isOver_ = length <= 0;
    if (length > 0)
        pending_.append(piece, static_cast<std::size_t>(length));
    else if (!pending_.empty())
        pending_ += '\n';

    std::vector<std::string> lines;
    std::size_t from = 0;
    for (std::size_t end = pending_.find('\n'); end != std::string::npos; end = pending_.find('\n', from)) {
        lines.push_back(pending_.substr(from, end - from));
        if (!lines.back().empty() && lines.back().back() == '\r')
            lines.back().pop_back();
        from = end + 1;
    }
    pending_.erase(0, from);
    return lines;
}

} // namespace plc::host
