#include "host/finding/scan_project.h"

#include <algorithm>
#include <map>

namespace plc::host {

ScanSetting mostFound(const std::vector<Find> &finds)
{
    std::map<std::string, int> counts;
    for (const Find &find : finds)
        ++counts[find.setting.text()];
    const auto most = std::max_element(finds.begin(), finds.end(), [&](const Find &left, const Find &right) {
        return counts[left.setting.text()] < counts[right.setting.text()];
    });
    return most->setting;
}

Project projectOf(const std::vector<Find> &finds, const LineSettings &line, bool hasEcho,
                  const std::string &place)
{
    const ScanSetting setting{line.baud, line.parity, line.effectiveStopBits()};
    Project project;
    project.name = "what is on " + line.port;
    static_cast<LineSettings &>(project.link) = line;
    project.link.echo = hasEcho;
    for (const Find &find : finds) {
        if (!(find.setting == setting))
            continue;
        if (project.variables.empty())
            project.link.station = find.station;
        Variable variable = parseVariable(place, false);
        variable.station = find.station;
        variable.label = "Station " + std::to_string(find.station);
        variable.text = variable.label;
        project.variables.push_back(variable);
        project.rates.push_back(0);
    }
    return project;
}

} // namespace plc::host
