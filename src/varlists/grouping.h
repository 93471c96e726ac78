/// @file
/// Packing variables into few requests. All functions work on the caller's lists and take no lock, but for
/// BitVarReCreat(), whose caller holds listMutex.
///
/// A unit is a bit in bit areas and a 16-bit register in word areas. A unit limit below 1 counts as 1. What
/// would be split into more than 65536 requests, as many as an area has elements, is a mistake and appends
/// nothing.
#ifndef PLC_VARLISTS_GROUPING_H
#define PLC_VARLISTS_GROUPING_H

#include <QHash>
#include <QList>
#include <QString>

#include <algorithm>

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
PLC_EXPORT void BitVarReCreat(QList<RW_VAR> *bucket, int unitLimit);

/// The same into the caller's list: requests are appended to the end of @p out and its last entry counts as
/// the last request only when this call appended it.
PLC_EXPORT void BitVarReCreat_2(QList<RW_VAR> *bucket, int unitLimit, QList<RW_VAR> &out);

/// Appends @p var to @p out, split into pieces of at most @p unitLimit when @p count is larger. `var->count`
/// is not looked at; after a split @p var holds the last piece. A null pointer appends nothing.
PLC_EXPORT void WhetherGroup(int count, int unitLimit, RW_VAR *var, QList<RW_VAR> *out);

/// Keeps one record per key.
/// @return 0 when @p var was inserted, 1 when the key is there already and nothing was changed.
PLC_EXPORT int speed_insert(QString key, RW_VAR var, QHash<QString, RW_VAR> &records);

namespace plc {

/// Sorts by @p isBefore, keeping the order of equal entries. Apart from Bubble_Sort() so that its comparisons
/// can be counted.
template <typename Before>
void sortStable(QList<RW_VAR> &list, Before isBefore)
{
    std::stable_sort(list.begin(), list.end(), isBefore);
}

} // namespace plc

#endif
