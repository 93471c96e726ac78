/// @file
/// How long stations take to answer.
#ifndef PLC_SCREEN_REPLY_TIMES_H
#define PLC_SCREEN_REPLY_TIMES_H

#include <map>

#include "host/runtime_names.h"
#include "runtime/line/histogram.h"
#include "runtime/master/link.h"

namespace plc::host {

/// From the first character of a request to the end of its reply, by station. Only requests that were
/// answered at the first attempt count: of the others nobody knows which attempt the reply was to. Exceptions
/// are replies, too.
class ReplyTimes
{
public:
    void note(const News &news);
    /// Empty for a station that has not answered.
    const Histogram &of(int station) const;

private:
    std::map<int, Histogram> times_;
};

} // namespace plc::host

#endif
