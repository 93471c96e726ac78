// The port where the system answers what a pseudo-terminal never does: chips, old systems, devices that go.

#include "runtime/line/serial_port.h"

#include <asm/ioctls.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/serial.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <vector>

#include "runtime/line/failure.h"
#include "runtime/line/terminal_mode.h"

namespace {

using namespace plc::runtime;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// One device. What it is asked to be is kept in `mode`, changed as `keeps` says.
class FakeSystem : public TerminalSystem
{
public:
    int open(const std::string &path) override
    {
        opened = path;
        const auto own = openErrors.find(path);
        errno = own != openErrors.end() ? own->second : openError;
        return errno != 0 ? -1 : 7;
    }
    std::string lastingName(int) override { return nameOfDevice; }
    int openToWait(int) override { return waitingReads ? waiting : -1; }
    void close(int descriptor) override
    {
        closed += descriptor == waiting ? 0 : 1;
        closedWaiting += descriptor == waiting ? 1 : 0;
    }
    int control(int, unsigned long request, void *argument) override
    {
        switch (request) {
        case TCGETS2:
        case TCSETS2:
            if (anyRateError != 0) {
                errno = anyRateError;
                return -1;
            }
            if (request == TCSETS2 && settingsError != 0) {
                errno = settingsError;
                return -1;
            }
            return transfer(request == TCGETS2, argument, sizeof(termios2));
        case TCGETS:
        case TCSETS:
            if (!isTerminal) {
                errno = ENOTTY;
                return -1;
            }
            return transfer(request == TCGETS, argument, sizeof(termios));
        case TIOCGSERIAL:
            std::memcpy(argument, &serial, sizeof serial);
            errno = ENOTTY;
            return hasSerial ? 0 : -1;
        case TIOCSRS485:
            if (!hasRs485) {
                errno = ENOTTY;
                return -1;
            }
            std::memcpy(&rs485, argument, sizeof rs485);
            rs485.delay_rts_before_send = std::min(rs485.delay_rts_before_send, longestDelay);
            return 0;
        case TIOCGRS485:
            std::memcpy(argument, &rs485, sizeof rs485);
            return 0;
        case TIOCGICOUNT:
            std::memcpy(argument, &counted, sizeof counted);
            errno = ENOTTY;
            return countsErrors ? 0 : -1;
        case TIOCSSERIAL:
            std::memcpy(&serial, argument, sizeof serial);
            return 0;
        default:
            return -1;
        }
    }
    int control(int, unsigned long request, int) override
    {
        requests.push_back(request);
        return 0;
    }
    int lock(int) override
    {
        errno = isLocked ? EWOULDBLOCK : lockError;
        return errno != 0 ? -1 : 0;
    }
    std::vector<std::string> ports() override { return others; }
    std::string holder(const std::string &path) override { return path == opened ? lockedBy : ""; }
    bool isPseudoTerminal(int) override { return false; }
    long read(int descriptor, void *bytes, std::size_t) override
    {
        ++calls;
        if (descriptor == waiting && received.empty()) {
            clock += std::chrono::milliseconds(100);
            return 0;
        }
        const QByteArray next = received.front();
        received.pop_front();
        std::memcpy(bytes, next.constData(), static_cast<std::size_t>(next.size()));
        errno = readError;
        return next.isEmpty() ? readResult : next.size();
    }
    long write(int, const void *bytes, std::size_t count) override
    {
        if (writes.empty()) {
            sent.append(static_cast<const char *>(bytes), static_cast<int>(count));
            return static_cast<long>(count);
        }
        const long taken = writes.front();
        writes.pop_front();
        if (taken > 0)
            sent.append(static_cast<const char *>(bytes), static_cast<int>(taken));
        if (taken < 0)
            errno = static_cast<int>(-taken);
        return taken < 0 ? -1 : taken;
    }
    Readiness waitToRead(int, Time until) override
    {
        ++calls;
        if (!received.empty())
            return Readiness::Ready;
        clock = std::max(clock, until);
        return onSilence;
    }
    Readiness waitToWrite(int, Time until) override
    {
        clock = std::max(clock, until);
        return onFull;
    }
    void sleepUntil(Time until) override { clock = std::max(clock, until); }
    int fifoTrigger(int) override { return trigger; }
    bool setFifoTrigger(int, int bytes) override
    {
        if (triggerIsFixed)
            return false;
        trigger = bytes;
        return true;
    }
    Time now() override { return clock; }

    int waiting = 8; ///< the descriptor that reads wait on
    int closedWaiting = 0;

    bool waitingReads = false;
    int calls = 0; ///< that wait or read
    int trigger = -1;
    bool triggerIsFixed = false;
    bool countsErrors = false;
    serial_icounter_struct counted{};
    std::string opened;
    int openError = 0;
    std::map<std::string, int> openErrors; ///< by path, before `openError`
    std::string nameOfDevice;              ///< that lasts
    int closed = 0;
    int anyRateError = 0;  ///< of the calls that know any rate
    int settingsError = 0; ///< of the call that sets them
    bool isTerminal = true;
    termios2 mode{};
    tcflag_t neverKept = 0; ///< of c_cflag
    int ratesOnly = 0;      ///< the one rate that the device can do; 0 for all
    bool hasSerial = false;
    serial_struct serial{};
    bool hasRs485 = false;
    serial_rs485 rs485{};
    unsigned longestDelay = 100;
    bool isLocked = false;
    int lockError = 0;
    std::string lockedBy;
    std::vector<std::string> others; ///< ports of the machine
    std::vector<unsigned long> requests;
    std::deque<QByteArray> received;
    long readResult = 0;
    int readError = 0;
    std::deque<long> writes; ///< bytes taken, or a negative error; nothing for all
    QByteArray sent;
    Readiness onSilence = Readiness::TimedOut;
    Readiness onFull = Readiness::TimedOut;
    Time clock = std::chrono::seconds(100);

private:
    int transfer(bool out, void *argument, std::size_t size)
    {
        if (out) {
            std::memcpy(argument, &mode, size);
            return 0;
        }
        std::memcpy(&mode, argument, size);
        mode.c_cflag &= ~neverKept;
        if (ratesOnly != 0)
            mode.c_ospeed = static_cast<speed_t>(ratesOnly);
        return 0;
    }
};

class SerialPortSystem : public ::testing::Test
{
protected:
    SerialPortSystem() { settings.port = "/dev/ttyX"; }

    SerialPort open()
    {
        return SerialPort(
            settings,
            [this](const PortNote &note) { (note.isWarning ? warnings : notes).push_back(note.text); },
            system);
    }
    std::string refusal()
    {
        try {
            open();
        } catch (const Failure &failure) {
            EXPECT_EQ(FailureKind::Port, failure.kind());
            return failure.what();
        }
        return "it was opened";
    }

    FakeSystem system;
    LineSettings settings;
    std::vector<std::string> warnings;
    std::vector<std::string> notes;
};

TEST_F(SerialPortSystem, FindsAPortWithoutAFolderInDev)
{
    settings.port = "ttyUSB0";
    open();
    EXPECT_EQ("/dev/ttyUSB0", system.opened);
}

TEST_F(SerialPortSystem, TellsItsDeviceByTheLastingName)
{
    EXPECT_EQ("", open().identity());
    system.nameOfDevice = "/by-id/one";
    EXPECT_EQ("/by-id/one", open().identity());
    EXPECT_EQ("/dev/ttyX", system.opened);
}

TEST_F(SerialPortSystem, FindsADeviceUnderItsLastingNameWhateverItsPortIsCalledByNow)
{
    settings.identity = "/by-id/one";
    system.nameOfDevice = "/by-id/one";
    system.openErrors["/dev/ttyX"] = ENOENT;
    open();
    EXPECT_EQ("/by-id/one", system.opened);
}

// What has got the port's name may be on another line, with other machines; and its own lasting name may not
// be there yet.
TEST_F(SerialPortSystem, WaitsForADeviceWithALastingNameWhateverHasGotThePortsName)
{
    settings.identity = "/by-id/one";
    system.openErrors["/by-id/one"] = ENOENT;
    for (const char *name : {"", "/by-id/other"}) {
        system.nameOfDevice = name;
        EXPECT_THROW(open(), PortAbsent);
        EXPECT_EQ("/by-id/one", system.opened);
    }
    EXPECT_THAT(system.requests, IsEmpty()) << "nothing was done to any device";
}

TEST_F(SerialPortSystem, SaysWhyADeviceThatIsThereCannotBeOpenedUnderItsLastingName)
{
    settings.identity = "/by-id/one";
    system.openErrors["/by-id/one"] = EBUSY;
    EXPECT_THAT(refusal(), HasSubstr("it is in use by another program"));
    EXPECT_EQ("/by-id/one", system.opened);
}

TEST_F(SerialPortSystem, TellsAPortThatIsNotThereFromOneThatCannotBeUsed)
{
    for (const int error : {ENOENT, ENODEV, ENXIO}) {
        system.openError = error;
        EXPECT_THROW(open(), PortAbsent);
    }
    system.openError = EACCES;
    try {
        open();
        ADD_FAILURE() << "it was opened";
    } catch (const PortAbsent &) {
        ADD_FAILURE() << "it is there";
    } catch (const Failure &) {
    }
}

TEST_F(SerialPortSystem, SaysWhyAPortCannotBeOpened)
{
    system.openError = ENOENT;
    EXPECT_EQ("port '/dev/ttyX' cannot be opened at 19200 baud: there is no such port, nor any other on this "
              "machine; is the adapter plugged in?",
              refusal());
    system.openError = EACCES;
    EXPECT_EQ(
        "port '/dev/ttyX' cannot be opened at 19200 baud: this user may not use it; join the group that it "
        "belongs to, mostly dialout, and log in again (Permission denied)",
        refusal());
    system.openError = EBUSY;
    EXPECT_EQ("port '/dev/ttyX' cannot be opened at 19200 baud: it is in use by another program (Device or "
              "resource busy)",
              refusal());
    system.openError = EIO;
    EXPECT_THAT(refusal(), HasSubstr("it is no usable serial port"));
    EXPECT_EQ(0, system.closed);
}

TEST_F(SerialPortSystem, SaysOfANameAloneWhichPathItStandsFor)
{
    system.openError = ENOENT;
    settings.port = "line";
    EXPECT_EQ(
        "port 'line' cannot be opened at 19200 baud: there is no /dev/line, nor any other on this machine; "
        "is the adapter plugged in? A port in the current folder is named ./line",
        refusal());
    system.others = {"/dev/ttyS0"};
    EXPECT_EQ(
        "port 'line' cannot be opened at 19200 baud: there is no /dev/line; there is /dev/ttyS0; a port "
        "in the current folder is named ./line",
        refusal());
}

TEST_F(SerialPortSystem, NamesThePortsThatThereAreInPlaceOfTheMissingOne)
{
    system.openError = ENOENT;
    system.others = {"/dev/ttyS0"};
    EXPECT_THAT(refusal(), HasSubstr("there is no such port; there is /dev/ttyS0"));
    system.others = {"/dev/ttyS0", "/dev/ttyACM0", "/dev/ttyUSB0"};
    EXPECT_THAT(refusal(), EndsWith("there are /dev/ttyS0, /dev/ttyACM0 and /dev/ttyUSB0"));
    system.others.assign(20, "/dev/ttyUSB1");
    EXPECT_THAT(refusal(), EndsWith("/dev/ttyUSB1 and 12 more"));
}

TEST(TerminalSystemPorts, AreThoseThatHaveADeviceAndAChip)
{
    namespace fs = std::filesystem;
    const fs::path folder = fs::path(testing::TempDir()) / ("ports." + std::to_string(getpid()));
    const auto add = [&folder](const char *name, const char *type, bool hasDevice) {
        fs::create_directories(folder / name / (hasDevice ? "device" : "power"));
        if (type)
            std::ofstream(folder / name / "type") << type << "\n";
    };
    add("ttyUSB10", nullptr, true);
    add("ttyUSB2", nullptr, true);
    add("ttyS0", "4", true);
    add("ttyS1", "0", true);
    add("tty0", nullptr, false);
    plc::runtime::TerminalSystem system("/nowhere", folder.string());
    EXPECT_THAT(system.ports(), ElementsAre("/dev/ttyS0", "/dev/ttyUSB2", "/dev/ttyUSB10"));
    fs::remove_all(folder);
    EXPECT_THAT(system.ports(), IsEmpty());
}

TEST_F(SerialPortSystem, NamesTheProcessThatHoldsThePort)
{
    system.isLocked = true;
    system.lockedBy = "process 4711 (plchost)";
    EXPECT_THAT(refusal(), HasSubstr("it is in use by process 4711 (plchost)"));
    system.lockedBy.clear();
    EXPECT_THAT(refusal(), HasSubstr("it is in use by another program"));
    EXPECT_EQ(2, system.closed);
    EXPECT_THAT(system.requests, IsEmpty()) << "the other's claim was touched";
}

// A program of the superuser gets as far as the lock; for any other the device does not even open.
TEST_F(SerialPortSystem, NamesTheProcessThatHoldsThePortToUsersWhoCannotOpenIt)
{
    system.openError = EBUSY;
    system.lockedBy = "process 4711 (plchost)";
    EXPECT_THAT(refusal(), HasSubstr("it is in use by process 4711 (plchost)"));
    system.lockedBy.clear();
    EXPECT_THAT(refusal(), HasSubstr("it is in use by another program"));
    EXPECT_EQ(0, system.closed);
}

TEST_F(SerialPortSystem, ClaimsTheDeviceAndGivesItBack)
{
    open();
    EXPECT_THAT(system.requests, ElementsAre(TIOCEXCL, TCFLSH, TIOCNXCL));
    EXPECT_EQ(1, system.closed);
}

TEST_F(SerialPortSystem, AsksForTheStandardRateByItsNameAndForAnyOtherByItsNumber)
{
    const SerialPort standard = open();
    EXPECT_EQ(tcflag_t{B19200}, system.mode.c_cflag & CBAUD);
    EXPECT_EQ(19200u, system.mode.c_ospeed);
    settings.baud = 31250;
    const SerialPort other = open();
    EXPECT_EQ(tcflag_t{BOTHER}, system.mode.c_cflag & CBAUD);
    EXPECT_EQ(31250u, system.mode.c_ospeed);
    EXPECT_EQ(31250u, system.mode.c_ispeed);
}

class SerialPortOnOldSystems : public SerialPortSystem, public ::testing::WithParamInterface<int>
{};

TEST_P(SerialPortOnOldSystems, SetsStandardRatesOnly)
{
    system.anyRateError = GetParam();
    settings.baud = 57600;
    {
        const SerialPort port = open();
        EXPECT_EQ(tcflag_t{B57600}, system.mode.c_cflag & CBAUD);
        EXPECT_NE(tcflag_t{0}, system.mode.c_cflag & PARENB);
    }
    settings.baud = 31250;
    EXPECT_THAT(refusal(), HasSubstr("this system sets standard rates only"));
}

INSTANTIATE_TEST_SUITE_P(Answers, SerialPortOnOldSystems, ::testing::Values(ENOTTY, EINVAL, ENOSYS));

TEST_F(SerialPortSystem, RefusesWhatIsNoTerminal)
{
    system.anyRateError = ENOTTY;
    system.isTerminal = false;
    EXPECT_THAT(refusal(), HasSubstr("it is no usable serial port"));
    EXPECT_EQ(1, system.closed);
}

TEST_F(SerialPortSystem, RefusesAPortThatDoesNotTakeTheSettings)
{
    system.settingsError = EIO;
    EXPECT_EQ("port '/dev/ttyX' cannot be opened at 19200 baud: it does not take the settings (Input/output "
              "error)",
              refusal());
}

TEST_F(SerialPortSystem, RefusesAPortThatDoesNotKeepParityOrStopBits)
{
    system.neverKept = PARENB;
    EXPECT_THAT(refusal(), HasSubstr("it does not keep the parity; try setting 'parity' none"));
    settings.parity = Parity::Odd;
    system.neverKept = PARODD;
    EXPECT_THAT(refusal(), HasSubstr("it does not keep the parity"));
    settings.parity = Parity::None;
    system.neverKept = CSTOPB;
    EXPECT_THAT(refusal(), HasSubstr("it does not keep the number of stop bits; try setting 'stopBits' 1"));
    system.neverKept = CSIZE;
    EXPECT_THAT(refusal(), HasSubstr("it has no characters of 8 bits"));
}

TEST_F(SerialPortSystem, CountsTheTrueRateOfAChipThatDividesItsClock)
{
    constexpr int k16550A = 4;
    system.hasSerial = true;
    system.serial.type = k16550A;
    system.serial.baud_base = 115200;
    settings.baud = 31250;
    EXPECT_EQ("port '/dev/ttyX' runs at 28800 baud, since it cannot do 31250; choose a rate that it can do, "
              "or take "
              "setting 'anyRate'",
              refusal());
    settings.anyRate = true;
    open();
    EXPECT_THAT(warnings,
                ElementsAre("port '/dev/ttyX' runs at 28800 baud, since it cannot do 31250; stations may "
                            "not understand it"));
    settings.baud = 76800; // the divisor is rounded to the nearest, 1.5 to 2
    open();
    EXPECT_THAT(warnings.back(), ::testing::StartsWith("port '/dev/ttyX' runs at 57600 baud"));
    settings.anyRate = false;
    settings.baud = 57600;
    open();
    EXPECT_EQ(2u, warnings.size());
}

TEST_F(SerialPortSystem, BelievesTheSystemWhereTheChipIsAnother)
{
    constexpr int kImx = 62;
    system.hasSerial = true;
    system.serial.type = kImx;
    system.serial.baud_base = 115200;
    settings.baud = 31250;
    open();
    EXPECT_THAT(warnings, IsEmpty());
}

struct Rate
{
    int asked;
    int real;
    bool warned;
    bool refused;
};

class RealRates : public SerialPortSystem, public ::testing::WithParamInterface<Rate>
{};

TEST_P(RealRates, AreWarnedOfAboveOnePerCentAndRefusedAboveThree)
{
    settings.baud = GetParam().asked;
    system.ratesOnly = GetParam().real;
    EXPECT_EQ(GetParam().refused, refusal() != "it was opened");
    EXPECT_EQ(GetParam().warned, !warnings.empty());
}

INSTANTIATE_TEST_SUITE_P(Limits, RealRates,
                         ::testing::Values(Rate{10000, 10000, false, false}, Rate{10000, 10100, false, false},
                                           Rate{10000, 9900, false, false}, Rate{10000, 10101, true, false},
                                           Rate{10000, 9899, true, false}, Rate{10000, 10300, true, false},
                                           Rate{10000, 9700, true, false}, Rate{10000, 10301, false, true},
                                           Rate{10000, 9699, false, true}, Rate{250000, 9600, false, true},
                                           Rate{4000000, 3000000, false, true}));

TEST_F(SerialPortSystem, AsksConvertersToHandBytesOverAtOnce)
{
    system.hasSerial = true;
    open();
    EXPECT_NE(0u, static_cast<unsigned>(system.serial.flags) & ASYNC_LOW_LATENCY);
    EXPECT_THAT(notes, ElementsAre("port '/dev/ttyX' hands bytes over at once"));
}

TEST_F(SerialPortSystem, HasTheChipHandOverSingleBytesWhereTheSystemLetsIt)
{
    system.hasSerial = true;
    system.trigger = 8;
    {
        const SerialPort port = open();
        EXPECT_EQ(1, system.trigger);
    }
    EXPECT_EQ(8, system.trigger) << "not put back";
    EXPECT_THAT(notes, Contains("port '/dev/ttyX' hands over single bytes, no longer 8 together"));
}

TEST_F(SerialPortSystem, HasTheChipHandOverSingleBytesUpTo115200Baud)
{
    system.hasSerial = true;
    system.trigger = 8;
    settings.baud = 115200;
    const SerialPort port = open();
    EXPECT_EQ(1, system.trigger);
}

TEST_F(SerialPortSystem, LeavesTheChipAloneWhereThatCannotBeOrCostsTooMuch)
{
    system.hasSerial = true;
    open();
    EXPECT_EQ(-1, system.trigger) << "there is no such setting";
    system.trigger = 8;
    system.triggerIsFixed = true;
    open();
    system.triggerIsFixed = false;
    settings.baud = 230400;
    {
        const SerialPort port = open();
        EXPECT_EQ(8, system.trigger) << "an interrupt for each of 23,000 bytes a second";
    }
    for (const std::string &note : notes)
        EXPECT_EQ("port '/dev/ttyX' hands bytes over at once", note);
    EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(SerialPortSystem, CountsTheErrorsOfTheLineSinceItWasOpened)
{
    system.countsErrors = true;
    system.counted.parity = 5;
    system.counted.frame = -1; // the system counts in 32 bits
    SerialPort port = open();
    system.counted.parity = 7;
    system.counted.frame = 2;
    system.counted.overrun = 1;
    system.counted.buf_overrun = 4;
    system.counted.brk = 6;
    const std::optional<LineErrors> errors = port.errors();
    ASSERT_TRUE(errors);
    EXPECT_EQ(2u, errors->parity);
    EXPECT_EQ(3u, errors->framing);
    EXPECT_EQ(5u, errors->overruns);
    EXPECT_EQ(6u, errors->breaks);
}

TEST_F(SerialPortSystem, KnowsNoErrorsOfTheLineWhereTheDeviceCountsNone)
{
    SerialPort port = open();
    EXPECT_FALSE(port.errors());
}

TEST_F(SerialPortSystem, SwitchesTheDirectionOfTheLineWhereAsked)
{
    system.hasRs485 = true;
    open();
    EXPECT_EQ(0u, system.rs485.flags) << "nobody has asked";
    settings.rs485 = Rs485{true, 1, 2};
    open();
    {
        const SerialPort port = open();
        EXPECT_EQ(unsigned{SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND}, system.rs485.flags);
        EXPECT_EQ(1u, system.rs485.delay_rts_before_send);
        EXPECT_EQ(2u, system.rs485.delay_rts_after_send);
    }
    settings.rs485 = Rs485{false, 0, 0};
    const SerialPort port = open();
    EXPECT_EQ(unsigned{SER_RS485_ENABLED | SER_RS485_RTS_AFTER_SEND}, system.rs485.flags);
}

TEST_F(SerialPortSystem, PutsTheSwitchingOfDirectionBackAsItWas)
{
    system.hasRs485 = true;
    system.rs485.flags = SER_RS485_RTS_AFTER_SEND;
    system.rs485.delay_rts_after_send = 7;
    settings.rs485 = Rs485{true, 1, 2};
    open();
    EXPECT_EQ(unsigned{SER_RS485_RTS_AFTER_SEND}, system.rs485.flags);
    EXPECT_EQ(0u, system.rs485.delay_rts_before_send);
    EXPECT_EQ(7u, system.rs485.delay_rts_after_send);
    settings.rs485->beforeMs = 101; // not kept, so that the port is refused
    EXPECT_THAT(refusal(), HasSubstr("it does not keep"));
    EXPECT_EQ(unsigned{SER_RS485_RTS_AFTER_SEND}, system.rs485.flags);
}

TEST_F(SerialPortSystem, RefusesToSwitchWhereThePortCannot)
{
    settings.rs485 = Rs485{};
    EXPECT_THAT(refusal(),
                HasSubstr("it does not switch the direction of an RS-485 line (Inappropriate ioctl for "
                          "device); use a converter that switches by itself, without setting 'rs485'"));
    system.hasRs485 = true;
    settings.rs485->beforeMs = 101;
    EXPECT_THAT(refusal(),
                HasSubstr("it does not keep these settings of RS-485; it offers rts-on-send,100,0"));
}

TEST_F(SerialPortSystem, SendsTheRestOfWhatTheSystemHasNotTaken)
{
    SerialPort port = open();
    system.writes = {3, -EINTR, -EAGAIN, 2};
    system.onFull = Readiness::Ready;
    port.send("abcdefgh");
    EXPECT_EQ(QByteArray("abcdefgh"), system.sent);
}

TEST_F(SerialPortSystem, IsLostWhenNothingIsTakenForFiveSeconds)
{
    SerialPort port = open();
    const Time before = system.clock;
    system.writes = {-EAGAIN};
    EXPECT_THROW(port.send("a"), Failure);
    EXPECT_EQ(std::chrono::seconds(5), system.clock - before);
    system.writes = {-EIO};
    EXPECT_THROW(port.send("a"), Failure);
}

TEST_F(SerialPortSystem, IsLostWhenTheSystemSaysReadyAndTakesNothing)
{
    SerialPort port = open();
    system.onFull = Readiness::Ready;
    system.writes = {-EAGAIN, -EAGAIN, -EAGAIN};
    EXPECT_THROW(port.send("a"), Failure);
}

TEST_F(SerialPortSystem, IsLostWhenAWriteTakesNothingWhateverWentWrongBefore)
{
    SerialPort port = open();
    system.onFull = Readiness::Ready;
    system.writes = {0};
    errno = EAGAIN; // of an earlier call
    EXPECT_THROW(port.send("a"), Failure);
}

TEST_F(SerialPortSystem, IsUsedWithoutALockWhereTheDeviceKnowsNone)
{
    system.lockError = ENOLCK;
    open();
    EXPECT_THAT(system.requests, Contains(TIOCEXCL));
}

TEST_F(SerialPortSystem, WaitsUntilTheGivenMomentAndNoLonger)
{
    SerialPort port = open();
    EXPECT_TRUE(port.receive(system.clock + std::chrono::microseconds(1750)).isEmpty());
    EXPECT_EQ(std::chrono::seconds(100) + std::chrono::microseconds(1750), system.clock);
    EXPECT_TRUE(port.receive(system.clock - std::chrono::seconds(1)).isEmpty());
    EXPECT_EQ(std::chrono::seconds(100) + std::chrono::microseconds(1750), system.clock);
}

TEST_F(SerialPortSystem, HandsOverWhatHasComeAlsoWhenTheMomentHasPassed)
{
    SerialPort port = open();
    system.received = {"abc", "de"};
    EXPECT_EQ(QByteArray("abc"), port.receive(Time::zero()));
    EXPECT_EQ(QByteArray("de"), port.receive(Time::zero()));
}

TEST_F(SerialPortSystem, IsLostWhenTheDeviceHasGone)
{
    SerialPort port = open();
    system.onSilence = Readiness::HungUp;
    EXPECT_THROW(port.receive(system.clock + std::chrono::seconds(1)), Failure);
    system.received = {""};
    EXPECT_THROW(port.receive(system.clock + std::chrono::seconds(1)), Failure) << "the end of the device";
    system.received = {""};
    system.readResult = -1;
    system.readError = EIO;
    EXPECT_THROW(port.receive(system.clock + std::chrono::seconds(1)), Failure);
}

TEST_F(SerialPortSystem, ReadsWithOneCallWhereThereIsTimeForARead)
{
    system.waitingReads = true;
    SerialPort port = open();
    system.received = {"ab", "c"};
    EXPECT_EQ(QByteArray("ab"), port.receive(system.clock + std::chrono::seconds(1)));
    EXPECT_EQ(1, system.calls);
    EXPECT_EQ(QByteArray("c"), port.receive(system.clock + std::chrono::milliseconds(100)));
    EXPECT_EQ(3, system.calls) << "a read may wait for longer than that";
}

TEST_F(SerialPortSystem, WaitsNoLongerThanAskedWhereReadsWait)
{
    system.waitingReads = true;
    SerialPort port = open();
    const Time until = system.clock + std::chrono::microseconds(333333);
    EXPECT_TRUE(port.receive(until).isEmpty());
    EXPECT_EQ(until, system.clock);
}

TEST_F(SerialPortSystem, IsLostWhenTheDeviceHasGoneWhileAReadWaits)
{
    system.waitingReads = true;
    SerialPort port = open();
    system.onSilence = Readiness::HungUp;
    EXPECT_THROW(port.receive(system.clock + std::chrono::seconds(1)), Failure);
}

TEST_F(SerialPortSystem, ClosesWhatItHasOpenedToWaitWhateverItsNumber)
{
    system.waitingReads = true;
    system.waiting = 0; // where the program has closed its standard input
    open();
    EXPECT_EQ(1, system.closedWaiting);
    EXPECT_EQ(1, system.closed);
}

TEST_F(SerialPortSystem, SleepsWhileBytesAreOfNoUse)
{
    SerialPort port = open();
    system.received = {"ab"};
    port.rest(system.clock + std::chrono::milliseconds(7));
    EXPECT_EQ(std::chrono::seconds(100) + std::chrono::milliseconds(7), system.clock);
    EXPECT_EQ(QByteArray("ab"), port.receive(Time::zero()));
}

TEST_F(SerialPortSystem, LooksAgainWhereAWakeUpBroughtNothing)
{
    SerialPort port = open();
    system.readResult = -1;
    system.readError = EAGAIN;
    system.received = {"", "x"};
    EXPECT_EQ(QByteArray("x"), port.receive(system.clock + std::chrono::seconds(1)));
}

} // namespace
