/// @file
/// Packing variables into few requests. The utilities for a runtime's own lists are declared in plcdriver.h,
/// where units and limits are explained too; they pack as BitVarReCreat() does.
#ifndef PLC_VARLISTS_GROUPING_H
#define PLC_VARLISTS_GROUPING_H

#include <QList>

#include "core/records.h"

/// Sorts @p list by ascending address; entries with equal addresses keep their order. Null does nothing.
/// Costs n log n comparisons, whatever the name says. Out of memory the list stays as it is.
PLC_EXPORT void Bubble_Sort(QList<RW_VAR> *list);

/// Appends the requests that read all entries of @p bucket to the end of the read list.
///
/// With a limit of 1 nothing is packed: one request for each distinct address, with the largest count found
/// there, never split. With any other limit an entry joins the last request, gaps included, when it starts
/// less than the limit behind the request's start. Requests are split into pieces of at most the limit.
/// @param bucket     entries of one station and area, sorted by address; null does nothing.
/// @param unitLimit  most units in one request.
/// Caller holds listMutex. Out of memory some of the requests may be missing.
PLC_EXPORT void BitVarReCreat(QList<RW_VAR> *bucket, int unitLimit);

namespace plc {

/// Whether the first record comes before the second.
typedef bool (*Before)(const RW_VAR &, const RW_VAR &);

/// Sorts by @p isBefore, keeping the order of equal entries. Costs n log n comparisons.
void sortStable(QList<RW_VAR> &list, Before isBefore);

/// Appends the requests that read the entries of @p entries from @p first to before @p end, as
/// BitVarReCreat() does with a bucket. @p out is another list.
void appendGrouped(const QList<RW_VAR> &entries, int first, int end, int unitLimit, QList<RW_VAR> &out);

} // namespace plc

#endif
