// The port over pseudo-terminals, which keep everything but the parity bit.

#include "runtime/line/serial_port.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "runtime/line/failure.h"
#include "support/hex.h"
#include "told_rate.h"

namespace {

using namespace plc::runtime;
using plc::test::hex;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr Time kPatience = std::chrono::seconds(20);

/// The other end of the line.
class FarEnd
{
public:
    FarEnd() : descriptor_(posix_openpt(O_RDWR | O_NOCTTY))
    {
        if (descriptor_ < 0 || grantpt(descriptor_) != 0 || unlockpt(descriptor_) != 0)
            throw std::runtime_error("no pseudo-terminal");
        path_ = ptsname(descriptor_);
    }
    ~FarEnd() { hangUp(); }

    void hangUp()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
        descriptor_ = -1;
    }
    void write(const QByteArray &bytes)
    {
        EXPECT_EQ(bytes.size(),
                  ::write(descriptor_, bytes.constData(), static_cast<std::size_t>(bytes.size())));
    }
    QByteArray read(int length)
    {
        QByteArray bytes(length, '\0');
        int done = 0;
        while (done < length) {
            const ssize_t got =
                ::read(descriptor_, bytes.data() + done, static_cast<std::size_t>(length - done));
            if (got <= 0)
                break;
            done += static_cast<int>(got);
        }
        return bytes.left(done);
    }
    const std::string &path() const { return path_; }
    /// The settings of the line, which both ends share.
    termios mode() const
    {
        termios mode{};
        EXPECT_EQ(0, tcgetattr(descriptor_, &mode));
        return mode;
    }

    int rate() const { return toldRate(descriptor_); }

private:
    int descriptor_;
    std::string path_;
};

class SerialPortTest : public ::testing::Test
{
protected:
    SerialPortTest() { settings.port = far.path(); }

    FarEnd far;
    LineSettings settings;
};

TEST_F(SerialPortTest, CarriesBytesBothWays)
{
    SerialPort port(settings);
    port.send(hex("11 03 00 0A 0D 00 11 13 FF"));
    EXPECT_EQ(hex("11 03 00 0A 0D 00 11 13 FF"), far.read(9));
    far.write(hex("11 13 0A 0D 00 FF 03 04"));
    QByteArray received;
    while (received.size() < 8 && !HasFailure()) {
        const QByteArray some = port.receive(steadyNow() + kPatience);
        ASSERT_FALSE(some.isEmpty());
        received += some;
    }
    EXPECT_EQ(hex("11 13 0A 0D 00 FF 03 04"), received);
}

/// A folder of links that is gone with its object.
class LinkFolder
{
public:
    LinkFolder() { std::filesystem::create_directory(path); }
    ~LinkFolder() { std::filesystem::remove_all(path); }
    std::string link(const std::string &name, const std::string &target) const
    {
        std::filesystem::create_symlink(target, path + "/" + name);
        return path + "/" + name;
    }

    const std::string path = ::testing::TempDir() + "links_" + std::to_string(getpid());
};

TEST_F(SerialPortTest, KnowsTheLastingNameOfADeviceFromTheLinksToIt)
{
    const LinkFolder folder;
    const FarEnd other;
    const int device = open(far.path().c_str(), O_RDWR | O_NOCTTY);
    folder.link("a-other", other.path());
    folder.link("b-gone", "/nowhere");
    TerminalSystem system(folder.path);
    EXPECT_EQ("", system.lastingName(device));
    folder.link("d-second", far.path());
    const std::string first = folder.link("c-first", far.path());
    EXPECT_EQ(first, system.lastingName(device));
    EXPECT_EQ("", TerminalSystem("/no/such/folder").lastingName(device));
    close(device);
}

// Its number is somebody else's by then.
TEST_F(SerialPortTest, LooksForNoPseudoTerminalThatHasEnded)
{
    settings.identity = SerialPort(settings).identity();
    EXPECT_THROW(SerialPort port(settings), PortAbsent) << "by its number";
    const LinkFolder folder;
    settings.port = folder.link("line", far.path());
    settings.identity.clear();
    settings.identity = SerialPort(settings).identity();
    EXPECT_THROW(SerialPort port(settings), PortAbsent) << "by a link that was left behind";
    std::filesystem::remove(settings.port);
    folder.link("line", far.path());
    EXPECT_NO_THROW(SerialPort port(settings)) << "by a link that was made anew";
}

TEST_F(SerialPortTest, DropsCharactersWithAWrongParity)
{
    SerialPort port(settings);
    const tcflag_t checks = INPCK | IGNPAR | PARMRK | ISTRIP;
    EXPECT_EQ(tcflag_t{INPCK | IGNPAR}, far.mode().c_iflag & checks);
}

TEST_F(SerialPortTest, ChecksNoParityWhereThereIsNone)
{
    settings.parity = Parity::None;
    SerialPort port(settings);
    EXPECT_EQ(tcflag_t{0}, far.mode().c_iflag & INPCK);
    EXPECT_NE(tcflag_t{0}, far.mode().c_cflag & CSTOPB) << "two stop bits make up for it";
}

TEST_F(SerialPortTest, SetsTheBaudRate)
{
    settings.baud = 9600;
    SerialPort port(settings);
    const termios mode = far.mode();
    EXPECT_EQ(speed_t{B9600}, cfgetospeed(&mode));
}

TEST_F(SerialPortTest, HasReadsWaitForATenthOfASecondAtMost)
{
    SerialPort port(settings);
    const termios mode = far.mode();
    EXPECT_EQ(0, mode.c_cc[VMIN]);
    EXPECT_EQ(1, mode.c_cc[VTIME]);
}

TEST_F(SerialPortTest, HasTheRateAndStopBitOfTheStandardUnlessAskedOtherwise)
{
    SerialPort port(settings);
    const termios mode = far.mode();
    EXPECT_EQ(speed_t{B19200}, cfgetospeed(&mode));
    EXPECT_EQ(speed_t{B19200}, cfgetispeed(&mode));
    EXPECT_EQ(tcflag_t{CS8}, mode.c_cflag & CSIZE);
    EXPECT_EQ(tcflag_t{0}, mode.c_cflag & CSTOPB) << "parity makes the character 11 bits long";
    EXPECT_EQ(tcflag_t{0}, mode.c_cflag & CRTSCTS);
    EXPECT_EQ(tcflag_t{0}, mode.c_iflag & (IXON | IXOFF));
}

TEST_F(SerialPortTest, HasOddParityOnlyWhenAsked)
{
    // A pseudo-terminal has no parity bit, but it keeps which one was meant.
    {
        SerialPort port(settings);
        EXPECT_EQ(tcflag_t{0}, far.mode().c_cflag & PARODD);
    }
    settings.parity = Parity::Odd;
    SerialPort port(settings);
    EXPECT_NE(tcflag_t{0}, far.mode().c_cflag & PARODD);
}

TEST_F(SerialPortTest, WaitsNoLongerThanAsked)
{
    SerialPort port(settings);
    const Time until = steadyNow() + std::chrono::microseconds(2500);
    EXPECT_TRUE(port.receive(until).isEmpty());
    EXPECT_GE(steadyNow(), until);
}

TEST_F(SerialPortTest, IsWokenByBytesLongBeforeTheTimeIsOver)
{
    SerialPort port(settings);
    std::thread writer([this] { far.write(hex("01")); });
    const Time start = steadyNow();
    EXPECT_EQ(hex("01"), port.receive(start + kPatience));
    EXPECT_LT(steadyNow(), start + kPatience);
    writer.join();
}

TEST_F(SerialPortTest, ThrowsAwayWhatCameBeforeItWasOpened)
{
    far.write(hex("55 55 55"));
    SerialPort port(settings);
    EXPECT_TRUE(port.receive(steadyNow() + milliseconds(20)).isEmpty());
}

TEST_F(SerialPortTest, SaysThatItIsLost)
{
    SerialPort port(settings);
    far.hangUp();
    try {
        port.receive(steadyNow() + kPatience);
        port.receive(steadyNow() + kPatience);
        FAIL() << "nothing was noticed";
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Port, failure.kind());
        EXPECT_THAT(failure.what(), HasSubstr(settings.port));
        EXPECT_THAT(failure.what(), HasSubstr("is lost"));
    }
}

TEST_F(SerialPortTest, ThatDoesNotExistIsAnErrorThatNamesIt)
{
    settings.port = "/dev/no_such_port";
    try {
        const SerialPort port(settings);
        FAIL() << "it was opened";
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Port, failure.kind());
        EXPECT_THAT(failure.what(), HasSubstr("'/dev/no_such_port' cannot be opened at 19200 baud"));
    }
}

TEST_F(SerialPortTest, SetsARateThatHasNoName)
{
    settings.baud = 31250;
    const SerialPort port(settings);
    EXPECT_EQ(31250, far.rate());
}

TEST_F(SerialPortTest, SaysThatAPseudoTerminalHasNoParityBit)
{
    std::vector<std::string> notes;
    const SerialPort port(settings, [&notes](const PortNote &note) {
        EXPECT_FALSE(note.isWarning);
        notes.push_back(note.text);
    });
    EXPECT_THAT(notes,
                ElementsAre("port '" + settings.port + "' is a pseudo-terminal and has no parity bit"));
}

TEST_F(SerialPortTest, PutsTheSettingsBackWhenItIsClosed)
{
    const termios before = far.mode();
    {
        const SerialPort port(settings);
        EXPECT_NE(before.c_lflag, far.mode().c_lflag);
    }
    const termios after = far.mode();
    EXPECT_EQ(before.c_iflag, after.c_iflag);
    EXPECT_EQ(before.c_oflag, after.c_oflag);
    EXPECT_EQ(before.c_cflag, after.c_cflag);
    EXPECT_EQ(before.c_lflag, after.c_lflag);
}

TEST_F(SerialPortTest, IsLockedWhateverTheDeviceIsCalled)
{
    const SerialPort first(settings);
    LineSettings second = settings;
    second.port = ::testing::TempDir() + "serial_port_test." + std::to_string(getpid());
    ASSERT_EQ(0, symlink(far.path().c_str(), second.port.c_str()));
    try {
        const SerialPort port(second);
        ADD_FAILURE() << "two ports on one device";
    } catch (const Failure &failure) {
        EXPECT_THAT(failure.what(), HasSubstr("it is in use by "));
    }
    unlink(second.port.c_str());
    // What was refused has taken nothing from the first.
    const int terminal = ::open(far.path().c_str(), O_RDWR | O_NOCTTY);
    EXPECT_TRUE(terminal < 0 || geteuid() == 0) << "still claimed";
    if (terminal >= 0)
        close(terminal);
}

TEST_F(SerialPortTest, NamesTheProgramThatHoldsADevice)
{
    const SerialPort port(settings);
    std::string program;
    std::getline(std::ifstream("/proc/self/comm"), program);
    EXPECT_EQ("process " + std::to_string(getpid()) + " (" + program + ")",
              TerminalSystem().holder(far.path()));
    EXPECT_EQ("", TerminalSystem().holder("/dev/null"));
    EXPECT_EQ("", TerminalSystem().holder("/dev/no_such_port"));
}

TEST_F(SerialPortTest, OpensNothingToWaitWhereThereIsNoDevice)
{
    EXPECT_EQ(-1, TerminalSystem().openToWait(-1));
}

TEST_F(SerialPortTest, IsFreeAgainWhenItIsClosed)
{
    {
        const SerialPort first(settings);
    }
    EXPECT_NO_THROW(SerialPort(settings, nullptr));
}

TEST_F(SerialPortTest, ThatIsAFileIsRefused)
{
    settings.port = "/dev/null";
    try {
        const SerialPort port(settings);
        FAIL() << "it was opened";
    } catch (const Failure &failure) {
        EXPECT_THAT(failure.what(), HasSubstr("it is no usable serial port"));
    }
}

} // namespace
