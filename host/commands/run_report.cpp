#include "host/commands/run_report.h"

#include "host/commands/json_line.h"
#include "host/commands/output.h"
#include "runtime/line/line_timing.h"

namespace plc::host {

namespace {

JsonLine &addMs(JsonLine &line, const char *name, Time time)
{
    return line.decimal(name, seconds(time) * 1000);
}

std::string describeRefresh(const ScanStatistics &scans, int level)
{
    const Histogram &interval = scans.refresh(level);
    return std::string(level == 0 ? "ordinary" : "level " + std::to_string(level)) + ": " +
           std::to_string(scans.requestsOf(level)) + " requests, refresh interval least " +
           inMilliseconds(interval.least()) + " ms, p50 " + inMilliseconds(interval.percentile(50)) +
           " ms, most " + inMilliseconds(interval.most()) + " ms\n";
}

std::string errorsOf(const Statistics &counted)
{
    if (!counted.hasLineErrors)
        return "null";
    return JsonLine()
        .number("parity", counted.parityErrors)
        .number("framing", counted.framingErrors)
        .number("overruns", counted.overruns)
        .number("breaks", counted.breaks)
        .object();
}

std::string latenessOf(const Statistics &counted)
{
    JsonLine lateness;
    addMs(lateness, "p50_ms", fromMicroseconds(counted.latenessMedianUs));
    addMs(lateness, "p99_ms", fromMicroseconds(counted.latenessP99Us));
    return addMs(lateness, "most_ms", fromMicroseconds(counted.latenessMostUs)).object();
}

JsonLine &addCounters(JsonLine &line, const Counters &counted)
{
    return line.number("requests", counted.requests)
        .number("good", counted.good)
        .number("timeouts", counted.timeouts)
        .number("bad", counted.bad)
        .number("exceptions", counted.exceptions)
        .number("no_reply_due", counted.unanswered)
        .number("retries", counted.retries)
        .number("line_never_silent", counted.lineBusy)
        .number("replies_ignored", counted.ignoredReplies)
        .number("bytes_out", counted.bytesOut)
        .number("bytes_in", counted.bytesIn)
        .number("bytes_thrown_away", counted.foreignBytes);
}

std::string stationsOf(const Statistics &counted)
{
    std::string list;
    for (const Counters &counters : counted.stations) {
        JsonLine station;
        station.number("station", counters.station);
        list += (list.empty() ? "" : ",") + addCounters(station, counters).object();
    }
    return "[" + list + "]";
}

std::string secondMasterOf(const Statistics &counted)
{
    std::string list;
    for (const plcruntime::ForeignRequests &foreign : counted.foreignRequests) {
        JsonLine station;
        station.number("station", foreign.station).number("requests", foreign.requests);
        list += (list.empty() ? "" : ",") + station.object();
    }
    return "[" + list + "]";
}

std::string scanOf(const ScanStatistics &scans)
{
    JsonLine scan;
    scan.number("count", scans.scans())
        .decimal("requests", scans.requestsPerScan())
        .decimal("bytes", scans.bytesPerScan());
    addMs(scan, "time_ms", scans.durations().mean());
    addMs(scan, "least_ms", scans.durations().least());
    return addMs(scan, "most_ms", scans.durations().most()).object();
}

std::string refreshOf(const ScanStatistics &scans)
{
    std::string list;
    for (int level = 0; level < kScanLevels; ++level) {
        const Histogram &interval = scans.refresh(level);
        if (interval.count() == 0)
            continue;
        JsonLine line;
        line.number("level", level).number("requests", scans.requestsOf(level));
        addMs(line, "least_ms", interval.least());
        addMs(line, "p50_ms", interval.percentile(50));
        list += (list.empty() ? "" : ",") + addMs(line, "most_ms", interval.most()).object();
    }
    return "[" + list + "]";
}

} // namespace

Time RunReport::duration() const
{
    return fromMicroseconds(counted.runningUs);
}

std::optional<double> RunReport::lineShare() const
{
    if (!hasRate)
        return std::nullopt;
    const LineTiming timing(baud);
    const double busy = static_cast<double>(counted.total.bytesOut + counted.total.bytesIn) *
                        seconds(timing.wire(1000)) / 1000.0;
    return duration() > Time::zero() ? busy / seconds(duration()) : 0.0;
}

std::string describeScans(const RunReport &report)
{
    const ScanStatistics &scans = report.scans;
    std::string text = "full scans " + std::to_string(scans.scans());
    if (scans.scans() > 0)
        text += ", ms per scan " + inMilliseconds(scans.durations().mean()) + " (" +
                inMilliseconds(scans.durations().least()) + " to " +
                inMilliseconds(scans.durations().most()) + "), requests per scan " +
                fixed(scans.requestsPerScan(), 1) + ", bytes per scan " + fixed(scans.bytesPerScan(), 1);
    text += "\n";
    if (const std::optional<double> share = report.lineShare())
        text += "line in use " + fixed(*share * 100, 1) + " % of the time at " + std::to_string(report.baud) +
                " baud" + (*share > 1 ? ", more than a real line carries\n" : "\n");
    for (int level = 0; level < kScanLevels; ++level) {
        if (scans.refresh(level).count() > 0)
            text += describeRefresh(scans, level);
    }
    return text;
}

std::string statisticsRecord(const Statistics &counted, const RunReport *run, Time moment, WallTime time)
{
    JsonLine line("statistics");
    line.decimal("time_s", seconds(moment))
        .text("time", isoTime(time))
        .decimal("running_s", seconds(fromMicroseconds(counted.runningUs)));
    line.decimal("requests_per_second", requestsPerSecond(counted));
    JsonLine total;
    line.raw("total", addCounters(total, counted.total).object()).raw("stations", stationsOf(counted));
    line.raw("line_errors", errorsOf(counted)).raw("lateness", latenessOf(counted));
    if (!counted.foreignRequests.isEmpty())
        line.raw("second_master", secondMasterOf(counted));
    if (!run)
        return line.object();
    line.number("baud", run->baud);
    if (const std::optional<double> share = run->lineShare())
        line.decimal("line_share", *share);
    else
        line.raw("line_share", "null");
    return line.raw("scan", scanOf(run->scans)).raw("refresh", refreshOf(run->scans)).object();
}

} // namespace plc::host
