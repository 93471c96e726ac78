#include "host/commands/output.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "host/commands/json_line.h"
#include "host/commands/panel_line.h"
#include "host/commands/standard_streams.h"
#include "host/commands/typed_values.h"
#include "host/option_words.h"
#include "host/project/csv_cell.h"
#include "runtime/line/exception_codes.h"
#include "runtime/line/failure.h"
#include "runtime/line/miss.h"
#include "runtime/panel/utf8.h"
#include "runtime/panel/value_text.h"

namespace plc::host {

namespace {

long milliseconds(Time time)
{
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
}

std::string valueInJson(const Variable &variable, const Values &values, int index, NumberStyle style)
{
    const std::string text = formatValue(variable, values, index, style);
    const Value value = valueOf(variable, values, index);
    if (value.type == Value::Type::Text)
        return inJson(value.text);
    if (value.type == Value::Type::Real && !std::isfinite(value.real))
        return "null";
    const bool isNumber = text.find_first_of("xb") == std::string::npos;
    return isNumber ? text : inJson(text);
}

/// A value in CSV, with neither its text nor quotation marks.
std::string valueInCsv(const Variable &variable, const Values &values, int index, NumberStyle style)
{
    const Value value = valueOf(variable, values, index);
    return value.type == Value::Type::Text ? csvCell(withoutControlCharacters(value.text))
                                           : formatValue(variable, values, index, style);
}

const Meaning &meaningOf(const Variable &variable)
{
    static const Meaning kNone;
    return variable.meaning ? *variable.meaning : kNone;
}

/// "[0,2]": which of the values are bad; empty for none.
std::string badValuesInJson(const Variable &variable, const Values &values)
{
    std::string list;
    for (int index = 0; index < variable.count; ++index) {
        if (valueOf(variable, values, index).isBad)
            list += (list.empty() ? "[" : ",") + std::to_string(index);
    }
    return list.empty() ? list : list + "]";
}

/// Columns of a text in UTF-8 on a terminal, where each character has one.
std::size_t widthOf(const std::string &utf8)
{
    return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), beginsCharacter));
}

std::string counterLine(const Counters &c)
{
    std::string line = "requests " + std::to_string(c.requests) + ", good " + std::to_string(c.good) +
                       ", time-outs " + std::to_string(c.timeouts) + ", bad " + std::to_string(c.bad) +
                       ", exceptions " + std::to_string(c.exceptions) + ", no reply due " +
                       std::to_string(c.unanswered) + ", retries " + std::to_string(c.retries);
    if (c.lineBusy > 0)
        line += ", line never silent " + std::to_string(c.lineBusy);
    if (c.ignoredReplies > 0)
        line += ", replies ignored " + std::to_string(c.ignoredReplies);
    return line;
}

std::string lineErrorsText(const Statistics &counted)
{
    if (!counted.hasLineErrors)
        return "line errors: unknown, since the port does not count them\n";
    return "line errors: parity " + std::to_string(counted.parityErrors) + ", framing " +
           std::to_string(counted.framingErrors) + ", overruns " + std::to_string(counted.overruns) +
           ", breaks " + std::to_string(counted.breaks) + "\n";
}

bool hasLineErrors(const Statistics &counted)
{
    return counted.parityErrors + counted.framingErrors + counted.overruns + counted.breaks > 0;
}

std::string latenessText(const Statistics &counted)
{
    return "requests later than their silence: p50 " +
           inMilliseconds(fromMicroseconds(counted.latenessMedianUs)) + " ms, p99 " +
           inMilliseconds(fromMicroseconds(counted.latenessP99Us)) + " ms, most " +
           inMilliseconds(fromMicroseconds(counted.latenessMostUs)) + " ms\n";
}

} // namespace

Format formatOf(const std::string &name)
{
    if (name == "csv")
        return Format::Csv;
    return name == "ndjson" ? Format::NdJson : Format::Text;
}

NumberStyle numberStyleOf(bool hex, bool isSigned)
{
    if (hex)
        return NumberStyle::Hex;
    return isSigned ? NumberStyle::Signed : NumberStyle::Unsigned;
}

std::string fixed(double value, int digits)
{
    char text[48];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

Row rowOf(const Variable &variable, int station, const VariableState &state)
{
    Row row;
    row.variable = variable;
    row.station = station;
    row.state = stateName(state);
    row.isInPieces = state.inPieces;
    if (state.quality == Quality::Refused) {
        row.exceptionCode = state.exceptionCode;
        row.detail = exceptionLabel(state.exceptionCode);
    }
    if (state.quality != Quality::Good)
        row.reason = inOptions(toUtf8(state.reason));
    if (state.ageMs >= 0) {
        row.values = valuesOf(variable, state.raw);
        row.age = std::chrono::milliseconds(state.ageMs);
    }
    return row;
}

const char *stateName(const VariableState &state)
{
    switch (state.quality) {
    case Quality::Good:
        return "good";
    case Quality::Stale:
        return "stale";
    case Quality::Refused:
        return "refused";
    case Quality::NoAnswer:
        return state.lastRead == OrderEnd::LineBusy ? "line busy" : "no answer";
    case Quality::BadReply:
        return "bad reply";
    case Quality::SwitchedOff:
        return "switched off";
    case Quality::Offline:
        return "offline";
    case Quality::PortLost:
        return "port lost";
    case Quality::NeverRead:
        break;
    }
    return "never read";
}

const char *stateName(OrderEnd end)
{
    switch (end) {
    case OrderEnd::Good:
        return "good";
    case OrderEnd::Refused:
        return "refused";
    case OrderEnd::BadReply:
        return "bad reply";
    case OrderEnd::LineBusy:
        return "line busy";
    case OrderEnd::PortLost:
        return "port lost";
    case OrderEnd::Unconfirmed:
        return "sent, not confirmed";
    case OrderEnd::SwitchedOff:
        return "switched off";
    case OrderEnd::Offline:
        return "offline";
    case OrderEnd::NoAnswer:
        return "no answer";
    case OrderEnd::Expired:
    case OrderEnd::Closed:
    case OrderEnd::OnlyEcho:
        return "not sent";
    case OrderEnd::NotTaken:
        return "not taken";
    case OrderEnd::Open:
        break;
    }
    return "interrupted";
}

std::string formatAge(Time age)
{
    const long ms = milliseconds(age);
    return ms < 1000 ? std::to_string(ms) + " ms" : fixed(seconds(age), 1) + " s";
}

bool haveMeanings(const std::vector<Variable> &variables)
{
    return std::any_of(variables.begin(), variables.end(), [](const Variable &variable) {
        const Meaning &meaning = meaningOf(variable);
        return !meaning.unit.empty() || !meaning.names.empty();
    });
}

std::string fullState(const Row &row)
{
    const std::string state = row.isInPieces && row.values ? row.state + ", read in pieces" : row.state;
    return row.detail.empty() ? state : state + ": " + row.detail;
}

std::string valuesInJson(const Variable &variable, const Values &values, NumberStyle style)
{
    std::string list = "[";
    for (int index = 0; index < valueCount(variable, values); ++index)
        list += (index > 0 ? "," : "") + valueInJson(variable, values, index, style);
    return list + "]";
}

namespace {

/// What was typed, for people.
std::string joined(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

/// The word that was typed for a value, where programs read it as a number; else empty.
std::string typedNumber(const Row &row, int index, NumberStyle style)
{
    if (style != NumberStyle::Unsigned)
        return std::string();
    const auto at = static_cast<std::size_t>(index);
    return at < row.typed.size() && isPlainNumber(row.typed[at]) ? row.typed[at] : std::string();
}

bool isMissing(const Row &row, int index)
{
    const auto at = static_cast<std::size_t>(index);
    return at < row.missing.size() && row.missing[at];
}

/// The values of which some are missing, for people.
std::string knownValues(const Row &row, NumberStyle style)
{
    std::string text;
    for (int index = 0; index < row.variable.count; ++index)
        text += (index > 0 ? " " : "") +
                (isMissing(row, index) ? "?" : formatValue(row.variable, *row.values, index, style));
    return text;
}

/// "[\"on\",null]": the texts that stand for the values.
std::string textsInJson(const Row &row)
{
    std::string list = "[";
    for (int index = 0; index < row.variable.count; ++index) {
        const std::string *name =
            isMissing(row, index) ? nullptr : nameOfValue(row.variable, *row.values, index);
        list += (index > 0 ? "," : "") + (name ? inJson(*name) : "null");
    }
    return list + "]";
}

std::string valuesInJson(const Row &row, NumberStyle style)
{
    std::string list = "[";
    for (int index = 0; index < valueCount(row.variable, *row.values); ++index) {
        const std::string typed = typedNumber(row, index, style);
        list += index > 0 ? "," : "";
        if (isMissing(row, index))
            list += "null";
        else
            list += typed.empty() ? valueInJson(row.variable, *row.values, index, style) : typed;
    }
    return list + "]";
}

} // namespace

std::string RowPrinter::render(const Row &row)
{
    const bool isFirst = !headDone_;
    headDone_ = true;
    switch (format_) {
    case Format::Csv:
        return isFirst ? csvHead(row) + csv(row) : csv(row);
    case Format::NdJson:
        return recordOf(row, style_) + "\n";
    case Format::Text:
        break;
    }
    return text(row);
}

void RowPrinter::print(const Row &row)
{
    plc::host::print(render(row));
}

std::string RowPrinter::text(const Row &row) const
{
    std::string line;
    if (row.moment)
        line += fixed(seconds(*row.moment), 3) + "  ";
    line += row.variable.text + " = ";
    const bool isAsTyped = !row.typed.empty() && style_ == NumberStyle::Unsigned;
    if (isAsTyped)
        line += joined(row.typed);
    else if (!row.missing.empty())
        line += knownValues(row, style_);
    else
        line += row.values ? formatValues(row.variable, *row.values, style_, " ") : "?";
    if (row.state != stateName(OrderEnd::Good) || row.age || row.isInPieces)
        line += "  (" + fullState(row) + (row.age ? ", " + formatAge(*row.age) + " old" : "") + ")";
    return line + "\n";
}

std::string RowPrinter::csvHead(const Row &row) const
{
    const std::string columns =
        row.moment ? "time_s,name,station,value,state,age_ms" : "name,station,value,state";
    return columns + (withMeanings_ ? ",unit,text" : "") + ",time,exception_code,exception_name" +
           (oneBased_ ? ",addresses_from" : "") + "\n";
}

std::string RowPrinter::csv(const Row &row) const
{
    std::string lines;
    for (int index = 0; index < row.variable.count; ++index)
        lines += csvLine(row, index);
    return lines;
}

std::string RowPrinter::csvLine(const Row &row, int index) const
{
    std::string line = row.moment ? fixed(seconds(*row.moment), 3) + "," : "";
    line += csvCell(row.variable.nameOf(index)) + "," + std::to_string(row.station) + ",";
    // Of a row that was read in part each value has its own state.
    const bool isKnown = row.values && !isMissing(row, index);
    const bool isGood = isKnown && !row.missing.empty();
    std::string state = isGood ? stateName(OrderEnd::Good) : row.state;
    std::string text;
    if (isKnown) {
        const std::string typed = typedNumber(row, index, style_);
        line += typed.empty() ? valueInCsv(row.variable, *row.values, index, style_) : typed;
        const std::string *name = nameOfValue(row.variable, *row.values, index);
        text = name ? *name : "";
        state += row.isInPieces ? " in pieces" : "";
        state += valueOf(row.variable, *row.values, index).isBad ? " (bad BCD)" : "";
    }
    line += "," + state;
    if (row.moment)
        line += "," + (row.age ? std::to_string(milliseconds(*row.age)) : std::string());
    if (withMeanings_)
        line += "," + csvCell(meaningOf(row.variable).unit) + "," + csvCell(text);
    line += "," + (row.time ? isoTime(*row.time) : std::string());
    const std::string end = oneBased_ ? ",1\n" : "\n";
    if (row.exceptionCode == 0 || isGood)
        return line + ",," + end;
    return line + "," + std::to_string(row.exceptionCode) + "," + exceptionMeaning(row.exceptionCode).name +
           end;
}

std::string recordOf(const Row &row, NumberStyle style)
{
    JsonLine line(row.isWrite ? "write" : "value");
    if (row.moment)
        line.decimal("time_s", seconds(*row.moment));
    if (row.time)
        line.text("time", isoTime(*row.time));
    if (row.order != 0)
        line.number("order", row.order).number("process", getpid());
    line.text("variable", row.variable.text).number("station", row.station).text("state", row.state);
    if (row.isWrite)
        line.text("result", !row.isDone ? "failed" : row.station == 0 ? "sent" : "done");
    if (row.exceptionCode != 0)
        line.number("exception_code", row.exceptionCode)
            .text("exception_name", exceptionMeaning(row.exceptionCode).name);
    if (!row.reason.empty())
        line.text("reason", row.reason);
    if (row.age)
        line.number("age_ms", milliseconds(*row.age));
    if (!row.values)
        return line.object();
    const Meaning &meaning = meaningOf(row.variable);
    if (row.isInPieces)
        line.flag("in_pieces", true);
    line.raw("values", valuesInJson(row, style));
    const std::string bad = badValuesInJson(row.variable, *row.values);
    if (!bad.empty())
        line.raw("bad", bad);
    if (!meaning.unit.empty())
        line.text("unit", meaning.unit);
    if (!meaning.names.empty())
        line.raw("texts", textsInJson(row));
    return line.object();
}

std::string counted(std::uint64_t number, const std::string &one, const std::string &many)
{
    return std::to_string(number) + " " + (number == 1 ? one : many);
}

std::vector<std::string> layOut(const std::vector<std::vector<std::string>> &cells)
{
    std::vector<std::size_t> widths;
    for (const auto &row : cells) {
        widths.resize(std::max(widths.size(), row.size()), 0);
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], widthOf(row[i]));
    }
    std::vector<std::string> lines;
    for (const auto &row : cells) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            std::string cell = row[i];
            if (i + 1 < row.size())
                cell.append(widths[i] + 2 - widthOf(cell), ' ');
            line += cell;
        }
        lines.push_back(line);
    }
    return lines;
}

std::string inMilliseconds(Time time)
{
    return fixed(seconds(time) * 1000, 2);
}

Time fromMicroseconds(qint64 microseconds)
{
    return std::chrono::microseconds(microseconds);
}

std::string fitted(const std::string &lines, int columns)
{
    if (columns <= 0)
        return lines;
    std::string text;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        std::string row;
        std::istringstream words(line);
        for (std::string word; words >> word;) {
            if (!row.empty() && widthOf(row + " " + word) > static_cast<std::size_t>(columns)) {
                text += row + "\n";
                row = " ";
            }
            row += (row.empty() ? "" : " ") + word;
        }
        text += row + "\n";
    }
    return text;
}

double requestsPerSecond(const Statistics &statistics)
{
    const double running = seconds(fromMicroseconds(statistics.runningUs));
    return running > 0 ? static_cast<double>(statistics.total.requests) / running : 0.0;
}

std::string describeStatistics(const Statistics &statistics, bool detailed)
{
    const Counters &total = statistics.total;
    std::string text = counterLine(total) + "\n";
    if (statistics.stations.size() > 1) {
        for (const Counters &counters : statistics.stations)
            text += "station " + std::to_string(counters.station) + ": " + counterLine(counters) + "\n";
    }
    text += "bytes out " + std::to_string(total.bytesOut) + ", in " + std::to_string(total.bytesIn) +
            ", thrown away " + std::to_string(total.foreignBytes) + "\n";
    for (const plcruntime::ForeignRequests &foreign : statistics.foreignRequests)
        text += runtime::describeOtherMaster(foreign.station) + ": " + std::to_string(foreign.requests) +
                (foreign.requests == 1 ? " request\n" : " requests\n");
    if (detailed || hasLineErrors(statistics))
        text += lineErrorsText(statistics);
    if (detailed)
        text += latenessText(statistics);
    return text + fixed(requestsPerSecond(statistics), 1) + " requests per second over " +
           fixed(seconds(fromMicroseconds(statistics.runningUs)), 1) + " s\n";
}

} // namespace plc::host
