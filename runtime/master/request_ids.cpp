#include "runtime/master/request_ids.h"

#include <tuple>

namespace plc::runtime {

bool operator<(const RequestPlace &a, const RequestPlace &b)
{
    return std::tie(a.station, a.baseType, a.first, a.count) <
           std::tie(b.station, b.baseType, b.first, b.count);
}

bool isOrdinaryRead(const RW_VAR &result, const RequestPlace &place)
{
    return result.hostId == kCyclicHostId && result.hostSubId == kGroupedSubId && result.direction == 0 &&
           result.station == place.station && result.regType == place.baseType &&
           result.address == place.first && result.count == place.count;
}

} // namespace plc::runtime
