#include "host/commands/input_lines.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

namespace plc::host {

std::vector<InputLine> InputLines::take(Time patience)
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
    std::vector<InputLine> lines;
    if (length > 0)
        add(piece, static_cast<std::size_t>(length), &lines);
    else if (!pending_.empty())
        add("\n", 1, &lines);
    return lines;
}

void InputLines::add(const char *piece, std::size_t length, std::vector<InputLine> *lines)
{
    const char *const end = piece + length;
    for (const char *from = piece; from != end;) {
        const char *const lineEnd = std::find(from, end, '\n');
        if (!isSkipping_)
            pending_.append(from, lineEnd);
        if (!isSkipping_ && pending_.size() > kLongest) {
            isSkipping_ = true;
            pending_ = std::string();
            lines->push_back({std::string(), true});
        }
        if (lineEnd == end)
            return;
        from = lineEnd + 1;
        if (std::exchange(isSkipping_, false))
            continue;
        if (!pending_.empty() && pending_.back() == '\r')
            pending_.pop_back();
        lines->push_back({std::exchange(pending_, std::string()), false});
    }
}

} // namespace plc::host
