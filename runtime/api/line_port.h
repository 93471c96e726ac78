/// @file
/// The port of a line: the system's, or one of the program's own, and what both have to say.
#ifndef PLC_API_LINE_PORT_H
#define PLC_API_LINE_PORT_H

#include <memory>
#include <mutex>
#include <vector>

#include "plcruntime/plcruntime.h"
#include "runtime/line/port.h"
#include "runtime/master/surroundings.h"

namespace plc::api {

/// Lines for people on their way from the threads of the port; with a lock of its own, since these threads
/// must never wait for who waits for them. A thread that opens a port may outlive the line.
class PortNotes
{
public:
    void put(const plcruntime::LogLine &line);
    std::vector<plcruntime::LogLine> take();

private:
    std::mutex mutex_;
    std::vector<plcruntime::LogLine> lines_;
};

/// What a session over a real port needs.
/// @param opener       null for the system's ports.
/// @param isCancelled  ends the wait for the port; called on the thread that starts the session.
runtime::Surroundings portSurroundings(const plcruntime::LineSettings &settings,
                                       plcruntime::PortOpener opener, void *context,
                                       const std::shared_ptr<PortNotes> &notes,
                                       std::function<bool()> isCancelled);

} // namespace plc::api

#endif
