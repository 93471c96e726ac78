/// @file
/// How reads, writes and cyclic reads end, for people and for scripts.
#ifndef PLC_HOST_OPERATION_H
#define PLC_HOST_OPERATION_H

#include <cstdint>
#include <string>
#include <vector>

#include "cycle.h"
#include "failure.h"
#include "link_settings.h"
#include "variable.h"

namespace plc::host {

enum class OperationEnd
{
    Open, ///< not ended yet
    Good,
    NoReply,
    Refused,  ///< by an exception reply
    Unusable, ///< something came, but no usable reply
    LineBusy, ///< not even sent: the line never fell silent
    PortLost,
    Dropped, ///< the station was switched off before it was its turn
    /// A frame of a write had gone out when its station was switched off or went offline, or when the port went: it
    /// may have been done.
    Unconfirmed,
    Offline ///< the station is left alone because it does not answer
};

struct OperationResult
{
    OperationEnd end = OperationEnd::Open;
    int function = 0;         ///< Modbus function of the last request; in relay mode only for Refused, else 0
    int address = 0;          ///< first register or bit of that request, for Refused
    int count = 0;            ///< registers or bits of it, for Refused; 0 = neither is known
    int exceptionCode = 0;    ///< for Refused
    int attempts = 0;         ///< frames sent for the last request
    bool echoMissing = false; ///< see StepReport
    bool echoHeard = false;   ///< see StepReport
    bool mayBeEcho = false;   ///< see StepReport
};

/// What the end of the last transaction means for its operation.
OperationResult resultOf(const StepReport &report);

/// "no answer from station 5 after 3 attempts ...": what went wrong, and what to try.
std::string describeResult(const OperationResult &result, int station, const LinkSettings &settings);

/// Exit code of several operations: 0 when all are good, 6 when some are, otherwise that of the first one. A
/// lost port is always 5.
ExitCode exitCodeOf(const std::vector<OperationEnd> &ends);

/// How many operations ended well, and what tells the exit code of the others.
class EndTally
{
public:
    void add(OperationEnd end);
    /// As exitCodeOf() of all ends so far.
    ExitCode exitCode() const;

private:
    std::uint64_t all_ = 0;
    std::uint64_t good_ = 0;
    bool portLost_ = false;
    OperationEnd first_ = OperationEnd::Good;
};

/// Number of requests that reading @p variable takes.
int readPieces(const Variable &variable, const LinkSettings &settings);

/// Number of requests that writing @p variable takes, a read-modify-write counted once.
int writePieces(const Variable &variable, const LinkSettings &settings);

/// Entries that the driver's lists of writes and of one-shot reads can hold; it drops more without a word.
constexpr int kDriverListSize = 1024;

} // namespace plc::host

#endif
