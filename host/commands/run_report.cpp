#include "host/commands/run_report.h"

#include <QJsonArray>

#include "host/commands/output.h"
#include "runtime/line/line_timing.h"

namespace plc::host {

namespace {

std::string inSeconds(Time time)
{
    return fixed(seconds(time), 3);
}

std::string describeRefresh(const ScanStatistics &scans, int level)
{
    const Histogram &interval = scans.refresh(level);
    return std::string(level == 0 ? "ordinary" : "level " + std::to_string(level)) + ": " +
           std::to_string(scans.requestsOf(level)) + " requests, refresh interval min " +
           inSeconds(interval.least()) + " s, median " + inSeconds(interval.percentile(50)) + " s, max " +
           inSeconds(interval.most()) + " s\n";
}

QJsonValue errorsOf(const Statistics &counted)
{
    if (!counted.hasLineErrors)
        return "unknown";
    return QJsonObject{{"parity", static_cast<double>(counted.parityErrors)},
                       {"framing", static_cast<double>(counted.framingErrors)},
                       {"overruns", static_cast<double>(counted.overruns)},
                       {"breaks", static_cast<double>(counted.breaks)}};
}

QJsonObject latenessOf(const Statistics &counted)
{
    return {{"p50S", seconds(fromMicroseconds(counted.latenessMedianUs))},
            {"p99S", seconds(fromMicroseconds(counted.latenessP99Us))},
            {"mostS", seconds(fromMicroseconds(counted.latenessMostUs))}};
}

} // namespace

Time RunReport::duration() const
{
    return fromMicroseconds(counted.runningUs);
}

std::optional<double> RunReport::lineShare() const
{
    if (baud == 0)
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
        text += ", seconds per scan " + inSeconds(scans.durations().mean()) + " (" +
                inSeconds(scans.durations().least()) + " to " + inSeconds(scans.durations().most()) +
                "), requests per scan " + fixed(scans.requestsPerScan(), 1) + ", bytes per scan " +
                fixed(scans.bytesPerScan(), 1);
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

QJsonObject jsonOf(const RunReport &report)
{
    const ScanStatistics &scans = report.scans;
    QJsonArray levels;
    for (int level = 0; level < kScanLevels; ++level) {
        const Histogram &interval = scans.refresh(level);
        if (interval.count() > 0)
            levels.append(QJsonObject{{"level", level},
                                      {"requests", scans.requestsOf(level)},
                                      {"leastS", seconds(interval.least())},
                                      {"medianS", seconds(interval.percentile(50))},
                                      {"mostS", seconds(interval.most())}});
    }
    const std::optional<double> share = report.lineShare();
    QJsonObject told{{"scans", static_cast<double>(scans.scans())},
                     {"secondsPerScan", seconds(scans.durations().mean())},
                     {"requestsPerScan", scans.requestsPerScan()},
                     {"bytesPerScan", scans.bytesPerScan()},
                     {"requests", static_cast<double>(report.counted.total.requests)},
                     {"bytesOut", static_cast<double>(report.counted.total.bytesOut)},
                     {"bytesIn", static_cast<double>(report.counted.total.bytesIn)},
                     {"seconds", seconds(report.duration())},
                     {"lineShare", share ? QJsonValue(*share) : QJsonValue()},
                     {"refresh", levels},
                     {"lineErrors", errorsOf(report.counted)}};
    if (report.detailed)
        told.insert("lateness", latenessOf(report.counted));
    return told;
}

} // namespace plc::host
