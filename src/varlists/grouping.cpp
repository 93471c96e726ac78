#include "varlists/grouping.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

#include "core/arithmetic.h"
#include "core/context.h"
#include "core/guarded.h"
#include "core/register_types.h"
#include "plcdriver.h"

namespace {

bool hasLowerAddress(const RW_VAR &a, const RW_VAR &b)
{
    return a.address < b.address;
}

qint64 endOf(const RW_VAR &var)
{
    return static_cast<qint64>(var.address) + var.count;
}

// A mistake of the runtime that would fill the memory with requests.
bool isTooLong(qint64 units, int limit)
{
    return (units + limit - 1) / limit > plc::kAreaSize;
}

// Appends @p units units from @p start on as copies of @p pattern, each at most @p limit long.
void appendPieces(QList<RW_VAR> &out, const RW_VAR &pattern, int start, qint64 units, int limit)
{
    RW_VAR piece = pattern;
    for (qint64 done = 0; done < units; done += piece.count) {
        piece.address = plc::wrappingSum(start, static_cast<int>(done));
        piece.count = static_cast<int>(std::min<qint64>(units - done, limit));
        out.append(piece);
    }
}

// Makes the last request of @p out reach up to @p end.
void extendLast(QList<RW_VAR> &out, qint64 end, int limit)
{
    const int start = out.last().address;
    const qint64 span = end - start;
    const int first = static_cast<int>(std::min<qint64>(span, limit));
    out.last().count = first;
    if (span == first)
        return;
    const RW_VAR pattern = out.last();
    appendPieces(out, pattern, plc::wrappingSum(start, first), span - first, limit);
}

// Gaps between variables are read along: one request with unused registers is cheaper than two.
void packEntry(QList<RW_VAR> &out, const RW_VAR &entry, int limit, bool opensRequest)
{
    if (opensRequest ||
        static_cast<qint64>(entry.address) >= static_cast<qint64>(out.last().address) + limit) {
        if (!isTooLong(entry.count, limit))
            appendPieces(out, entry, entry.address, entry.count, limit);
        return;
    }
    const qint64 end = endOf(entry);
    if (end > endOf(out.last()) && !isTooLong(end - out.last().address, limit))
        extendLast(out, end, limit);
}

void keepDistinct(QList<RW_VAR> &out, const RW_VAR &entry, bool isFirst)
{
    if (isFirst || entry.address != out.last().address)
        out.append(entry);
    else if (entry.count > out.last().count)
        out.last().count = entry.count;
}

void appendBucket(const QList<RW_VAR> &bucket, int unitLimit, QList<RW_VAR> &out)
{
    // The bucket may be the very list that grows; a copy of a list costs nothing while nobody changes it.
    const QList<RW_VAR> entries = bucket; // NOLINT(performance-unnecessary-copy-initialization)
    plc::appendGrouped(entries, 0, entries.size(), unitLimit, out);
}

// Brings the entry of @p list whose index is order[i] to place i, for every i. The order is used up.
void arrange(QList<RW_VAR> &list, std::vector<int> &order)
{
    const QList<RW_VAR>::iterator entries = list.begin();
    for (int i = 0; i < list.size(); ++i) {
        // A cycle of places, each of which takes the entry of the next.
        int place = i;
        int from = order[static_cast<std::size_t>(place)];
        if (from == i)
            continue;
        RW_VAR first = std::move(entries[i]);
        while (from != i) {
            entries[place] = std::move(entries[from]);
            order[static_cast<std::size_t>(place)] = place;
            place = from;
            from = order[static_cast<std::size_t>(place)];
        }
        entries[place] = std::move(first);
        order[static_cast<std::size_t>(place)] = place;
    }
}

} // namespace

// Indices are sorted and each entry is moved once, which costs less code and time than a sort that moves
// entries.
void plc::sortStable(QList<RW_VAR> &list, Before isBefore)
{
    std::vector<int> order(static_cast<std::size_t>(list.size()));
    std::iota(order.begin(), order.end(), 0);
    const QList<RW_VAR> &entries = list;
    std::stable_sort(order.begin(), order.end(),
                     [&entries, isBefore](int a, int b) { return isBefore(entries.at(a), entries.at(b)); });
    arrange(list, order);
}

void plc::appendGrouped(const QList<RW_VAR> &entries, int first, int end, int unitLimit, QList<RW_VAR> &out)
{
    const int limit = std::max(unitLimit, 1);
    // A bucket never joins a request that was there before, even while its own entries have appended nothing.
    const int before = out.size();
    for (int i = first; i < end; ++i) {
        const bool isFirst = out.size() == before;
        if (limit == 1)
            keepDistinct(out, entries.at(i), isFirst);
        else
            packEntry(out, entries.at(i), limit, isFirst);
    }
}

void Bubble_Sort(QList<RW_VAR> *list)
{
    if (!list)
        return;
    plc::guarded(0, [=] {
        plc::sortStable(*list, hasLowerAddress);
        return 0;
    });
}

void BitVarReCreat(QList<RW_VAR> *bucket, int unitLimit)
{
    if (!bucket)
        return;
    plc::guarded(0, [=] {
        appendBucket(*bucket, unitLimit, PLC_driver.readList);
        return 0;
    });
}

void BitVarReCreat_2(QList<RW_VAR> *bucket, int unitLimit, QList<RW_VAR> &out)
{
    if (!bucket)
        return;
    plc::guarded(0, [&] {
        appendBucket(*bucket, unitLimit, out);
        return 0;
    });
}

void WhetherGroup(int count, int unitLimit, RW_VAR *var, QList<RW_VAR> *out)
{
    const int limit = std::max(unitLimit, 1);
    if (!var || !out || isTooLong(count, limit))
        return;
    plc::guarded(0, [=] {
        if (count <= limit) {
            out->append(*var);
            return 0;
        }
        appendPieces(*out, *var, var->address, count, limit);
        *var = out->last();
        return 0;
    });
}

// A runtime calls it with its arguments by value.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
int speed_insert(QString key, RW_VAR var, QHash<QString, RW_VAR> &records)
{
    return plc::guarded(1, [&] {
        if (records.contains(key))
            return 1;
        records.insert(key, var);
        return 0;
    });
}

// The same functions under plain names, for runtimes that look names up. In the sources a function of C
// linkage cannot bear the name of one of C++ linkage with the same arguments; in the library it is a second
// name of that function.
extern "C" {

PLC_EXPORT void plainBitVarReCreat2(QList<RW_VAR> *bucket, int unitLimit,
                                    QList<RW_VAR> &out) __asm__("BitVarReCreat_2")
    __attribute__((alias("_Z15BitVarReCreat_2P5QListI6RW_VAREiRS1_")));
PLC_EXPORT void plainWhetherGroup(int count, int unitLimit, RW_VAR *var,
                                  QList<RW_VAR> *out) __asm__("WhetherGroup")
    __attribute__((alias("_Z12WhetherGroupiiP6RW_VARP5QListIS_E")));
PLC_EXPORT int plainSpeedInsert(QString key, RW_VAR var,
                                QHash<QString, RW_VAR> &records) __asm__("speed_insert")
    __attribute__((alias("_Z12speed_insert7QString6RW_VARR5QHashIS_S0_E")));

} // extern "C"
