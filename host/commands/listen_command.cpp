#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include "host/capture/listening.h"
#include "host/capture/pcapng.h"
#include "host/commands/capture_option.h"
#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/interrupt.h"
#include "host/commands/listen_report.h"
#include "host/commands/standard_streams.h"
#include "host/option_words.h"
#include "host/project/setting_names.h"
#include "runtime/line/failure.h"
#include "runtime/line/port_opening.h"
#include "runtime/line/serial_port.h"

namespace plc::host {

namespace {

char letterOf(Parity parity)
{
    switch (parity) {
    case Parity::Odd:
        return 'O';
    case Parity::None:
        return 'N';
    case Parity::Even:
        break;
    }
    return 'E';
}

std::string describe(const LineSetup &setup)
{
    return std::to_string(setup.baud) + " 8" + letterOf(setup.parity);
}

/// What has been heard, on its way to the output.
class Hearing
{
public:
    Hearing(const ListenOptions &options, const std::vector<Variable> &variables, Time character)
        : options_(options), line_(character),
          printer_(options.outputFormat(), options.numberStyle(), variables, options.verbose)
    {}

    /// @param moment  of the end of the frame, since the start.
    Heard add(const HeardFrame &frame, Time moment, WallTime time)
    {
        Heard heard = line_.add(frame);
        if (!options_.quiet && options_.captureFile != "-")
            print(printer_.render({frame, heard, moment, time}));
        return heard;
    }

    /// Prints the statistics. Beside CSV and a capture on standard output they go to standard error.
    /// @param setting  empty where the line has no rate.
    ExitCode finish(int baud, const std::string &setting)
    {
        const std::string text = heardStatistics(line_, setting);
        if (options_.captureFile == "-" || options_.outputFormat() == Format::Csv)
            std::fputs(text.c_str(), stderr);
        else if (options_.outputFormat() == Format::NdJson)
            print(heardRecord(line_, baud, std::chrono::system_clock::now()) + "\n");
        else
            print((options_.quiet ? "" : "\n") + text);
        return line_.frames() > 0 ? kExitGood : kExitNoReply;
    }

private:
    const ListenOptions &options_;
    HeardLine line_;
    HeardPrinter printer_;
};

/// A line that is listened to now.
class LiveListening
{
public:
    LiveListening(const ListenOptions &options, const LineSettings &settings, std::vector<LineSetup> setups,
                  const std::vector<Variable> &variables)
        : options_(options), settings_(settings), setups_(std::move(setups)), variables_(variables)
    {
        manner_.isOver = [this] {
            return isInterrupted() || isOutputOver() || steadyNow() >= end_ ||
                   (capture_ && capture_->error() != 0);
        };
    }

    ExitCode run()
    {
        catchInterrupts();
        if (options_.forSeconds > 0)
            end_ = steadyNow() + fromSeconds(options_.forSeconds);
        const bool hasRate = !isPseudoTerminal(settings_.port);
        if (hasRate && setups_.size() > 1 && !search())
            return kExitNoReply;
        const std::unique_ptr<Port> port = open();
        if (!port)
            return kExitNoReply;
        // The file is opened when the settings are known: they stand at its beginning.
        capture_ = openCapture(options_.captureFile, settings_);
        Listener listener(settings_.baud, hasRate);
        Hearing hearing(options_, variables_, listener.character());
        const Time start = steadyNow();
        const WallTime wallStart = std::chrono::system_clock::now();
        std::string lost;
        try {
            listenOn(*port, listener, manner_, [&](const std::vector<HeardFrame> &frames) {
                for (const HeardFrame &frame : frames) {
                    const Time moment = std::max(frame.end - start, Time::zero());
                    const Heard heard = hearing.add(
                        frame, moment,
                        wallStart + std::chrono::duration_cast<WallTime::duration>(frame.end - start));
                    if (capture_)
                        capture_->add(frame, heard);
                }
            });
        } catch (const Failure &failure) {
            lost = failure.what();
        }
        finishCapture(capture_.get());
        const ExitCode code =
            hearing.finish(hasRate ? settings_.baud : 0,
                           hasRate ? describe(LineSetup{settings_.baud, settings_.parity}) : std::string());
        if (!lost.empty())
            throw Failure(FailureKind::Port, lost);
        return code;
    }

private:
    /// @return null where the program is interrupted before.
    std::unique_ptr<Port> open()
    {
        PortOpening opening(
            [verbose = options_.verbose](const LineSettings &settings) {
                return std::make_unique<SerialPort>(settings, [verbose](const PortNote &note) {
                    if (note.isWarning || verbose)
                        std::fprintf(stderr, "plchost: %s\n", inOptions(note.text).c_str());
                });
            },
            settings_);
        while (!opening.wait(ListeningManner::kLongestWait)) {
            if (manner_.isOver())
                return nullptr;
        }
        return opening.take();
    }

    void use(const LineSetup &setup)
    {
        settings_.baud = setup.baud;
        settings_.parity = setup.parity;
    }

    /// @return whether the settings of the line have been found.
    bool search()
    {
        SettingSearch search(setups_);
        const std::optional<LineSetup> found = findSetup(search, manner_, [this](const LineSetup &setup) {
            use(setup);
            std::unique_ptr<Port> port = open();
            if (!port)
                throw Failure(FailureKind::Port, "interrupted while the port was being opened");
            if (!options_.quiet)
                std::fprintf(stderr, "plchost: listening at %s\n", describe(setup).c_str());
            return port;
        });
        if (!found) {
            std::fprintf(stderr, "plchost: no setting gave good frames; is a master at work on this line?\n");
            return false;
        }
        use(*found);
        std::fprintf(stderr, "plchost: the line runs at %s: -b %d -P %s\n", describe(*found).c_str(),
                     found->baud, nameOf(found->parity).c_str());
        return true;
    }

    static std::string nameOf(Parity parity)
    {
        return parity == Parity::Odd ? "odd" : parity == Parity::None ? "none" : "even";
    }

    const ListenOptions &options_;
    LineSettings settings_;
    const std::vector<LineSetup> setups_;
    const std::vector<Variable> &variables_;
    ListeningManner manner_;
    std::shared_ptr<Capture> capture_;
    Time end_ = Time::max();
};

struct Interrupted
{};

/// An open file, closed at the end. Signals restart calls that block, so that none does here: a pipe is
/// looked at in slices.
class OpenFile
{
public:
    explicit OpenFile(const std::string &path)
        : descriptor_(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC))
    {}
    ~OpenFile()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;
    bool isOpen() const { return descriptor_ >= 0; }
    /// @return 0 at the end, -1 with the reason in errno.
    /// @throw Interrupted
    ssize_t read(char *bytes, std::size_t count)
    {
        // Before its first writer a named pipe looks as at its end; only poll() tells that from the end.
        for (bool isReady = hasBegun_;; isReady = isReady || hasBegun_) {
            if (isInterrupted())
                throw Interrupted();
            const ssize_t got = isReady ? ::read(descriptor_, bytes, count) : -1;
            hasBegun_ = hasBegun_ || got > 0;
            if (got >= 0 || (isReady && errno != EINTR && errno != EAGAIN))
                return got;
            pollfd waiting{descriptor_, POLLIN, 0};
            isReady = poll(&waiting, 1, kSliceMs) > 0;
        }
    }

private:
    static constexpr int kSliceMs = 50;
    const int descriptor_;
    bool hasBegun_ = false;
};

/// The role of a frame of a capture that does not tell it.
void tellRole(FrameSplitter *splitter, CapturedPacket *packet)
{
    splitter->markGap();
    std::vector<Piece> pieces = splitter->push(packet->frame.bytes);
    for (const Piece &piece : splitter->finish())
        pieces.push_back(piece);
    if (packet->hasDirection || pieces.size() != 1 || !packet->frame.isGood())
        return;
    packet->frame.role = pieces.front().role;
    packet->frame.kind = pieces.front().kind;
    packet->frame.function = pieces.front().function;
    packet->frame.exceptionCode = pieces.front().exceptionCode;
}

ExitCode listenToFile(const ListenOptions &options, const std::vector<Variable> &variables)
{
    catchInterrupts();
    OpenFile file(options.file);
    const auto refuse = [&options] {
        throw Failure(FailureKind::Usage, options.file + ": " + std::strerror(errno));
    };
    if (!file.isOpen())
        refuse();
    CaptureReader reader(options.file, [&](char *bytes, std::size_t count) {
        const ssize_t got = file.read(bytes, count);
        if (got < 0)
            refuse();
        return static_cast<std::size_t>(got);
    });
    std::optional<Hearing> hearing;
    FrameSplitter splitter;
    CapturedPacket packet;
    std::int64_t start = 0;
    try {
        while (!isInterrupted() && !isOutputOver() && reader.next(&packet)) {
            if (!hearing) {
                hearing.emplace(options, variables,
                                reader.baud() > 0 ? LineTiming(reader.baud()).character() : Time::zero());
                start = packet.time;
            }
            tellRole(&splitter, &packet);
            packet.frame.end = Time(packet.time);
            const auto time = WallTime(std::chrono::duration_cast<WallTime::duration>(Time(packet.time)));
            hearing->add(packet.frame, std::max(Time(packet.time - start), Time::zero()), time);
        }
    } catch (const Interrupted &) { // what came before counts
    }
    if (reader.isCut() && !options.quiet)
        std::fprintf(stderr, "plchost: %s breaks off in the middle of a packet\n", options.file.c_str());
    if (!hearing)
        hearing.emplace(options, variables, Time::zero());
    return hearing->finish(reader.baud(), reader.baud() > 0 ? std::to_string(reader.baud()) : std::string());
}

} // namespace

ExitCode listenToLine(const ListenOptions &options)
{
    Project project;
    if (!options.projectFile.empty())
        project = loadProject(options.projectFile);
    for (Variable &variable : project.variables)
        variable.station = variable.station.value_or(project.link.station);
    if (!options.file.empty()) {
        if (!options.port.empty() || !options.captureFile.empty())
            throw Failure(FailureKind::Usage,
                          "a capture is read, so there is no line: leave -p and --capture out, or the file");
        return listenToFile(options, project.variables);
    }
    LineSettings settings = project.link;
    if (!options.port.empty())
        settings.port = options.port;
    if (settings.port.empty())
        throw Failure(FailureKind::Usage,
                      options.projectFile.empty()
                          ? "nothing is to be listened to: name a port with -p PATH, or a capture"
                          : options.projectFile + " names no port; give one with -p PATH");
    settings.rs485.reset(); // nothing is sent
    settings.anyRate = settings.anyRate || options.anyRate;
    const bool isKnown = !options.projectFile.empty();
    if (options.baud > 0)
        settings.baud = options.baud;
    if (!options.parity.empty())
        settings.parity = parityNamed(options.parity);
    std::vector<LineSetup> setups;
    for (const LineSetup &setup : likelySetups()) {
        const bool fitsBaud = options.baud > 0 || isKnown ? setup.baud == settings.baud : true;
        const bool fitsParity = !options.parity.empty() || isKnown ? setup.parity == settings.parity : true;
        if (fitsBaud && fitsParity)
            setups.push_back(setup);
    }
    if (setups.empty() && (!options.parity.empty() || isKnown))
        setups.push_back({settings.baud, settings.parity});
    for (const Parity parity : {Parity::Even, Parity::None, Parity::Odd}) {
        if (setups.size() < 3 && options.baud > 0 && options.parity.empty() && !isKnown)
            setups.push_back({settings.baud, parity}); // a rate that is none of the likely
    }
    settings.baud = setups.front().baud;
    settings.parity = setups.front().parity;
    return LiveListening(options, settings, std::move(setups), project.variables).run();
}

} // namespace plc::host
