#include "project_setup.h"

#include <vector>

namespace plc::host {

namespace {

NameRow recordOf(const PriorityRow &row)
{
    NameRow record{};
    record.texts = row.texts;
    return record;
}

HostVariable recordOf(const Variable &variable)
{
    HostVariable record{};
    record.regType = static_cast<quint8>(variable.area->regType);
    record.station = static_cast<quint8>(variable.station.value_or(0));
    record.addrText = variable.address;
    record.varName = QString::fromStdString(variable.label);
    record.count = variable.elements();
    return record;
}

} // namespace

int registerProject(DriverLibrary &driver, const Project &project)
{
    // The lists point into these; the driver copies what it keeps.
    std::vector<NameRow> rows;
    for (const PriorityRow &row : project.rows)
        rows.push_back(recordOf(row));
    std::vector<HostVariable> variables;
    for (const Variable &variable : project.variables)
        variables.push_back(recordOf(variable));

    QList<NameRow *> rowList;
    for (NameRow &row : rows)
        rowList.append(&row);
    QList<HostVariable *> variableList;
    for (HostVariable &variable : variables)
        variableList.append(&variable);
    driver.passVarName(&rowList);
    return driver.reCreatReadVarList(&variableList);
}

std::set<int> levelStations(const Project &project)
{
    std::set<int> stations;
    if (project.link.linkMode != 0)
        return stations;
    for (const PriorityRow &row : project.rows) {
        for (const Variable &variable : project.variables) {
            if (row.level > 0 && variable.area->baseType == row.baseType)
                stations.insert(variable.station.value_or(project.link.station));
        }
    }
    return stations;
}

} // namespace plc::host
