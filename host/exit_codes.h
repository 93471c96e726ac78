/// @file
/// How plchost ends, for scripts.
#ifndef PLC_HOST_EXIT_CODES_H
#define PLC_HOST_EXIT_CODES_H

#include <cstdint>
#include <vector>

#include "host/runtime_names.h"
#include "runtime/line/failure.h"

namespace plc::host {

/// Exit codes of plchost, documented in its help.
enum ExitCode
{
    kExitGood = 0,
    kExitUsage = 1,
    kExitNoReply = 2,
    kExitException = 3,
    kExitUnusable = 4,
    kExitPort = 5,
    kExitMixed = 6,
    kExitOutput = 7,
    kExitLineInUse = 8 ///< of a scan: others use the line, so that nothing was sent
};

ExitCode exitCodeOf(FailureKind kind);

/// Exit code of several orders: 0 when all are good, 6 when some are good, otherwise the code of the
/// first order. A lost port is always 5.
ExitCode exitCodeOf(const std::vector<OrderEnd> &ends);

/// How many orders ended well, and what tells the exit code of the others.
class EndTally
{
public:
    void add(OrderEnd end);
    /// As exitCodeOf() of all ends so far.
    ExitCode exitCode() const;
    /// The same with @p mistakes of the user beside them: alone they are wrong usage, beside good ends some
    /// are good. Other failures count before them.
    ExitCode exitCodeWith(std::uint64_t mistakes) const;

private:
    std::uint64_t all_ = 0;
    std::uint64_t good_ = 0;
    bool portLost_ = false;
    OrderEnd first_ = OrderEnd::Good;
};

} // namespace plc::host

#endif
