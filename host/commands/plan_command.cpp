#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>

#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/output.h"
#include "host/commands/standard_streams.h"
#include "host/driver_search.h"
#include "host/project/request_plan.h"

namespace plc::host {

namespace {

constexpr std::size_t kNamesWidth = 60;

double inMilliseconds(Time time)
{
    return seconds(time) * 1000.0;
}

double ratio(double single, double grouped)
{
    return grouped > 0 ? single / grouped : 0.0;
}

std::string namesOf(const RequestMap &map, const std::vector<int> &variables, bool all)
{
    std::string names;
    for (std::size_t i = 0; i < variables.size(); ++i) {
        const std::string &name = map.variable(variables[i]).label;
        if (!all && i > 0 && names.size() + name.size() > kNamesWidth)
            return names + ", ... (" + std::to_string(variables.size()) + ")";
        names += (i > 0 ? ", " : "") + name;
    }
    return names;
}

std::string levelName(int level)
{
    return level == 0 ? "ordinary" : "level " + std::to_string(level);
}

void printTable(const std::vector<std::vector<std::string>> &cells)
{
    for (const std::string &line : layOut(cells))
        print(line + "\n");
    print("\n");
}

void printRequests(const RequestPlan &plan, bool allNames)
{
    const RequestMap &map = plan.requests();
    std::vector<std::vector<std::string>> cells{
        {"station", "area", "first", "count", "unused", "rate", "bytes", "ms", "variables"}};
    for (const int request : plan.sorted()) {
        const RequestPlace &place = map.place(request);
        const Cost &cost = plan.costOf(request);
        cells.push_back({std::to_string(place.station), areaName(place.baseType), std::to_string(place.first),
                         std::to_string(place.count), std::to_string(map.unusedUnits(request)),
                         levelName(map.level(request)), std::to_string(cost.bytes),
                         fixed(inMilliseconds(cost.time), 2),
                         namesOf(map, map.variablesOf(request), allNames)});
    }
    printTable(cells);
}

void printCosts(const RequestPlan &plan)
{
    const auto row = [](const char *name, double requests, double bytes, double milliseconds, int digits) {
        return std::vector<std::string>{name, fixed(requests, digits), fixed(bytes, digits),
                                        fixed(milliseconds, 2)};
    };
    const Cost &single = plan.single();
    const Cost &grouped = plan.grouped();
    std::vector<std::vector<std::string>> cells{{"", "requests", "bytes", "ms"}};
    cells.push_back(row("everything once", grouped.requests, grouped.bytes, inMilliseconds(grouped.time), 0));
    cells.push_back(
        row("one request per variable", single.requests, single.bytes, inMilliseconds(single.time), 0));
    cells.push_back({"ratio", fixed(ratio(single.requests, grouped.requests), 2),
                     fixed(ratio(single.bytes, grouped.bytes), 2),
                     fixed(ratio(seconds(single.time), seconds(grouped.time)), 2)});
    const ScanStatistics &scans = plan.scans();
    if (scans.scans() > 0)
        cells.push_back(row("scan with priorities", scans.requestsPerScan(), scans.bytesPerScan(),
                            inMilliseconds(scans.durations().mean()), 1));
    printTable(cells);
}

void printRefresh(const ScanStatistics &scans)
{
    std::vector<std::vector<std::string>> cells{{"refresh", "requests", "least ms", "p50 ms", "most ms"}};
    for (int level = 0; level < kScanLevels; ++level) {
        const Histogram &interval = scans.refresh(level);
        if (interval.count() > 0)
            cells.push_back({levelName(level), std::to_string(scans.requestsOf(level)),
                             fixed(inMilliseconds(interval.least()), 1),
                             fixed(inMilliseconds(interval.percentile(50)), 1),
                             fixed(inMilliseconds(interval.most()), 1)});
    }
    printTable(cells);
}

void printText(const Project &project, const RequestPlan &plan, const PlanOptions &options)
{
    print(project.name + ": " + std::to_string(project.variables.size()) + " variables in " +
          std::to_string(plan.grouped().requests) + " requests at " + std::to_string(project.link.baud) +
          " baud, answer delay " + fixed(options.answerDelayMs, 1) + " ms\n\n");
    printRequests(plan, options.allNames);
    printCosts(plan);
    printRefresh(plan.scans());
    const std::vector<int> neverRead = plan.neverRead();
    if (!neverRead.empty())
        print("never read: " + namesOf(plan.requests(), neverRead, options.allNames) + "\n");
}

QJsonArray namesIn(const RequestMap &map, const std::vector<int> &variables)
{
    QJsonArray names;
    for (const int variable : variables)
        names.append(QString::fromStdString(map.variable(variable).label));
    return names;
}

QJsonObject costIn(const Cost &cost)
{
    return {{"requests", cost.requests}, {"bytes", cost.bytes}, {"time_ms", inMilliseconds(cost.time)}};
}

QJsonArray requestsIn(const RequestPlan &plan)
{
    const RequestMap &map = plan.requests();
    QJsonArray requests;
    for (const int request : plan.sorted()) {
        const RequestPlace &place = map.place(request);
        requests.append(QJsonObject{{"station", place.station},
                                    {"area", areaName(place.baseType)},
                                    {"first", place.first},
                                    {"count", place.count},
                                    {"unused", map.unusedUnits(request)},
                                    {"level", map.level(request)},
                                    {"bytes", plan.costOf(request).bytes},
                                    {"time_ms", inMilliseconds(plan.costOf(request).time)},
                                    {"variables", namesIn(map, map.variablesOf(request))}});
    }
    return requests;
}

QJsonArray refreshIn(const ScanStatistics &scans)
{
    QJsonArray levels;
    for (int level = 0; level < kScanLevels; ++level) {
        const Histogram &interval = scans.refresh(level);
        if (interval.count() > 0)
            levels.append(QJsonObject{{"level", level},
                                      {"requests", scans.requestsOf(level)},
                                      {"least_ms", inMilliseconds(interval.least())},
                                      {"p50_ms", inMilliseconds(interval.percentile(50))},
                                      {"most_ms", inMilliseconds(interval.most())}});
    }
    return levels;
}

void printJson(const Project &project, const RequestPlan &plan, const PlanOptions &options)
{
    const Cost &single = plan.single();
    const Cost &grouped = plan.grouped();
    const ScanStatistics &scans = plan.scans();
    const QJsonObject root{
        {"project", QString::fromStdString(project.name)},
        {"variables", static_cast<int>(project.variables.size())},
        {"baud", project.link.baud},
        {"answer_delay_ms", options.answerDelayMs},
        {"requests", requestsIn(plan)},
        {"everything_once", costIn(grouped)},
        {"one_per_variable", costIn(single)},
        {"ratio", QJsonObject{{"requests", ratio(single.requests, grouped.requests)},
                              {"bytes", ratio(single.bytes, grouped.bytes)},
                              {"time_ms", ratio(seconds(single.time), seconds(grouped.time))}}},
        {"scan", QJsonObject{{"requests", scans.requestsPerScan()},
                             {"bytes", scans.bytesPerScan()},
                             {"time_ms", inMilliseconds(scans.durations().mean())}}},
        {"refresh", refreshIn(scans)},
        {"never_read", namesIn(plan.requests(), plan.neverRead())}};
    print(QJsonDocument(root).toJson().toStdString());
}

} // namespace

ExitCode planProject(const PlanOptions &options)
{
    Project project = loadProject(options.file);
    if (options.baud > 0)
        project.link.baud = options.baud;
    for (const std::string &warning : projectWarnings(project))
        std::fprintf(stderr, "plchost: %s: %s\n", options.file.c_str(), warning.c_str());
    const RequestPlan result(driverToLoad(options.driver), project,
                             Time(static_cast<std::int64_t>(options.answerDelayMs * 1e6)));
    if (options.format == "json")
        printJson(project, result, options);
    else
        printText(project, result, options);
    return kExitGood;
}

} // namespace plc::host
