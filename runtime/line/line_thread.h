/// @file
/// How the system treats the thread that serves a line.
#ifndef PLC_LINE_LINE_THREAD_H
#define PLC_LINE_LINE_THREAD_H

#include <string>

namespace plc::runtime {

/// The system calls behind this, so that a test can answer in the system's place. 0, or what `errno` says.
class ThreadSystem
{
public:
    virtual ~ThreadSystem() = default;
    /// Before all ordinary threads, for the calling thread and none that it starts.
    virtual int takePriority();
    /// No page of the process that is in memory leaves it again.
    virtual int lockMemory();
};

/// The waits of the calling thread end when they are due. Otherwise the system may put them off by 50
/// microseconds, to let several end together.
void wakeOnTime();

/// The calling thread goes before all ordinary threads of the machine, and the process stays in memory. What
/// the system does not allow is left as it is.
/// @return what it does not allow and who may, a line for people; empty for nothing.
std::string runInRealTime(ThreadSystem &system);
std::string runInRealTime();

} // namespace plc::runtime

#endif
