#include "operation.h"

#include <algorithm>

#include "core/register_types.h"
#include "exception_codes.h"

namespace plc::host {

namespace {

constexpr int kPairsInOneWrite = 60;

int dividedUp(int count, int limit)
{
    return (count + limit - 1) / limit;
}

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

std::string attemptsText(int attempts)
{
    return std::to_string(attempts) + (attempts == 1 ? " attempt" : " attempts");
}

int word(const QByteArray &frame, int at)
{
    return static_cast<unsigned char>(frame.at(at)) * 256 + static_cast<unsigned char>(frame.at(at + 1));
}

/// Fills in what exactly a station has refused.
void noteRefused(const StepReport &report, OperationResult *result)
{
    constexpr int kRequestHead = 6;
    const Request &request = report.request;
    result->function = report.refusedFunction;
    result->address = request.address;
    result->count = request.count;
    // A relay frame counts in its own units; a Modbus frame has on the line what the station has seen.
    if (request.function == 0 || request.frame.size() < kRequestHead)
        return;
    const bool isSingle = request.function == 5 || request.function == 6;
    result->address = word(request.frame, 2);
    result->count = isSingle ? 1 : word(request.frame, 4);
}

} // namespace

OperationResult resultOf(const StepReport &report)
{
    OperationResult result;
    result.function = report.request.function;
    result.exceptionCode = report.exceptionCode;
    result.attempts = report.attempts;
    result.echoMissing = report.echoMissing;
    result.echoHeard = report.echoHeard;
    result.mayBeEcho = report.mayBeEcho;
    switch (report.cause) {
    case AttemptEnd::Good:
    case AttemptEnd::NoReplyDue:
        result.end = report.done ? OperationEnd::Good : OperationEnd::Unusable;
        break;
    case AttemptEnd::Exception:
        result.end = OperationEnd::Refused;
        noteRefused(report, &result);
        break;
    case AttemptEnd::Unusable:
        result.end = OperationEnd::Unusable;
        break;
    case AttemptEnd::NoReply:
        result.end = OperationEnd::NoReply;
        break;
    case AttemptEnd::LineBusy:
        result.end = OperationEnd::LineBusy;
        break;
    case AttemptEnd::Withheld:
        result.end = report.attempts > 0 && report.request.direction != 0 ? OperationEnd::Unconfirmed
                                                                          : OperationEnd::Offline;
        break;
    }
    return result;
}

std::string describeResult(const OperationResult &result, int station, const LinkSettings &settings)
{
    const std::string who = "station " + std::to_string(station);
    const std::string effort = " after " + attemptsText(result.attempts);
    switch (result.end) {
    case OperationEnd::Good:
        return who + " answered";
    case OperationEnd::Refused:
        return who + " refused with " +
               describeException(result.function, result.exceptionCode, result.address, result.count);
    case OperationEnd::Unusable:
        if (result.echoMissing)
            return "the echo of the request was not heard, or came damaged," + effort +
                   "; is --echo right for this line?";
        if (result.mayBeEcho)
            return "no usable reply from " + who + effort +
                   ": what came is like the request, and so soon that it may be the request itself; add "
                   "--echo if "
                   "the line hands back what is sent";
        if (result.echoHeard)
            return "no usable reply from " + who + effort + ": the line hands back what is sent; add --echo";
        return "no usable reply from " + who + effort +
               "; check baud rate, parity and stop bits, wiring, and whether two stations share the number";
    case OperationEnd::LineBusy:
        return "the line never fell silent, so that the request to " + who + " could not go out" +
               (result.attempts > 0 ? effort : "") + ": noise or a second master";
    case OperationEnd::PortLost:
        return "the port was lost";
    case OperationEnd::Unconfirmed:
        return "sent to " + who +
               " and not confirmed: the station was switched off or left alone, or the port was lost, before "
               "the "
               "answer had come; the write may have been done, read it back";
    case OperationEnd::Dropped:
        return who + " is switched off";
    case OperationEnd::Offline:
        return who + " is offline: it has not answered for a while and is tried now and then";
    case OperationEnd::Open:
        return "interrupted before " + who + " had answered";
    case OperationEnd::NoReply:
        break;
    }
    return "no answer from " + who + effort + " of " +
           std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(settings.timeout).count()) +
           " ms; check station number, wiring, baud rate and parity, or give it more time with --timeout";
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

int readPieces(const Variable &variable, const LinkSettings &settings)
{
    const bool bits = isBitArea(variable.area->baseType);
    return dividedUp(variable.baseCount(), bits ? settings.bitLimit() : settings.wordLimit());
}

int writePieces(const Variable &variable, const LinkSettings &settings)
{
    // A limit of 1 means no limit to the driver's host writes.
    const bool unlimited = settings.maxBlock == 1;
    const auto pieces = [&](int limit) { return unlimited ? 1 : dividedUp(variable.count, limit); };
    switch (variable.area->regType) {
    case kCoil:
        return hasOption(settings.options, kOptionSingleCoils) ? variable.count
                                                               : pieces(settings.maxBlock * 8);
    case kHoldingRegister:
        return hasOption(settings.options, kOptionSingleRegisters) ? variable.count
                                                                   : pieces(settings.maxBlock);
    case kHoldingRegisterPair:
        return dividedUp(variable.count,
                         unlimited ? kPairsInOneWrite : std::min(kPairsInOneWrite, settings.maxBlock));
    default:
        return variable.count;
    }
}

} // namespace plc::host
