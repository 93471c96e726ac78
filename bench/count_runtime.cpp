// count_runtime: what libplcruntime costs beside the loop of docs/examples/minimal_runtime.cpp.
//
//   count_runtime (loop | library) (still | moving) VARIABLES SCANS
//   count_runtime screens VARIABLES CHANGES
//   count_runtime memory (loop | library) VARIABLES
//
// VARIABLES single registers of one station lie side by side, at most 10,000, and all are read SCANS times,
// by requests of 100 registers that are answered at once. 'loop' has the driver's calls alone and fetches
// each variable from the mirror after each scan; 'library' has a Line with a screen of all variables, and a
// handler that looks at each value that is told. With 'moving' every register has another value in each scan.
// 'screens' shows two screens of VARIABLES variables each by turns. Two runs under callgrind, one with the
// last number doubled, differ by the instructions of so many scans or changes. 'memory' prints the bytes that
// are kept after three scans and the most that were at any time; the driver's are among them. scripts/bench
// --runtime makes the table of docs/runtime.md of all that.
//
// Exit codes: 0 every call succeeded, 1 one did not, 2 wrong usage.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "core/result_codes.h"
#include "heap_watch.h"
#include "runtime/api/line_access.h"
#include "runtime/line/rtu_layout.h"
#include "runtime/master/direct_link.h"

namespace {

using plc::runtime::Time;
using std::chrono::microseconds;

constexpr int kStation = 1;
constexpr int kBlock = 100;
constexpr int kMostVariables = 10000;
constexpr int kHoldingRegisters = 5;
constexpr int kPollMs = 50;
constexpr long kWeighedScans = 3;

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "count_runtime: %s failed\n", what);
    std::exit(1);
}

/// Answers reads of holding registers, all of which hold the same.
class Station
{
public:
    /// @param moves  every register has another value in each scan.
    explicit Station(bool moves) : moves_(moves) {}

    /// @param frame  asks for 1 to 100 registers.
    const QByteArray &answerTo(const QByteArray &frame)
    {
        const auto byteAt = [&frame](int at) { return static_cast<unsigned char>(frame.at(at)); };
        const int first = byteAt(2) << 8 | byteAt(3);
        const int count = byteAt(4) << 8 | byteAt(5);
        if (first == 0 && moves_)
            value_ = value_ == 1 ? 2 : 1;
        QByteArray &reply = replies_[value_][count];
        if (reply.isEmpty())
            reply = made(count);
        return reply;
    }

private:
    QByteArray made(int count) const
    {
        QByteArray reply;
        reply.append(static_cast<char>(kStation)).append('\3').append(static_cast<char>(2 * count));
        for (int i = 0; i < count; ++i)
            reply.append('\0').append(static_cast<char>(value_));
        const std::uint16_t crc = plc::runtime::crcOf(reply.constData(), reply.size());
        reply.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));
        return reply;
    }

    bool moves_;
    int value_ = 1;
    QByteArray replies_[3][kBlock + 1];
};

/// A link whose requests are answered at once, in virtual time.
class AnsweringLink : public plc::runtime::DirectLink
{
public:
    AnsweringLink(plc::runtime::DriverLibrary &driver, COM_INFO &info,
                  const plc::runtime::LinkSettings &settings, Station &station)
        : DirectLink(driver, info, settings), station_(station)
    {}

    void start(const std::map<int, int> &reads, bool trace) override { link_.begin(now_, reads, trace); }
    void stop() override {}
    Time now() const override { return now_; }
    void wait(Time until) override
    {
        while (news_.empty() && now_ < until)
            step(until);
    }

    /// Requests sent.
    long requests() const { return requests_; }

private:
    void step(Time until)
    {
        const plc::runtime::Instruction todo = link_.advance(now_, std::exchange(arrived_, QByteArray()));
        if (todo.send.isEmpty()) {
            now_ = std::max(now_, std::min(until, todo.wakeAt));
            return;
        }
        ++requests_;
        now_ += microseconds(100);
        link_.transmitted(now_);
        now_ += microseconds(2000);
        arrived_ = station_.answerTo(todo.send);
    }

    Station &station_;
    QByteArray arrived_;
    Time now_{};
    long requests_ = 0;
};

int requestsOfScan(int variables)
{
    return (variables + kBlock - 1) / kBlock;
}

/// The driver alone, as docs/examples/minimal_runtime.cpp drives it.
class Loop
{
public:
    Loop(int variables, bool moves)
        : driver_(PLC_DRIVER_PATH), station_(moves), words_(50501, 0),
          owned_(static_cast<std::size_t>(variables))
    {
        info_.maxBlock = kBlock;
        info_.stationMode = 1;
        info_.retryLimit = 2;
        info_.writeMode = 2;
        driver_.setComInfo(&info_);
        driver_.flashLocalRegister(nullptr, words_.data(), nullptr);
        QList<HostVariable *> screen;
        for (int i = 0; i < variables; ++i) {
            HostVariable &variable = owned_[static_cast<std::size_t>(i)];
            variable.regType = kHoldingRegisters;
            variable.station = kStation;
            variable.addrText = QString::number(i);
            variable.count = 1;
            screen.append(&variable);
        }
        if (driver_.reCreatReadVarList(&screen) != requestsOfScan(variables))
            fail("the read list");
    }

    void scan(long times)
    {
        for (long i = 0; i < times; ++i)
            scanOnce();
    }

    qint64 sum() const { return sum_; }

private:
    void scanOnce()
    {
        for (int i = requestsOfScan(static_cast<int>(owned_.size())); i > 0; --i)
            readOnce();
        QByteArray value;
        for (const HostVariable &variable : owned_) {
            driver_.getRegisterData(QString(), variable.regType, variable.addrText, kStation, &value, 1);
            sum_ += static_cast<unsigned char>(value.at(0));
        }
    }

    void readOnce()
    {
        const Protocol *const request = driver_.comCommunication(0);
        if (!request)
            fail("the next request");
        QByteArray reply = station_.answerTo(request->frame);
        if (driver_.dataCom(&reply, reply.size())->status != plc::kResultDone ||
            driver_.dataCom(&reply, reply.size())->status != plc::kResultDone)
            fail("a reply");
    }

    plc::runtime::DriverLibrary driver_;
    Station station_;
    COM_INFO info_{};
    std::vector<unsigned short> words_;
    std::vector<HostVariable> owned_;
    qint64 sum_ = 0;
};

/// A line of the library.
class Library
{
public:
    /// @param screens  of so many variables each.
    Library(int variables, int screens, bool moves) : station_(moves), variables_(variables)
    {
        plcruntime::LineGround ground;
        ground.makeLink = [this](plc::runtime::DriverLibrary &driver, COM_INFO &info,
                                 const plc::runtime::LinkSettings &settings) {
            auto made = std::make_unique<AnsweringLink>(driver, info, settings, station_);
            link_ = made.get();
            return made;
        };
        ground.clock = [] { return Time::zero(); };
        plcruntime::LineSettings settings;
        settings.delivery = plcruntime::Delivery::Poll;
        settings.driverFile = QLatin1String(PLC_DRIVER_PATH);
        settings.maxBlock = kBlock;
        line_.reset(plcruntime::LineAccess::make(settings, ground));
        line_->setEventHandler(&Library::take, this);
        for (int screen = 0; screen < screens; ++screen) {
            screens_.emplace_back();
            for (int i = 0; i < variables; ++i)
                screens_.back().append(line_->addVariable(
                    QLatin1String("4x:") + QString::number(screen * variables + i) + QLatin1String("@1")));
        }
        if (line_->showScreen(screens_.front()) || line_->open())
            fail("the line");
    }

    /// A few requests more, the same number every time: a panel looks twenty times a second.
    void scan(long times)
    {
        const long until = link_->requests() + times * requestsOfScan(variables_);
        while (link_->requests() < until)
            line_->poll(kPollMs);
    }

    void change()
    {
        shown_ = 1 - shown_;
        if (line_->showScreen(screens_[static_cast<std::size_t>(shown_)]))
            fail("the screen");
    }

    qint64 sum() const { return sum_; }

private:
    static void take(void *context, const plcruntime::Event &event)
    {
        if (event.kind == plcruntime::EventValue)
            static_cast<Library *>(context)->sum_ += event.variable->values.first().toInteger();
    }

    Station station_;
    int variables_;
    AnsweringLink *link_ = nullptr;
    std::unique_ptr<plcruntime::Line> line_;
    std::vector<QList<plcruntime::VariableId>> screens_;
    int shown_ = 0;
    qint64 sum_ = 0;
};

template <typename Runtime>
int scan(Runtime &&runtime, long scans)
{
    runtime.scan(scans);
    return runtime.sum() > 0 ? 0 : 1;
}

template <typename MakeRuntime>
int weigh(MakeRuntime make)
{
    plc::bench::startRecording();
    auto runtime = make();
    runtime->scan(kWeighedScans);
    const std::size_t held = plc::bench::stopRecording();
    std::printf("held %zu most %zu\n", held, plc::bench::mostRecorded());
    return runtime->sum() > 0 ? 0 : 1;
}

int usage()
{
    std::fprintf(stderr, "usage: count_runtime (loop | library) (still | moving) VARIABLES SCANS\n"
                         "       count_runtime screens VARIABLES CHANGES\n"
                         "       count_runtime memory (loop | library) VARIABLES\n");
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    const auto is = [argc, argv](int at, const char *word) {
        return at < argc && std::strcmp(argv[at], word) == 0;
    };
    const int variables = argc > 3 ? std::atoi(argv[is(1, "screens") ? 2 : 3]) : 0;
    const long times = argc > 3 ? std::atol(argv[argc - 1]) : 0;
    if (variables < 1 || variables > kMostVariables || times < 1)
        return usage();
    if (is(1, "memory") && is(2, "loop") && argc == 4)
        return weigh([variables] { return std::make_unique<Loop>(variables, true); });
    if (is(1, "memory") && is(2, "library") && argc == 4)
        return weigh([variables] { return std::make_unique<Library>(variables, 1, true); });
    if (is(1, "screens") && argc == 4) {
        Library library(variables, 2, false);
        for (long i = 0; i < times; ++i)
            library.change();
        return 0;
    }
    if ((!is(2, "still") && !is(2, "moving")) || argc != 5)
        return usage();
    const bool moves = is(2, "moving");
    if (is(1, "loop"))
        return scan(Loop(variables, moves), times);
    if (is(1, "library"))
        return scan(Library(variables, 1, moves), times);
    return usage();
}
