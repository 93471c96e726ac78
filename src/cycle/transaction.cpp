#include <QMutexLocker>

#include <algorithm>

#include "core/arithmetic.h"
#include "core/context.h"
#include "core/guarded.h"
#include "core/result_codes.h"
#include "modbus/reply_check.h"
#include "plcdriver.h"
#include "relay/relay_reply.h"

namespace {

bool expectsNoReply(int regType)
{
    return (plc::singleWritesGetNoReply() && regType == plc::kHoldingSingle) ||
           (plc::blockWritesGetNoReply() && regType == plc::kHoldingBlock);
}

// Counts a failed attempt. True when the transaction may be tried again. Only giving up clears the count, so
// failures of earlier transactions count against later ones; a runtime that wants it otherwise clears
// retryCount itself.
bool mayTryAgain()
{
    COM_INFO *const info = PLC_driver.comInfo;
    plc::countUp(info->retryCount);
    return info->retryCount <= info->retryLimit;
}

// Calls the runtime. What it throws ends here, so that nothing is sent or told twice.
template <typename Call>
void callRuntime(Call call)
{
    plc::guarded(0, [&call] {
        call();
        return 0;
    });
}

void reportOutcome(const RW_VAR &var)
{
    if (!PLC_driver.resultCallback)
        return;
    const int outcome = PLC_driver.failed.load() ? plc::kOutcomeFailed : plc::kOutcomeDone;
    callRuntime([&var, outcome] {
        PLC_driver.resultCallback(PLC_driver.comInfo->callbackArg, var.hostId, var.hostSubId, outcome);
    });
}

bool hasSameIds(const RW_VAR &a, const RW_VAR &b)
{
    return a.hostId == b.hostId && a.hostSubId == b.hostSubId;
}

bool isOnceReadShared(const RW_VAR &a, const RW_VAR &b)
{
    return hasSameIds(a, b) && b.linkId == PLC_driver.comInfo->linkId;
}

// Takes the served entry off its list. Several entries may share their identifiers when the runtime's request
// was split: then only the last of them reports success, while a failure is reported at once.
void completeFirstLocked(QList<RW_VAR> &list, bool report, bool (*isShared)(const RW_VAR &, const RW_VAR &))
{
    if (list.isEmpty())
        return;
    bool shared = false;
    for (int i = 1; i < list.size() && !shared; ++i)
        shared = isShared(list.first(), list.at(i));
    const auto takeOff = [&list] {
        passRetValue(&list.first());
        list.removeFirst();
        // The failure callback may ask for the length of the write list.
        plc::noteWriteCountLocked();
    };
    // A thread that is cancelled in the callback must not leave a told entry behind, which would be sent
    // again.
    const plc::OnLeaving<decltype(takeOff)> ended(takeOff);
    if (report && (PLC_driver.failed.load() || !shared))
        reportOutcome(list.first());
}

void completeCyclicReadLocked()
{
    QList<RW_VAR> &list = PLC_driver.readList;
    if (list.isEmpty() || list.first().status != plc::kPending)
        return;
    list.first().status = plc::kIdle;
    passRetValue(&list.first());
    plc::rotate(list);
}

// Deliberate: a failure also discards whatever else is queued under the same identifiers.
void purgeLocked(QList<RW_VAR> &list)
{
    const bool anyStation = PLC_driver.comInfo->stationMode == 0;
    const auto isDiscarded = [anyStation](const RW_VAR &entry) {
        const RW_VAR &failed = PLC_driver.retVar;
        return hasSameIds(entry, failed) && (anyStation || entry.station == failed.station);
    };
    list.erase(std::remove_if(list.begin(), list.end(), isDiscarded), list.end());
    plc::noteWriteCountLocked();
}

void reportFailure()
{
    if (!PLC_driver.failureCallback)
        return;
    QList<RW_VAR> none;
    callRuntime([&none] { PLC_driver.failureCallback(&none, PLC_driver.retVar.hostId, 1); });
}

void purgeServedListLocked()
{
    if (PLC_driver.servingList == plc::kServingWriteList)
        purgeLocked(PLC_driver.writeList);
    else if (PLC_driver.servingList == plc::kServingOnceReadList)
        purgeLocked(PLC_driver.onceReadList);
}

void completeOperationLocked(bool local)
{
    const auto purgeAfterFailure = [] {
        if (PLC_driver.failed.load())
            purgeServedListLocked();
    };
    const plc::OnLeaving<decltype(purgeAfterFailure)> ended(purgeAfterFailure);
    switch (PLC_driver.servingList) {
    case plc::kServingWriteList:
        completeFirstLocked(PLC_driver.writeList, true, hasSameIds);
        break;
    case plc::kServingOnceReadList:
        completeFirstLocked(PLC_driver.onceReadList, local, isOnceReadShared);
        break;
    case plc::kServingReadList:
        completeCyclicReadLocked();
        break;
    default: // nothing has been served yet
        break;
    }
    if (PLC_driver.failed.load())
        reportFailure();
}

// A scan is complete when more operations have ended than there are cyclic reads.
void countServedLocked()
{
    ++PLC_driver.readsServed;
    if (PLC_driver.readsServed <= PLC_driver.readList.size())
        return;
    PLC_driver.readsServed = 0;
    PLC_driver.comInfo->scanDone = 1;
}

void succeed(int result, bool local)
{
    COM_INFO *const info = PLC_driver.comInfo;
    PLC_driver.failed.store(false);
    plc::countUp(info->stepDone);
    const bool complete = info->stepTotal <= info->stepDone;

    QMutexLocker lock(&PLC_driver.listMutex);
    if (complete && local && info->scanDone == 0)
        countServedLocked();
    PLC_driver.sendQueue.removeFirst();
    if (complete)
        completeOperationLocked(local);
    PLC_driver.retVar.status = result;
}

// The head stays queued and is transmitted again.
void tryAgain()
{
    QMutexLocker lock(&PLC_driver.listMutex);
    PLC_driver.retVar.status = plc::kResultPending;
}

// Gives the operation up whole, a second step that is queued already included.
void fail(int result, bool local)
{
    QMutexLocker lock(&PLC_driver.listMutex);
    PLC_driver.readsServed = 0;
    PLC_driver.failed.store(true);
    PLC_driver.comInfo->scanDone = 0;
    PLC_driver.comInfo->retryCount = 0;
    PLC_driver.sendQueue.clear();
    completeOperationLocked(local);
    PLC_driver.retVar.status = result;
}

int judge(QByteArray *reply, int length, bool local)
{
    return local ? DealDataOfLocalArea(reply, length) : DealDataOfRemoteArea(reply, length);
}

int judgeHead(QByteArray *reply, int length, bool local)
{
    if (plc::headTransaction()->var.relayArg1 != plc::kReadHalf)
        return judge(reply, length, local);
    // The first half of a read-modify-write looks into the write list.
    QMutexLocker lock(&PLC_driver.listMutex);
    return judge(reply, length, local);
}

void handleReply(QByteArray *reply, int length)
{
    const bool local = plc::headTransaction()->var.linkId == PLC_driver.comInfo->linkId;
    const int result = judgeHead(reply, length, local);
    if (plc::isDone(result))
        succeed(result, local);
    else if (mayTryAgain())
        tryAgain();
    else
        fail(result, local);
}

// Looks for the reply of a Modbus request in what has come so far. It is handled on the next call.
void findReply(QByteArray *received, Protocol &head)
{
    if (check_data(received))
        head.replyLen = received->size();
    else
        PLC_driver.retVar.status = plc::kResultPending;
}

void countSilence()
{
    if (mayTryAgain())
        PLC_driver.retVar.status = plc::kResultPending;
    else
        fail(plc::kResultNoReply, true);
}

// Null counts as nothing, all the way down. Leaves the outcome in the status of the result record, which is
// "done" before.
void takeReceived(QByteArray *received, int length)
{
    if (PLC_driver.sendQueue.isEmpty() || !PLC_driver.comInfo)
        return;
    Protocol &head = PLC_driver.sendQueue.first();
    if (head.replyLen == plc::kReplyOpen && expectsNoReply(head.var.regType))
        head.replyLen = 0;
    if (head.replyLen != plc::kReplyOpen)
        handleReply(received, length);
    else if (PLC_driver.forceCheck != 0 || (received && !received->isEmpty()))
        findReply(received, head);
    else
        countSilence();
}

} // namespace

RW_VAR *DataCom(QByteArray *reply, int length)
{
    PLC_driver.retVar.status = plc::kResultDone;
    const bool finished = plc::guarded(false, [=] {
        takeReceived(reply, length);
        return true;
    });
    if (!finished)
        PLC_driver.retVar.status = plc::kResultPending;
    return &PLC_driver.retVar;
}
