/// @file
/// Judging replies that belong to another link.
#ifndef PLC_RELAY_RELAY_REPLY_H
#define PLC_RELAY_RELAY_REPLY_H

#include <QByteArray>

#include "core/export.h"

/// Judges the reply of a head transaction whose linkId is not that of the settings. Values are not stored:
/// they belong to the link that asked. Only the first half of a read-modify-write is used.
/// @param length  bytes received, 0 for none; must equal the head's replyLen.
/// @return result code of GetDriverReturnValue().
/// Cycle thread; the caller holds listMutex when the head is the first half of a read-modify-write.
PLC_EXPORT int DealDataOfRemoteArea(QByteArray *reply, int length);

#endif
