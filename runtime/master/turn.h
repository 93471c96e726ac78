/// @file
/// One turn of the thread that serves a line.
#ifndef PLC_MASTER_TURN_H
#define PLC_MASTER_TURN_H

#include <algorithm>

#include "runtime/line/port.h"
#include "runtime/master/cycle.h"

namespace plc::runtime {

/// Does what @p master says, a Cycle or a DriverLink, and waits for what comes back.
/// @param now      the clock.
/// @param arrived  what the turn before has returned.
/// @param atMost   longest time that the turn may wait.
/// @return what has arrived; empty for nothing.
/// @throw Failure  (port) when the port is lost.
template <typename Master, typename Clock>
QByteArray takeTurn(Master &master, Port &port, Clock now, const QByteArray &arrived, Time atMost)
{
    const Instruction todo = master.advance(now(), arrived);
    if (!todo.send.isEmpty()) {
        port.send(todo.send);
        master.transmitted(now());
    }
    const Time start = now();
    if (todo.restUntil > start)
        port.rest(std::min(todo.restUntil, start + atMost));
    return port.receive(std::min(todo.wakeAt, start + atMost));
}

} // namespace plc::runtime

#endif
