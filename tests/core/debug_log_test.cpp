#include "plcdriver.h"

#include <QTextCodec>

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/driver_fixture.h"
#include "support/lock_probe.h"
#include "support/own_log_file.h"

namespace {

timeval frozenClock = {0, 0}; ///< what the clock shows; seconds 0 lets it run

} // namespace

// Qt takes the time from here, and a program's own function goes before the C library's.
extern "C" int gettimeofday(timeval *__restrict now, void *__restrict) noexcept
{
    if (frozenClock.tv_sec != 0) {
        *now = frozenClock;
        return 0;
    }
    timespec running;
    clock_gettime(CLOCK_REALTIME, &running);
    now->tv_sec = running.tv_sec;
    now->tv_usec = running.tv_nsec / 1000;
    return 0;
}

namespace plc::test {
namespace {

using ::testing::EndsWith;

/// Has the log file for itself. The clock stands at 23:59:58 on 29 February 2024 in a time zone that nobody's
/// machine is in by accident.
class DebugLog : public ::testing::Test
{
protected:
    DebugLog()
    {
        setenv("TZ", "PLC-05:45", 1);
        tzset();
        setClock(1709230498, 123000);
    }

    ~DebugLog() override { frozenClock.tv_sec = 0; }

    static void setClock(time_t seconds, int microseconds)
    {
        frozenClock.tv_sec = seconds;
        frozenClock.tv_usec = microseconds;
    }

    static void log(const char *message) { customMessageHandler(QtDebugMsg, message); }

    static std::string content()
    {
        std::ifstream file(OwnLogFile::path(), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }

    static bool exists()
    {
        struct stat found;
        return lstat(OwnLogFile::path(), &found) == 0;
    }

private:
    OwnLogFile logFile;
};

TEST_F(DebugLog, LineIsLocalTimeColonMessage)
{
    log("valve open");
    EXPECT_EQ("2024.02.29.23:59:58.123:valve open\n", content());
}

TEST_F(DebugLog, NumbersOfTheDateAndTimeHaveTwoDigits)
{
    setClock(1704219909, 700000);
    log("x");
    EXPECT_EQ("2024.01.03.00:10:09.700:x\n", content());
}

TEST_F(DebugLog, HoursRunToTwentyFour)
{
    setClock(1704203105, 100000);
    log("x");
    EXPECT_EQ("2024.01.02.19:30:05.100:x\n", content());
}

TEST_F(DebugLog, MillisecondsHaveNoLeadingZeros)
{
    setClock(1709230498, 5000);
    log("a");
    setClock(1709230498, 40000);
    log("b");
    setClock(1709230498, 0);
    log("c");
    EXPECT_EQ("2024.02.29.23:59:58.5:a\n2024.02.29.23:59:58.40:b\n2024.02.29.23:59:58.0:c\n", content());
}

TEST_F(DebugLog, MillisecondsKeepTheirTrailingZeros)
{
    setClock(1709230498, 400000);
    log("a");
    setClock(1709230498, 450000);
    log("b");
    EXPECT_EQ("2024.02.29.23:59:58.400:a\n2024.02.29.23:59:58.450:b\n", content());
}

TEST_F(DebugLog, MillisecondsAreCutNotRounded)
{
    setClock(1709230498, 999999);
    log("x");
    EXPECT_EQ("2024.02.29.23:59:58.999:x\n", content());
}

TEST_F(DebugLog, FileIsCreatedWhenItIsMissing)
{
    ASSERT_FALSE(exists());
    log("x");
    EXPECT_TRUE(exists());
}

TEST_F(DebugLog, LinesAreAppendedToWhatTheFileHolds)
{
    std::ofstream(OwnLogFile::path()) << "from yesterday\n";
    log("first");
    log("second");
    EXPECT_EQ("from yesterday\n2024.02.29.23:59:58.123:first\n2024.02.29.23:59:58.123:second\n", content());
}

TEST_F(DebugLog, UnfinishedLastLineIsNotEnded)
{
    std::ofstream(OwnLogFile::path()) << "cut";
    log("x");
    EXPECT_EQ("cut2024.02.29.23:59:58.123:x\n", content());
}

TEST_F(DebugLog, TypeOfAMessageIsIgnored)
{
    for (const QtMsgType type : {QtDebugMsg, QtWarningMsg, QtCriticalMsg, QtFatalMsg}) {
        SCOPED_TRACE(type);
        std::remove(OwnLogFile::path());
        customMessageHandler(type, "x");
        EXPECT_EQ("2024.02.29.23:59:58.123:x\n", content());
    }
}

TEST_F(DebugLog, EmptyMessageEndsWithAColon)
{
    log("");
    EXPECT_EQ("2024.02.29.23:59:58.123:\n", content());
}

TEST_F(DebugLog, MessageIsNotInterpreted)
{
    log("%1 %s 100% \\n \"q\" \t:");
    EXPECT_EQ("2024.02.29.23:59:58.123:%1 %s 100% \\n \"q\" \t:\n", content());
}

TEST_F(DebugLog, LineBreaksInAMessageStay)
{
    log("one\ntwo\n");
    EXPECT_EQ("2024.02.29.23:59:58.123:one\ntwo\n\n", content());
}

TEST_F(DebugLog, BytesAbove127AreLatin1)
{
    log("20 \xB0"
        "C");
    const QByteArray degree = QTextCodec::codecForLocale()->fromUnicode(QString(QChar(0xB0)));
    EXPECT_EQ("2024.02.29.23:59:58.123:20 " + degree.toStdString() + "C\n", content());
}

TEST_F(DebugLog, LongMessageIsWrittenWhole)
{
    const std::string message(100000, 'm');
    log(message.c_str());
    EXPECT_EQ("2024.02.29.23:59:58.123:" + message + "\n", content());
}

TEST_F(DebugLog, NullMessageDoesNoHarm)
{
    log(nullptr);
    log("x");
    EXPECT_THAT(content(), EndsWith("2024.02.29.23:59:58.123:x\n"));
}

// Someone who moves the file away while the panel runs gets a new one.
TEST_F(DebugLog, FileIsOpenedAnewForEveryMessage)
{
    log("first");
    std::remove(OwnLogFile::path());
    log("second");
    EXPECT_EQ("2024.02.29.23:59:58.123:second\n", content());
}

TEST_F(DebugLog, LineIsInTheFileWhenTheCallReturns)
{
    for (std::size_t i = 1; i <= 3; ++i) {
        log("x");
        EXPECT_EQ(i * std::string("2024.02.29.23:59:58.123:x\n").size(), content().size());
    }
}

TEST_F(DebugLog, FileIsClosedAfterEveryMessage)
{
    const int lowestBefore = dup(0);
    close(lowestBefore);
    for (int i = 0; i < 5; ++i)
        log("x");
    const int lowestAfter = dup(0);
    close(lowestAfter);
    EXPECT_EQ(lowestBefore, lowestAfter);
}

TEST_F(DebugLog, FileThatCannotBeOpenedIsPassedOver)
{
    ASSERT_EQ(0, mkdir(OwnLogFile::path(), 0777));
    log("lost");
    EXPECT_TRUE(exists());
    ASSERT_EQ(0, rmdir(OwnLogFile::path()));
    log("kept");
    EXPECT_EQ("2024.02.29.23:59:58.123:kept\n", content());
}

int messagesOfQt = 0;

#if QT_VERSION >= 0x050000
void countMessage(QtMsgType, const QMessageLogContext &, const QString &)
{
    ++messagesOfQt;
}

void countMessagesOfQt(bool on)
{
    qInstallMessageHandler(on ? countMessage : nullptr);
}
#else
void countMessage(QtMsgType, const char *)
{
    ++messagesOfQt;
}

void countMessagesOfQt(bool on)
{
    qInstallMsgHandler(on ? countMessage : nullptr);
}
#endif

// A runtime installs the function as Qt's own message handler. A message of Qt about the unusable file would
// come back to it, and again, until the stack is used up.
TEST_F(DebugLog, FileThatCannotBeOpenedRaisesNoMessageOfQt)
{
    ASSERT_EQ(0, mkdir(OwnLogFile::path(), 0777));
    messagesOfQt = 0;
    countMessagesOfQt(true);
    log("lost");
    countMessagesOfQt(false);
    EXPECT_EQ(0, messagesOfQt);
}

TEST_F(DebugLog, NothingIsPrinted)
{
    ASSERT_EQ(0, mkdir(OwnLogFile::path(), 0777));
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    log("lost");
    rmdir(OwnLogFile::path());
    log("kept");
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
}

TEST_F(DebugLog, NoLockOfTheDriverIsTaken)
{
    for (QMutex *mutex : {&PLC_driver.listMutex, &PLC_driver.cacheMutex, &PLC_driver.stationMutex})
        EXPECT_TRUE(returnsDespite(*mutex, [] { log("x"); }));
}

TEST_F(DebugLog, ThreadsLoseNothingOfEachOther)
{
    const auto writeMany = [] {
        for (int i = 0; i < 200; ++i)
            log("x");
    };
    std::thread other(writeMany);
    writeMany();
    other.join();
    EXPECT_EQ(400 * std::string("2024.02.29.23:59:58.123:x\n").size(), content().size());
}

// The driver reports by results alone; a line for every frame would wear out the panel's flash.
TEST_F(DebugLog, DriverWritesNothingItself)
{
    messagesOfQt = 0;
    countMessagesOfQt(true);
    renewDriver();
    COM_INFO info{};
    SetComInfo(&info);
    RW_VAR good = holding(0);
    RW_VAR bad = Variable(99, -1);
    AddListReadVar(&good);
    AddListWriteVar(&bad, 0);
    QByteArray noise("noise");
    ComCommunication(0);
    DataCom(&noise, noise.size());
    DataCom(nullptr, 0);
    ComCommunication(0);
    DataCom(nullptr, 0);
    renewDriver();
    countMessagesOfQt(false);
    EXPECT_EQ(0, messagesOfQt);
    EXPECT_FALSE(exists());
}

} // namespace
} // namespace plc::test
