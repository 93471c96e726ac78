#include "runtime/master/trace_line.h"

#include "runtime/line/number_text.h"

namespace plc::runtime {

namespace {

std::string hexText(const QByteArray &bytes)
{
    return plc::runtime::hexText(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

} // namespace

std::string frameText(const FrameNews &frame)
{
    switch (frame.kind) {
    case FrameNews::Kind::Sent:
        return "-> " + hexText(frame.bytes) +
               (frame.attempt > 1 ? "  (attempt " + std::to_string(frame.attempt) + ")" : "");
    case FrameNews::Kind::Received:
        return "<- " + hexText(frame.bytes);
    case FrameNews::Kind::Discarded:
        return "-- " + std::to_string(frame.count) + " bytes thrown away: " + frame.text;
    case FrameNews::Kind::AttemptEnd:
        break;
    }
    return "-- " + frame.text;
}

std::string traceLine(const FrameNews &frame)
{
    return secondsText(frame.sinceStart, 13) + " " + frameText(frame);
}

} // namespace plc::runtime
