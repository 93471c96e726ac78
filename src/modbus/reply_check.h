/// @file
/// Finding and judging the reply of the transaction at the head of the send queue.
#ifndef PLC_MODBUS_REPLY_CHECK_H
#define PLC_MODBUS_REPLY_CHECK_H

#include <QByteArray>

#include "core/export.h"

namespace plc {

/// What CheckGetData() says of a reply.
enum CheckResult
{
    kReject = 0,
    kAcceptAndStore = 1,
    kAcceptOnly = 2 ///< a write, or a station of 0, for which the reply is not looked at
};

} // namespace plc

/// Looks for the reply of the head transaction anywhere in @p received: same station and function code as the
/// request, complete, good CRC. The first match wins and the buffer is cut down to it. For the read half of a
/// bit write a frame without a whole register is no match, since the register is written back.
/// @return 1 when found; 0 when not (yet), with the buffer untouched. Exception replies never match.
/// Cycle thread, no lock.
PLC_EXPORT int check_data(QByteArray *received);

/// Checks station and CRC of @p reply against the head transaction's variable.
/// @param unused  any value.
/// @return a plc::CheckResult.
/// Cycle thread, no lock.
PLC_EXPORT int CheckGetData(QByteArray *reply, int unused);

/// Judges the reply of a local head transaction and stores its values. A reply with less data than was asked
/// for stores nothing and counts as accepted all the same.
/// @param length  bytes received, 0 for none; compared with the head's replyLen.
/// @return result code of GetDriverReturnValue().
/// Cycle thread; takes cacheMutex around storing. The caller holds listMutex when the head is the read half
/// of a read-modify-write.
PLC_EXPORT int DealDataOfLocalArea(QByteArray *reply, int length);

#endif
