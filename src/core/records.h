/// @file
/// The records that cross the border between a runtime and the driver.
#ifndef PLC_CORE_RECORDS_H
#define PLC_CORE_RECORDS_H

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <cstddef>

#include "core/export.h"

namespace plc {

/// RW_VAR::status of a cyclic read that has been turned into a transaction and waits for its completion.
constexpr qint32 kPending = -1;
/// RW_VAR::status of a cyclic read that waits for its turn.
constexpr qint32 kIdle = 0;
/// RW_VAR::relayArg1 of the read half of a read-modify-write.
constexpr qint32 kReadHalf = -1;
/// Protocol::replyLen while no reply has been accepted.
constexpr qint32 kReplyOpen = -1;

} // namespace plc

/// One variable request: what to read or write, where, and the values. Copied freely; the strings and the
/// byte array share their contents between copies.
struct PLC_EXPORT RW_VAR
{
    /// First identifier that the runtime gives a request; comes back in the completion callback and selects
    /// the offset added to error codes. 0 in the grouped cyclic reads that the driver builds.
    qint32 hostId;
    /// Second identifier of the runtime; comes back in the completion callback. -1 in grouped cyclic reads.
    qint32 hostSubId;
    /// 0 = read, 1 = write.
    qint32 direction;
    /// COM_INFO::linkMode when the record was made.
    qint32 linkMode;
    /// COM_INFO::linkId when the record was made. A transaction whose linkId equals the current one is local
    /// and its values are stored; any other is relayed.
    qint32 linkId;
    /// In the read list: -1 = turned into a transaction that is not complete yet, 0 = idle. In the record
    /// that DataCom returns: the result code of that call.
    qint32 status;
    /// Text of the runtime, carried along and never interpreted.
    QString varName;
    /// The address as typed on the panel; parsed into #address when a variable is registered.
    QString addrText;
    /// Register type code 0..9, see core/register_types.h.
    qint32 regType;
    /// Start address: bit number in bit areas, register number in word areas, register * 16 + bit for bits
    /// inside registers.
    qint32 address;
    /// Station number, 1 to 247 on the line; 0 broadcasts a write.
    qint32 station;
    /// Number of bits (bit areas) or 16-bit registers (word areas). A 32-bit write built by SetRegisterData
    /// counts values.
    qint32 count;
    /// First value carried in a relay frame. -1 marks the read half of a read-modify-write.
    qint32 relayArg1;
    /// Second value carried in a relay frame.
    qint32 relayArg2;
    /// For a write, the bytes to send in the runtime's layout: bits packed eight to a byte, registers low
    /// byte first.
    QByteArray data;

    RW_VAR()
        : hostId(0), hostSubId(0), direction(0), linkMode(0), linkId(0), status(0), regType(0), address(0),
          station(0), count(0), relayArg1(0), relayArg2(0)
    {}
};

/// One queued transaction: the request frame and what its reply must look like.
struct PLC_EXPORT Protocol
{
    /// The complete request bytes, checksum included.
    QByteArray frame;
    /// Number of bytes of #frame to transmit.
    qint32 sendLen;
    /// Bytes of the reply. Modbus requests: -1 until a reply has been accepted, then its length; 0 when none
    /// is expected. Relay requests: the expected length from the start.
    qint32 replyLen;
    /// Bytes in front of the data of a good reply: 3 for a read, 0 for a write.
    qint32 headerLen;
    /// Data bytes that a good reply carries.
    qint32 dataLen;
    /// The variable request that produced this transaction.
    RW_VAR var;
    /// Reserved, always 0.
    qint32 spare1;
    /// Reserved, always 0.
    qint32 spare2;
    /// Reserved, always 0.
    qint32 spare3;

    Protocol() : sendLen(0), replyLen(0), headerLen(0), dataLen(0), spare1(0), spare2(0), spare3(0) {}
};

/// The runtime's settings record for one serial link. The runtime allocates it and keeps it alive as long as
/// the driver is loaded. The driver touches the named fields only; the members called runtimeWord are the
/// runtime's own.
struct COM_INFO
{
    qint32 runtimeWords0[4];
    /// Offset 16. Most 16-bit registers in one request, 1 to 100 (SetComInfo corrects values outside); bit
    /// areas use eight times as many bits. 1 switches packing off and lets host writes go out unsplit.
    qint32 maxBlock;
    qint32 runtimeWord20;
    /// Offset 24. Station of every variable when #stationMode is 0.
    qint32 defaultStation;
    /// Offset 28. Failed attempts (time-outs, bad replies) tolerated for one transaction.
    qint32 retryLimit;
    /// Offset 32, written by the driver: failed attempts so far; cleared only when the limit is exceeded.
    qint32 retryCount;
    /// Offset 36. 0 = all variables use #defaultStation, otherwise each carries its own station.
    qint32 stationMode;
    /// Offset 40, set to 0 by SetComInfo.
    qint32 reserved40;
    /// Offset 44, written by the driver: transactions of the operation in progress (2 for a
    /// read-modify-write).
    qint32 stepTotal;
    /// Offset 48, written by the driver: transactions of the operation completed so far.
    qint32 stepDone;
    /// Offset 52, set to 0 by SetComInfo.
    qint32 reserved52;
    /// Offset 56. 0 = Modbus RTU frames, otherwise relay frames.
    qint32 linkMode;
    /// Offset 60. Identifier of this link, copied into every request.
    qint32 linkId;
    /// Offset 64. 2 = SetRegisterData queues writes; otherwise it only changes the mirror.
    qint32 writeMode;
    /// Offset 68, written by the driver: 1 once every cyclic read was served since the last rebuild and
    /// whenever there was nothing to send; 0 after a failure and after a rebuild.
    qint32 scanDone;
    /// Offset 72. First argument of the completion callback.
    qint32 callbackArg;
    qint32 runtimeWords76[3];
    /// Offset 88. Option bits, see core/options.h.
    quint32 options;
};

static_assert(offsetof(COM_INFO, maxBlock) == 16, "the runtime keeps maxBlock here");
static_assert(offsetof(COM_INFO, defaultStation) == 24, "the runtime keeps defaultStation here");
static_assert(offsetof(COM_INFO, retryLimit) == 28, "the runtime keeps retryLimit here");
static_assert(offsetof(COM_INFO, retryCount) == 32, "the runtime keeps retryCount here");
static_assert(offsetof(COM_INFO, stationMode) == 36, "the runtime keeps stationMode here");
static_assert(offsetof(COM_INFO, reserved40) == 40, "the runtime keeps reserved40 here");
static_assert(offsetof(COM_INFO, stepTotal) == 44, "the runtime keeps stepTotal here");
static_assert(offsetof(COM_INFO, stepDone) == 48, "the runtime keeps stepDone here");
static_assert(offsetof(COM_INFO, reserved52) == 52, "the runtime keeps reserved52 here");
static_assert(offsetof(COM_INFO, linkMode) == 56, "the runtime keeps linkMode here");
static_assert(offsetof(COM_INFO, linkId) == 60, "the runtime keeps linkId here");
static_assert(offsetof(COM_INFO, writeMode) == 64, "the runtime keeps writeMode here");
static_assert(offsetof(COM_INFO, scanDone) == 68, "the runtime keeps scanDone here");
static_assert(offsetof(COM_INFO, callbackArg) == 72, "the runtime keeps callbackArg here");
static_assert(offsetof(COM_INFO, options) == 88, "the runtime keeps options here");
static_assert(sizeof(COM_INFO) == 92, "the driver knows nothing behind the options");

// Behind the first QString or QByteArray an offset depends on the size of a pointer, which each of them is.
static_assert(sizeof(QString) == sizeof(void *) && sizeof(QByteArray) == sizeof(void *),
              "the offsets below count in pointers");
static_assert(offsetof(RW_VAR, hostId) == 0, "the runtime keeps hostId here");
static_assert(offsetof(RW_VAR, hostSubId) == 4, "the runtime keeps hostSubId here");
static_assert(offsetof(RW_VAR, direction) == 8, "the runtime keeps direction here");
static_assert(offsetof(RW_VAR, linkMode) == 12, "the runtime keeps linkMode here");
static_assert(offsetof(RW_VAR, linkId) == 16, "the runtime keeps linkId here");
static_assert(offsetof(RW_VAR, status) == 20, "the runtime keeps status here");
static_assert(offsetof(RW_VAR, varName) == 24, "the runtime keeps varName here");
static_assert(offsetof(RW_VAR, addrText) == 24 + sizeof(void *), "the runtime keeps addrText here");
static_assert(offsetof(RW_VAR, regType) == 24 + 2 * sizeof(void *), "the runtime keeps regType here");
static_assert(offsetof(RW_VAR, address) == 28 + 2 * sizeof(void *), "the runtime keeps address here");
static_assert(offsetof(RW_VAR, station) == 32 + 2 * sizeof(void *), "the runtime keeps station here");
static_assert(offsetof(RW_VAR, count) == 36 + 2 * sizeof(void *), "the runtime keeps count here");
static_assert(offsetof(RW_VAR, relayArg1) == 40 + 2 * sizeof(void *), "the runtime keeps relayArg1 here");
static_assert(offsetof(RW_VAR, relayArg2) == 44 + 2 * sizeof(void *), "the runtime keeps relayArg2 here");
static_assert(offsetof(RW_VAR, data) == 48 + 2 * sizeof(void *), "the runtime keeps data here");
static_assert(sizeof(RW_VAR) == 48 + 3 * sizeof(void *), "the runtime copies records of this size");

static_assert(offsetof(Protocol, frame) == 0, "the runtime finds the frame here");
static_assert(offsetof(Protocol, sendLen) == sizeof(void *), "the runtime finds sendLen here");
static_assert(offsetof(Protocol, replyLen) == 4 + sizeof(void *), "the runtime finds replyLen here");
static_assert(offsetof(Protocol, headerLen) == 8 + sizeof(void *), "the runtime finds headerLen here");
static_assert(offsetof(Protocol, dataLen) == 12 + sizeof(void *), "the runtime finds dataLen here");
static_assert(offsetof(Protocol, var) == 16 + sizeof(void *), "the runtime finds the variable here");
static_assert(offsetof(Protocol, spare1) == 64 + 4 * sizeof(void *), "the runtime finds spare1 here");
static_assert(offsetof(Protocol, spare2) == 68 + 4 * sizeof(void *), "the runtime finds spare2 here");
static_assert(offsetof(Protocol, spare3) == 72 + 4 * sizeof(void *), "the runtime finds spare3 here");
static_assert(sizeof(Protocol) == (sizeof(void *) == 4 ? 92 : 112),
              "the runtime copies records of this size");

/// Element of a list that the driver keeps for the runtime's sake and never fills.
struct PLC_EXPORT EXTENDVAR
{};

#endif
