#include <QMutexLocker>

#include "core/context.h"
#include "core/guarded.h"
#include "core/register_types.h"
#include "plcdriver.h"

namespace {

constexpr int kFewestTexts = 10;
constexpr int kLevelText = 8;

struct AreaPrefix
{
    const char *text;
    int regType; // base type: priority addresses are compared with what requests read
    int shift;   // the number is shifted right by so many bits
};

// The longer prefixes come first, since "4x" also begins "4x_d" and "4x_bit". Deliberate: numbers of bits are
// divided by 8.
const AreaPrefix kPrefixes[] = {
    {"4x_d", plc::kHoldingRegister, 0},
    {"3x_d", plc::kInputRegister, 0},
    {"4x_bit", plc::kHoldingRegister, 0},
    {"3x_bit", plc::kInputRegister, 0},
    {"4x", plc::kHoldingRegister, 0},
    {"3x", plc::kInputRegister, 0},
    {"0x", plc::kCoil, 3},
    {"1x", plc::kDiscreteInput, 3},
};

// Type and address of a name such as "4x_bit12.3". False for a name without a known prefix.
bool parseName(const QString &name, RW_VAR &place)
{
    for (const AreaPrefix &prefix : kPrefixes) {
        const QString text = QLatin1String(prefix.text);
        if (!name.startsWith(text, Qt::CaseInsensitive))
            continue;
        place.regType = prefix.regType;
        place.address = name.mid(text.size()).toInt() >> prefix.shift;
        return true;
    }
    return false;
}

// The bit of a name is no part of the address: "4x_bit12.3" lies in register 12.
QString withoutBit(const QString &name)
{
    const int point = name.indexOf(QLatin1Char('.'));
    return point < 0 ? name : name.left(point);
}

void importRowLocked(const QList<QString> &texts)
{
    if (texts.size() < kFewestTexts)
        return;
    RW_VAR place;
    if (!parseName(withoutBit(texts.last()), place))
        return;
    const int level = texts.at(kLevelText).toInt();
    if (level >= 1 && level <= plc::kPriorityLevels)
        PLC_driver.priorityAddresses[level - 1].append(place);
}

} // namespace

void PassVarName(QList<NameRow *> *rows)
{
    if (!rows)
        return;
    plc::guarded(0, [=] {
        QMutexLocker lock(&PLC_driver.listMutex);
        for (int i = 0; i < rows->size(); ++i) {
            if (rows->at(i))
                importRowLocked(rows->at(i)->texts);
        }
        return 0;
    });
}
