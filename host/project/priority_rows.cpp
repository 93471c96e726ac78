#include "host/project/priority_rows.h"

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

} // namespace plc::host
