#include "host/commands/find_table.h"

#include "host/commands/json_line.h"
#include "host/project/csv_cell.h"
#include "host/project/setting_names.h"
#include "runtime/line/exception_codes.h"

namespace plc::host {

namespace {

/// The median time of its replies; empty where none is known.
std::string replyTime(const Find &find)
{
    return find.replyTimes.count() > 0 ? inMilliseconds(find.replyTimes.percentile(50)) : std::string();
}

std::string exceptionName(const Find &find)
{
    return find.exceptionCode != 0 ? exceptionMeaning(find.exceptionCode).name : std::string();
}

std::string text(const std::vector<Find> &finds)
{
    std::vector<std::vector<std::string>> cells{{"station", "settings", "reply", "state"}};
    for (const Find &find : finds) {
        const std::string took = replyTime(find);
        std::string state = stateName(find.state);
        if (!find.reason.empty())
            state += ": " + find.reason;
        if (find.exceptionCode != 0)
            state += "; answers with exception " + exceptionLabel(find.exceptionCode);
        cells.push_back(
            {std::to_string(find.station), find.setting.text(), took.empty() ? "-" : took + " ms", state});
    }
    std::string table;
    for (const std::string &line : layOut(cells))
        table += line + "\n";
    return finds.empty() ? std::string() : table;
}

std::string csv(const std::vector<Find> &finds, const std::string &time, bool withHead)
{
    std::string lines = withHead ? "station,baud,parity,stop_bits,state,reply_ms,reason,exception_code,"
                                   "exception_name,time\n"
                                 : "";
    for (const Find &find : finds) {
        lines += std::to_string(find.station) + "," + std::to_string(find.setting.baud) + "," +
                 nameOf(find.setting.parity) + "," + std::to_string(find.setting.stopBits) + "," +
                 stateName(find.state) + "," + replyTime(find) + "," + csvCell(find.reason) + "," +
                 (find.exceptionCode != 0 ? std::to_string(find.exceptionCode) : "") + "," +
                 csvCell(exceptionName(find)) + "," + time + "\n";
    }
    return lines;
}

std::string json(const std::vector<Find> &finds, const std::string &time)
{
    std::string lines;
    for (const Find &find : finds) {
        JsonLine line("find");
        line.text("time", time).number("station", find.station).number("baud", find.setting.baud);
        line.text("parity", nameOf(find.setting.parity)).number("stop_bits", find.setting.stopBits);
        line.text("state", stateName(find.state));
        if (!find.reason.empty())
            line.text("reason", find.reason);
        if (find.replyTimes.count() > 0) {
            line.decimal("least_ms", seconds(find.replyTimes.least()) * 1000);
            line.decimal("p50_ms", seconds(find.replyTimes.percentile(50)) * 1000);
            line.decimal("most_ms", seconds(find.replyTimes.most()) * 1000);
        }
        if (find.exceptionCode != 0) {
            line.number("exception_code", find.exceptionCode);
            line.text("exception_name", exceptionName(find));
        }
        line.number("requests", find.asked).number("good", find.answered).number("bad", find.damaged);
        lines += line.object() + "\n";
    }
    return lines;
}

} // namespace

const char *stateName(FindState state)
{
    switch (state) {
    case FindState::BadLink:
        return "bad link";
    case FindState::TwoStations:
        return "two stations";
    case FindState::Heard:
        return "heard";
    case FindState::Good:
        break;
    }
    return "good";
}

std::string remarksOn(const SettingReport &report)
{
    if (report.isBabbling)
        return "the line never falls silent: a device talks without end; find and disconnect it";
    std::string remarks;
    if (report.isNoisy)
        remarks = "bytes that are no reply came to " + std::to_string(report.disturbed) + " of " +
                  std::to_string(report.asked) +
                  " requests: noise, or something that speaks another protocol";
    if (report.hasEcho)
        remarks += std::string(remarks.empty() ? "" : "; ") +
                   "the line hands back what is sent, which other commands take off with --echo";
    return remarks;
}

std::string findLines(const std::vector<Find> &finds, Format format, WallTime time, bool withHead)
{
    switch (format) {
    case Format::Csv:
        return csv(finds, isoTime(time), withHead);
    case Format::NdJson:
        return json(finds, isoTime(time));
    case Format::Text:
        break;
    }
    return text(finds);
}

} // namespace plc::host
