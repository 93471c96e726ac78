#include <QMutexLocker>

#include "core/arithmetic.h"
#include "core/context.h"
#include "core/guarded.h"
#include "cycle/station_set.h"
#include "modbus/read_request.h"
#include "modbus/write_request.h"
#include "plcdriver.h"
#include "relay/relay_request.h"

namespace {

constexpr int kBurstLimit = 5;
constexpr int kNoLevel = -1;

typedef void (*Builder)(RW_VAR *);

bool sendsRelayFrames()
{
    return PLC_driver.comInfo->linkMode != 0;
}

Builder writeBuilder()
{
    return sendsRelayFrames() ? Remote_WriteVar : WriteRegister;
}

Builder readBuilder()
{
    return sendsRelayFrames() ? Remote_ReadVar : ReadRegister;
}

// Builds the request of the first entry whose station is switched on; the entry stays until it is completed.
// Entries of switched-off stations are dropped without a report. False when nothing was built.
bool serveBurstLocked(QList<RW_VAR> &list, qint32 &burst, int servingList, Builder build)
{
    if (burst >= kBurstLimit)
        return false;
    while (!list.isEmpty() && Ethernetcontains(list.first().station))
        list.removeFirst();
    if (list.isEmpty())
        return false;
    build(&list.first());
    PLC_driver.servingList = servingList;
    ++burst;
    return true;
}

bool serveWriteLocked()
{
    if (PLC_driver.writeList.isEmpty())
        return false;
    const bool built =
        serveBurstLocked(PLC_driver.writeList, PLC_driver.writeBurst, plc::kServingWriteList, writeBuilder());
    plc::noteWriteCountLocked();
    return built;
}

bool serveOnceReadLocked()
{
    return !PLC_driver.onceReadList.isEmpty() &&
           serveBurstLocked(PLC_driver.onceReadList, PLC_driver.onceBurst, plc::kServingOnceReadList,
                            readBuilder());
}

// Turns the order of the entries from @p first to before @p end round.
void reverse(QList<RW_VAR> &list, int first, int end)
{
    for (int last = end - 1; first < last; ++first, --last) {
#if QT_VERSION < 0x050D00
        list.swap(first, last);
#else
        list.swapItemsAt(first, last);
#endif
    }
}

// Moves the first @p count entries behind the others. Each single move passes over the whole list, so that
// many are made in one go.
void moveBehind(QList<RW_VAR> &list, int count)
{
    constexpr int kMany = 32; // from here on one go is quicker
    if (count < kMany) {
        for (int i = 0; i < count; ++i)
            plc::rotate(list);
        return;
    }
    reverse(list, 0, count);
    reverse(list, count, list.size());
    reverse(list, 0, list.size());
}

// Brings an entry whose station is switched on to the head. False when there is none: turning the list once
// round leaves it as it was.
bool skipDisabledLocked(QList<RW_VAR> &list)
{
    int skipped = 0;
    while (skipped < list.size() && Ethernetcontains(list.at(skipped).station))
        ++skipped;
    if (skipped == list.size())
        return false;
    moveBehind(list, skipped);
    return true;
}

int dueLevelLocked()
{
    for (int level = 0; level < plc::kPriorityLevels; ++level) {
        if (PLC_driver.priorityClocks[level].due && !PLC_driver.priorityReads[level].isEmpty())
            return level;
    }
    return kNoLevel;
}

// The request stays in its list, behind the others.
RW_VAR *takePriorityReadLocked(int level)
{
    // Deliberate: level 3 counts double, so half of its list is served each time it is due.
    static const int kSteps[plc::kPriorityLevels] = {1, 1, 2, 1};
    QList<RW_VAR> &list = PLC_driver.priorityReads[level];
    plc::PriorityClock &clock = PLC_driver.priorityClocks[level];
    plc::rotate(list);
    clock.remaining -= kSteps[level];
    if (clock.remaining <= 0)
        clock.due = false;
    return &list.last();
}

// Calls without a priority service after which a level becomes due.
bool isTimeForLevel(int level, qint64 tick)
{
    switch (level) {
    case 0:
        return tick >= 3 * static_cast<qint64>(PLC_driver.readList.size());
    case 1:
        return tick > 5;
    case 2:
        return tick > 2;
    default:
        return tick > 0;
    }
}

// A level that becomes due here is served from the next call on.
void advanceClocksLocked()
{
    for (int level = 0; level < plc::kPriorityLevels; ++level) {
        plc::PriorityClock &clock = PLC_driver.priorityClocks[level];
        const int length = PLC_driver.priorityReads[level].size();
        plc::countUp(clock.tick);
        if (length == 0 || !isTimeForLevel(level, clock.tick))
            continue;
        clock.due = true;
        clock.remaining = length;
        clock.tick = 0;
    }
}

void buildModbusReadLocked()
{
    const int level = dueLevelLocked();
    if (level != kNoLevel) {
        ReadRegister(takePriorityReadLocked(level));
        return;
    }
    advanceClocksLocked();
    RW_VAR &head = PLC_driver.readList.first();
    ReadRegister(&head);
    // The transaction has a copy of the entry as it was before.
    head.status = plc::kPending;
}

// Deliberate: over a relay the head of the read list goes out even when a priority level was due; the levels
// only shape the timing.
void buildRelayReadLocked()
{
    const int level = dueLevelLocked();
    if (level != kNoLevel)
        takePriorityReadLocked(level);
    else
        advanceClocksLocked();
    RW_VAR &head = PLC_driver.readList.first();
    head.status = plc::kPending;
    Remote_ReadVar(&head);
}

void serveCyclicReadLocked()
{
    QList<RW_VAR> &list = PLC_driver.readList;
    if (list.isEmpty() || !skipDisabledLocked(list))
        return;
    if (sendsRelayFrames())
        buildRelayReadLocked();
    else
        buildModbusReadLocked();
    PLC_driver.servingList = plc::kServingReadList;
    PLC_driver.writeBurst = 0;
    PLC_driver.onceBurst = 0;
}

void chooseNext()
{
    QMutexLocker lock(&PLC_driver.listMutex);
    if (!serveWriteLocked() && !serveOnceReadLocked())
        serveCyclicReadLocked();
    if (!PLC_driver.sendQueue.isEmpty())
        return;
    PLC_driver.writeBurst = 0;
    PLC_driver.onceBurst = 0;
    PLC_driver.comInfo->scanDone = 1;
}

// For a choice that ran out of memory. Half of a read-modify-write may be queued, which alone would pass for
// the whole. The head of the read list may be marked although no request of its own went out.
void abandonChoice()
{
    QMutexLocker lock(&PLC_driver.listMutex);
    PLC_driver.sendQueue.clear();
    if (!PLC_driver.readList.isEmpty())
        PLC_driver.readList.first().status = plc::kIdle;
}

Protocol *queueHead()
{
    QList<Protocol> &queue = PLC_driver.sendQueue;
    return queue.isEmpty() ? nullptr : &queue.first();
}

} // namespace

Protocol *ComCommunication(int)
{
    PLC_driver.forceCheck = 0;
    if (!PLC_driver.sendQueue.isEmpty() || !PLC_driver.comInfo)
        return queueHead();
    const bool chosen = plc::guarded(false, [] {
        chooseNext();
        return true;
    });
    if (!chosen)
        abandonChoice();
    return queueHead();
}
