#include "host/exit_codes.h"

namespace plc::host {

namespace {

ExitCode exitCodeOf(OrderEnd end)
{
    switch (end) {
    case OrderEnd::Good:
        return kExitGood;
    case OrderEnd::Refused:
        return kExitException;
    case OrderEnd::BadReply:
    case OrderEnd::LineBusy:
    case OrderEnd::OnlyEcho:
        return kExitUnusable;
    case OrderEnd::PortLost:
        return kExitPort;
    case OrderEnd::Open:
    case OrderEnd::NoAnswer:
    case OrderEnd::SwitchedOff:
    case OrderEnd::Unconfirmed:
    case OrderEnd::Offline:
    case OrderEnd::Expired:
    case OrderEnd::Closed:
    case OrderEnd::NotTaken:
        break;
    }
    return kExitNoReply;
}

} // namespace

ExitCode exitCodeOf(FailureKind kind)
{
    switch (kind) {
    case FailureKind::Port:
        return kExitPort;
    case FailureKind::NoReply:
        return kExitNoReply;
    case FailureKind::Usage:
    case FailureKind::Driver:
        break;
    }
    return kExitUsage;
}

ExitCode exitCodeOf(const std::vector<OrderEnd> &ends)
{
    EndTally tally;
    for (const OrderEnd end : ends)
        tally.add(end);
    return tally.exitCode();
}

void EndTally::add(OrderEnd end)
{
    if (all_ == 0)
        first_ = end;
    ++all_;
    good_ += end == OrderEnd::Good ? 1 : 0;
    portLost_ = portLost_ || end == OrderEnd::PortLost;
}

ExitCode EndTally::exitCode() const
{
    if (portLost_)
        return kExitPort;
    if (good_ == all_)
        return kExitGood;
    return good_ > 0 ? kExitMixed : exitCodeOf(first_);
}

ExitCode EndTally::exitCodeWith(std::uint64_t mistakes) const
{
    const ExitCode code = exitCode();
    if (mistakes == 0 || code != kExitGood)
        return code;
    return all_ > 0 ? kExitMixed : kExitUsage;
}

} // namespace plc::host
