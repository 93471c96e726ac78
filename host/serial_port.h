/// @file
/// A serial port or pseudo-terminal, used with blocking calls by one thread.
#ifndef PLC_HOST_SERIAL_PORT_H
#define PLC_HOST_SERIAL_PORT_H

#include <QByteArray>
#include <QSerialPort>

#include <string>

#include "link_settings.h"
#include "link_time.h"

namespace plc::host {

/// All calls on the thread that constructed it.
class SerialPort
{
public:
    /// Opens the port of @p settings and throws away what it has received so far. Warns on standard error when the
    /// port has not taken the baud rate.
    /// @throw Failure  (port) that says why it cannot be opened.
    void open(const LinkSettings &settings);

    /// Transmits @p bytes in one go and returns when the system has taken them all.
    /// @throw Failure  (port) when the port is lost.
    void send(const QByteArray &bytes);

    /// Waits for bytes until @p until at the latest.
    /// @return what has arrived, at once when there is something; empty when the time is over.
    /// @throw Failure  (port) when the port is lost.
    QByteArray receive(Time until);

private:
    [[noreturn]] void lost(const char *doing);

    QSerialPort port_;
    std::string name_;
};

} // namespace plc::host

#endif
