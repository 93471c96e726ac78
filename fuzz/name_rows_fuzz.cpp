// Rows of the runtime's name table, against a second reading of the same rules: each row adds at most one
// priority address, the right one, and nothing that was there is touched.
#include <vector>

#include "fuzz/support/claim.h"
#include "fuzz/support/input.h"
#include "fuzz/support/runtime.h"

namespace plc::fuzz {

namespace {

constexpr int kLevels = 4;
constexpr int kMostRows = 24;

struct Place
{
    int regType;
    int address;
};

struct Expected
{
    int level = 0; ///< 0 = the row adds nothing
    Place place = {0, 0};
    bool isKnown = true; ///< false for texts of which this reading is not the judge
};

/// The name in small letters up to the first point.
QString bare(const QString &name)
{
    return name.section(QLatin1Char('.'), 0, 0).toLower();
}

bool readPlace(const QString &name, Place *place)
{
    int prefix = 2;
    if (name.startsWith(QLatin1String("4x_bit")) || name.startsWith(QLatin1String("3x_bit")))
        prefix = 6;
    else if (name.startsWith(QLatin1String("4x_d")) || name.startsWith(QLatin1String("3x_d")))
        prefix = 4;
    const QString area = name.left(2);
    int number = 0;
    parseDecimal(name.mid(prefix), &number);
    if (area == QLatin1String("4x"))
        *place = {5, number};
    else if (area == QLatin1String("3x"))
        *place = {4, number};
    else if (area == QLatin1String("1x"))
        *place = {1, number >> 3};
    else if (area == QLatin1String("0x"))
        *place = {0, number >> 3};
    else
        return false;
    return true;
}

Expected expectedOf(const QList<QString> &texts)
{
    Expected expected;
    if (texts.size() < 10)
        return expected;
    expected.isKnown = isPlainText(texts.last()) && isPlainText(texts.at(8));
    int level = 0;
    parseDecimal(texts.at(8), &level);
    if (level >= 1 && level <= kLevels && readPlace(bare(texts.last()), &expected.place))
        expected.level = level;
    return expected;
}

NameRow readRow(Input &input)
{
    NameRow row = NameRow();
    const int texts = input.flag() ? 10 : input.below(13);
    const std::string level = input.bytes(6);
    const std::string name = input.bytes(24);
    for (int i = 0; i < texts; ++i)
        row.texts.append(QString::fromLatin1("filler"));
    if (texts > 8)
        row.texts[8] = QString::fromUtf8(level.data(), static_cast<int>(level.size()));
    if (texts > 0)
        row.texts.last() = QString::fromUtf8(name.data(), static_cast<int>(name.size()));
    return row;
}

/// Appends what @p row must have added, found at the end of the level's list.
void claimAdded(const QList<QString> &texts, std::vector<int> *sizes)
{
    const Expected expected = expectedOf(texts);
    if (!expected.isKnown)
        return;
    if (expected.level == 0)
        return;
    const std::size_t level = static_cast<std::size_t>(expected.level - 1);
    const QList<RW_VAR> &list = PLC_driver.priorityAddresses[level];
    claim(list.size() > (*sizes)[level], "a row with a level and a known name adds an address to that level");
    const RW_VAR &added = list.at((*sizes)[level]++);
    claim(added.regType == expected.place.regType, "the area of the address is that of the name");
    claim(added.address == expected.place.address, "the number of the address is that of the name");
    claim(added.station == 0 && added.count == 0 && added.data.isEmpty(), "a place says nothing else");
}

std::vector<int> sizesOf()
{
    std::vector<int> sizes;
    for (const QList<RW_VAR> &list : PLC_driver.priorityAddresses)
        sizes.push_back(list.size());
    return sizes;
}

/// One row alone, so that it is clear what it added.
void handOver(NameRow *row)
{
    std::vector<int> sizes = sizesOf();
    const std::vector<int> before = sizes;
    QList<NameRow *> rows;
    rows << nullptr << row;
    const QList<QString> texts = row->texts;
    PassVarName(&rows);
    claimLocksFree();
    claim(row->texts == texts, "rows are only read");
    claimAdded(texts, &sizes);
    const std::vector<int> after = sizesOf();
    int added = 0;
    for (std::size_t i = 0; i < after.size(); ++i)
        added += after[i] - before[i];
    claim(added == 0 || added == 1, "a row adds one address at most");
    if (expectedOf(texts).isKnown)
        claim(after == sizes, "a row adds nothing else");
}

void play(Input &input)
{
    Runtime runtime;
    runtime.info.options = static_cast<quint32>(input.byte()); // one-based typing must not matter
    runtime.applySettings();
    PassVarName(nullptr);
    std::vector<NameRow> all;
    for (int i = 0; i < kMostRows && !input.isEmpty(); ++i) {
        all.push_back(readRow(input));
        handOver(&all.back());
    }

    // All at once, they add the same again.
    const std::vector<int> once = sizesOf();
    QList<NameRow *> rows;
    for (NameRow &row : all)
        rows << &row;
    PassVarName(&rows);
    const std::vector<int> twice = sizesOf();
    for (std::size_t level = 0; level < once.size(); ++level)
        claim(twice[level] == 2 * once[level], "a table that is handed over again adds its addresses again");
    claimLocksFree();
}

} // namespace

} // namespace plc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    plc::fuzz::Input input(data, size);
    plc::fuzz::play(input);
    return 0;
}
