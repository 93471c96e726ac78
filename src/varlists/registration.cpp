#include "varlists/registration.h"

#include <QMutexLocker>

#include <algorithm>
#include <bitset>
#include <cstddef>

#include "core/arithmetic.h"
#include "core/context.h"
#include "core/guarded.h"
#include "core/register_types.h"
#include "plcdriver.h"
#include "varlists/address_text.h"

namespace {

constexpr int kListLimit = 1024;
constexpr int kAppendAsIs = 1;

bool isSamePlace(const RW_VAR &a, const RW_VAR &b)
{
    return a.station == b.station && a.regType == b.regType && a.address == b.address && a.count == b.count;
}

bool isSameOnceRead(const RW_VAR &a, const RW_VAR &b)
{
    return a.hostId == b.hostId && a.hostSubId == b.hostSubId && isSamePlace(a, b) && a.linkId == b.linkId;
}

// The first entry may be on the line already, so a newer value for it queues up behind it.
constexpr int kFirstToReplace = 1;

void appendWriteLocked(const RW_VAR &write)
{
    if (PLC_driver.writeList.size() < kListLimit)
        PLC_driver.writeList.append(write);
}

void mergeWriteLocked(const RW_VAR &write)
{
    QList<RW_VAR> &list = PLC_driver.writeList;
    for (int i = kFirstToReplace; i < list.size(); ++i) {
        if (isSamePlace(list.at(i), write)) {
            list[i] = write;
            return;
        }
    }
    appendWriteLocked(write);
}

// The same for writes at addresses @p step apart, in one pass over the list.
void mergeWritesLocked(const QList<RW_VAR> &writes, int step)
{
    QList<RW_VAR> &list = PLC_driver.writeList;
    std::bitset<plc::kMostSideBySide> replaced;
    const quint32 first = static_cast<quint32>(writes.first().address);
    for (int i = kFirstToReplace; i < list.size(); ++i) {
        // A place of none of the writes is told apart below.
        const std::size_t index =
            (static_cast<quint32>(list.at(i).address) - first) / static_cast<quint32>(step);
        // Of several entries for a place the first takes the value.
        if (index >= static_cast<std::size_t>(writes.size()) || replaced[index])
            continue;
        const RW_VAR &write = writes.at(static_cast<int>(index));
        if (!isSamePlace(list.at(i), write))
            continue;
        list[i] = write;
        replaced[index] = true;
    }
    for (int i = 0; i < writes.size(); ++i) {
        if (!replaced[static_cast<std::size_t>(i)])
            appendWriteLocked(writes.at(i));
    }
}

// Which pieces of a variable are queued already. Each piece that is looked at is queued or will be, so no
// more than fit the list matter.
typedef std::bitset<kListLimit> Pieces;

// Looks through the list once, whatever the number of pieces: piece i begins i * limit behind the variable's
// address, and no two pieces are the same. The count is positive.
Pieces queuedPiecesLocked(const RW_VAR &var, int limit)
{
    Pieces queued;
    RW_VAR piece = var;
    const QList<RW_VAR> &list = PLC_driver.onceReadList;
    for (int i = 0; i < list.size(); ++i) {
        const RW_VAR &entry = list.at(i);
        const quint32 distance = static_cast<quint32>(entry.address) - static_cast<quint32>(var.address);
        if (distance >= static_cast<quint32>(var.count) || distance % static_cast<quint32>(limit) != 0)
            continue;
        const std::size_t index = distance / static_cast<quint32>(limit);
        piece.address = entry.address;
        piece.count = std::min(var.count - static_cast<int>(distance), limit);
        if (index < queued.size() && isSameOnceRead(entry, piece))
            queued[index] = true;
    }
    return queued;
}

// Turns the record into what a request can read. False when it is refused.
bool prepareOnceRead(RW_VAR &var)
{
    const int address = StringAddressToInt(var.regType, var.addrText);
    if (address < 0)
        return false;
    var.address = address;
    var.station = plc::effectiveStation(var.station);
    var.relayArg1 = 0;
    var.relayArg2 = 0;
    return var.station != 0 && updateRwVar(&var) == 0;
}

// Largest piece of a one-shot read. Unlike in the cyclic list, a maxBlock of 1 still packs bits eight to one.
int pieceLimit(int regType)
{
    if (!plc::isBitArea(regType))
        return plc::registerLimit();
    return plc::bitsAreNotPacked() ? 1 : plc::bitLimit();
}

int appendOnceRead(const RW_VAR &var)
{
    QMutexLocker lock(&PLC_driver.listMutex);
    PLC_driver.onceReadList.append(var);
    return PLC_driver.onceReadList.size();
}

// Brings the record to where it stands when its remaining units have been split off.
void skipPieces(RW_VAR &var, int remaining, int limit)
{
    var.count = (remaining - 1) % limit + 1;
    var.address = plc::wrappingSum(var.address, remaining);
}

int splitOnceRead(RW_VAR &var)
{
    if (!prepareOnceRead(var))
        return 0;
    const int limit = pieceLimit(var.regType);
    int remaining = std::max(var.count, 0);
    QMutexLocker lock(&PLC_driver.listMutex);
    QList<RW_VAR> &list = PLC_driver.onceReadList;
    const Pieces queued = remaining > 0 ? queuedPiecesLocked(var, limit) : Pieces();
    for (std::size_t i = 0; remaining > 0 && list.size() < kListLimit; ++i) {
        var.count = std::min(remaining, limit);
        if (!queued[i])
            list.append(var);
        remaining -= var.count;
        var.address = plc::wrappingSum(var.address, var.count);
    }
    // A full list takes no further piece.
    if (remaining > 0)
        skipPieces(var, remaining, limit);
    return list.size();
}

} // namespace

int updateRwVar(RW_VAR *var)
{
    if (!var)
        return 1;
    switch (var->regType) {
    case plc::kCoil:
    case plc::kDiscreteInput:
    case plc::kInputRegister:
    case plc::kHoldingRegister:
        return 0;
    case plc::kInputRegisterBit:
    case plc::kHoldingRegisterBit:
        // Every register that one of the bits lies in.
        var->count = plc::wrappingSum(plc::wrappingSum(var->address & 15, var->count), 15) >> 4;
        var->address >>= 4;
        break;
    case plc::kInputRegisterPair:
    case plc::kHoldingRegisterPair:
        var->count = plc::wrappingSum(var->count, 1) / 2 * 2;
        break;
    case plc::kHoldingSingle:
    case plc::kHoldingBlock:
        break;
    default:
        return 1;
    }
    var->regType = getPlcReg(var->regType);
    return 0;
}

int AddListReadVar(RW_VAR *var)
{
    if (!var || !PLC_driver.comInfo)
        return 0;
    return plc::guarded(0, [=] {
        PLC_driver.readList.append(*var);
        return PLC_driver.readList.size();
    });
}

int AddListWriteVar(RW_VAR *var, int mode)
{
    if (!var || !PLC_driver.comInfo)
        return 0;
    return plc::guarded(0, [=] {
        QMutexLocker lock(&PLC_driver.listMutex);
        if (mode == kAppendAsIs)
            PLC_driver.writeList.append(*var);
        else
            mergeWriteLocked(*var);
        plc::noteWriteCountLocked();
        return PLC_driver.writeList.size();
    });
}

int plc::queueWritesSideBySide(const QList<RW_VAR> &writes, int step)
{
    QMutexLocker lock(&PLC_driver.listMutex);
    // Also when memory runs out half way.
    const auto noteLength = [] { plc::noteWriteCountLocked(); };
    const plc::OnLeaving<decltype(noteLength)> noted(noteLength);
    mergeWritesLocked(writes, step);
    return PLC_driver.writeList.size();
}

int AddListOnceReadVar(RW_VAR *var, int mode)
{
    if (!var || !PLC_driver.comInfo)
        return 0;
    return plc::guarded(0, [=] { return mode == kAppendAsIs ? appendOnceRead(*var) : splitOnceRead(*var); });
}
