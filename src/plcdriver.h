/// @file
/// START HERE: every name that a runtime may call, in the order in which it needs them.
///
/// A runtime loads `libplcdriver.so`, sets it up, registers variables, and then runs the cycle on its
/// communication thread: ComCommunication() gives the next request, the runtime transmits it, DataCom()
/// judges what came back. Meanwhile any thread reads and writes values with GetRegisterData() and
/// SetRegisterData().
///
/// Conventions of all entry points:
/// - Names are unmangled, but for the three at the end, and no exception leaves them. Out of memory, a call
///   is refused in its own way. A thread that is cancelled inside a call ends alone: the driver's locks are
///   released and other threads go on.
/// - A null pointer is refused, and so is every call before SetComInfo() that registers variables (but for
///   PassVarName()), runs the cycle or accesses data: the result is 0 or null and nothing is changed, but
///   that GetRegisterData() still fills its output with zeros. DataCom() always returns its record.
/// - Records handed in are copied; the driver never keeps or frees memory of the runtime, except that it
///   keeps the addresses given to SetComInfo() and FlashLocalRegister().
/// - "Cycle thread" is the one thread that calls ComCommunication() and DataCom().
/// - "Callback: no" marks the entry points that must not be called from a callback. Most of them take
///   `listMutex`, which the driver holds while it runs a callback: the call would wait for ever.
///
/// Values cross this interface in one layout: one byte, 0 or 1, per bit; two bytes per 16-bit register, low
/// byte first; four bytes per 32-bit value. Those of a value at register A are A+1 low, A+1 high, A low, A
/// high: the lower address holds the upper half.
#ifndef PLC_PLCDRIVER_H
#define PLC_PLCDRIVER_H

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include "core/context.h"
#include "core/export.h"
#include "core/options.h"
#include "core/records.h"
#include "core/register_types.h"
#include "core/result_codes.h"
#include "varlists/host_records.h"

extern "C" {

/// @name Set-up
/// Called before communication starts; none of them takes a lock, so no other thread may be inside the
/// driver.
/// @{

/// Hands over the settings record of the link and makes the driver ready.
///
/// Writes into the record: `maxBlock` is brought into 1..100, `reserved40` and `reserved52` become 0. Decodes
/// `options`; a later call decodes them again. These are read from the record at every use, so the runtime
/// may change them between two calls of the cycle: `maxBlock`, `stationMode`, `defaultStation`, `linkMode`,
/// `linkId`, `writeMode`, `retryLimit`, `callbackArg`.
/// @param info  stays the runtime's and must outlive the driver's use; null does nothing.
/// Before any variable is registered. Callback: no.
PLC_EXPORT void SetComInfo(COM_INFO *info);

/// Hands over the runtime's local memory areas.
/// @param bits   local bit area, only kept (global `LB`); may be null.
/// @param words  local word area (global `LW`), at least 50501 words or null. When the word at index 50500 is
///               not 0, its low byte replaces the station of every Modbus request; null means no override.
/// @param third  third area, only kept (global `RWI`); may be null.
/// Before the first request is built. Callback: no.
PLC_EXPORT void FlashLocalRegister(unsigned char *bits, unsigned short *words, unsigned short *third);

/// Registers the two callbacks; null for one that is not wanted.
///
/// Both run on the cycle thread inside DataCom() with `listMutex` held. What a callback throws ends there,
/// and the step goes on as if it had returned.
/// @param onResult   (`callbackArg` of the settings, `hostId`, `hostSubId`, outcome): a queued write or
///                   one-shot read has ended, outcome plc::kOutcomeDone or plc::kOutcomeFailed. Of several
///                   queued entries with the same two identifiers only the last reports success, and a
///                   failure of one discards the others.
/// @param onFailure  (an empty list that stays the driver's, `hostId` of the result record, 1): after every
///                   transaction that failed for good.
PLC_EXPORT void RegistCallBackFuncIntf(ResultCallback onResult, FailureCallback onFailure);

/// Whether background work is finished: always 1, the driver has none. Any thread. Callback: yes.
PLC_EXPORT int QueryFinishFlag();

/// @}
/// @name Cycle
/// Cycle thread only. Callback: no.
/// @{

/// Gives the transaction to carry out now: the one in progress if there is one, otherwise the next one. It is
/// chosen among at most five writes in a row, then at most five one-shot reads, then one cyclic read. Cyclic
/// reads have four priority levels, which are served at rates of their own. Writes and one-shot reads of
/// switched-off stations are dropped without a report.
/// @param ignored  any value.
/// @return the record whose first `sendLen` bytes of `frame` are to be transmitted; null when there is
///         nothing to do (then `scanDone` is 1, unless SetComInfo() was not called or memory has run out).
///         The record stays the driver's and is gone as soon as DataCom() has finished or failed the step.
/// Takes `listMutex` when it has to choose.
PLC_EXPORT Protocol *ComCommunication(int ignored);

/// Judges what has been received for the transaction in progress.
///
/// Modbus requests: while `replyLen` of the transaction is -1, call with the bytes received so far as they
/// arrive; once a reply was found (status 1, `replyLen` is its length) the buffer holds exactly that reply
/// and one more call finishes the step. A reply to a read with less data than was asked for stores nothing
/// and counts as done. Only the reply to the read half of a bit write is passed over when it lacks the
/// register: that would be written back as zeros. An empty buffer means that the wait has run out, and counts
/// as a failed attempt each time. Relay requests: call once, with the whole reply, or empty after the wait
/// has run out.
/// @param reply   bytes received so far, may be changed (noise around the reply is cut off); null counts as
///                empty.
/// @param length  size of the buffer handed in with this call; 0 when nothing was received.
/// @return always the same record, the driver's own, with empty `data`. After a completed operation its
///         fields are those of the operation's variable. Its `status` (names in core/result_codes.h):
///         - plc::kResultPending, 0: nothing finished. More bytes are needed; or, after an empty or bad
///           reply, the same request is to be sent again.
///         - plc::kResultDone, 1: reply found, or step done.
///         - plc::kResultDoneWithoutData, 100: step done with nothing to store.
///         - plc::kResultNoReply, 41: a Modbus request got no reply at all.
///         - 11..22: bad reply; 41..52: no reply although its length was known; 71..82: another length than
///           was known. 111..122, 141..152 and 171..182: the same three for an operation of another `linkId`.
///           Bands (plc::kBandBadReply and the like) begin at the first code; a `hostId` of 1 to 11 is added
///           to that.
///         - plc::kResultUnknownVerdict, 200: any other verdict.
/// Takes `listMutex` for completion (and for a read-modify-write's first reply), `cacheMutex` while values
/// are stored.
PLC_EXPORT RW_VAR *DataCom(QByteArray *reply, int length);

/// @}
/// @name Data
/// Any thread, also while the cycle runs.
/// @{

/// Reads values from the mirror; causes no traffic. Elements never read nor written are 0.
/// @param varName   not used.
/// @param regType   register type code 0..9.
/// @param addrText  address as typed on the panel, see PLCAddressChangeIntef().
/// @param station   station number; ignored when `stationMode` is 0.
/// @param out       gets the values. Types 0 to 3 have `count` bytes, types 4, 5, 8 and 9 two bytes a
///                  register. Types 6 and 7 have 4 bytes for each of (`count` + 1) / 2 values. Null is
///                  refused.
/// @param count     bits or 16-bit registers; below 1 nothing is transferred. Time and memory grow with it.
/// @return 1, or 0. An address that does not parse gives 0, and `out` is `count` * 2 zero bytes. Output that
///         would not fit a byte array gives 0, and `out` is empty.
/// Takes `cacheMutex`. Callback: yes.
PLC_EXPORT int GetRegisterData(const QString &varName, int regType, const QString &addrText, int station,
                               QByteArray *out, int count);

/// Writes values: queues write requests no larger than the link allows when `writeMode` is 2, otherwise
/// changes only the mirror. A queued write is shown in the mirror when its request is built or, after a
/// failed transaction, at once; in both cases before the station has taken it.
/// @param varName    carried in the requests, not interpreted.
/// @param regType    0, 3, 5, 7, 8 or 9; any other code is accepted and does nothing (read-only areas),
///                   whatever the result says.
/// @param addrText   address as typed on the panel.
/// @param station    station number; ignored when `stationMode` is 0. 0 broadcasts.
/// @param data       new values in the layout above (one byte per bit for types 0 and 3); missing bytes count
///                   as 0. Coils must be 0 or 1: they are packed as they are. Read only; null is refused.
/// @param count      bits, or 16-bit registers (type 7: two per value); below 1 nothing is written, above
///                   65536, as many as an area has registers or coils, the write is refused.
/// @param hostId     identifiers that come back in the completion callback.
/// @param hostSubId  see @p hostId.
/// @return number of entries in the write list afterwards; 0 when the write is refused or the address does
///         not parse.
/// Takes `listMutex` when it queues (`writeMode` 2), `cacheMutex` when it changes the mirror, never both at
/// once. Callback: only while `writeMode` is not 2.
PLC_EXPORT int SetRegisterData(const QString &varName, int regType, const QString &addrText, int station,
                               QByteArray *data, int count, int hostId, int hostSubId);

/// @}
/// @name Variables
/// @{

/// Replaces the cyclic reads by requests that cover all @p variables. They are as few as the settings allow,
/// and ordered by station, area and address. Requests that cover a priority address (PassVarName()) are
/// served at the rate of their level instead of in turn, unless few others are left.
/// @param variables  read only, not kept; may be changed as soon as the call returns. Null is refused. Null
///                   elements, unknown types, addresses that do not parse and station 0 are left out. So is a
///                   variable that would need more than 65536 requests.
/// @return number of cyclic reads, those of the priority levels not counted; 0 for an empty list, which
///         empties the cyclic reads and leaves the priority levels as they are.
/// Any thread, also while the cycle runs. Takes `listMutex` for the whole rebuild. Callback: no.
PLC_EXPORT int ReCreatReadVarList(QList<HostVariable *> *variables);

/// Adds the priority addresses of a table of variable names; the next ReCreatReadVarList() heeds them.
/// Nothing ever removes them.
///
/// A row counts when it has at least 10 texts, the ninth is a level from 1 to 4, and the last is a name. A
/// name begins with "4x_d", "3x_d", "4x_bit", "3x_bit", "4x", "3x", "0x" or "1x", in capitals or not, and a
/// number. What follows the first "." is ignored. Numbers of coils and inputs are divided by 8. The one-based
/// option does not apply.
/// @param rows  read only, not kept. Null does nothing; null elements are skipped.
/// Any thread, takes `listMutex`. Callback: no.
PLC_EXPORT void PassVarName(QList<NameRow *> *rows);

/// Converts an address as typed on the panel into the driver's number.
///
/// Types 2 and 3 take "register.bit" and give register * 16 + bit. A part that is not a number counts as 0; a
/// bit above 15 reaches into the following registers. All other types take one decimal number. With option
/// bit 0 addresses are typed one-based: one is subtracted from register numbers of 1 or more.
/// @return the number; negative for a text that is no address, -1 for a type outside 0..9.
/// Any thread, takes no lock. Callback: yes.
PLC_EXPORT int PLCAddressChangeIntef(int regType, QString text);

/// Appends a copy of @p var to the cyclic reads as it is: `regType` (0, 1, 4 or 5), `address`, `station` and
/// `count` must be set. Lasts until the next rebuild of the read list.
/// @return length of the read list afterwards; 0 for null.
/// Takes no lock: not while the cycle or a rebuild may run on another thread. Callback: yes.
PLC_EXPORT int AddListReadVar(RW_VAR *var);

/// Queues a write.
/// @param var   copied. `regType`, `address`, `station`, `count` and `data` must be set; `data` is sent as it
///              is.
/// @param mode  1 appends. Any other value merges. A pending write behind the first one with the same
///              station, type, address and count is overwritten in place. A list of 1024 entries takes no new
///              one.
/// @return length of the write list afterwards; 0 for null.
/// Any thread, takes `listMutex`. Callback: no.
PLC_EXPORT int AddListWriteVar(RW_VAR *var, int mode);

/// Queues a one-shot read.
/// @param var   copied. With @p mode 1 as for AddListReadVar(). Otherwise `addrText`, `regType`, `station`
///              and `count` must be set, and the record is changed: it is converted to the area that a
///              request can read and afterwards holds the last piece's `count` and the `address` behind it.
/// @param mode  1 appends the record as it is. Any other value parses the address, splits the count into
///              requests of at most `maxBlock` registers (eight times as many bits; single bits with option
///              bit 11), leaves out pieces that are queued already, and drops pieces beyond 1024 entries.
/// @return length of the one-shot list afterwards; 0 when refused: null, unknown type, bad address, station
///         0.
/// Any thread, takes `listMutex`. Callback: no.
PLC_EXPORT int AddListOnceReadVar(RW_VAR *var, int mode);

/// @}
/// @name Stations
/// Any thread; take `stationMutex`. Callback: yes.
/// @{

/// Switches communication with a station off (@p enable 0) or on (1); other values do nothing. A negative
/// station switches all stations on, whatever @p enable is.
PLC_EXPORT void EnCommStation(int station, int enable);

/// A second name of EnCommStation().
PLC_EXPORT void EnableEthernet(int station, int enable);

/// @}
/// @name Helpers
/// Any thread, no lock. Callback: yes. All but the last are pure functions.
/// @{

/// CRC-16 over @p length bytes (MODBUS over Serial Line V1.02, 6.2.2), as a number: on the line its low byte
/// goes first. 0xFFFF for a length of 0 or a null buffer.
PLC_EXPORT unsigned short CalCRC(unsigned char *buffer, unsigned short length);

/// Sum of @p length bytes modulo 65536; 0 for a null buffer.
PLC_EXPORT unsigned short CalSUM(unsigned char *buffer, unsigned short length);

/// 256 minus the low byte of the sum of @p length bytes: 1..256, deliberately not reduced to a byte. 256 for
/// a length of 0 or a null buffer.
PLC_EXPORT int CalLRC(unsigned char *buffer, unsigned short length);

/// XOR of @p length bytes. The first byte is read whatever the length is, so a length of 0 gives it too; 0
/// for a null buffer.
PLC_EXPORT unsigned short CalXOR(unsigned char *buffer, unsigned short length);

/// Character code of a hexadecimal digit: @p value + 0x30 up to 9, @p value + 0x37 above; not range-checked.
PLC_EXPORT int DigitalToASCII(int value);

/// Value of a hexadecimal digit: 0 up to '/', code - 0x30 up to '?', 0 for '@', code - 0x37 above; small
/// letters are not folded.
PLC_EXPORT int ASCIIToDigital(int code);

/// Message handler of the shape that Qt 4 installs: appends "time:message" and a newline to "/tmp/debug.log",
/// whatever the type; a file that cannot be opened is passed over in silence. The driver itself never calls
/// it. Any thread, no lock. Callback: yes.
PLC_EXPORT void customMessageHandler(QtMsgType type, const char *message);

/// @}

} // extern "C"

/// @name Grouping utilities
/// For a runtime that groups variables into lists of its own; the driver does not call them. A program that
/// is linked with the library calls them by these C++ names. Each can also be looked up under its plain name,
/// such as "speed_insert", with the same arguments and result.
///
/// A unit is a bit in bit areas and a 16-bit register in word areas. A unit limit below 1 counts as 1. What
/// would be split into more than 65536 requests, as many as an area has elements, is a mistake and appends
/// nothing. Out of memory, what was appended by then stays.
///
/// Any thread, no lock: they work on the caller's lists alone. Callback: yes.
/// @{

/// Appends the requests that read all entries of @p bucket to the end of @p out.
///
/// With a limit of 1 nothing is packed: one request for each distinct address, with the largest count found
/// there, never split. With any other limit an entry joins the last request, gaps included, when it starts
/// less than the limit behind the request's start. Requests are split into pieces of at most the limit. The
/// last entry of @p out counts as the last request only when this call appended it.
/// @param bucket     entries of one station and area, sorted by address; null does nothing.
/// @param unitLimit  most units in one request.
PLC_EXPORT void BitVarReCreat_2(QList<RW_VAR> *bucket, int unitLimit, QList<RW_VAR> &out);

/// Appends @p var to @p out, split into pieces of at most @p unitLimit when @p count is larger. `var->count`
/// is not looked at; after a split @p var holds the last piece. A null pointer appends nothing.
PLC_EXPORT void WhetherGroup(int count, int unitLimit, RW_VAR *var, QList<RW_VAR> *out);

/// Keeps one record per key.
/// @return 0 when @p var was inserted; 1 when the key is there already, or memory has run out, and nothing
///         was changed.
PLC_EXPORT int speed_insert(QString key, RW_VAR var, QHash<QString, RW_VAR> &records);

/// @}

#endif
