// What a cyclic read of 100 holding registers costs a master, beside other masters on the same line.
//
//   compare_peers [SECONDS [ROUNDS [PLCHOST]]]
//
// Each master runs ROUNDS (5) times, in turns with the others; a figure is the median of its rounds.
// Processor time is user and system time of the master's process, all its threads. It is read half a second
// after the first transaction and SECONDS (2) later, so that starting and ending are no part of it. There are
// two lines, both pseudo-terminals: a bare one that takes no time, and one paced at 115200 baud.
//
// Lost time is what passes from the last byte of a reply, written at the server, to the first byte of the
// next request, read there, less the silence of 1.75 ms. The server does not sleep meanwhile.

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

extern char **environ;

namespace {

using Words = std::vector<std::string>;

constexpr double kSilenceUs = 1750;
constexpr double kSettling = 0.5; ///< seconds
constexpr double kPatience = 1.0; ///< seconds for a master to start

struct Line
{
    const char *name;
    const char *baud; ///< as the server takes it
};

constexpr Line kLines[] = {{"bare", "0"}, {"115200 baud", "115200"}};

struct Master
{
    const char *name;
    bool keepsSilence; ///< of 1.75 ms
    Words (*command)(const std::string &port, const std::string &seconds);
};

std::string folder;  ///< of the programs
std::string plchost; ///< path

const Master kMasters[] = {
    {"libmodbus, no silence", false,
     [](const std::string &port, const std::string &seconds) {
         return Words{folder + "peer_libmodbus", port, seconds};
     }},
    {"libmodbus, silence", true,
     [](const std::string &port, const std::string &seconds) {
         return Words{folder + "peer_libmodbus", port, seconds, "1750"};
     }},
    {"Qt SerialBus", false,
     [](const std::string &port, const std::string &seconds) {
         return Words{folder + "peer_serialbus", port, seconds};
     }},
    {"plchost watch", true,
     [](const std::string &port, const std::string &seconds) {
         return Words{plchost, "watch", "-p", port, "-b", "115200", "-q", "--for", seconds, "4x:0:100"};
     }},
};
constexpr std::size_t kYardstick = 1; ///< the master that the others are compared with
constexpr std::size_t kMasterCount = sizeof kMasters / sizeof *kMasters;

/// One run of a master.
struct Run
{
    double processorMs = 0; ///< of the transactions
    double transactions = 0;
    double lostP50 = 0; ///< microseconds, the silence included
    double lostP99 = 0;
};

class Child
{
public:
    /// @param in, out  descriptors of its standard input and output; -1 for none.
    Child(const Words &words, int in, int out)
    {
        std::vector<char *> arguments;
        for (const std::string &word : words)
            arguments.push_back(const_cast<char *>(word.c_str()));
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        connect(&actions, in, STDIN_FILENO);
        connect(&actions, out, STDOUT_FILENO);
        const int failed =
            posix_spawn(&id_, words.front().c_str(), &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (failed != 0)
            throw std::runtime_error("cannot start " + words.front());
    }

    /// Waits for its end.
    void end(const std::string &name) const
    {
        int status = 0;
        if (waitpid(id_, &status, 0) != id_ || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
            throw std::runtime_error(name + " failed");
    }

    /// User and system time of all its threads so far.
    double processorMs() const
    {
        clockid_t clock{};
        timespec time{};
        if (clock_getcpuclockid(id_, &clock) != 0 || clock_gettime(clock, &time) != 0)
            throw std::runtime_error("a master has ended too soon");
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }

private:
    static void connect(posix_spawn_file_actions_t *actions, int descriptor, int target)
    {
        if (descriptor < 0)
            posix_spawn_file_actions_addopen(actions, target, "/dev/null", O_RDWR, 0);
        else
            posix_spawn_file_actions_adddup2(actions, descriptor, target);
    }

    pid_t id_ = -1;
};

/// Two descriptors that no other program gets.
struct Pipe
{
    Pipe()
    {
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
    }
    ~Pipe()
    {
        close(ends[1]);
        close(ends[0]);
    }
    int ends[2] = {-1, -1};
};

std::string readLine(int descriptor)
{
    std::string line;
    for (char letter = 0; read(descriptor, &letter, 1) == 1 && letter != '\n';)
        line += letter;
    return line;
}

/// A number that the server shows all the time: requests answered.
class Shown
{
public:
    Shown() : descriptor_(memfd_create("answered", 0))
    {
        void *const memory =
            descriptor_ < 0 || ftruncate(descriptor_, sizeof(std::atomic<long>)) != 0
                ? MAP_FAILED
                : mmap(nullptr, sizeof(std::atomic<long>), PROT_READ, MAP_SHARED, descriptor_, 0);
        if (memory == MAP_FAILED)
            throw std::runtime_error("no memory to share with the server");
        number_ = static_cast<std::atomic<long> *>(memory);
    }
    ~Shown()
    {
        munmap(number_, sizeof *number_);
        close(descriptor_);
    }
    Shown(const Shown &) = delete;
    Shown &operator=(const Shown &) = delete;

    int descriptor() const { return descriptor_; }
    long now() const { return *number_; }

private:
    int descriptor_;
    std::atomic<long> *number_ = nullptr;
};

void sleepFor(double seconds)
{
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

Run run(const Master &master, const Line &line, double seconds, bool spins)
{
    Pipe toServer;
    Pipe fromServer;
    const Shown answered;
    const Child server(
        {folder + "peer_server", std::to_string(answered.descriptor()), line.baud, spins ? "spin" : "sleep"},
        toServer.ends[0], fromServer.ends[1]);
    const std::string port = readLine(fromServer.ends[0]);
    const Child child(master.command(port, std::to_string(seconds + 2 * kSettling + kPatience)), -1, -1);
    for (int i = 0; answered.now() == 0 && i < 100; ++i)
        sleepFor(kPatience / 100);
    sleepFor(kSettling);
    Run result;
    const double before = child.processorMs();
    const long answeredBefore = answered.now();
    sleepFor(seconds);
    result.processorMs = child.processorMs() - before;
    result.transactions = static_cast<double>(answered.now() - answeredBefore);
    child.end(master.name);
    close(toServer.ends[1]); // ends the server
    toServer.ends[1] = -1;
    const std::string told = readLine(fromServer.ends[0]);
    if (std::sscanf(told.c_str(), "%lf %lf", &result.lostP50, &result.lostP99) != 2)
        throw std::runtime_error("the server told nothing");
    server.end("peer_server");
    return result;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

class Comparison
{
public:
    Comparison(const Line &line, double seconds, int rounds) : line_(line), seconds_(seconds)
    {
        for (int round = 0; round < rounds; ++round)
            measure();
    }

    void print() const
    {
        std::printf("%-22s %14s %20s %20s %18s\n", line_.name, "transactions/s", "processor ms/1,000",
                    "of libmodbus + silence", "lost time p50, p99 ms");
        for (std::size_t i = 0; i < kMasterCount; ++i)
            printRow(i);
        std::printf("\n");
    }

private:
    void measure()
    {
        for (std::size_t i = 0; i < kMasterCount; ++i) {
            const Run done = run(kMasters[i], line_, seconds_, false);
            perThousand_[i].push_back(done.processorMs / done.transactions * 1000);
            perSecond_[i].push_back(done.transactions / seconds_);
        }
        // In one round all masters meet the same machine.
        for (std::size_t i = 0; i < kMasterCount; ++i)
            ratio_[i].push_back(perThousand_[i].back() / perThousand_[kYardstick].back());
        for (std::size_t i = 0; i < kMasterCount; ++i) {
            if (!kMasters[i].keepsSilence)
                continue;
            const Run spun = run(kMasters[i], line_, seconds_, true);
            lostP50_[i].push_back(spun.lostP50 - kSilenceUs);
            lostP99_[i].push_back(spun.lostP99 - kSilenceUs);
        }
    }

    void printRow(std::size_t i) const
    {
        std::printf("  %-20s %14.1f %20.1f %20.2f", kMasters[i].name, median(perSecond_[i]),
                    median(perThousand_[i]), median(ratio_[i]));
        if (kMasters[i].keepsSilence)
            std::printf("   %10.3f, %.3f", median(lostP50_[i]) / 1000, median(lostP99_[i]) / 1000);
        std::printf("\n");
        std::fflush(stdout);
    }

    const Line &line_;
    double seconds_;
    std::vector<double> perThousand_[kMasterCount];
    std::vector<double> perSecond_[kMasterCount];
    std::vector<double> ratio_[kMasterCount];
    std::vector<double> lostP50_[kMasterCount];
    std::vector<double> lostP99_[kMasterCount];
};

std::string ownFolder()
{
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    const std::string name(path, length > 0 ? static_cast<std::size_t>(length) : 0);
    return name.substr(0, name.rfind('/') + 1);
}

} // namespace

int main(int argc, char **argv)
{
    const double seconds = argc > 1 ? std::atof(argv[1]) : 2;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
    folder = ownFolder();
    plchost = argc > 3 ? argv[3] : folder + "plchost";
    if (seconds < 0.1 || rounds < 1) {
        std::fprintf(stderr, "compare_peers: at least 0.1 seconds and one round\n");
        return 2;
    }
    try {
        for (const Line &line : kLines)
            Comparison(line, seconds, rounds).print();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "compare_peers: %s\n", error.what());
        return 1;
    }
    return 0;
}
