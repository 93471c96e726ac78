/// @file
/// The mirror of every bit and register that was read or written.
///
/// Key of one element, 64 bits:
///
///     63      56 55       48 47     32 31             0
///    | station  | base type |    0    | element address |
///
/// A bit is an entry of one byte, 0 or 1; a register is an entry of two, low byte first.
#ifndef PLC_MIRROR_REGISTER_CACHE_H
#define PLC_MIRROR_REGISTER_CACHE_H

#include <QByteArray>
#include <QtGlobal>

#include "core/context.h"
#include "core/records.h"

/// Key of an element. The station keeps its low 8 bits, so stations 1 and 257 share entries. The address is
/// sign-extended: a negative one covers station and type, so callers reject it before. The element behind it
/// has the key + 1. For bits inside registers @p address is the register number.
PLC_EXPORT quint64 makeCacheKey(int station, int regType, int address);

/// Shows the values of a write request in the mirror, by its regType, address, station, count and data;
/// read-only and unknown types change nothing. Missing bytes are 0. Null does nothing. Takes cacheMutex.
PLC_EXPORT void WriteDataToLocal(RW_VAR *var);

namespace plc {

/// Byte @p index of @p bytes, 0 beyond its end.
inline uchar byteAt(const QByteArray &bytes, int index)
{
    return index >= 0 && index < bytes.size() ? static_cast<uchar>(bytes.constData()[index]) : uchar(0);
}

/// Key of an element of the area whose element 0 has the key @p area: makeCacheKey() without doing the area
/// again.
inline quint64 elementKey(quint64 area, int address)
{
    return area | static_cast<quint64>(static_cast<qint64>(address));
}

/// The entry for a key, made if need be and at least @p size bytes long; new bytes are 0. Caller holds
/// cacheMutex.
inline QByteArray &entryLocked(quint64 key, int size)
{
    QByteArray &entry = PLC_driver.registerCache[key];
    if (entry.size() < size)
        entry.append(QByteArray(size - entry.size(), '\0'));
    return entry;
}

/// Writes both bytes of a register's entry in place. Caller holds cacheMutex.
void storeRegisterLocked(quint64 key, quint16 value);

/// Writes @p registers entries side by side from @p data, which has two bytes for each, high byte first as on
/// the line. None when @p registers is below 1. Caller holds cacheMutex.
void storeRunLocked(quint64 key, const uchar *data, int registers);

/// Writes @p bitCount entries from the bits of @p bytes, counted from byte @p first, eight to a byte, lowest
/// bit first. Caller holds cacheMutex.
void storeBitsLocked(quint64 key, const QByteArray &bytes, int first, int bitCount);

} // namespace plc

#endif
