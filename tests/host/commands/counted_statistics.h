/// @file
/// Statistics in which each counter of the line has another value.
#ifndef PLC_TESTS_HOST_COUNTED_STATISTICS_H
#define PLC_TESTS_HOST_COUNTED_STATISTICS_H

#include "plcruntime/plcruntime.h"

namespace plc::test {

inline plcruntime::Statistics countedStatistics()
{
    plcruntime::Statistics statistics;
    statistics.total.requests = 100;
    statistics.total.good = 90;
    statistics.total.timeouts = 4;
    statistics.total.bad = 3;
    statistics.total.exceptions = 2;
    statistics.total.unanswered = 1;
    statistics.total.retries = 7;
    statistics.total.lineBusy = 5;
    statistics.total.ignoredReplies = 6;
    statistics.total.foreignBytes = 11;
    statistics.total.bytesOut = 800;
    statistics.total.bytesIn = 900;
    statistics.runningUs = 2000000;
    statistics.latenessMedianUs = 50;
    statistics.latenessP99Us = 4194;
    statistics.latenessMostUs = 20000;
    return statistics;
}

} // namespace plc::test

#endif
