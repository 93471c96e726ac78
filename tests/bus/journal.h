/// @file
/// The last events of a run, for people who must find out what went wrong.
#ifndef PLC_TESTS_BUS_JOURNAL_H
#define PLC_TESTS_BUS_JOURNAL_H

#include <cstdint>
#include <string>
#include <vector>

#include "random.h"
#include "station/bytes.h"

namespace plc::bus {

/// Keeps the last entries and nothing else.
class Journal
{
public:
    explicit Journal(std::size_t kept = 60);

    /// @param who    in the second column, as "master" or "station 3".
    /// @param bytes  what went over the line; may be empty.
    void note(Time at, const char *who, int number, ByteView bytes, const char *what);

    /// A line for each entry, the oldest first.
    std::string text() const;

private:
    struct Entry
    {
        Time at{};
        const char *who = nullptr; ///< null: not filled yet
        int number = 0;
        Bytes bytes;
        std::string what;
    };
    std::vector<Entry> entries_;
    std::size_t next_ = 0;
};

} // namespace plc::bus

#endif
