#include "mirror/register_cache.h"

#include <QMutexLocker>

#include <algorithm>

#include "core/register_types.h"

namespace {

constexpr int kStationShift = 56;
constexpr int kBaseTypeShift = 48;

void storeRegistersLocked(quint64 key, const QByteArray &data)
{
    for (int i = 0; i < data.size(); i += 2, ++key)
        plc::storeRegisterLocked(key, plc::byteAt(data, i), plc::byteAt(data, i + 1));
}

// The register with the lower address holds the upper half of the value.
void storePairsLocked(quint64 key, const QByteArray &data)
{
    for (int i = 0; i < data.size(); i += 4, key += 2) {
        plc::storeRegisterLocked(key + 1, plc::byteAt(data, i), plc::byteAt(data, i + 1));
        plc::storeRegisterLocked(key, plc::byteAt(data, i + 2), plc::byteAt(data, i + 3));
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

void plc::storeBitsLocked(quint64 key, const QByteArray &bytes, int first, int bitCount)
{
    for (int i = 0; i < bitCount; ++i, ++key)
        entryLocked(key, 1).data()[0] = static_cast<char>((byteAt(bytes, first + (i >> 3)) >> (i & 7)) & 1);
}
