/// @file
/// A serial port or pseudo-terminal, used with blocking calls by one thread.
#ifndef PLC_HOST_SERIAL_PORT_H
#define PLC_HOST_SERIAL_PORT_H

#include <QByteArray>
#include <QSerialPort>

#include <string>

#include "host/runtime_names.h"
#include "runtime/line/port.h"

namespace plc::host {

class SerialPort final : public Port
{
public:
    /// Opens the port of @p settings and throws away what it has received so far. Warns on standard error
    /// when the port has not taken the baud rate.
    /// @throw Failure  (port) that says why it cannot be opened.
    explicit SerialPort(const LineSettings &settings);

    void send(const QByteArray &bytes) override;
    QByteArray receive(Time until) override;

private:
    [[noreturn]] void lost(const char *doing);

    QSerialPort port_;
    std::string name_;
};

/// For Surroundings.
std::unique_ptr<Port> openSerialPort(const LineSettings &settings);

} // namespace plc::host

#endif
