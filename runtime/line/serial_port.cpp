#include "runtime/line/serial_port.h"

#include <asm/ioctls.h>
#include <linux/serial.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "runtime/line/failure.h"
#include "runtime/line/terminal_mode.h"

namespace plc::runtime {

/// How the port switches the direction of an RS-485 line.
struct Direction
{
    serial_rs485 record{};
};

namespace {

constexpr Time kWriteLimit = std::chrono::seconds(5);
constexpr int kWarnedShare = 100; ///< one hundredth
constexpr int kRefusedPercent = 3;
/// Begins the identity of a pseudo-terminal; behind it stands what the link to it is told by.
const char *const kLink = "link ";
/// A read that waits takes no longer than VTIME and what a machine with slow ticks adds.
constexpr int kReadTenths = 1;
constexpr Time kReadWait = std::chrono::milliseconds(100 * kReadTenths + 20);
/// Up to here the processor has time for an interrupt for each character.
constexpr int kFastestSingleBaud = 115200;

TerminalSystem &realSystem()
{
    // Never destroyed: a thread that was left behind in an opening may use it while the program ends.
    static TerminalSystem &system = *new TerminalSystem;
    return system;
}

std::string pathOf(const std::string &port)
{
    return port.find('/') == std::string::npos ? "/dev/" + port : port;
}

bool isAbsence(int error)
{
    return error == ENOENT || error == ENODEV || error == ENXIO;
}

std::string reasonOf(int error)
{
    const std::string said = std::string(" (") + std::strerror(error) + ")";
    switch (error) {
    case EACCES:
    case EPERM:
        return "this user may not use it; join the group that it belongs to, mostly dialout, and log in "
               "again" +
               said;
    case EBUSY:
        return "it is in use by another program" + said;
    default:
        return "it is no usable serial port" + said;
    }
}

/// "there is no such port; there are /dev/ttyS0 and /dev/ttyUSB0"; of a name alone the path, and what the
/// name may have meant.
std::string absenceText(const std::string &port, const std::vector<std::string> &ports)
{
    constexpr std::size_t kMostNamed = 8;
    const bool isName = pathOf(port) != port;
    const std::string what = isName ? "there is no " + pathOf(port) : "there is no such port";
    const std::string here = isName ? "; a port in the current folder is named ./" + port : "";
    if (ports.empty())
        return what + ", nor any other on this machine; is the adapter plugged in?" +
               (isName ? " A port in the current folder is named ./" + port : "");
    const std::size_t named = std::min(ports.size(), kMostNamed);
    std::string text = what + "; there " + (ports.size() == 1 ? "is " : "are ");
    for (std::size_t i = 0; i < named; ++i)
        text += (i == 0 ? "" : i + 1 == ports.size() ? " and " : ", ") + ports[i];
    return text + (named < ports.size() ? " and " + std::to_string(ports.size() - named) + " more" : "") +
           here;
}

/// Raw bytes of 8 bits; wrong parity drops a character, so that its frame fails its checksum (MODBUS over
/// Serial Line V1.02, 2.6).
void setCharacter(TerminalMode *mode, const LineSettings &settings)
{
    termios2 &record = mode->record;
    record.c_iflag = settings.parity == Parity::None ? 0 : INPCK | IGNPAR;
    record.c_oflag = 0;
    record.c_lflag = 0;
    record.c_cflag &= CBAUD;
    record.c_cflag |= CS8 | CREAD | CLOCAL;
    if (settings.parity != Parity::None)
        record.c_cflag |= PARENB;
    if (settings.parity == Parity::Odd)
        record.c_cflag |= PARODD;
    if (settings.effectiveStopBits() == 2)
        record.c_cflag |= CSTOPB;
    // A read that waits ends with the first bytes, or empty after VTIME; any other fails where nothing is
    // there.
    record.c_cc[VMIN] = 0;
    record.c_cc[VTIME] = kReadTenths;
}

bool isFarther(int real, int asked, int numerator, int denominator)
{
    return std::int64_t{denominator} * std::abs(std::int64_t{real} - asked) > std::int64_t{numerator} * asked;
}

/// Chips that divide their clock by a whole number, as the driver of the 8250 family numbers them.
bool isOf8250Family(int type)
{
    constexpr int kFirst = 1;
    constexpr int kLast = 12;
    return type >= kFirst && type <= kLast;
}

} // namespace

SerialPort::SerialPort(const LineSettings &settings, const PortListener &listener)
    : SerialPort(settings, listener, realSystem())
{}

SerialPort::SerialPort(const LineSettings &settings, const PortListener &listener, TerminalSystem &system)
    : system_(system), name_(settings.port)
{
    open(settings);
    try {
        identify();
        claim(settings);
        configure(settings, listener);
        if (settings.rs485)
            switchDirection(settings, listener);
        hurry(settings, listener);
        system_.control(descriptor_, TCFLSH, TCIOFLUSH);
        errorsBefore_ = countedErrors().value_or(LineErrors());
    } catch (...) {
        release();
        throw;
    }
}

SerialPort::~SerialPort()
{
    release();
}

void SerialPort::open(const LineSettings &settings)
{
    const bool wasPseudoTerminal = settings.identity.compare(0, std::strlen(kLink), kLink) == 0;
    if (wasPseudoTerminal || settings.identity.empty()) {
        path_ = pathOf(name_);
        // The number of a pseudo-terminal that has ended goes to whoever asks next.
        const std::string link = system_.linkAt(path_);
        if (wasPseudoTerminal && (link.empty() || kLink + link == settings.identity))
            throw PortAbsent(refusalText(settings, "the pseudo-terminal has ended"));
    } else {
        // The port's name goes to whichever device is plugged in next, and that may be on another line.
        path_ = settings.identity;
    }
    descriptor_ = system_.open(path_);
    if (descriptor_ >= 0)
        return;
    const int error = errno;
    // What another program has claimed opens for the superuser alone.
    if (error == EBUSY)
        refuseInUse(settings, reasonOf(error));
    if (isAbsence(error))
        throw PortAbsent(refusalText(settings, absenceText(settings.port, system_.ports())));
    refuse(settings, reasonOf(error));
}

void SerialPort::identify()
{
    identity_ = system_.isPseudoTerminal(descriptor_) ? kLink + system_.linkAt(path_)
                                                      : system_.lastingName(descriptor_);
}

void SerialPort::release()
{
    if (triggerBefore_ > 0)
        system_.setFifoTrigger(descriptor_, triggerBefore_);
    if (directionBefore_)
        system_.control(descriptor_, TIOCSRS485, &directionBefore_->record);
    if (before_)
        writeMode(*before_);
    if (isClaimed_)
        system_.control(descriptor_, TIOCNXCL, 0);
    if (waiting_ >= 0)
        system_.close(waiting_);
    system_.close(descriptor_);
}

/// The lock holds off programs of the superuser too, which TIOCEXCL does not; that holds off programs that
/// know no lock.
void SerialPort::claim(const LineSettings &settings)
{
    TerminalMode mode;
    if (!readMode(&mode))
        refuse(settings, reasonOf(errno));
    if (system_.lock(descriptor_) != 0 && errno == EWOULDBLOCK)
        refuseInUse(settings, "it is in use by another program");
    waiting_ = system_.openToWait(descriptor_);
    isClaimed_ = true;
    system_.control(descriptor_, TIOCEXCL, 0);
}

void SerialPort::configure(const LineSettings &settings, const PortListener &listener)
{
    TerminalMode mode;
    if (!readMode(&mode))
        refuse(settings, reasonOf(errno));
    auto before = std::make_unique<TerminalMode>(mode);
    setCharacter(&mode, settings);
    if (!setRate(&mode, settings.baud))
        refuse(settings, "this system sets standard rates only");
    before_ = std::move(before);
    if (!writeMode(mode))
        refuse(settings, std::string("it does not take the settings (") + std::strerror(errno) + ")");
    TerminalMode kept;
    if (!readMode(&kept))
        refuse(settings, reasonOf(errno));
    checkMode(settings, kept, listener);
    checkRate(settings, kept, listener);
}

void SerialPort::checkMode(const LineSettings &settings, const TerminalMode &kept,
                           const PortListener &listener) const
{
    TerminalMode asked;
    setCharacter(&asked, settings);
    const tcflag_t differs = kept.record.c_cflag ^ asked.record.c_cflag;
    if ((differs & PARENB) != 0 && system_.isPseudoTerminal(descriptor_)) {
        if (listener)
            listener({false, "port '" + name_ + "' is a pseudo-terminal and has no parity bit"});
    } else if ((differs & (PARENB | PARODD)) != 0) {
        refuse(settings, "it does not keep the parity; try setting 'parity' none");
    }
    if ((kept.record.c_iflag & INPCK) != (asked.record.c_iflag & INPCK))
        refuse(settings, "it does not check parity; try setting 'parity' none");
    if ((differs & CSTOPB) != 0)
        refuse(settings, "it does not keep the number of stop bits; try setting 'stopBits' " +
                             std::string(settings.effectiveStopBits() == 2 ? "1" : "2"));
    if ((differs & CSIZE) != 0)
        refuse(settings, "it has no characters of 8 bits");
}

void SerialPort::checkRate(const LineSettings &settings, const TerminalMode &kept,
                           const PortListener &listener)
{
    const int told = rateOf(kept);
    const int real = trueRate(told);
    if (real <= 0 || !isFarther(real, settings.baud, 1, kWarnedShare))
        return;
    const std::string text = "port '" + name_ + "' runs at " + std::to_string(real) +
                             " baud, since it cannot do " + std::to_string(settings.baud);
    if (isFarther(real, settings.baud, kRefusedPercent, 100) && !settings.anyRate)
        throw Failure(FailureKind::Port, text + "; choose a rate that it can do, or take setting 'anyRate'");
    if (listener)
        listener({true, text + "; stations may not understand it"});
}

/// Bits per second that the port really sends with. Drivers tell the rate that was asked for where the chip
/// can only divide its clock.
int SerialPort::trueRate(int told) const
{
    serial_struct serial{};
    if (told <= 0 || system_.control(descriptor_, TIOCGSERIAL, &serial) != 0 ||
        !isOf8250Family(serial.type) || serial.baud_base <= 0)
        return told;
    const int divisor = std::max((serial.baud_base + told / 2) / told, 1);
    return (serial.baud_base + divisor / 2) / divisor;
}

bool SerialPort::readMode(TerminalMode *mode) const
{
    if (system_.control(descriptor_, TCGETS2, &mode->record) == 0) {
        mode->knowsAnyRate = true;
        return true;
    }
    if (errno != ENOTTY && errno != EINVAL && errno != ENOSYS)
        return false;
    termios older{};
    if (system_.control(descriptor_, TCGETS, &older) != 0)
        return false;
    static_assert(sizeof older <= sizeof mode->record, "the older record is the beginning of the newer one");
    mode->record = termios2{};
    std::memcpy(&mode->record, &older, sizeof older);
    mode->knowsAnyRate = false;
    return true;
}

bool SerialPort::writeMode(const TerminalMode &mode) const
{
    termios2 record = mode.record;
    if (mode.knowsAnyRate)
        return system_.control(descriptor_, TCSETS2, &record) == 0;
    termios older{};
    std::memcpy(&older, &record, sizeof older);
    return system_.control(descriptor_, TCSETS, &older) == 0;
}

void SerialPort::switchDirection(const LineSettings &settings, const PortListener &listener)
{
    constexpr auto kSwitching =
        static_cast<unsigned>(SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND | SER_RS485_RTS_AFTER_SEND);
    const Rs485 &wanted = *settings.rs485;
    serial_rs485 asked{};
    asked.flags = static_cast<unsigned>(
        SER_RS485_ENABLED | (wanted.rtsOnSend ? SER_RS485_RTS_ON_SEND : SER_RS485_RTS_AFTER_SEND));
    asked.delay_rts_before_send = static_cast<unsigned>(wanted.beforeMs);
    asked.delay_rts_after_send = static_cast<unsigned>(wanted.afterMs);
    Direction before;
    if (system_.control(descriptor_, TIOCGRS485, &before.record) == 0)
        directionBefore_ = std::make_unique<Direction>(before);
    serial_rs485 kept = asked;
    if (system_.control(descriptor_, TIOCSRS485, &kept) != 0 ||
        system_.control(descriptor_, TIOCGRS485, &kept) != 0)
        refuse(settings, std::string("it does not switch the direction of an RS-485 line (") +
                             std::strerror(errno) +
                             "); use a converter that switches by itself, without setting 'rs485'");
    if (((kept.flags ^ asked.flags) & kSwitching) != 0 ||
        kept.delay_rts_before_send != asked.delay_rts_before_send ||
        kept.delay_rts_after_send != asked.delay_rts_after_send)
        refuse(settings,
               "it does not keep these settings of RS-485; it offers " +
                   std::string((kept.flags & SER_RS485_RTS_ON_SEND) != 0 ? "rts-on-send" : "rts-after-send") +
                   "," + std::to_string(kept.delay_rts_before_send) + "," +
                   std::to_string(kept.delay_rts_after_send));
    if (listener)
        listener({false, "port '" + name_ + "' switches the direction of the line by RTS"});
}

/// Asks converters to hand bytes over at once instead of in bursts every 16 ms, and chips not to wait for
/// bytes that do not come: behind a reply they wait for four characters. The thread sleeps through a reply,
/// so that it is not woken more often for that. Ports that know nothing of this are not slower for it.
void SerialPort::hurry(const LineSettings &settings, const PortListener &listener)
{
    serial_struct serial{};
    if (system_.control(descriptor_, TIOCGSERIAL, &serial) != 0)
        return;
    serial.flags = static_cast<int>(static_cast<unsigned>(serial.flags) | ASYNC_LOW_LATENCY);
    if (system_.control(descriptor_, TIOCSSERIAL, &serial) == 0 && listener)
        listener({false, "port '" + name_ + "' hands bytes over at once"});
    const int trigger = system_.fifoTrigger(descriptor_);
    if (trigger <= 1 || settings.baud > kFastestSingleBaud || !system_.setFifoTrigger(descriptor_, 1))
        return;
    triggerBefore_ = trigger;
    if (listener)
        listener({false, "port '" + name_ + "' hands over single bytes, no longer " +
                             std::to_string(trigger) + " together"});
}

/// As the driver of the device has counted since the system was started.
std::optional<LineErrors> SerialPort::countedErrors() const
{
    serial_icounter_struct counted{};
    if (system_.control(descriptor_, TIOCGICOUNT, &counted) != 0)
        return std::nullopt;
    const auto number = [](int count) { return std::uint64_t{static_cast<unsigned>(count)}; };
    return LineErrors{number(counted.parity), number(counted.frame),
                      number(counted.overrun) + number(counted.buf_overrun), number(counted.brk)};
}

std::optional<LineErrors> SerialPort::errors()
{
    const std::optional<LineErrors> now = countedErrors();
    if (!now)
        return std::nullopt;
    // The system counts in 32 bits, and then from 0 again.
    const auto since = [](std::uint64_t before, std::uint64_t after) {
        return std::uint64_t{static_cast<std::uint32_t>(after - before)};
    };
    return LineErrors{since(errorsBefore_.parity, now->parity), since(errorsBefore_.framing, now->framing),
                      since(errorsBefore_.overruns, now->overruns), since(errorsBefore_.breaks, now->breaks)};
}

void SerialPort::refuse(const LineSettings &settings, const std::string &reason) const
{
    throw Failure(FailureKind::Port, refusalText(settings, reason));
}

std::string SerialPort::refusalText(const LineSettings &settings, const std::string &reason) const
{
    return "port '" + name_ + "' cannot be opened at " + std::to_string(settings.baud) + " baud: " + reason;
}

/// @param otherwise  the reason where nobody knows the process.
void SerialPort::refuseInUse(const LineSettings &settings, const std::string &otherwise) const
{
    const std::string holder = system_.holder(path_);
    refuse(settings, holder.empty() ? otherwise : "it is in use by " + holder);
}

void SerialPort::lost(const char *doing) const
{
    throw Failure(FailureKind::Port,
                  "port '" + name_ + "' is lost while " + doing + "; is it still plugged in?");
}

void SerialPort::send(const QByteArray &bytes)
{
    const Time limit = system_.now() + kWriteLimit;
    for (int done = 0; done < bytes.size();) {
        const long sent = system_.write(descriptor_, bytes.constData() + done,
                                        static_cast<std::size_t>(bytes.size() - done));
        if (sent > 0) {
            done += static_cast<int>(sent);
            continue;
        }
        if (sent < 0 && errno == EINTR)
            continue;
        const bool isFull = sent < 0 && errno == EAGAIN;
        if (!isFull || system_.now() >= limit || system_.waitToWrite(descriptor_, limit) != Readiness::Ready)
            lost("sending");
    }
}

QByteArray SerialPort::receive(Time until)
{
    constexpr int kMostAtOnce = 1024;
    // A read that waits spares the call that waits. It knows no other time than VTIME.
    bool readWaits = waiting_ >= 0 && until - system_.now() >= kReadWait;
    for (;;) {
        if (!readWaits && !isReady(until))
            return QByteArray();
        char bytes[kMostAtOnce];
        const long got = system_.read(readWaits ? waiting_ : descriptor_, bytes, sizeof bytes);
        if (got > 0)
            return QByteArray(bytes, static_cast<int>(got));
        const bool isTimeOver = readWaits && got == 0;
        if (!isTimeOver && (got == 0 || (errno != EAGAIN && errno != EINTR)))
            lost("listening");
        // A device that has gone ends a read that waits empty, too. The other way to wait tells.
        readWaits = readWaits && !isTimeOver;
    }
}

/// @return false when there is nothing to read by @p until.
bool SerialPort::isReady(Time until)
{
    const Readiness ready = system_.waitToRead(descriptor_, until);
    if (ready == Readiness::HungUp)
        lost("listening");
    return ready == Readiness::Ready;
}

void SerialPort::rest(Time until)
{
    system_.sleepUntil(until);
}

} // namespace plc::runtime
