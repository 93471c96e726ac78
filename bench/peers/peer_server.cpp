// The station that all peers talk to: libmodbus on a pseudo-terminal, with 1000 holding registers.
//
//   peer_server DESCRIPTOR BAUD spin|sleep
//
// It counts the requests that it has answered in the memory that DESCRIPTOR shares. With a BAUD other than 0
// the line is paced: a request counts as arrived after its time on the wire and 1.75 ms, and the reply comes
// in pieces of a millisecond, the last byte when it is due. With spin the server looks for a request without
// ever sleeping, so that its own way out of sleep is no part of what it measures.
//
// The first line of output is the path of the terminal. It ends when its standard input does, with a line:
// the median and the 99th percentile of the times from the last byte of a reply to the first byte of the next
// request, in microseconds.

#include <fcntl.h>
#include <modbus.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::nanoseconds;

constexpr int kRegisters = 1000;
constexpr int kStation = 1;
constexpr int kRequestLen = 8; // all that the peers send are reads
constexpr int kBitsPerCharacter = 11;
constexpr auto kSilence = microseconds(1750);
constexpr auto kPiece = microseconds(1000);

/// A raw pseudo-terminal; its other end is kept open, so that clients may come and go.
int openLine()
{
    const int line = posix_openpt(O_RDWR | O_NOCTTY);
    if (line < 0 || grantpt(line) != 0 || unlockpt(line) != 0)
        return -1;
    const int other = open(ptsname(line), O_RDWR | O_NOCTTY);
    termios mode{};
    if (other < 0 || tcgetattr(other, &mode) != 0)
        return -1;
    cfmakeraw(&mode);
    return tcsetattr(other, TCSANOW, &mode) == 0 ? line : -1;
}

void sleepUntil(Clock::time_point moment)
{
    const auto left = std::chrono::duration_cast<nanoseconds>(moment - Clock::now());
    if (left <= nanoseconds::zero())
        return;
    const timespec time{static_cast<time_t>(left.count() / 1000000000),
                        static_cast<long>(left.count() % 1000000000)};
    nanosleep(&time, nullptr);
}

class PeerServer
{
public:
    PeerServer(int line, int shown, int baud, bool spins) : line_(line), baud_(baud), spins_(spins)
    {
        void *const memory = mmap(nullptr, sizeof *answered_, PROT_READ | PROT_WRITE, MAP_SHARED, shown, 0);
        if (memory == MAP_FAILED)
            std::exit(1);
        answered_ = new (memory) std::atomic<long>(0);
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair_) != 0)
            std::exit(1);
        station_ = modbus_new_rtu("a line of our own", 115200, 'E', 8, 1);
        items_ = modbus_mapping_new(0, 0, kRegisters, 0);
        if (!station_ || !items_)
            std::exit(1);
        for (int i = 0; i < kRegisters; ++i)
            items_->tab_registers[i] = static_cast<uint16_t>(i * 257);
        modbus_set_slave(station_, kStation);
        modbus_set_socket(station_, pair_[0]);
    }

    void serve()
    {
        std::vector<unsigned char> request;
        while (waitForInput()) {
            unsigned char bytes[256];
            const ssize_t got = read(line_, bytes, sizeof bytes);
            if (got <= 0)
                continue; // nobody there at the moment
            const Clock::time_point now = Clock::now();
            if (request.empty())
                noteStart(now);
            request.insert(request.end(), bytes, bytes + got);
            if (request.size() < kRequestLen)
                continue;
            answer(request, now);
            request.clear();
        }
    }

    void tell()
    {
        std::sort(lost_.begin(), lost_.end());
        const auto percentile = [this](std::size_t percent) {
            return lost_.empty()
                       ? 0.0
                       : static_cast<double>(lost_[(lost_.size() - 1) * percent / 100].count()) / 1000;
        };
        std::printf("%.1f %.1f\n", percentile(50), percentile(99));
        std::fflush(stdout);
    }

private:
    /// @return false when standard input has ended.
    bool waitForInput()
    {
        for (;;) {
            pollfd waited[] = {{line_, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
            if (poll(waited, 2, spins_ ? 0 : 1000) < 0)
                return false;
            if (waited[1].revents != 0)
                return false;
            if ((waited[0].revents & POLLIN) != 0)
                return true;
        }
    }

    void noteStart(Clock::time_point now)
    {
        if (*answered_ > 0)
            lost_.push_back(std::chrono::duration_cast<nanoseconds>(now - replied_));
    }

    void answer(const std::vector<unsigned char> &request, Clock::time_point arrived)
    {
        unsigned char query[MODBUS_RTU_MAX_ADU_LENGTH];
        unsigned char reply[MODBUS_RTU_MAX_ADU_LENGTH];
        if (write(pair_[1], request.data(), request.size()) != static_cast<ssize_t>(request.size()))
            std::exit(1);
        const int length = modbus_receive(station_, query);
        if (length <= 0 || modbus_reply(station_, query, length, items_) <= 0)
            return;
        const ssize_t size = read(pair_[1], reply, sizeof reply);
        if (size > 0)
            put(reply, static_cast<std::size_t>(size), arrived);
        replied_ = Clock::now();
        ++*answered_;
    }

    void put(const unsigned char *reply, std::size_t size, Clock::time_point arrived) const
    {
        std::size_t done = 0;
        if (baud_ > 0) {
            const nanoseconds character(1000000000LL * kBitsPerCharacter / baud_);
            const Clock::time_point start = arrived + kRequestLen * character + kSilence;
            const Clock::time_point end = start + static_cast<long>(size) * character;
            for (Clock::time_point next = start + kPiece; next < end; next += kPiece) {
                sleepUntil(next);
                const auto there = static_cast<std::size_t>((next - start) / character);
                writeAll(reply + done, there - done);
                done = there;
            }
            sleepUntil(end);
        }
        writeAll(reply + done, size - done);
    }

    void writeAll(const unsigned char *bytes, std::size_t size) const
    {
        if (size > 0 && write(line_, bytes, size) != static_cast<ssize_t>(size))
            std::exit(1);
    }

    int line_;
    int baud_;
    bool spins_;
    int pair_[2] = {-1, -1}; ///< libmodbus has one end, so that its replies can be paced
    modbus_t *station_ = nullptr;
    modbus_mapping_t *items_ = nullptr;
    std::atomic<long> *answered_ = nullptr; ///< shared with whoever measures
    Clock::time_point replied_{};
    std::vector<nanoseconds> lost_;
};

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4)
        return 1;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    constexpr unsigned long kNanoseconds = 1;
    prctl(PR_SET_TIMERSLACK, kNanoseconds, 0, 0, 0);
    const int line = openLine();
    if (line < 0)
        return 1;
    std::printf("%s\n", ptsname(line));
    std::fflush(stdout);
    PeerServer server(line, std::atoi(argv[1]), std::atoi(argv[2]), std::strcmp(argv[3], "spin") == 0);
    server.serve();
    server.tell();
    return 0;
}
