#include "host/serial_port.h"

#include <linux/serial.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <algorithm>
#include <cstdio>
#include <thread>

#include "host/line_rate.h"
#include "runtime/line/failure.h"

namespace plc::host {

namespace {

constexpr int kWriteLimitMs = 5000;

QSerialPort::Parity qtParity(Parity parity)
{
    switch (parity) {
    case Parity::Odd:
        return QSerialPort::OddParity;
    case Parity::None:
        return QSerialPort::NoParity;
    case Parity::Even:
        break;
    }
    return QSerialPort::EvenParity;
}

const char *reason(QSerialPort::SerialPortError error)
{
    switch (error) {
    case QSerialPort::DeviceNotFoundError:
        return "there is no such port; look at /dev/ttyS*, /dev/ttyUSB*, /dev/ttyACM*";
    case QSerialPort::PermissionError:
        return "it is in use by another program, or this user may not use it (group dialout)";
    case QSerialPort::UnsupportedOperationError:
        return "it is no serial port, or has no such baud rate, parity or number of stop bits";
    default:
        return "it is no usable serial port";
    }
}

/// Lets the system drop characters with a wrong parity, so that their frame fails its checksum (MODBUS over
/// Serial Line V1.02, 2.6). The port class switches only the sending side of parity on.
bool checkParity(int descriptor)
{
    termios mode{};
    if (tcgetattr(descriptor, &mode) != 0)
        return false;
    mode.c_iflag |= INPCK | IGNPAR;
    return tcsetattr(descriptor, TCSANOW, &mode) == 0;
}

/// Asks converters to hand bytes over at once instead of in bursts every 16 ms. Ports that know nothing of
/// this are not slower for it.
void hurry(int descriptor)
{
    serial_struct serial{};
    if (ioctl(descriptor, TIOCGSERIAL, &serial) != 0)
        return;
    serial.flags = static_cast<int>(static_cast<unsigned>(serial.flags) | ASYNC_LOW_LATENCY);
    ioctl(descriptor, TIOCSSERIAL, &serial);
}

} // namespace

SerialPort::SerialPort(const LineSettings &settings) : name_(settings.port)
{
    port_.setPortName(QString::fromStdString(settings.port));
    port_.setBaudRate(settings.baud);
    port_.setDataBits(QSerialPort::Data8);
    port_.setParity(qtParity(settings.parity));
    port_.setStopBits(settings.effectiveStopBits() == 2 ? QSerialPort::TwoStop : QSerialPort::OneStop);
    port_.setFlowControl(QSerialPort::NoFlowControl);
    if (!port_.open(QIODevice::ReadWrite))
        throw Failure(FailureKind::Port,
                      "port '" + name_ + "' cannot be opened at " + std::to_string(settings.baud) +
                          " baud: " + reason(port_.error()) + " (" + port_.errorString().toStdString() + ")");
    if (settings.parity != Parity::None && !checkParity(port_.handle()))
        throw Failure(FailureKind::Port, "port '" + name_ + "' does not check parity; try --parity none");
    hurry(port_.handle());
    const std::string warning = rateWarning(name_, settings.baud, lineRate(port_.handle()));
    if (!warning.empty())
        std::fprintf(stderr, "plchost: %s\n", warning.c_str());
    port_.clear();
}

void SerialPort::lost(const char *doing)
{
    throw Failure(FailureKind::Port,
                  "port '" + name_ + "' is lost while " + doing + "; is it still plugged in?");
}

void SerialPort::send(const QByteArray &bytes)
{
    if (port_.write(bytes) != bytes.size())
        lost("sending");
    while (port_.bytesToWrite() > 0) {
        if (!port_.waitForBytesWritten(kWriteLimitMs))
            lost("sending");
    }
}

QByteArray SerialPort::receive(Time until)
{
    for (;;) {
        if (port_.bytesAvailable() > 0)
            return port_.readAll();
        const Time left = until - steadyNow();
        const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(left).count();
        // The port waits in whole milliseconds. The rest of a silence is slept through; the last look finds
        // what arrives meanwhile.
        if (left > Time::zero() && milliseconds == 0) {
            std::this_thread::sleep_for(left);
            continue;
        }
        port_.clearError();
        const bool arrived =
            port_.waitForReadyRead(static_cast<int>(std::max<std::int64_t>(milliseconds, 0)));
        if (!arrived && port_.error() != QSerialPort::TimeoutError && port_.error() != QSerialPort::NoError)
            lost("listening");
        if (!arrived && left <= Time::zero())
            return QByteArray();
    }
}

std::unique_ptr<Port> openSerialPort(const LineSettings &settings)
{
    return std::make_unique<SerialPort>(settings);
}

} // namespace plc::host
