/// @file
/// Packing variables into few requests: what the driver needs itself. The utilities for a runtime's own lists
/// are declared in plcdriver.h, where units and limits are explained too; they pack as BitVarReCreat() does.
#ifndef PLC_VARLISTS_GROUPING_H
#define PLC_VARLISTS_GROUPING_H

#include <QList>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

#include "core/records.h"

/// Sorts @p list by ascending address; entries with equal addresses keep their order. Null does nothing.
/// Costs n log n comparisons, whatever the name says.
PLC_EXPORT void Bubble_Sort(QList<RW_VAR> *list);

/// Appends the requests that read all entries of @p bucket to the end of the read list.
///
/// With a limit of 1 nothing is packed: one request for each distinct address, with the largest count found
/// there, never split. With any other limit an entry that starts less than the limit behind the start of the
/// last request joins it, gaps included, and requests are split into pieces of at most the limit.
/// @param bucket     entries of one station and area, sorted by address; null does nothing.
/// @param unitLimit  most units in one request.
/// Caller holds listMutex.
PLC_EXPORT void BitVarReCreat(QList<RW_VAR> *bucket, int unitLimit);

namespace plc {

/// Brings the entry of @p list whose index is `order[i]` to place i, for every i. @p order holds each index once and is
/// used up.
void arrange(QList<RW_VAR> &list, std::vector<int> &order);

/// Sorts by @p isBefore, keeping the order of equal entries. Indices are sorted and each entry is moved once, which
/// costs less code and time than a sort that moves entries. Apart from Bubble_Sort() so that its comparisons can be
/// counted.
template <typename Before>
void sortStable(QList<RW_VAR> &list, Before isBefore)
{
    std::vector<int> order(static_cast<std::size_t>(list.size()));
    std::iota(order.begin(), order.end(), 0);
    const QList<RW_VAR> &entries = list;
    std::stable_sort(order.begin(), order.end(),
                     [&entries, &isBefore](int a, int b) { return isBefore(entries.at(a), entries.at(b)); });
    arrange(list, order);
}

} // namespace plc

#endif
