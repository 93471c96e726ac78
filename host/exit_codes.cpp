#include "host/exit_codes.h"

namespace plc::host {

namespace {

ExitCode exitCodeOf(OperationEnd end)
{
    switch (end) {
    case OperationEnd::Good:
        return kExitGood;
    case OperationEnd::Refused:
        return kExitException;
    case OperationEnd::Unusable:
    case OperationEnd::LineBusy:
        return kExitUnusable;
    case OperationEnd::PortLost:
        return kExitPort;
    case OperationEnd::Open:
    case OperationEnd::NoReply:
    case OperationEnd::Dropped:
    case OperationEnd::Unconfirmed:
    case OperationEnd::Offline:
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
        break;
    }
    return kExitUsage;
}

ExitCode exitCodeOf(const std::vector<OperationEnd> &ends)
{
    EndTally tally;
    for (const OperationEnd end : ends)
        tally.add(end);
    return tally.exitCode();
}

void EndTally::add(OperationEnd end)
{
    if (all_ == 0)
        first_ = end;
    ++all_;
    good_ += end == OperationEnd::Good ? 1 : 0;
    portLost_ = portLost_ || end == OperationEnd::PortLost;
}

ExitCode EndTally::exitCode() const
{
    if (portLost_)
        return kExitPort;
    if (good_ == all_)
        return kExitGood;
    return good_ > 0 ? kExitMixed : exitCodeOf(first_);
}

} // namespace plc::host
