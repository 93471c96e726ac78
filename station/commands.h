/// @file
/// What a running station is told on its standard input: values, and faults that come and go.
#ifndef PLC_STATION_COMMANDS_H
#define PLC_STATION_COMMANDS_H

#include "station_bus.h"

#include <string>

namespace plc::station {

/// What became of a command. Both are one line without its end, and may be empty.
struct CommandReply
{
    std::string output; ///< the values that were asked for
    std::string error;  ///< what is wrong; then nothing was done
};

/// Carries a command out. Words are separated by blanks; N is the number of a station of the bus:
///
///     dead N                          hears nothing and says nothing
///     refuse N [CODE]                 answers every request with an exception, 1 without a CODE
///     refuse-writes N [CODE]          the same for requests that write
///     alive N                         answers again
///     set N AREA:ADDRESS VALUE...     the items from there on, as the process behind a device changes them
///     get N AREA:ADDRESS [COUNT]      output is "N AREA:ADDRESS VALUE..."
///
/// An empty line is no command and does nothing.
CommandReply runCommand(const std::string &line, StationBus *bus);

/// Lines of commands as they come from a descriptor.
class CommandInput
{
public:
    /// @param descriptor  stays its owner's; below 0 for none.
    CommandInput(int descriptor, StationBus *bus) : descriptor_(descriptor), bus_(bus) {}

    /// What to poll for input; below 0 once the input has ended.
    int descriptor() const { return descriptor_; }
    /// Carries out the lines that are complete after one read. Values go to standard output, mistakes to
    /// standard error. Waits where nothing is there to read.
    void takeInput();
    /// Why a value could not be written; empty where all were.
    const std::string &unwritten() const { return unwritten_; }

private:
    int descriptor_;
    StationBus *bus_;
    std::string pending_;
    std::string unwritten_;
};

} // namespace plc::station

#endif
