#include "host/commands/asked_line.h"

#include <cstdio>

#include "host/commands/capture_option.h"
#include "host/commands/interrupt.h"
#include "host/commands/wall_clock.h"
#include "host/option_words.h"
#include "runtime/line/port_opening.h"
#include "runtime/line/rtu_layout.h"
#include "runtime/line/serial_port.h"
#include "runtime/line/terminal_system.h"
#include "runtime/master/trace_line.h"

namespace plc::host {

namespace {

constexpr Time kSlice = std::chrono::milliseconds(20);

AskingSettings settingsOf(const LinkSettings &link)
{
    AskingSettings settings;
    settings.timing = LineTiming(link.baud);
    // A pseudo-terminal has no rate: what goes over it is there at once.
    if (!runtime::isPseudoTerminal(link.port))
        settings.character = Time(link.bitsPerCharacter() * 1000000000LL / link.baud);
    settings.timeout = link.timeout;
    settings.lateGuard = link.lateGuard;
    settings.echo = link.echo;
    return settings;
}

/// What must be clear before the port is opened.
std::shared_ptr<Capture> captureFor(const LinkSettings &link, const std::string &file)
{
    if (link.linkMode != 0)
        throw Failure(FailureKind::Usage,
                      "over a relay no station can be asked like this; do without the project's linkMode");
    if (file == "-")
        throw Failure(
            FailureKind::Usage,
            "--capture: - is for listen; here what was found goes to standard output, so name a file");
    return openCapture(file, link, link.echo);
}

/// Nothing goes out of a finder that may change anything.
class ReadsAlone : public Finder
{
public:
    explicit ReadsAlone(Finder &finder) : finder_(finder) {}

    std::optional<Question> next() override
    {
        std::optional<Question> question = finder_.next();
        if (question && !runtime::changesNothing(question->frame))
            throw Failure(FailureKind::Usage, "a request that does not only read is not sent");
        return question;
    }

    void take(const Answer &answer) override { finder_.take(answer); }

private:
    Finder &finder_;
};

} // namespace

std::unique_ptr<Port> openPort(const LinkSettings &link, bool verbose)
{
    catchInterrupts();
    const auto open = [verbose](const LineSettings &line) {
        return std::make_unique<runtime::SerialPort>(line, [verbose](const runtime::PortNote &note) {
            if (note.isWarning || verbose)
                std::fprintf(stderr, "plchost: %s\n", inOptions(note.text).c_str());
        });
    };
    runtime::PortOpening opening(open, link);
    while (!opening.wait(kSlice)) {
        if (isInterrupted())
            throw Failure(FailureKind::Port, "interrupted while port '" + link.port + "' was being opened");
    }
    return opening.take();
}

AskedLine::AskedLine(const LinkSettings &link, const OutputOptions &options)
    : capture_(captureFor(link, options.captureFile)),
      port_(captured(openPort(link, options.verbose), capture_)), ground_{*port_}, asking_(settingsOf(link))
{
    ground_.isCancelled = isInterrupted;
    if (!options.verbose)
        return;
    ground_.trace = [start = steadyNow()](const FrameNews &frame) {
        constexpr int kMicroseconds = 6;
        FrameNews news = frame;
        news.sinceStart = frame.at - start;
        std::fprintf(stderr, "%s %s\n", isoTime(std::chrono::system_clock::now(), kMicroseconds).c_str(),
                     runtime::traceLine(news).c_str());
    };
}

AskedLine::~AskedLine()
{
    port_.reset();
    finishCapture(capture_.get());
}

std::optional<Answer> AskedLine::ask(const Question &question)
{
    return host::ask(ground_, asking_, question);
}

bool AskedLine::carryOut(Finder &finder, const std::function<void(const Answer &)> &heed)
{
    ReadsAlone gated(finder);
    return host::carryOut(ground_, asking_, gated, heed);
}

} // namespace plc::host
