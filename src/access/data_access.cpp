#include <QMutexLocker>

#include <algorithm>
#include <climits>
#include <cstring>

#include "core/arithmetic.h"
#include "core/context.h"
#include "core/guarded.h"
#include "core/register_types.h"
#include "mirror/register_cache.h"
#include "plcdriver.h"
#include "varlists/address_text.h"
#include "varlists/registration.h"

namespace {

typedef QHash<quint64, QByteArray> Cache;

// Most 32-bit values in one request, whatever maxBlock says; deliberate, and below what a station must take.
constexpr int kPairLimit = 60;

// Number of 32-bit values in so many registers.
int pairsIn(int count)
{
    return static_cast<int>((static_cast<qint64>(count) + 1) / 2);
}

// Largest output: Qt needs some bytes of its own in the memory of an array, whose size is an int.
constexpr int kLongestOutput = INT_MAX - 64;

// Makes @p out that many zero bytes. False, with an empty array, when no array can be that long.
bool makeZeros(QByteArray *out, qint64 size)
{
    if (size > kLongestOutput) {
        out->clear();
        return false;
    }
    out->fill('\0', static_cast<int>(std::max<qint64>(size, 0)));
    return true;
}

// Copies the entry of a register, as far as there is one.
inline void copyEntry(const QByteArray &entry, char *to)
{
    if (entry.size() >= 2)
        std::memcpy(to, entry.constData(), 2);
    else
        to[0] = static_cast<char>(plc::byteAt(entry, 0));
}

void copyRegisterLocked(const Cache &cache, quint64 key, char *to)
{
    const Cache::const_iterator entry = cache.constFind(key);
    if (entry != cache.constEnd())
        copyEntry(*entry, to);
}

// Copies the entries of registers side by side, two bytes each. Most of a panel's reading happens here. So
// the look-up is inside the loop (flatten). A write to the output can change nothing that the loop reads
// (restrict, and a hash of its own that shares the mirror's nodes). A register costs 29 instructions on
// x86-64 instead of 47.
__attribute__((flatten)) void copyRunLocked(const Cache &mirror, quint64 key, char *__restrict to,
                                            qint64 count)
{
    const Cache cache = mirror; // NOLINT(performance-unnecessary-copy-initialization)
    const Cache::const_iterator none = cache.constEnd();
    for (char *const end = to + 2 * count; to != end; to += 2, ++key) {
        const Cache::const_iterator entry = cache.constFind(key);
        if (entry != none)
            copyEntry(*entry, to);
    }
}

// Where a read begins: the key of its area's element 0, and the address in elements.
struct Place
{
    int regType;
    quint64 area;
    int address;

    quint64 key(int element) const { return plc::elementKey(area, element); }
};

void readBitsLocked(const Cache &cache, const Place &from, char *to, int count)
{
    for (int i = 0; i < count; ++i) {
        const Cache::const_iterator entry = cache.constFind(from.key(plc::wrappingSum(from.address, i)));
        if (entry != cache.constEnd())
            to[i] = static_cast<char>(plc::byteAt(*entry, 0));
    }
}

void readBitsInRegistersLocked(const Cache &cache, const Place &from, char *to, int count)
{
    for (int i = 0; i < count; ++i) {
        const int bit = plc::wrappingSum(from.address, i);
        const Cache::const_iterator entry = cache.constFind(from.key(bit >> 4));
        if (entry != cache.constEnd())
            to[i] = static_cast<char>((plc::byteAt(*entry, (bit >> 3) & 1) >> (bit & 7)) & 1);
    }
}

// Addresses wrap behind the largest int.
void readRegistersLocked(const Cache &cache, const Place &from, char *to, int count)
{
    const qint64 straight =
        std::min<qint64>(std::max(count, 0), static_cast<qint64>(INT_MAX) - from.address + 1);
    copyRunLocked(cache, from.key(from.address), to, straight);
    if (straight < count)
        copyRunLocked(cache, from.key(INT_MIN), to + 2 * straight, count - straight);
}

void readPairsLocked(const Cache &cache, const Place &from, char *to, int pairs)
{
    for (int i = 0; i < pairs; ++i, to += 4) {
        const quint64 upper = from.key(plc::wrappingSum(from.address, 2 * i));
        copyRegisterLocked(cache, upper + 1, to);
        copyRegisterLocked(cache, upper, to + 2);
    }
}

bool readBitTypes(const Place &from, QByteArray *out, int count)
{
    if (!makeZeros(out, count))
        return false;
    QMutexLocker lock(&PLC_driver.cacheMutex);
    if (plc::isBitArea(from.regType))
        readBitsLocked(PLC_driver.registerCache, from, out->data(), count);
    else
        readBitsInRegistersLocked(PLC_driver.registerCache, from, out->data(), count);
    return true;
}

bool readRegisterTypes(const Place &from, QByteArray *out, int count)
{
    if (!makeZeros(out, 2 * static_cast<qint64>(count)))
        return false;
    QMutexLocker lock(&PLC_driver.cacheMutex);
    readRegistersLocked(PLC_driver.registerCache, from, out->data(), count);
    return true;
}

bool readPairTypes(const Place &from, QByteArray *out, int count)
{
    const int pairs = pairsIn(count);
    if (!makeZeros(out, 4 * static_cast<qint64>(pairs)))
        return false;
    QMutexLocker lock(&PLC_driver.cacheMutex);
    readPairsLocked(PLC_driver.registerCache, from, out->data(), pairs);
    return true;
}

bool readMirror(const Place &from, QByteArray *out, int count)
{
    switch (from.regType) {
    case plc::kCoil:
    case plc::kDiscreteInput:
    case plc::kInputRegisterBit:
    case plc::kHoldingRegisterBit:
        return readBitTypes(from, out, count);
    case plc::kInputRegisterPair:
    case plc::kHoldingRegisterPair:
        return readPairTypes(from, out, count);
    default:
        return readRegisterTypes(from, out, count);
    }
}

// @p size bytes of the runtime's values, zeros behind their end.
QByteArray valuesFrom(const QByteArray &values, int first, int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    const int present = std::max(0, std::min(size, values.size() - first));
    if (present > 0)
        std::memcpy(bytes.data(), values.constData() + first, static_cast<size_t>(present));
    if (present < size)
        std::memset(bytes.data() + present, 0, static_cast<size_t>(size - present));
    return bytes;
}

// Eight of the runtime's bytes in one. Deliberate: they are shifted as they are, so a 2 reaches into the next
// bit.
char packWholeGroup(const QByteArray &values, int first)
{
    unsigned packed = 0;
    for (int k = 0; k < 8; ++k)
        packed |= static_cast<unsigned>(plc::byteAt(values, first + k)) << k;
    return static_cast<char>(packed & 0xFFu);
}

char packLastGroup(const QByteArray &values, int first, int bits)
{
    unsigned packed = 0;
    for (int k = 0; k < bits; ++k)
        packed |= plc::byteAt(values, first + k) != 0 ? 1u << k : 0u;
    return static_cast<char>(packed);
}

QByteArray packBits(const QByteArray &values, int first, int bits)
{
    QByteArray packed((bits + 7) / 8, '\0');
    const int whole = bits / 8;
    for (int i = 0; i < whole; ++i)
        packed.data()[i] = packWholeGroup(values, first + 8 * i);
    if (bits % 8 != 0)
        packed.data()[whole] = packLastGroup(values, first + 8 * whole, bits % 8);
    return packed;
}

// How the values of an area go out in requests.
struct RequestLayout
{
    int limit;             // most values in one request
    int addressesPerValue; // 2 for 32-bit values
    QByteArray (*encode)(const QByteArray &values, int first, int count);
};

// One write of the runtime on its way into requests.
struct HostWrite
{
    RW_VAR request; // reused for every request
    const QByteArray &values;
    int queued; // length of the write list after the last request that was queued, -1 before

    explicit HostWrite(const QByteArray &hostValues) : values(hostValues), queued(-1) {}

    void emitAll(int count, const RequestLayout &layout)
    {
        if (count > layout.limit && PLC_driver.comInfo->writeMode == 2)
            return emitSideBySide(count, layout);
        for (int done = 0; done < count; done += request.count) {
            fillRequest(done, count, layout);
            emitRequest();
            advance(layout);
        }
    }

private:
    // With the values from the one at @p done on.
    void fillRequest(int done, int count, const RequestLayout &layout)
    {
        request.count = std::min(count - done, layout.limit);
        request.data = layout.encode(values, done, request.count);
    }

    void advance(const RequestLayout &layout)
    {
        request.address = plc::wrappingSum(request.address, request.count * layout.addressesPerValue);
    }

    // Requests are queued many at a time, since each time the whole write list is looked through.
    void emitSideBySide(int count, const RequestLayout &layout)
    {
        QList<RW_VAR> requests;
        for (int done = 0; done < count; done += request.count) {
            fillRequest(done, count, layout);
            requests.append(request);
            advance(layout);
            if (requests.size() == plc::kMostSideBySide) {
                queueRequests(requests, layout);
                requests.clear();
            }
        }
        if (!requests.isEmpty())
            queueRequests(requests, layout);
    }

    void queueRequests(QList<RW_VAR> &requests, const RequestLayout &layout)
    {
        queued = plc::queueWritesSideBySide(requests, layout.limit * layout.addressesPerValue);
        for (int i = 0; PLC_driver.failed.load() && i < requests.size(); ++i)
            WriteDataToLocal(&requests[i]);
    }

    void emitRequest()
    {
        if (PLC_driver.comInfo->writeMode != 2) {
            WriteDataToLocal(&request);
            return;
        }
        queued = AddListWriteVar(&request, 0);
        // After a failure the request builder leaves the mirror alone, so the value is shown from here.
        if (PLC_driver.failed.load())
            WriteDataToLocal(&request);
    }
};

QByteArray bitAt(const QByteArray &values, int first, int)
{
    return QByteArray(1, plc::byteAt(values, first) != 0 ? '\1' : '\0');
}

QByteArray registersFrom(const QByteArray &values, int first, int count)
{
    return valuesFrom(values, first * 2, count * 2);
}

QByteArray pairsFrom(const QByteArray &values, int first, int count)
{
    return valuesFrom(values, first * 4, count * 4);
}

// @p limit is that of registers. Read-only areas have no encoder.
RequestLayout layoutOf(int regType, int limit)
{
    switch (regType) {
    case plc::kCoil:
        return plc::coilsGoSingly() ? RequestLayout{1, 1, bitAt}
                                    : RequestLayout{plc::timesEight(limit), 1, packBits};
    case plc::kHoldingRegisterBit:
        return {1, 1, bitAt};
    case plc::kHoldingRegister:
        return {plc::registersGoSingly() ? 1 : limit, 1, registersFrom};
    case plc::kHoldingRegisterPair:
        return {std::min(limit, kPairLimit), 2, pairsFrom};
    case plc::kHoldingSingle:
    case plc::kHoldingBlock:
        return {1, 1, registersFrom};
    default:
        return {1, 1, nullptr};
    }
}

// Length of the write list without ever waiting for listMutex, which this very thread holds when it comes
// from a callback.
int writeListLength()
{
    if (!PLC_driver.listMutex.tryLock())
        return PLC_driver.writeCount.load();
    const int length = PLC_driver.writeList.size();
    PLC_driver.listMutex.unlock();
    return length;
}

} // namespace

int GetRegisterData(const QString &, int regType, const QString &addrText, int station, QByteArray *out,
                    int count)
{
    if (!out)
        return 0;
    const int result = plc::guarded(-1, [&] {
        const int address = PLC_driver.comInfo ? StringAddressToInt(regType, addrText) : -1;
        if (address < 0) {
            makeZeros(out, 2 * static_cast<qint64>(count));
            return 0;
        }
        const Place from = {regType, makeCacheKey(plc::effectiveStation(station), regType, 0), address};
        return readMirror(from, out, count) ? 1 : 0;
    });
    if (result >= 0)
        return result;
    out->clear();
    return 0;
}

int SetRegisterData(const QString &varName, int regType, const QString &addrText, int station,
                    QByteArray *data, int count, int hostId, int hostSubId)
{
    if (!data || !PLC_driver.comInfo || count > plc::kAreaSize)
        return 0;
    return plc::guarded(0, [&] {
        const int address = StringAddressToInt(regType, addrText);
        if (address < 0)
            return 0;
        HostWrite write(*data);
        write.request.hostId = hostId;
        write.request.hostSubId = hostSubId;
        write.request.direction = 1;
        write.request.linkMode = PLC_driver.comInfo->linkMode;
        write.request.linkId = PLC_driver.comInfo->linkId;
        write.request.varName = varName;
        write.request.addrText = addrText;
        write.request.regType = regType;
        write.request.address = address;
        write.request.station = plc::effectiveStation(station);
        // A maxBlock of 1 lets the runtime's writes go out whole.
        const int limit = plc::registerLimit();
        const RequestLayout layout = layoutOf(regType, limit == 1 ? std::max(count, 1) : limit);
        if (layout.encode)
            write.emitAll(layout.addressesPerValue == 2 ? pairsIn(count) : count, layout);
        return write.queued >= 0 ? write.queued : writeListLength();
    });
}
