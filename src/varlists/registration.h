/// @file
/// Registration of single variables. The AddList entry points are declared in plcdriver.h.
#ifndef PLC_VARLISTS_REGISTRATION_H
#define PLC_VARLISTS_REGISTRATION_H

#include <QList>

#include "core/records.h"

/// Converts a variable in place to the area that a request can read. Derived types are a bit in a register, a
/// 32-bit pair, a single or a block register.
/// @return 0; 1 for a type outside 0..9 or null, with the record unchanged.
/// No lock.
PLC_EXPORT int updateRwVar(RW_VAR *var);

namespace plc {

/// Most writes that are queued together.
constexpr int kMostSideBySide = 1024;

/// Queues writes as AddListWriteVar() does each of them with mode 0, but looks through the write list only
/// once.
/// @param writes  1 to kMostSideBySide of them; each address is @p step above the address before it.
/// @param step    1 and more.
/// @return length of the write list afterwards.
/// Takes listMutex. Throws when memory runs out; some of the writes may be queued then.
int queueWritesSideBySide(const QList<RW_VAR> &writes, int step);

} // namespace plc

#endif
