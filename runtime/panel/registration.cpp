#include "runtime/panel/registration.h"

#include <array>

#include "core/register_types.h"

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

/// A row that gives the element at @p address the priority @p level.
PriorityRow rowFor(const std::string &name, int baseType, int address, int level)
{
    PriorityRow row;
    row.level = level;
    row.baseType = baseType;
    row.address = address;
    for (int i = 0; i < kRowTexts; ++i)
        row.texts.append(QString());
    row.texts[0] = QString::fromStdString(name);
    row.texts[kLevelText] = QString::number(level);
    row.texts.last() = QLatin1String(areaName(baseType)) +
                       QString::number(isBitArea(baseType) ? address * kBitNameScale : address);
    return row;
}

} // namespace

std::vector<PriorityRow> rateRows(const std::vector<Variable> &variables, const std::vector<int> &rates)
{
    std::vector<PriorityRow> rows;
    std::set<std::array<int, 3>> given;
    for (std::size_t i = 0; i < rates.size(); ++i) {
        const Variable &variable = variables[i];
        const int baseType = variable.area->baseType;
        for (int element = 0; rates[i] != 0 && element < variable.baseCount(); ++element) {
            const int address = variable.baseFirst() + element;
            if (given.insert({rates[i], baseType, address}).second)
                rows.push_back(rowFor(variable.label, baseType, address, rates[i]));
        }
    }
    return rows;
}

int registerVariables(DriverLibrary &driver, const std::vector<Variable> &variables,
                      const std::vector<PriorityRow> &rows)
{
    // The list points into these; the driver copies what it keeps.
    std::vector<NameRow> nameRows;
    for (const PriorityRow &row : rows)
        nameRows.push_back(recordOf(row));
    QList<NameRow *> rowList;
    for (NameRow &row : nameRows)
        rowList.append(&row);
    driver.passVarName(&rowList);
    return showVariables(driver, variables);
}

int showVariables(DriverLibrary &driver, const std::vector<Variable> &variables)
{
    std::vector<HostVariable> records;
    for (const Variable &variable : variables)
        records.push_back(recordOf(variable));
    // An empty list would leave the reads of the priority levels as they are. The driver leaves a variable of
    // station 0 out, and rebuilds everything for the rest.
    if (records.empty()) {
        HostVariable nobody{};
        nobody.regType = kHoldingRegister;
        nobody.addrText = QString::fromLatin1("0");
        nobody.count = 1;
        records.push_back(nobody);
    }
    QList<HostVariable *> list;
    for (HostVariable &record : records)
        list.append(&record);
    return driver.reCreatReadVarList(&list);
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
