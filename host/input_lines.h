/// @file
/// Lines from standard input without waiting for them.
#ifndef PLC_HOST_INPUT_LINES_H
#define PLC_HOST_INPUT_LINES_H

#include <string>
#include <vector>

#include "link_time.h"

namespace plc::host {

/// Reads a descriptor line by line. Not locked: one thread.
class InputLines
{
public:
    /// @param descriptor  stays the caller's.
    explicit InputLines(int descriptor) : descriptor_(descriptor) {}

    /// Waits until there is something to read, at most for @p patience, and takes one piece of it.
    /// @return the lines that are complete now, without line ends. At the end of the input a last line
    /// without one
    ///         counts as complete; from then on this only waits.
    std::vector<std::string> take(Time patience);

    /// True once the input has ended.
    bool isOver() const { return isOver_; }

private:
    int descriptor_;
    bool isOver_ = false;
    std::string pending_;
};

} // namespace plc::host

#endif
