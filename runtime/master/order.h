/// @file
/// How reads, writes and cyclic reads end.
#ifndef PLC_MASTER_ORDER_H
#define PLC_MASTER_ORDER_H

#include "runtime/master/cycle.h"

namespace plc::runtime {

enum class OrderEnd
{
    Open, ///< not ended yet
    Good,
    NoReply,
    Refused,  ///< by an exception reply
    Unusable, ///< something came, but no usable reply
    LineBusy, ///< not even sent: the line never fell silent
    PortLost,
    Dropped, ///< the station was switched off before it was its turn
    /// A frame of a write had gone out when its station was switched off or went offline, when the port went,
    /// its deadline came or the session was stopped: it may have been done.
    Unconfirmed,
    Offline,  ///< the station is left alone because it does not answer
    Expired,  ///< its deadline came before a frame of it was out; or it was a read
    Closed,   ///< the session was stopped before a frame of it was out; or it was a read
    NotTaken, ///< the driver has refused it
    OnlyEcho  ///< a write that was not sent: of a read nothing but its echo had come, see EchoCheck
};

struct OrderResult
{
    OrderEnd end = OrderEnd::Open;
    int function = 0;      ///< Modbus function of the last request; in relay mode only for Refused, else 0
    int address = 0;       ///< first register or bit of that request, for Refused
    int count = 0;         ///< registers or bits of it, for Refused; 0 = neither is known
    int exceptionCode = 0; ///< for Refused
    int attempts = 0;      ///< frames sent for the last request
    std::vector<MissedAttempts> missed; ///< why attempts of that request brought no good reply
};

/// What the end of the last transaction means for its order.
OrderResult resultOf(const TransactionReport &report);

/// Entries that the driver's lists of writes and of one-shot reads can hold; it drops more without a word.
constexpr int kDriverListSize = 1024;

} // namespace plc::runtime

#endif
