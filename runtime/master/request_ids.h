/// @file
/// The numbers by which requests are told apart when they come back from the driver.
#ifndef PLC_MASTER_REQUEST_IDS_H
#define PLC_MASTER_REQUEST_IDS_H

#include "core/records.h"

namespace plc::runtime {

/// `hostId` of the cyclic reads, as the driver has it for those that it groups itself; otherwise their number
/// is their `hostSubId`.
constexpr int kCyclicHostId = 0;

/// `hostSubId` of the cyclic reads that the driver has grouped itself.
constexpr int kGroupedSubId = -1;

/// `hostId` of the reads and writes that end in a callback; the number of the order is their `hostSubId`.
/// Large enough to add nothing to the driver's result codes.
constexpr int kOrderHostId = 100;

/// `hostId` of the requests that try an offline station; their `hostSubId` is the station.
constexpr int kProbeHostId = 101;

/// `hostId` of the reads that go before a write, and that the driver does not know of; their `hostSubId` is
/// the number of the order to write.
constexpr int kEchoCheckHostId = 102;

/// What a read request asks for. Grouped requests carry no identifier of the variables that they cover, so
/// they are told apart by their place.
struct RequestPlace
{
    int station = 0;
    int baseType = 0; ///< 0, 1, 4 or 5
    int first = 0;    ///< bit or register, as it goes over the line
    int count = 0;    ///< bits or registers
};

bool operator<(const RequestPlace &a, const RequestPlace &b);

/// @p result is the record that DataCom() returned at the end of a transaction. True when it says that the
/// grouped read at @p place was one of the read list. Reads of the priority levels leave the record as it
/// was.
bool isOrdinaryRead(const RW_VAR &result, const RequestPlace &place);

} // namespace plc::runtime

#endif
