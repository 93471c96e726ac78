/// @file
/// A serial port or pseudo-terminal of Linux, over the system's terminal interface.
#ifndef PLC_LINE_SERIAL_PORT_H
#define PLC_LINE_SERIAL_PORT_H

#include <functional>
#include <string>

#include "runtime/line/port.h"
#include "runtime/line/terminal_system.h"

namespace plc::runtime {

struct Direction;
struct TerminalMode;

/// Something that people should know of a port that works.
struct PortNote
{
    bool isWarning = false; ///< the stations may not understand the port; otherwise for those who look closer
    std::string text;
};
using PortListener = std::function<void(const PortNote &)>;

/// Used with blocking calls by one thread. No other program can open the device meanwhile, under whatever
/// name, and its settings are put back when the port is closed.
///
/// A device is told by its lasting name, as /dev/serial/by-id/usb-..., where it has one, and found by that
/// alone. A pseudo-terminal never comes back; but the link that leads to it may be made anew.
class SerialPort final : public Port
{
public:
    /// Opens the port of @p settings and throws away what it has received so far. A port without a folder in
    /// its name is one of /dev.
    /// @param listener  may be null; hears of everything inside this call.
    /// @param system    outlives the port.
    /// @throw Failure   (port) that says why it cannot be opened, or cannot do what is asked of it: a rate
    ///                  that is more than 3 % off (unless LineSettings::anyRate), parity or stop bits that it
    ///                  does not keep, the switching of direction.
    explicit SerialPort(const LineSettings &settings, const PortListener &listener = nullptr);
    SerialPort(const LineSettings &settings, const PortListener &listener, TerminalSystem &system);
    ~SerialPort() override;
    SerialPort(const SerialPort &) = delete;
    SerialPort &operator=(const SerialPort &) = delete;

    void send(const QByteArray &bytes) override;
    QByteArray receive(Time until) override;
    std::string identity() const override { return identity_; }
    void rest(Time until) override;
    std::optional<LineErrors> errors() override;

private:
    void open(const LineSettings &settings);
    void identify();
    void claim(const LineSettings &settings);
    void configure(const LineSettings &settings, const PortListener &listener);
    void checkMode(const LineSettings &settings, const TerminalMode &kept,
                   const PortListener &listener) const;
    void checkRate(const LineSettings &settings, const TerminalMode &kept, const PortListener &listener);
    void switchDirection(const LineSettings &settings, const PortListener &listener);
    bool readMode(TerminalMode *mode) const;
    bool writeMode(const TerminalMode &mode) const;
    int trueRate(int told) const;
    void hurry(const LineSettings &settings, const PortListener &listener);
    std::optional<LineErrors> countedErrors() const;
    bool isReady(Time until);
    void release();
    [[noreturn]] void refuse(const LineSettings &settings, const std::string &reason) const;
    [[noreturn]] void refuseInUse(const LineSettings &settings, const std::string &otherwise) const;
    std::string refusalText(const LineSettings &settings, const std::string &reason) const;
    [[noreturn]] void lost(const char *doing) const;

    TerminalSystem &system_;
    std::string name_;
    std::string path_; ///< that was opened
    std::string identity_;
    int descriptor_ = -1;
    int waiting_ = -1; ///< the same device, for reads that wait; -1 where there is none
    bool isClaimed_ = false;
    std::unique_ptr<TerminalMode> before_;       ///< to be put back; null for nothing
    std::unique_ptr<Direction> directionBefore_; ///< to be put back; null for nothing
    int triggerBefore_ = -1;                     ///< to be put back; -1 for nothing
    LineErrors errorsBefore_;                    ///< counted before the port was opened
};

} // namespace plc::runtime

#endif
