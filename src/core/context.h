/// @file
/// The one driver object: all state of the driver, and the memory areas of the runtime.
#ifndef PLC_CORE_CONTEXT_H
#define PLC_CORE_CONTEXT_H

#include <QHash>
#include <QList>
#include <QMap>
#include <QMutex>

#include <atomic>

#include "core/records.h"

/// Called when a queued write or one-shot read ends; see RegistCallBackFuncIntf in plcdriver.h.
typedef void (*ResultCallback)(int callbackArg, int hostId, int hostSubId, int outcome);
/// Called after every failed transaction; see RegistCallBackFuncIntf in plcdriver.h.
typedef void (*FailureCallback)(QList<RW_VAR> *none, int hostId, int one);

namespace plc {

constexpr int kPriorityLevels = 4;

/// Nothing has been served since the library was loaded.
constexpr int kServingNothing = 100;
constexpr int kServingReadList = 0;
constexpr int kServingWriteList = 1;
constexpr int kServingOnceReadList = 2;

/// When one priority level is served.
struct PriorityClock
{
    bool due;         ///< its read list is served until #remaining runs out
    qint32 remaining; ///< services left while due
    qint32 tick;      ///< calls without a priority service since it last became due

    PriorityClock() : due(false), remaining(0), tick(0) {}
};

} // namespace plc

/// The driver's state. One object exists, #PLC_driver; it is built when the library is loaded and destroyed
/// when it is unloaded. Members in [] are guarded by the mutex named there; order of locking: listMutex
/// before stationMutex, listMutex before cacheMutex, and nothing under the latter two.
class PLC_EXPORT Communication_Protocol
{
public:
    Communication_Protocol();
    ~Communication_Protocol();

    COM_INFO *comInfo;           ///< the runtime's settings, not owned; null until SetComInfo
    QList<RW_VAR> readList;      ///< cyclic reads, rotated [listMutex]
    QList<RW_VAR> writeList;     ///< pending writes, served first [listMutex]
    QList<RW_VAR> onceReadList;  ///< one-shot reads [listMutex]
    QList<RW_VAR> spareList;     ///< part of the record; nothing fills it
    QList<Protocol> sendQueue;   ///< transactions not finished; elements stay where they are while others are
                                 ///< appended, so the runtime may keep a pointer to the head
    QList<EXTENDVAR> extendList; ///< part of the record; nothing fills it
    ResultCallback resultCallback;   ///< may be null
    FailureCallback failureCallback; ///< may be null
    QMutex listMutex;
    QMutex cacheMutex;
    QMutex stationMutex;
    QMap<int, int> disabledStations; ///< switched-off stations; only the keys count [stationMutex]
    RW_VAR retVar;                   ///< what DataCom returns
    qint32 servingList;              ///< plc::kServing...: list of the transaction in flight
    qint32 writeBurst;               ///< writes served in a row
    qint32 onceBurst;                ///< one-shot reads served in a row
    qint32 readsServed;              ///< operations completed since the last full scan [listMutex]
    std::atomic<bool> failed; ///< the last transaction ended in failure; read by data access on any thread
    uchar txBuf[1026];        ///< start of the last request; never cleared, so a request without a function
                              ///< code of its own repeats the last one
    quint32 options;          ///< COM_INFO::options as SetComInfo saw it
    bool optBit0;             ///< addresses are typed one-based
    bool optBit1;             ///< a single holding register is written with function 16 instead of 6
    bool optBit4;             ///< a bit inside a register is written from the mirrored register value
    bool optBit5;             ///< SetRegisterData writes one holding register a request
    bool optBit6;             ///< SetRegisterData writes one coil a request
    bool optBit7;             ///< CRC of requests goes out high byte first
    bool optBit8;             ///< CRC of replies comes high byte first
    bool optBit9;             ///< requests of type 8 expect no reply
    bool optBit10;            ///< requests of type 9 expect no reply
    bool optBit11;            ///< coils and inputs are requested one by one
    qint32 forceCheck;        ///< non-zero: an empty buffer is validated too; nothing sets it
    QHash<QString, int> nameIndex;                           ///< part of the record; nothing fills it
    QList<RW_VAR> priorityAddresses[plc::kPriorityLevels];   ///< addresses of levels 1 to 4 [listMutex]
    QList<RW_VAR> priorityReads[plc::kPriorityLevels];       ///< requests of levels 1 to 4 [listMutex]
    plc::PriorityClock priorityClocks[plc::kPriorityLevels]; ///< [listMutex]
    QHash<quint64, QByteArray> registerCache; ///< mirror of the stations' elements [cacheMutex]

    /// Length of writeList when listMutex was last released by a function that changed it; for those who may
    /// not take that lock.
    std::atomic<int> writeCount;

private:
    Q_DISABLE_COPY(Communication_Protocol)
};

extern PLC_EXPORT_DATA Communication_Protocol PLC_driver;

extern "C" {
extern PLC_EXPORT_DATA unsigned char *LB;   ///< local bit area of the runtime
extern PLC_EXPORT_DATA unsigned short *LW;  ///< local word area of the runtime
extern PLC_EXPORT_DATA unsigned short *RWI; ///< third area of the runtime, only kept
}

namespace plc {

/// @name Options in force
/// What SetComInfo decoded from the settings; see core/options.h.
/// @{
inline bool addressesAreOneBased()
{
    return PLC_driver.optBit0;
}
inline bool registerGoesAsBlock()
{
    return PLC_driver.optBit1;
}
inline bool bitComesFromMirror()
{
    return PLC_driver.optBit4;
}
inline bool registersGoSingly()
{
    return PLC_driver.optBit5;
}
inline bool coilsGoSingly()
{
    return PLC_driver.optBit6;
}
inline bool swapsRequestCrc()
{
    return PLC_driver.optBit7;
}
inline bool swapsReplyCrc()
{
    return PLC_driver.optBit8;
}
inline bool singleWritesGetNoReply()
{
    return PLC_driver.optBit9;
}
inline bool blockWritesGetNoReply()
{
    return PLC_driver.optBit10;
}
inline bool bitsAreNotPacked()
{
    return PLC_driver.optBit11;
}
/// @}

} // namespace plc

/// Copies @p var into the record that DataCom returns, without its data: values of a read are handed over by
/// the mirror only. Null does nothing. Caller holds listMutex when @p var lies in a list.
PLC_EXPORT void passRetValue(const RW_VAR *var);

namespace plc {

/// The transaction in progress, null for none. Cycle thread.
inline const Protocol *headTransaction()
{
    const QList<Protocol> &queue = PLC_driver.sendQueue;
    return queue.isEmpty() ? nullptr : &queue.first();
}

/// Appends a transaction for @p var to the send queue: its frame, to be sent whole, and a copy of the
/// variable. What its reply must look like is for the caller to say, in the record that is returned.
Protocol &queueTransaction(const RW_VAR &var, QByteArray frame);

/// Starts counting an operation of @p steps transactions. Does nothing without settings.
inline void beginOperation(int steps)
{
    if (!PLC_driver.comInfo)
        return;
    PLC_driver.comInfo->stepTotal = steps;
    PLC_driver.comInfo->stepDone = 0;
}

/// Moves the first entry of @p list, which must not be empty, behind the others.
inline void rotate(QList<RW_VAR> &list)
{
    list.move(0, list.size() - 1);
}

/// Brings writeCount up to date. Caller holds listMutex and has changed the write list.
inline void noteWriteCountLocked()
{
    PLC_driver.writeCount.store(PLC_driver.writeList.size());
}

/// Largest request of a word area in registers: COM_INFO::maxBlock, but never below 1.
int registerLimit();

/// Largest request of a bit area in bits: eight times registerLimit(), saturating.
int bitLimit();

/// Station that a variable is served at: its own, or the default when all variables share one.
int effectiveStation(int ownStation);

} // namespace plc

#endif
