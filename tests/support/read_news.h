// News of a request of the screen, as a session tells them.
#ifndef PLC_TESTS_READ_NEWS_H
#define PLC_TESTS_READ_NEWS_H

#include "runtime/master/link.h"
#include "runtime/panel/request_map.h"

namespace plc::test {

/// @param ordinary  it has no priority level.
inline runtime::News readNews(const runtime::RequestPlace &place, runtime::AttemptEnd end, bool ordinary,
                              runtime::Time startedAt, runtime::Time endedAt)
{
    runtime::News news;
    news.transaction.emplace();
    runtime::TransactionReport &report = *news.transaction;
    report.request.hostId = 0;
    report.request.hostSubId = -1;
    report.request.station = place.station;
    report.request.regType = place.baseType;
    report.request.address = place.first;
    report.request.count = place.count;
    report.done = end == runtime::AttemptEnd::Good;
    report.cause = end;
    report.startedAt = startedAt;
    report.endedAt = endedAt;
    news.ordinaryRead = ordinary;
    return news;
}

} // namespace plc::test

#endif
