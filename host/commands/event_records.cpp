#include "host/commands/event_records.h"

#include "host/commands/json_line.h"
#include "host/option_words.h"
#include "runtime/line/failure.h"
#include "runtime/line/link_time.h"
#include "runtime/line/number_text.h"
#include "runtime/panel/utf8.h"

namespace plc::host {

namespace {

std::string oneLine(const QString &text)
{
    return onOneLine(inOptions(toUtf8(text)));
}

const char *nameOf(plcruntime::StationState state)
{
    switch (state) {
    case plcruntime::StationState::Offline:
        return "offline";
    case plcruntime::StationState::SwitchedOff:
        return "switched off";
    case plcruntime::StationState::On:
        break;
    }
    return "on";
}

const char *nameOf(plcruntime::FrameKind kind)
{
    switch (kind) {
    case plcruntime::FrameKind::Sent:
        return "sent";
    case plcruntime::FrameKind::Received:
        return "received";
    case plcruntime::FrameKind::Discarded:
        return "discarded";
    case plcruntime::FrameKind::AttemptEnd:
        break;
    }
    return "attempt end";
}

std::string stationRecord(const StationChange &change, WallTime time)
{
    JsonLine line("station");
    line.text("time", isoTime(time)).number("station", change.station).text("state", nameOf(change.state));
    if (change.state == plcruntime::StationState::Offline)
        line.number("failures", change.failures).number("next_probe_ms", change.nextProbeMs);
    else if (change.lastedMs > 0)
        line.number("lasted_ms", change.lastedMs);
    return line.object();
}

std::string portRecord(const PortChange &change, WallTime time, const std::string &port)
{
    JsonLine line("port");
    line.text("time", isoTime(time)).text("port", port);
    if (change.state == plcruntime::PortState::Open)
        return line.text("state", "open").number("lasted_ms", change.lastedMs).object();
    return line.text("state", change.isRefused ? "refused" : "lost")
        .text("reason", oneLine(change.reason))
        .object();
}

std::string frameRecord(const plcruntime::Frame &frame, WallTime time, qint64 startUs)
{
    constexpr int kMicroseconds = 6;
    JsonLine line("frame");
    line.decimal("time_s", seconds(std::chrono::microseconds(frame.atUs - startUs)), kMicroseconds)
        .text("time", isoTime(time, kMicroseconds))
        .text("direction", nameOf(frame.kind));
    if (frame.kind == plcruntime::FrameKind::Sent)
        line.number("attempt", frame.attempt);
    if (!frame.bytes.isEmpty())
        line.text("bytes", hexText(frame.bytes.constData(), static_cast<std::size_t>(frame.bytes.size())));
    if (frame.kind == plcruntime::FrameKind::Discarded)
        line.number("count", frame.count);
    if (!frame.text.isEmpty())
        line.text("text", oneLine(frame.text));
    return line.object();
}

} // namespace

std::string recordOf(const plcruntime::Event &event, WallTime time, qint64 startUs, const std::string &port)
{
    if (event.station)
        return stationRecord(*event.station, time);
    if (event.port)
        return portRecord(*event.port, time, port);
    if (event.log)
        return JsonLine("message")
            .text("time", isoTime(time))
            .flag("is_warning", event.log->isWarning)
            .text("text", oneLine(event.log->text))
            .object();
    return event.frame ? frameRecord(*event.frame, time, startUs) : std::string();
}

} // namespace plc::host
