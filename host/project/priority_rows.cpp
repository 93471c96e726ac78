#include "host/project/priority_rows.h"

#include <array>
#include <set>

#include "core/register_types.h"

namespace plc::host {

namespace {

/// What a name of the name table may begin with. The longer ones come first, since "4x" also begins "4x_d".
struct NamePrefix
{
    const char *text;
    int baseType;
};

constexpr NamePrefix kNamePrefixes[] = {
    {"4x_d", kHoldingRegister},
    {"3x_d", kInputRegister},
    {"4x_bit", kHoldingRegister},
    {"3x_bit", kInputRegister},
    {"4x", kHoldingRegister},
    {"3x", kInputRegister},
    {"0x", kCoil},
    {"1x", kDiscreteInput},
};

/// The driver divides the number in a bit's name by this.
constexpr int kBitNameScale = 8;

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

std::optional<int> levelOfText(const std::string &level)
{
    if (level.empty())
        return 0;
    if (level.size() > 1 || level[0] < '0' || level[0] > '0' + kPriorityLevels)
        return std::nullopt;
    return level[0] - '0';
}

std::optional<NamedPlace> placeOfName(const std::string &name)
{
    const QString text = QString::fromStdString(name).section(QLatin1Char('.'), 0, 0);
    for (const NamePrefix &prefix : kNamePrefixes) {
        const QString start = QLatin1String(prefix.text);
        if (!text.startsWith(start, Qt::CaseInsensitive))
            continue;
        bool isNumber = false;
        const int found = text.mid(start.size()).toInt(&isNumber);
        if (!isNumber || found < 0)
            return std::nullopt;
        return NamedPlace{prefix.baseType, isBitArea(prefix.baseType) ? found / kBitNameScale : found};
    }
    return std::nullopt;
}

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

} // namespace plc::host
