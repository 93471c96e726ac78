#include "runtime/line/port_search.h"

#include <algorithm>

namespace plc::runtime {

void PortSearch::lost(Time now)
{
    if (now - openedAt_ >= kLongestDistance)
        distance_ = kFirstDistance;
    reason_.clear();
    putOff(now);
}

void PortSearch::absent(Time now)
{
    reason_.clear();
    putOff(now);
}

bool PortSearch::refused(Time now, const std::string &reason)
{
    const bool isNew = reason != reason_;
    reason_ = reason;
    putOff(now);
    return isNew;
}

void PortSearch::putOff(Time now)
{
    nextTry_ = now + distance_;
    distance_ = std::min(2 * distance_, kLongestDistance);
}

} // namespace plc::runtime
