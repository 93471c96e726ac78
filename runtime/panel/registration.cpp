#include "runtime/panel/registration.h"

#include <array>

#include "core/register_types.h"
#include "runtime/panel/packing.h"
#include "runtime/panel/utf8.h"

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
    record.varName = fromUtf8(variable.label);
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
    row.texts[0] = fromUtf8(name);
    row.texts[kLevelText] = QString::number(level);
    row.texts.last() = QLatin1String(areaName(baseType)) +
                       QString::number(isBitArea(baseType) ? address * kBitNameScale : address);
    return row;
}

/// @param oneBased  addresses are typed counting from 1.
HostVariable recordOf(const ReadSpan &span, bool oneBased)
{
    HostVariable record{};
    record.regType = static_cast<quint8>(span.baseType);
    record.station = static_cast<quint8>(span.station);
    record.addrText = QString::number(span.first + (oneBased ? 1 : 0));
    record.count = span.count;
    return record;
}

/// The list that the driver takes, which points into @p records.
QList<HostVariable *> listOf(std::vector<HostVariable> &records)
{
    QList<HostVariable *> list;
    for (HostVariable &record : records)
        list.append(&record);
    return list;
}

/// Hands finished requests over: without packing the driver leaves them as they are.
int handOverPacked(DriverLibrary &driver, COM_INFO *info, const std::vector<ReadSpan> &spans, bool oneBased)
{
    std::vector<HostVariable> records;
    for (const ReadSpan &span : spans)
        records.push_back(recordOf(span, oneBased));
    QList<HostVariable *> list = listOf(records);
    const int usual = info->maxBlock;
    info->maxBlock = 1;
    const int reads = driver.reCreatReadVarList(&list);
    info->maxBlock = usual;
    return reads;
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

int registerVariables(DriverLibrary &driver, COM_INFO *info, const LinkSettings &settings,
                      const std::vector<Variable> &variables, const std::vector<PriorityRow> &rows)
{
    // The list points into these; the driver copies what it keeps.
    std::vector<NameRow> nameRows;
    for (const PriorityRow &row : rows)
        nameRows.push_back(recordOf(row));
    QList<NameRow *> rowList;
    for (NameRow &row : nameRows)
        rowList.append(&row);
    driver.passVarName(&rowList);
    return showVariables(driver, info, settings, variables);
}

int showVariables(DriverLibrary &driver, COM_INFO *info, const LinkSettings &settings,
                  const std::vector<Variable> &variables)
{
    const std::vector<ReadSpan> spans =
        settings.separateReads ? readsOfEach(variables, settings) : packWholeValues(variables, settings);
    if (!spans.empty())
        return handOverPacked(driver, info, spans, settings.oneBased());
    std::vector<HostVariable> records;
    for (const Variable &variable : variables)
        records.push_back(recordOf(variable));
    // After an empty list the priority levels keep their reads, but without other reads none of them is
    // served.
    QList<HostVariable *> list = listOf(records);
    return driver.reCreatReadVarList(&list);
}

std::set<int> levelStations(const std::vector<Variable> &variables, const std::vector<PriorityRow> &rows,
                            const LinkSettings &settings)
{
    std::set<int> stations;
    if (settings.linkMode != 0)
        return stations;
    std::set<int> areas;
    for (const PriorityRow &row : rows) {
        if (row.level > 0)
            areas.insert(row.baseType);
    }
    for (const Variable &variable : variables) {
        if (areas.count(variable.area->baseType) > 0)
            stations.insert(variable.station.value_or(settings.station));
    }
    return stations;
}

} // namespace plc::runtime
