#include <QMutexLocker>

#include <algorithm>
#include <utility>
#include <vector>

#include "core/context.h"
#include "core/guarded.h"
#include "core/register_types.h"
#include "plcdriver.h"
#include "varlists/address_text.h"
#include "varlists/grouping.h"
#include "varlists/registration.h"

namespace {

constexpr int kNoLevel = -1;

// The record of a variable as a request can read it. False for one that is left out.
bool makeRead(const HostVariable &variable, RW_VAR &read)
{
    const int address = StringAddressToInt(variable.regType, variable.addrText);
    const int station = plc::effectiveStation(variable.station);
    if (address < 0 || station == 0)
        return false;
    read.hostSubId = -1;
    read.linkMode = PLC_driver.comInfo->linkMode;
    read.linkId = PLC_driver.comInfo->linkId;
    read.varName = variable.varName;
    read.addrText = variable.addrText;
    read.regType = variable.regType;
    read.address = address;
    read.station = station;
    read.count = variable.count;
    return updateRwVar(&read) == 0;
}

QList<RW_VAR> readsOf(const QList<HostVariable *> &variables)
{
    QList<RW_VAR> reads;
    for (int i = 0; i < variables.size(); ++i) {
        RW_VAR read;
        if (variables.at(i) && makeRead(*variables.at(i), read))
            reads.append(read);
    }
    return reads;
}

bool areInOneArea(const RW_VAR &a, const RW_VAR &b)
{
    return a.station == b.station && a.regType == b.regType;
}

// The order in which the requests will stand: by station, area and address.
bool comesBefore(const RW_VAR &a, const RW_VAR &b)
{
    if (a.station != b.station)
        return a.station < b.station;
    return a.regType != b.regType ? a.regType < b.regType : a.address < b.address;
}

int unitLimit(int baseType)
{
    if (!plc::isBitArea(baseType))
        return plc::registerLimit();
    return plc::bitsAreNotPacked() || plc::registerLimit() == 1 ? 1 : plc::bitLimit();
}

void buildReadListLocked(const QList<HostVariable *> &variables)
{
    QList<RW_VAR> reads = readsOf(variables);
    plc::sortStable(reads, comesBefore);
    int end = 0;
    for (int first = 0; first < reads.size(); first = end) {
        const RW_VAR &pattern = reads.at(first);
        for (end = first + 1; end < reads.size() && areInOneArea(reads.at(end), pattern);)
            ++end;
        plc::appendGrouped(reads, first, end, unitLimit(pattern.regType), PLC_driver.readList);
    }
}

// The priority addresses of one level, ready to be searched.
class PriorityIndex
{
public:
    explicit PriorityIndex(const QList<RW_VAR> &addresses)
    {
        places.reserve(static_cast<size_t>(addresses.size()));
        for (int i = 0; i < addresses.size(); ++i)
            places.push_back(Place(addresses.at(i).regType, addresses.at(i).address));
        std::sort(places.begin(), places.end());
    }

    bool isCoveredBy(const RW_VAR &request) const
    {
        const std::vector<Place>::const_iterator place =
            std::lower_bound(places.begin(), places.end(), Place(request.regType, request.address));
        return place != places.end() && place->first == request.regType &&
               place->second < static_cast<qint64>(request.address) + request.count;
    }

private:
    typedef std::pair<int, int> Place; // register type, address
    std::vector<Place> places;
};

// Level of a request, the highest that claims one of its addresses. A level of 4 is asked first.
int levelOf(const RW_VAR &request, const std::vector<PriorityIndex> &levels)
{
    for (int level = plc::kPriorityLevels - 1; level >= 0; --level) {
        if (levels[static_cast<size_t>(level)].isCoveredBy(request))
            return level;
    }
    return kNoLevel;
}

void movePriorityReadsLocked()
{
    std::vector<PriorityIndex> levels;
    bool anyAddress = false;
    for (int level = 0; level < plc::kPriorityLevels; ++level) {
        PLC_driver.priorityReads[level].clear();
        levels.push_back(PriorityIndex(PLC_driver.priorityAddresses[level]));
        anyAddress = anyAddress || !PLC_driver.priorityAddresses[level].isEmpty();
    }
    if (!anyAddress)
        return;
    const QList<RW_VAR> all = PLC_driver.readList;
    QList<RW_VAR> kept;
    for (int i = 0; i < all.size(); ++i) {
        const int level = levelOf(all.at(i), levels);
        // The levels hold their requests with the last one first.
        if (level != kNoLevel)
            PLC_driver.priorityReads[level].prepend(all.at(i));
        else
            kept.append(all.at(i));
    }
    PLC_driver.readList = kept;
}

void foldBackLocked(int level, int mostReads)
{
    QList<RW_VAR> &list = PLC_driver.priorityReads[level - 1];
    if (PLC_driver.readList.size() > mostReads || list.isEmpty())
        return;
    PLC_driver.readList += list;
    list.clear();
}

// With few cyclic reads a level of its own gains nothing. The order matters: each step sees the list as the
// ones before it left it.
void foldBackPrioritiesLocked()
{
    foldBackLocked(2, 6);
    foldBackLocked(3, 3);
    foldBackLocked(1, 0);
    foldBackLocked(4, 1);
}

int rebuildLocked(const QList<HostVariable *> &variables)
{
    PLC_driver.readList.clear();
    if (variables.isEmpty())
        return 0;
    PLC_driver.readsServed = 0;
    PLC_driver.comInfo->scanDone = 0;
    buildReadListLocked(variables);
    movePriorityReadsLocked();
    foldBackPrioritiesLocked();
    return PLC_driver.readList.size();
}

} // namespace

int ReCreatReadVarList(QList<HostVariable *> *variables)
{
    if (!variables || !PLC_driver.comInfo)
        return 0;
    QMutexLocker lock(&PLC_driver.listMutex);
    const int length = plc::guarded(-1, [=] { return rebuildLocked(*variables); });
    if (length >= 0)
        return length;
    // Out of memory: half a list is never served.
    PLC_driver.readList.clear();
    return 0;
}
