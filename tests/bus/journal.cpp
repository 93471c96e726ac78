#include "journal.h"

#include <cstdio>

namespace plc::bus {

Journal::Journal(std::size_t kept) : entries_(kept)
{
    constexpr std::size_t kLongest = 600;
    for (Entry &entry : entries_) {
        entry.bytes.reserve(kLongest);
        entry.what.reserve(kLongest / 4);
    }
}

void Journal::note(Time at, const char *who, int number, ByteView bytes, const char *what)
{
    // Entries are used again, so that a run of hours does not spend its time on memory.
    Entry &entry = entries_[next_];
    entry.at = at;
    entry.who = who;
    entry.number = number;
    entry.bytes.assign(bytes.data, bytes.data + bytes.size);
    entry.what = what;
    next_ = (next_ + 1) % entries_.size();
}

std::string Journal::text() const
{
    std::string all;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const Entry &entry = entries_[(next_ + i) % entries_.size()];
        if (!entry.who)
            continue;
        char head[64];
        const std::string number = entry.number > 0 ? " " + std::to_string(entry.number) : "";
        std::snprintf(head, sizeof head, "%16.6f  %-13s ", host::seconds(entry.at),
                      (entry.who + number).c_str());
        all += head + hexText(entry.bytes) + (entry.bytes.empty() || entry.what.empty() ? "" : "  ") +
               entry.what + "\n";
    }
    return all;
}

} // namespace plc::bus
