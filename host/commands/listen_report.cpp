#include "host/commands/listen_report.h"

#include <utility>

#include "host/capture/frame_words.h"
#include "host/commands/json_line.h"
#include "host/project/csv_cell.h"
#include "runtime/line/exception_codes.h"
#include "runtime/line/number_text.h"

namespace plc::host {

namespace {

constexpr int kMicroseconds = 6;

std::string hexOf(const QByteArray &bytes)
{
    return hexText(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

FrameFields fieldsOfRow(const HeardRow &row)
{
    return fieldsOf(row.frame.bytes, row.frame.isReply(), row.heard.request);
}

const char *nameOf(FrameRole role)
{
    switch (role) {
    case FrameRole::Request:
        return "request";
    case FrameRole::Reply:
        return "reply";
    case FrameRole::Either:
        break;
    }
    return "unknown";
}

const char *nameOf(Heard::Kind kind)
{
    switch (kind) {
    case Heard::Kind::Request:
        return "request";
    case Heard::Kind::Repeat:
        return "repeat";
    case Heard::Kind::Broadcast:
        return "broadcast";
    case Heard::Kind::Answer:
        return "answer";
    case Heard::Kind::Unasked:
        return "unasked";
    case Heard::Kind::Damaged:
        return "bad crc";
    case Heard::Kind::Noise:
        break;
    }
    return "noise";
}

const char *arrowOf(const HeardFrame &frame)
{
    if (frame.kind == PieceKind::Noise || frame.role == FrameRole::Either)
        return "??";
    return frame.isReply() ? "<-" : "->";
}

/// What the words of a frame leave out; empty for nothing.
std::string remarkOn(const HeardRow &row)
{
    switch (row.heard.kind) {
    case Heard::Kind::Repeat:
        return "again, nobody had answered";
    case Heard::Kind::Broadcast:
        return "broadcast";
    case Heard::Kind::Answer:
        return "after " + inMilliseconds(*row.heard.replyTime) + " ms";
    case Heard::Kind::Unasked:
        return "no request was heard";
    case Heard::Kind::Request:
    case Heard::Kind::Damaged:
    case Heard::Kind::Noise:
        break;
    }
    return row.frame.isGood() && row.frame.role == FrameRole::Either ? "or the reply that repeats it" : "";
}

std::string list(const std::vector<std::uint16_t> &values, const char *separator)
{
    std::string text;
    for (const std::uint16_t value : values)
        text += (text.empty() ? "" : separator) + std::to_string(value);
    return text;
}

std::string variablesInJson(const FrameFields &fields, const std::vector<Variable> &variables,
                            NumberStyle style)
{
    std::string text;
    for (const NamedValues &named : namedValues(fields, variables)) {
        JsonLine object;
        object.text("variable", named.variable->text)
            .raw("values", valuesInJson(*named.variable, named.values, style));
        if (named.variable->meaning && !named.variable->meaning->unit.empty())
            object.text("unit", named.variable->meaning->unit);
        text += (text.empty() ? "" : ",") + object.object();
    }
    return text.empty() ? text : "[" + text + "]";
}

std::string durationsInJson(const Histogram &durations)
{
    const auto ms = [](Time time) { return 1000 * seconds(time); };
    return JsonLine()
        .number("count", durations.count())
        .decimal("least_ms", ms(durations.least()))
        .decimal("p50_ms", ms(durations.percentile(50)))
        .decimal("p99_ms", ms(durations.percentile(99)))
        .decimal("most_ms", ms(durations.most()))
        .object();
}

std::string describe(const Histogram &durations)
{
    return "p50 " + inMilliseconds(durations.percentile(50)) + " ms, p99 " +
           inMilliseconds(durations.percentile(99)) + " ms, longest " + inMilliseconds(durations.most()) +
           " ms";
}

std::string exceptionsOf(int number, const HeardStation &station)
{
    std::string text;
    for (const auto &[code, count] : station.exceptionsByCode)
        text += (text.empty() ? "station " + std::to_string(number) + " refused: " : ", ") +
                exceptionLabel(code) + " " + std::to_string(count) + " times";
    return text.empty() ? text : text + "\n";
}

} // namespace

std::string HeardPrinter::render(const HeardRow &row)
{
    if (format_ == Format::NdJson)
        return object(row) + "\n";
    if (format_ == Format::Text)
        return text(row);
    const std::string head = headDone_
                                 ? ""
                                 : "time_s,role,verdict,station,function,address,count,values,exception_code,"
                                   "reply_time_ms,bytes,time\n";
    headDone_ = true;
    return head + csv(row);
}

std::string HeardPrinter::text(const HeardRow &row) const
{
    constexpr std::size_t kWidth = 12;
    std::string line = secondsText(row.moment, kWidth) + " " + arrowOf(row.frame) + " ";
    if (!row.frame.isGood())
        return line + (row.frame.kind == PieceKind::Noise ? "noise: " : "bad CRC: ") +
               hexOf(row.frame.bytes) + "\n";
    const FrameFields fields = fieldsOfRow(row);
    const std::string remark = remarkOn(row);
    line += "station " + std::to_string(fields.station) + "  " + fields.words +
            (remark.empty() ? "" : "  (" + remark + ")") +
            (withBytes_ ? "  [" + hexOf(row.frame.bytes) + "]" : "") + "\n";
    for (const NamedValues &named : namedValues(fields, variables_))
        line += std::string(kWidth + 4, ' ') + named.variable->text + " = " +
                formatValues(*named.variable, named.values, style_, " ") + "\n";
    return line;
}

std::string HeardPrinter::csv(const HeardRow &row) const
{
    const FrameFields fields = row.frame.isGood() ? fieldsOfRow(row) : FrameFields();
    const auto number = [](int value, bool isKnown) {
        return isKnown ? std::to_string(value) : std::string();
    };
    return fixed(seconds(row.moment), kMicroseconds) + "," + nameOf(row.frame.role) + "," +
           nameOf(row.heard.kind) + "," + number(fields.station, fields.station >= 0) + "," +
           number(fields.function, fields.function >= 0) + "," +
           number(fields.address.value_or(0), fields.address.has_value()) + "," +
           number(fields.count.value_or(0), fields.count.has_value()) + "," + list(fields.values, " ") + "," +
           number(fields.exceptionCode, fields.exceptionCode != 0) + "," +
           (row.heard.replyTime ? inMilliseconds(*row.heard.replyTime) : "") + "," + hexOf(row.frame.bytes) +
           "," + isoTime(row.time, kMicroseconds) + "\n";
}

std::string HeardPrinter::object(const HeardRow &row) const
{
    JsonLine line("heard");
    line.decimal("time_s", seconds(row.moment), kMicroseconds)
        .text("time", isoTime(row.time, kMicroseconds))
        .text("role", nameOf(row.frame.role))
        .text("verdict", nameOf(row.heard.kind));
    if (row.frame.isGood()) {
        const FrameFields fields = fieldsOfRow(row);
        line.number("station", fields.station)
            .number("function", fields.function)
            .text("function_name", functionName(fields.function));
        if (fields.address)
            line.number("address", *fields.address);
        if (fields.count)
            line.number("count", *fields.count);
        if (!fields.values.empty())
            line.raw("values", "[" + list(fields.values, ",") + "]");
        if (fields.exceptionCode != 0)
            line.number("exception_code", fields.exceptionCode)
                .text("exception_name", exceptionMeaning(fields.exceptionCode).name);
        if (const std::string variables = variablesInJson(fields, variables_, style_); !variables.empty())
            line.raw("variables", variables);
    }
    if (row.heard.replyTime)
        line.decimal("reply_time_ms", 1000 * seconds(*row.heard.replyTime));
    if (row.frame.uncertain > Time::zero())
        line.decimal("uncertain_ms", 1000 * seconds(row.frame.uncertain));
    return line.text("bytes", hexOf(row.frame.bytes)).object();
}

std::string heardStatistics(const HeardLine &line, const std::string &setting)
{
    std::string text =
        "heard for " + fixed(seconds(line.duration()), 3) + " s" + (setting.empty() ? "" : " at " + setting) +
        ": " + counted(line.frames(), "frame", "frames") + ", " + counted(line.bytes(), "byte", "bytes");
    if (const std::optional<double> share = line.lineShare())
        text += ", line in use " + fixed(100 * *share, 1) + " %";
    text += "\n";
    std::vector<std::vector<std::string>> cells{{"station", "requests", "repeats", "replies", "exceptions",
                                                 "bad CRC", "no answer", "unasked", "p50 ms", "p99 ms",
                                                 "longest ms"}};
    for (const auto &[number, station] : line.stations()) {
        std::vector<std::string> row{std::to_string(number)};
        for (const std::uint64_t count :
             {station.requests, station.repeats, station.replies, station.exceptions, station.damaged,
              station.unanswered, station.unasked})
            row.push_back(std::to_string(count));
        const bool isTimed = station.replyTimes.count() > 0;
        for (const Time time : {station.replyTimes.percentile(50), station.replyTimes.percentile(99),
                                station.replyTimes.most()})
            row.push_back(isTimed ? inMilliseconds(time) : "-");
        cells.push_back(std::move(row));
    }
    if (!line.stations().empty()) {
        for (const std::string &row : layOut(cells))
            text += row + "\n";
    }
    for (const auto &[number, station] : line.stations())
        text += exceptionsOf(number, station);
    if (line.broadcasts() > 0)
        text += counted(line.broadcasts(), "broadcast", "broadcasts") + "\n";
    if (line.damaged() + line.noiseBytes() > 0)
        text += "does not fit: " + counted(line.damaged(), "frame", "frames") + " with a bad CRC, " +
                counted(line.noiseBytes(), "byte", "bytes") + " of noise\n";
    if (line.pauses().count() > 0)
        text += "pauses of the master: " + describe(line.pauses()) + "\n";
    if (line.vainWaits().count() > 0)
        text += "waits of the master for no answer: " + describe(line.vainWaits()) + "\n";
    return text;
}

std::string heardRecord(const HeardLine &line, int baud, WallTime time)
{
    std::string stations;
    for (const auto &[number, station] : line.stations()) {
        std::string exceptions;
        for (const auto &[code, count] : station.exceptionsByCode)
            exceptions +=
                (exceptions.empty() ? "" : ",") + JsonLine()
                                                      .number("exception_code", code)
                                                      .text("exception_name", exceptionMeaning(code).name)
                                                      .number("count", count)
                                                      .object();
        stations +=
            (stations.empty() ? "" : ",") + JsonLine()
                                                .number("station", number)
                                                .number("requests", station.requests)
                                                .number("repeats", station.repeats)
                                                .number("replies", station.replies)
                                                .number("exceptions", station.exceptions)
                                                .number("bad_crc", station.damaged)
                                                .number("unanswered", station.unanswered)
                                                .number("unasked", station.unasked)
                                                .raw("exception_codes", "[" + exceptions + "]")
                                                .raw("reply_time", durationsInJson(station.replyTimes))
                                                .object();
    }
    JsonLine record("heard_statistics");
    record.text("time", isoTime(time)).decimal("duration_s", seconds(line.duration()), kMicroseconds);
    if (baud > 0)
        record.number("baud", baud);
    else
        record.raw("baud", "null");
    if (const std::optional<double> share = line.lineShare())
        record.decimal("line_share", *share);
    else
        record.raw("line_share", "null");
    return record.number("frames", line.frames())
        .number("bytes", line.bytes())
        .number("broadcasts", line.broadcasts())
        .number("bad_crc", line.damaged())
        .number("noise_bytes", line.noiseBytes())
        .raw("master_pause", durationsInJson(line.pauses()))
        .raw("unanswered_wait", durationsInJson(line.vainWaits()))
        .raw("stations", "[" + stations + "]")
        .object();
}

} // namespace plc::host
