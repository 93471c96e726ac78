/// @file
/// A port whose bytes are kept, and the file that they go to.
#include "host/capture/captured_port.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "runtime/line/failure.h"
#include "support/hex.h"

namespace {

using namespace plc::host;
using plc::test::hex;
using plc::test::toHex;
using std::chrono::milliseconds;

std::string pathOf(const std::string &name)
{
    return ::testing::TempDir() + name + std::to_string(getpid());
}

std::vector<CapturedPacket> packetsAt(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    CaptureReader reader(path, [&file](char *bytes, std::size_t count) {
        file.read(bytes, static_cast<std::streamsize>(count));
        return static_cast<std::size_t>(file.gcount());
    });
    std::vector<CapturedPacket> packets;
    CapturedPacket packet;
    while (reader.next(&packet))
        packets.push_back(packet);
    return packets;
}

LineSettings settings()
{
    LineSettings made;
    made.port = "x";
    made.baud = 9600;
    return made;
}

/// Answers each request with the same bytes.
class AnsweringPort : public Port
{
public:
    explicit AnsweringPort(QByteArray answer) : answer_(std::move(answer)) {}
    void send(const QByteArray &bytes) override
    {
        sent += bytes;
        waiting_ = answer_;
    }
    QByteArray receive(Time) override
    {
        const QByteArray bytes = waiting_;
        waiting_.clear();
        return bytes;
    }
    std::string identity() const override { return "device"; }
    QByteArray sent;

private:
    QByteArray answer_;
    QByteArray waiting_;
};

TEST(CapturedPort, PassesEverythingOnAndKeepsIt)
{
    const std::string path = pathOf("all");
    const std::shared_ptr<Capture> capture = Capture::open(path, settings(), true);
    auto inner = std::make_unique<AnsweringPort>(hex("11 06 00 64 12 34 C7 F2"));
    AnsweringPort &port = *inner;
    const std::unique_ptr<Port> kept = captured(std::move(inner), capture);
    kept->send(hex("11 06 00 64 12 34 C7 F2"));
    EXPECT_EQ("11 06 00 64 12 34 C7 F2", toHex(kept->receive(Time::max())));
    EXPECT_EQ("11 06 00 64 12 34 C7 F2", toHex(port.sent));
    EXPECT_EQ("device", kept->identity());
    capture->finish();
    EXPECT_EQ(0u, capture->lost());
    const std::vector<CapturedPacket> packets = packetsAt(path);
    ASSERT_EQ(2u, packets.size());
    EXPECT_EQ(FrameRole::Request, packets[0].frame.role);
    EXPECT_EQ("request", packets[0].comment);
    EXPECT_EQ(FrameRole::Reply, packets[1].frame.role) << "what was sent is known, so this is its reply";
    EXPECT_EQ(0u, packets[1].comment.find("reply after ")) << packets[1].comment;
}

TEST(CapturedPort, IsThePortItselfWithoutACapture)
{
    auto inner = std::make_unique<AnsweringPort>(QByteArray());
    const Port *const port = inner.get();
    EXPECT_EQ(port, captured(std::move(inner), Capture::open("", settings(), true)).get());
}

TEST(Capture, LeavesTheEchoOut)
{
    const std::string path = pathOf("echo");
    const std::shared_ptr<Capture> capture = Capture::open(path, settings(), true, true);
    const QByteArray request = hex("11 03 00 64 00 02 87 44");
    capture->sent(request, milliseconds(0));
    capture->received(request.left(3), milliseconds(10));
    capture->received(request.mid(3) + hex("11 83 02"), milliseconds(20));
    capture->received(hex("C1 34"), milliseconds(30));
    capture->finish();
    const std::vector<CapturedPacket> packets = packetsAt(path);
    ASSERT_EQ(2u, packets.size());
    EXPECT_EQ(request, packets[0].frame.bytes);
    EXPECT_EQ("11 83 02 C1 34", toHex(packets[1].frame.bytes));
}

TEST(Capture, TellsWhatDoesNotBelongToTheRequest)
{
    const std::string path = pathOf("bad");
    const std::shared_ptr<Capture> capture = Capture::open(path, settings(), true);
    capture->sent(hex("11 03 00 64 00 02 87 44"), milliseconds(0));
    capture->received(hex("11 03 04 12 34 AB CD 00 00"), milliseconds(40));
    capture->sent(hex("11 03 00 64 00 02 87 44"), milliseconds(1000));
    capture->sent(hex("11 03 00 64 00 02 87 44"), milliseconds(2000));
    capture->finish();
    std::string comments;
    for (const CapturedPacket &packet : packetsAt(path))
        comments += packet.comment + "\n";
    EXPECT_EQ("request\nbad CRC; was up to 9.2 ms earlier\nrequest\nrequest again, nobody had answered\n",
              comments);
}

TEST(CaptureFile, CannotBeOpenedWhereTheFolderIsMissing)
{
    EXPECT_THROW(CaptureFile("/nowhere/at/all"), Failure);
}

TEST(CaptureFile, CountsWhatAFullDiskDoesNotTake)
{
    CaptureFile file("/dev/full");
    EXPECT_TRUE(file.add("block"));
    file.finish(milliseconds(1));
    EXPECT_EQ(ENOSPC, file.error());
    EXPECT_EQ(1u, file.lost());
    EXPECT_FALSE(file.add("another"));
    EXPECT_EQ(2u, file.lost());
}

TEST(CaptureFile, NeverWaitsForAPipeThatNobodyEmpties)
{
    const std::string path = pathOf("full_pipe");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    CaptureFile file(path, 100000);
    int taken = 0;
    while (taken < 1000000 && file.add(std::string(1000, 'x')))
        ++taken;
    EXPECT_LT(taken, 1000000) << "the memory for blocks that wait has a limit";
    file.finish(milliseconds(1));
    EXPECT_GT(file.lost(), 1u);
    close(reader);
    std::remove(path.c_str());
}

TEST(CaptureFile, NoticesThatTheReaderHasGone)
{
    std::signal(SIGPIPE, SIG_IGN);
    const std::string path = pathOf("gone");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    CaptureFile file(path);
    close(reader);
    file.add("block");
    file.finish(milliseconds(1));
    EXPECT_EQ(EPIPE, file.error());
    std::remove(path.c_str());
}

} // namespace
