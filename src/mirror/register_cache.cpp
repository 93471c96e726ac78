#include "mirror/register_cache.h"

#include <QMutexLocker>

#include <algorithm>
#include <cstddef>

#include "core/byte_order.h"
#include "core/register_types.h"

namespace {

constexpr int kStationShift = 56;
constexpr int kBaseTypeShift = 48;

typedef QHash<quint64, QByteArray> Mirror;

inline void putRegister(QByteArray &entry, quint16 value)
{
    plc::putLe16(reinterpret_cast<uchar *>(entry.data()), value);
}

// Register @p index of values in the runtime's layout; missing bytes are 0.
quint16 hostRegister(const QByteArray &data, int index)
{
    const uchar bytes[2] = {plc::byteAt(data, 2 * index), plc::byteAt(data, 2 * index + 1)};
    return plc::getLe16(bytes);
}

void storeRegistersLocked(quint64 key, const QByteArray &data)
{
    for (int i = 0; 2 * i < data.size(); ++i, ++key)
        plc::storeRegisterLocked(key, hostRegister(data, i));
}

// The register with the lower address holds the upper half of the value.
void storePairsLocked(quint64 key, const QByteArray &data)
{
    for (int i = 0; 2 * i < data.size(); i += 2, key += 2) {
        plc::storeRegisterLocked(key + 1, hostRegister(data, i));
        plc::storeRegisterLocked(key, hostRegister(data, i + 1));
    }
}

// A register that was never seen gets both its bytes.
void storeBitInRegisterLocked(const RW_VAR &var)
{
    const quint64 key = makeCacheKey(var.station, var.regType, var.address >> 4);
    const int index = (var.address >> 3) & 1;
    const int mask = 1 << (var.address & 7);
    QByteArray &entry = plc::entryLocked(key, PLC_driver.registerCache.contains(key) ? index + 1 : 2);
    const int old = plc::byteAt(entry, index);
    const int changed = plc::byteAt(var.data, 0) == 0 ? old & ~mask : old | mask;
    entry.data()[index] = static_cast<char>(changed);
}

} // namespace

quint64 makeCacheKey(int station, int regType, int address)
{
    const quint64 area = (static_cast<quint64>(station & 0xFF) << kStationShift) |
                         (static_cast<quint64>(getPlcReg(regType) & 0xFF) << kBaseTypeShift);
    return plc::elementKey(area, address);
}

void WriteDataToLocal(RW_VAR *var)
{
    if (!var)
        return;
    const quint64 key = makeCacheKey(var->station, var->regType, var->address);
    QMutexLocker lock(&PLC_driver.cacheMutex);
    switch (var->regType) {
    case plc::kCoil:
        // A larger count is a mistake that would fill the memory with entries of bits that no station has.
        plc::storeBitsLocked(key, var->data, 0, std::min(var->count, plc::kAreaSize));
        return;
    case plc::kHoldingRegisterBit:
        storeBitInRegisterLocked(*var);
        return;
    case plc::kHoldingRegister:
    case plc::kHoldingSingle:
    case plc::kHoldingBlock:
        storeRegistersLocked(key, var->data);
        return;
    case plc::kHoldingRegisterPair:
        storePairsLocked(key, var->data);
        return;
    default: // read-only areas and unknown codes have nothing to show
        return;
    }
}

// Not inline: it would make the loop below larger, which hardly ever needs it.
__attribute__((noinline)) void plc::storeRegisterLocked(quint64 key, quint16 value)
{
    putRegister(entryLocked(key, 2), value);
}

// Most of a cyclic read happens here, nearly always in entries that are there: the look-up is part of the
// loop (flatten), what makes entries is not.
__attribute__((flatten)) void plc::storeRunLocked(quint64 key, const uchar *data, int registers)
{
    Mirror &mirror = PLC_driver.registerCache;
    mirror.end(); // not const: the mirror is its own from here on, and so are the entries found below
    const Mirror &present = mirror;
    for (const uchar *const end = data + 2 * static_cast<std::ptrdiff_t>(std::max(registers, 0)); data != end;
         data += 2, ++key) {
        const Mirror::const_iterator entry = present.constFind(key);
        if (entry != present.constEnd() && entry->size() >= 2)
            putRegister(const_cast<QByteArray &>(*entry), getBe16(data));
        else
            storeRegisterLocked(key, getBe16(data));
    }
}

void plc::storeBitsLocked(quint64 key, const QByteArray &bytes, int first, int bitCount)
{
    for (int i = 0; i < bitCount; ++i, ++key)
        entryLocked(key, 1).data()[0] = static_cast<char>((byteAt(bytes, first + (i >> 3)) >> (i & 7)) & 1);
}
