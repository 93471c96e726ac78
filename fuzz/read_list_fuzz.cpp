// Lists of variables and priorities into the rebuild of the cyclic reads: whatever is handed over, every
// variable is read, by requests that a station can answer, and no request reads what nobody asked for at its
// ends.
#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <vector>

#include "fuzz/support/claim.h"
#include "fuzz/support/input.h"
#include "fuzz/support/runtime.h"

namespace plc::fuzz {

namespace {

constexpr int kLevels = 4;
constexpr int kMostVariables = 40;
constexpr int kMostUnits = 4000; ///< of one variable whose requests are looked at
constexpr qint64 kMostRequests = 65536;

using Bucket = std::pair<int, int>; ///< station, base type

struct Range
{
    qint64 from;
    qint64 end;
};

/// What has to be read, by station and area, and whether the driver may leave part of it out as a mistake.
struct Wanted
{
    std::map<Bucket, std::vector<Range>> ranges;
    qint64 mostRequests = 0;
    bool anyHuge = false; ///< something lies beyond what a station can have
};

int limitOf(const COM_INFO &info, int baseType)
{
    const bool bits = baseType == 0 || baseType == 1;
    const int block = std::max(info.maxBlock, 1);
    if (!bits)
        return block;
    return (info.options >> 11 & 1u) != 0 || block == 1 ? 1 : block * 8;
}

/// The registers or bits that a variable lies in. False for one that cannot be read.
bool rangeOf(const HostVariable &variable, bool oneBased, int *baseType, Range *range)
{
    static const int kBase[] = {0, 1, 4, 5, 4, 5, 4, 5, 5, 5};
    if (variable.regType > 9)
        return false;
    *baseType = kBase[variable.regType];
    const bool inside = variable.regType == 2 || variable.regType == 3;
    const int point = variable.addrText.indexOf(QLatin1Char('.'));
    int number = 0;
    int bit = 0;
    if (inside && variable.addrText.count(QLatin1Char('.')) != 1)
        return false;
    // A part that is no number counts as 0, a whole address that is none does not count.
    if (!parseDecimal(variable.addrText.left(inside ? point : variable.addrText.size()), &number) && !inside)
        return false;
    parseDecimal(variable.addrText.mid(point + 1), &bit);
    if (oneBased && number >= 1)
        --number;
    // Bit addresses wrap at 32 bits, so that the sign of the register says nothing.
    const qint64 first =
        inside ? static_cast<qint32>(static_cast<quint32>(qint64(number) * 16 + bit)) : number;
    if (first < 0)
        return false;
    const qint64 units = variable.count;
    if (inside)
        *range = {first / 16, first / 16 + ((first % 16 + units + 15) >> 4)};
    else if (variable.regType == 6 || variable.regType == 7)
        *range = {first, first + (units + 1) / 2 * 2};
    else
        *range = {first, first + units};
    return true;
}

Wanted wantedOf(const std::vector<HostVariable> &variables, const COM_INFO &info)
{
    Wanted wanted;
    for (const HostVariable &variable : variables) {
        const int station = info.stationMode == 0 ? info.defaultStation : variable.station;
        int baseType = 0;
        Range range = {0, 0};
        if (station == 0 || !rangeOf(variable, (info.options & 1u) != 0, &baseType, &range))
            continue;
        const qint64 limit = limitOf(info, baseType);
        // What is beyond all stations is the runtime's mistake and may be left out.
        if (variable.count > kMostUnits) {
            wanted.anyHuge = true;
            wanted.mostRequests += kMostRequests;
            continue;
        }
        // Behind the last number addresses wrap, and nothing can be said of their order.
        wanted.anyHuge = wanted.anyHuge || range.end > INT_MAX;
        wanted.ranges[{station, baseType}].push_back(range);
        wanted.mostRequests +=
            std::max<qint64>((range.end - range.from + limit - 1) / limit, limit == 1 ? 1 : 0);
    }
    return wanted;
}

std::vector<RW_VAR> allRequests()
{
    std::vector<RW_VAR> all(PLC_driver.readList.begin(), PLC_driver.readList.end());
    for (const QList<RW_VAR> &level : PLC_driver.priorityReads)
        all.insert(all.end(), level.begin(), level.end());
    return all;
}

auto orderOf(const RW_VAR &request)
{
    return std::make_tuple(request.station, request.regType, request.address);
}

bool isInOrder(const RW_VAR &a, const RW_VAR &b)
{
    return orderOf(a) < orderOf(b);
}

void claimEveryVariableIsRead(const Wanted &wanted, const std::vector<RW_VAR> &requests, const COM_INFO &info)
{
    std::map<Bucket, std::vector<Range>> read;
    for (const RW_VAR &request : requests) {
        read[{request.station, request.regType}].push_back(
            {request.address, qint64(request.address) + request.count});
    }
    for (const auto &[bucket, ranges] : wanted.ranges) {
        std::vector<Range> &by = read[bucket];
        std::sort(by.begin(), by.end(), [](const Range &a, const Range &b) { return a.from < b.from; });
        for (const Range &range : ranges) {
            qint64 at = range.from;
            for (const Range &request : by) {
                if (request.from <= at)
                    at = std::max(at, request.end);
            }
            claim(at >= range.end || range.end > INT_MAX, "every unit of every variable is read");
        }
        claim(info.maxBlock >= 1, "the largest request has at least one register");
    }
}

bool isAskedFor(const std::vector<Range> &ranges, qint64 unit)
{
    return std::any_of(ranges.begin(), ranges.end(),
                       [unit](const Range &range) { return range.from <= unit && unit < range.end; });
}

/// A variable of no units may still stretch a request as far as its own address.
bool isEndAskedFor(const std::vector<Range> &ranges, qint64 end)
{
    return isAskedFor(ranges, end - 1) ||
           std::any_of(ranges.begin(), ranges.end(),
                       [end](const Range &range) { return range.end == end && range.end <= range.from; });
}

void claimGoodRequests(const Wanted &wanted, const std::vector<RW_VAR> &requests, const COM_INFO &info)
{
    claim(static_cast<qint64>(requests.size()) <= wanted.mostRequests,
          "packing never takes more requests than there would be without it");
    for (std::size_t i = 0; i < requests.size(); ++i) {
        const RW_VAR &request = requests[i];
        const int limit = limitOf(info, request.regType);
        claim(request.regType == 0 || request.regType == 1 || request.regType == 4 || request.regType == 5,
              "requests read one of the four areas");
        claim(request.station != 0, "nobody is asked at station 0");
        claim(request.status == 0 && request.direction == 0, "requests wait for their turn");
        claim(request.hostId == 0 && request.hostSubId == -1 && request.data.isEmpty(),
              "requests have the identifiers of the driver's own");
        if (limit > 1)
            claim(request.count >= 1 && request.count <= limit, "no request is larger than allowed");
        const auto found = wanted.ranges.find({request.station, request.regType});
        if (wanted.anyHuge)
            continue;
        claim(found != wanted.ranges.end(), "only stations and areas with variables are asked");
        if (request.count < 1 || request.address > INT_MAX - request.count)
            continue;
        claim(isAskedFor(found->second, request.address) &&
                  isEndAskedFor(found->second, qint64(request.address) + request.count),
              "a request begins and ends with a unit that was asked for");
    }
}

void claimNoOverlap(const std::vector<RW_VAR> &sorted, const COM_INFO &info)
{
    for (std::size_t i = 1; i < sorted.size(); ++i) {
        const RW_VAR &before = sorted[i - 1];
        const RW_VAR &request = sorted[i];
        if (before.station != request.station || before.regType != request.regType || before.address < 0)
            continue;
        const bool packed = limitOf(info, request.regType) > 1;
        claim(request.address > before.address, "one place is read by one request");
        if (packed)
            claim(qint64(before.address) + before.count <= request.address, "packed requests do not overlap");
    }
}

bool covers(const RW_VAR &request, const RW_VAR &place)
{
    return request.regType == place.regType && request.address <= place.address &&
           place.address < qint64(request.address) + request.count;
}

/// The highest level that claims a unit of @p request, 0 for none.
int levelOf(const RW_VAR &request)
{
    for (int level = kLevels; level >= 1; --level) {
        for (const RW_VAR &place : PLC_driver.priorityAddresses[level - 1]) {
            if (covers(request, place))
                return level;
        }
    }
    return 0;
}

/// A level's requests stay in its own list or go back to the read list, all of them, when that one is short.
void claimLevels(const std::vector<RW_VAR> &requests)
{
    int expected[kLevels + 1] = {};
    for (const RW_VAR &request : requests)
        ++expected[levelOf(request)];
    const auto foldBack = [&](int level, int most) {
        if (expected[0] <= most) {
            expected[0] += expected[level];
            expected[level] = 0;
        }
    };
    foldBack(2, 6);
    foldBack(3, 3);
    foldBack(1, 0);
    foldBack(4, 1);
    claim(PLC_driver.readList.size() == expected[0], "the read list holds what no level keeps");
    for (int level = 1; level <= kLevels; ++level) {
        const QList<RW_VAR> &list = PLC_driver.priorityReads[level - 1];
        claim(list.size() == expected[level], "a level keeps its requests unless the read list is short");
        for (const RW_VAR &request : list)
            claim(levelOf(request) == level, "a request is served at the highest level that claims it");
    }
}

std::vector<std::tuple<int, int, int, int>> pictureOf(const std::vector<RW_VAR> &requests)
{
    std::vector<std::tuple<int, int, int, int>> picture;
    for (const RW_VAR &request : requests)
        picture.emplace_back(request.station, request.regType, request.address, request.count);
    return picture;
}

HostVariable readVariable(Input &input)
{
    HostVariable variable = HostVariable();
    variable.regType = static_cast<quint8>(input.below(11));
    variable.station = static_cast<quint8>(input.below(4));
    const int address = input.flag() ? input.byte() : input.number();
    const int bit = input.flag() ? input.below(16) : input.below(40);
    const int amount = input.byte(); // long ones cost many requests, so they are rare
    variable.count = amount < 250 ? amount % 50 - 1 : input.number();
    variable.addrText = QString::number(address);
    if (variable.regType == 2 || variable.regType == 3)
        variable.addrText = QString::number(address) + QLatin1Char('.') + QString::number(bit);
    if (input.byte() == 255)
        variable.addrText = QString::fromLatin1(toQt(input.bytes(8)));
    // What is no ASCII is the affair of the target for address texts.
    if (!isPlainText(variable.addrText))
        variable.addrText.clear();
    return variable;
}

void passPriorities(Input &input)
{
    static const char *const kPrefixes[] = {"4x", "3x", "0x", "1x", "4x_bit", "4x_d"};
    for (int left = input.below(6); left > 0; --left) {
        NameRow row = NameRow();
        for (int i = 0; i < 10; ++i)
            row.texts.append(QString());
        row.texts[8] = QString::number(1 + input.below(kLevels));
        row.texts.last() = QLatin1String(kPrefixes[input.below(6)]);
        row.texts.last() += QString::number(input.number());
        QList<NameRow *> rows;
        rows << &row;
        PassVarName(&rows);
    }
}

void play(Input &input)
{
    Runtime runtime;
    COM_INFO &info = runtime.info;
    info.maxBlock = input.flag() ? 1 + input.below(12) : input.number();
    info.stationMode = input.below(4) == 3 ? 0 : 1;
    info.defaultStation = input.below(3);
    info.options = input.flag() ? kOptionOneBased : 0u;
    info.options |= input.below(4) == 3 ? kOptionNoBitPacking : 0u;
    runtime.applySettings();
    passPriorities(input);

    std::vector<HostVariable> variables;
    while (!input.isEmpty() && static_cast<int>(variables.size()) < kMostVariables)
        variables.push_back(readVariable(input));
    QList<HostVariable *> list;
    list << nullptr;
    for (HostVariable &variable : variables)
        list << &variable;

    info.scanDone = 1;
    const int length = ReCreatReadVarList(&list);
    claimLocksFree();
    claim(length == PLC_driver.readList.size(), "the result is the number of cyclic reads");
    claim(info.scanDone == 0 && PLC_driver.readsServed == 0, "a new list begins a new scan");

    std::vector<RW_VAR> requests = allRequests();
    const std::vector<RW_VAR> asBuilt = requests;
    const bool anyPriority =
        std::any_of(std::begin(PLC_driver.priorityAddresses), std::end(PLC_driver.priorityAddresses),
                    [](const QList<RW_VAR> &level) { return !level.isEmpty(); });
    const Wanted wanted = wantedOf(variables, info);
    std::stable_sort(requests.begin(), requests.end(), isInOrder);
    claimGoodRequests(wanted, requests, info);
    claimEveryVariableIsRead(wanted, requests, info);
    if (!wanted.anyHuge)
        claimNoOverlap(requests, info);
    claimLevels(requests);
    if (!anyPriority && !wanted.anyHuge)
        claim(pictureOf(requests) == pictureOf(asBuilt), "the list is in order of station, area and address");

    claim(ReCreatReadVarList(&list) == length, "the same list again gives the same number of requests");
    claim(pictureOf(allRequests()) == pictureOf(asBuilt), "the same list again gives the same requests");
    QList<HostVariable *> none;
    claim(ReCreatReadVarList(&none) == 0 && PLC_driver.readList.isEmpty(), "an empty list empties the reads");
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
