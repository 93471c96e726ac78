/// @file
/// What a session takes from the program around it.
#ifndef PLC_MASTER_SURROUNDINGS_H
#define PLC_MASTER_SURROUNDINGS_H

#include <functional>

#include "runtime/line/failure.h"
#include "runtime/line/port.h"

namespace plc::runtime {

/// A session that is never started needs none of it.
struct Surroundings
{
    OpenPort openPort = [](const LineSettings &settings) -> std::unique_ptr<Port> {
        throw Failure(FailureKind::Port, "nobody was named who opens port '" + settings.port + "'");
    };
    /// Called on the thread of the line before it does anything.
    std::function<void()> atStart = [] {};
    /// Asked several times a second by each call that waits, on the caller's thread; true ends the wait.
    std::function<bool()> isCancelled = [] { return false; };
};

} // namespace plc::runtime

#endif
