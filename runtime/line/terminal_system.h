/// @file
/// The system calls that a serial port needs, so that a test can answer in the system's place.
#ifndef PLC_LINE_TERMINAL_SYSTEM_H
#define PLC_LINE_TERMINAL_SYSTEM_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "runtime/line/link_time.h"

namespace plc::runtime {

/// What became of a wait.
enum class Readiness
{
    TimedOut,
    Ready,
    HungUp ///< the device has gone, and nothing is left to be read
};

/// Whether the device at @p path is the end of a pseudo-terminal that programs open: it has no rate.
bool isPseudoTerminal(const std::string &path);

/// The calls as the system has them: -1 means that `errno` tells what is wrong.
class TerminalSystem
{
public:
    /// @param lastingNames  folder of links to the devices, each of them named after its device.
    /// @param devices       folder with an entry for each terminal, as the kernel has it.
    explicit TerminalSystem(std::string lastingNames = "/dev/serial/by-id",
                            std::string devices = "/sys/class/tty")
        : lastingNames_(std::move(lastingNames)), devices_(std::move(devices))
    {}
    virtual ~TerminalSystem() = default;

    /// Opens a device for reading and writing, neither as the controlling terminal nor with waits.
    virtual int open(const std::string &path);
    virtual void close(int descriptor);
    /// ioctl() with a pointer.
    virtual int control(int descriptor, unsigned long request, void *argument);
    /// ioctl() with a number, or without an argument.
    virtual int control(int descriptor, unsigned long request, int argument);
    /// Locks the device, not its name: a link leads to the same lock. The lock goes with the descriptor.
    virtual int lock(int descriptor);
    /// "process 4711 (plchost)": who has locked the device at @p path; empty where that is not known.
    virtual std::string holder(const std::string &path);
    /// Path of the link that is named after the device; empty where there is none.
    virtual std::string lastingName(int descriptor);
    /// What the symbolic link at @p path is told by; empty where there is none. A link that is made anew is
    /// another link.
    virtual std::string linkAt(const std::string &path);
    virtual bool isPseudoTerminal(int descriptor);
    /// The serial ports of the machine, as "/dev/ttyUSB0", by name. Names behind which there is no chip, as
    /// most of ttyS0 to ttyS31, are left out.
    virtual std::vector<std::string> ports();
    /// Opens the device of @p descriptor once more, for reads that wait as long as the device's VTIME says.
    /// To be called before anybody claims the device.
    virtual int openToWait(int descriptor);
    virtual long read(int descriptor, void *bytes, std::size_t count);
    virtual long write(int descriptor, const void *bytes, std::size_t count);
    /// Waits until the device can be read (or written), at most until @p until. A signal does not end the
    /// wait.
    virtual Readiness waitToRead(int descriptor, Time until);
    virtual Readiness waitToWrite(int descriptor, Time until);
    /// Sleeps until @p until, whatever arrives. A signal ends the sleep.
    virtual void sleepUntil(Time until);
    virtual Time now();
    /// Received bytes at which the chip of the device calls the processor; -1 where that is not told.
    virtual int fifoTrigger(int descriptor);
    virtual bool setFifoTrigger(int descriptor, int bytes);

private:
    std::string lastingNames_;
    std::string devices_;
};

} // namespace plc::runtime

#endif
