#include "runtime/panel/registration.h"

namespace plc::runtime {

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

int registerVariables(DriverLibrary &driver, const std::vector<Variable> &variables,
                      const std::vector<PriorityRow> &rows)
{
    // The lists point into these; the driver copies what it keeps.
    std::vector<NameRow> nameRows;
    for (const PriorityRow &row : rows)
        nameRows.push_back(recordOf(row));
    std::vector<HostVariable> hostVariables;
    for (const Variable &variable : variables)
        hostVariables.push_back(recordOf(variable));

    QList<NameRow *> rowList;
    for (NameRow &row : nameRows)
        rowList.append(&row);
    QList<HostVariable *> variableList;
    for (HostVariable &variable : hostVariables)
        variableList.append(&variable);
    driver.passVarName(&rowList);
    return driver.reCreatReadVarList(&variableList);
}

std::set<int> levelStations(const std::vector<Variable> &variables, const std::vector<PriorityRow> &rows,
                            const LinkSettings &settings)
{
    std::set<int> stations;
    if (settings.linkMode != 0)
        return stations;
    for (const PriorityRow &row : rows) {
        for (const Variable &variable : variables) {
            if (row.level > 0 && variable.area->baseType == row.baseType)
                stations.insert(variable.station.value_or(settings.station));
        }
    }
    return stations;
}

} // namespace plc::runtime
