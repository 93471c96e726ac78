/// @file
/// Lines from standard input without waiting for them.
#ifndef PLC_COMMANDS_INPUT_LINES_H
#define PLC_COMMANDS_INPUT_LINES_H

#include <string>
#include <vector>

#include "host/runtime_names.h"
#include "runtime/line/link_time.h"

namespace plc::host {

struct InputLine
{
    std::string text; ///< empty for a line that is too long
    bool isTooLong = false;
};

/// Reads a descriptor line by line. Not locked: one thread.
class InputLines
{
public:
    /// Bytes of a line: far more than the values of the largest variable take. Nothing of a longer line is
    /// kept.
    static constexpr std::size_t kLongest = 1048576;

    /// @param descriptor  stays the caller's.
    explicit InputLines(int descriptor) : descriptor_(descriptor) {}

    /// Waits until there is something to read, at most for @p patience, and takes one piece of it.
    /// @return the lines that are complete now, without line ends. A line that is too long is returned once,
    ///         as soon as it is. At the end of the input a last line counts as complete without an end;
    ///         afterwards the call only waits.
    std::vector<InputLine> take(Time patience);

    /// True once the input has ended.
    bool isOver() const { return isOver_; }

private:
    void add(const char *piece, std::size_t length, std::vector<InputLine> *lines);

    int descriptor_;
    bool isOver_ = false;
    std::string pending_;
    bool isSkipping_ = false; ///< the rest of a line that is too long
};

} // namespace plc::host

#endif
