#include "runtime/testing/journal.h"

#include <algorithm>

#include "runtime/line/number_text.h"

namespace plc::simulation {

namespace {

/// No frame is longer; of a babble no more is worth reading.
constexpr std::size_t kMostHeard = 256;

} // namespace

Journal::Journal(std::size_t kept) : entries_(kept)
{
    constexpr std::size_t kLongest = 600;
    for (Entry &entry : entries_) {
        entry.bytes.reserve(kLongest);
        entry.what.reserve(kLongest / 4);
    }
}

void Journal::note(Time at, const char *who, int number, const Bytes &bytes, const char *what)
{
    // Entries are used again, so that a run of hours does not spend its time on memory.
    Entry &entry = entries_[next_];
    entry.at = at;
    entry.who = who;
    entry.number = number;
    entry.isHeard = false;
    entry.bytes.assign(bytes.begin(), bytes.end());
    entry.what = what;
    next_ = (next_ + 1) % entries_.size();
}

void Journal::noteHeard(Time at, std::uint8_t byte, bool isNoise, Time silence)
{
    const std::size_t latest = (next_ + entries_.size() - 1) % entries_.size();
    if (!entries_[latest].isHeard || at - entries_[latest].last >= silence) {
        note(at, "master hears", 0, Bytes(), "");
        Entry &begun = entries_[(next_ + entries_.size() - 1) % entries_.size()];
        begun.isHeard = true;
        begun.noise = begun.length = 0;
    }
    Entry &entry = entries_[(next_ + entries_.size() - 1) % entries_.size()];
    entry.last = at;
    ++entry.length;
    entry.noise += isNoise ? 1u : 0u;
    if (entry.bytes.size() < kMostHeard)
        entry.bytes.push_back(byte);
}

/// Bytes and words of an entry.
std::string Journal::textOf(const Entry &entry)
{
    std::string text = hexOf(entry.bytes);
    std::string what = entry.what;
    if (entry.isHeard && entry.length > entry.bytes.size())
        text += " ... " + std::to_string(entry.length) + " bytes in all";
    if (entry.isHeard && entry.noise > 0)
        what = std::to_string(entry.noise) + " of them noise or collided";
    return text + (text.empty() || what.empty() ? "" : "  ") + what;
}

std::string Journal::text() const
{
    std::string all;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const Entry &entry = entries_[(next_ + i) % entries_.size()];
        if (!entry.who)
            continue;
        std::string who = entry.who + (entry.number > 0 ? " " + std::to_string(entry.number) : "");
        who.resize(std::max<std::size_t>(who.size(), 13), ' ');
        all += runtime::secondsText(entry.at, 16) + "  " + who + " " + textOf(entry) + "\n";
    }
    return all;
}

} // namespace plc::simulation
