#include "runtime/api/line_port.h"

#include <set>
#include <utility>

#include "runtime/line/failure.h"
#include "runtime/line/line_thread.h"
#include "runtime/line/serial_port.h"
#include "runtime/panel/utf8.h"

namespace plc::api {

namespace {

using runtime::Failure;
using runtime::FailureKind;

std::string textOr(const QString &text, const char *otherwise)
{
    return text.isEmpty() ? otherwise : runtime::toUtf8(text);
}

/// A port of the program's own.
class ProgramPort : public runtime::Port
{
public:
    explicit ProgramPort(std::unique_ptr<plcruntime::Port> port) : port_(std::move(port)) {}

    void send(const QByteArray &bytes) override
    {
        QString reason;
        if (!port_->send(bytes, &reason))
            throw Failure(FailureKind::Port, textOr(reason, "the port was lost while sending"));
    }

    QByteArray receive(runtime::Time until) override
    {
        QByteArray bytes;
        QString reason;
        const auto wait = std::chrono::ceil<std::chrono::microseconds>(
            std::max(until - runtime::steadyNow(), runtime::Time::zero()));
        if (!port_->receive(&bytes, wait.count(), &reason))
            throw Failure(FailureKind::Port, textOr(reason, "the port was lost while listening"));
        return bytes;
    }

private:
    std::unique_ptr<plcruntime::Port> port_;
};

std::unique_ptr<runtime::Port> openProgramPort(plcruntime::PortOpener opener, void *context,
                                               const plcruntime::LineSettings &settings)
{
    plcruntime::Error error;
    std::unique_ptr<plcruntime::Port> port(opener(context, settings, &error));
    if (port)
        return std::make_unique<ProgramPort>(std::move(port));
    const std::string reason = textOr(error.text, "the port cannot be opened");
    if (error.kind == plcruntime::ErrorKind::PortAbsent)
        throw runtime::PortAbsent(reason);
    throw Failure(FailureKind::Port, reason);
}

plcruntime::LogLine logLine(bool isWarning, const std::string &text)
{
    plcruntime::LogLine line;
    line.isWarning = isWarning;
    line.text = runtime::fromUtf8(text);
    return line;
}

} // namespace

void PortNotes::put(const plcruntime::LogLine &line)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(line);
}

std::vector<plcruntime::LogLine> PortNotes::take()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(lines_, {});
}

runtime::Surroundings portSurroundings(const plcruntime::LineSettings &settings,
                                       plcruntime::PortOpener opener, void *context,
                                       const std::shared_ptr<PortNotes> &notes,
                                       std::function<bool()> isCancelled)
{
    runtime::Surroundings surroundings;
    surroundings.isCancelled = std::move(isCancelled);
    if (settings.realTime) {
        surroundings.atStart = [notes] {
            const std::string refusal = runtime::runInRealTime();
            if (!refusal.empty())
                notes->put(logLine(true, "setting 'realTime': " + refusal));
        };
    }
    if (opener) {
        surroundings.openPort = [opener, context, settings](const runtime::LineSettings &) {
            return openProgramPort(opener, context, settings);
        };
        return surroundings;
    }
    // A lost port is opened over and over.
    const auto told = std::make_shared<std::set<std::string>>();
    surroundings.openPort = [notes, told](const runtime::LineSettings &line) {
        return std::make_unique<runtime::SerialPort>(line, [notes, told](const runtime::PortNote &note) {
            if (told->insert(note.text).second)
                notes->put(logLine(note.isWarning, note.text));
        });
    };
    return surroundings;
}

} // namespace plc::api
