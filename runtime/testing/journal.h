/// @file
/// The last events of a run, for people who must find out what went wrong.
#ifndef PLC_RUNTIME_TESTING_JOURNAL_H
#define PLC_RUNTIME_TESTING_JOURNAL_H

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/testing/bytes.h"
#include "runtime/testing/random.h"

namespace plc::simulation {

/// Keeps the last entries and nothing else.
class Journal
{
public:
    explicit Journal(std::size_t kept);

    /// @param who    in the second column, as "master" or "station 3".
    /// @param bytes  what went over the line; may be empty.
    void note(Time at, const char *who, int number, const Bytes &bytes, const char *what);

    /// The master hears a byte. Those that follow each other without a silence, and with nothing else
    /// between, make one entry.
    /// @param isNoise  it is not what anybody meant: made up, or garbled by a collision.
    void noteHeard(Time at, std::uint8_t byte, bool isNoise, Time silence);

    /// A line for each entry, the oldest first.
    std::string text() const;

private:
    struct Entry
    {
        Time at{};
        const char *who = nullptr; ///< null: not filled yet
        int number = 0;
        bool isHeard = false; ///< by the master
        Time last{};          ///< when the last byte of it was heard
        std::size_t noise = 0;
        std::size_t length = 0; ///< of what was heard; more than is kept of a babble
        Bytes bytes;
        std::string what;
    };
    static std::string textOf(const Entry &entry);

    std::vector<Entry> entries_;
    std::size_t next_ = 0;
};

} // namespace plc::simulation

#endif
