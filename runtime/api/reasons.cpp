#include "runtime/api/reasons.h"

#include "runtime/line/exception_codes.h"
#include "runtime/panel/utf8.h"

namespace plc::api {

namespace {

using runtime::OrderEnd;
using runtime::VariableState;

using runtime::Miss;

/// Of attempts that ended in different ways the one that tells most of the line.
Miss mostTelling(const std::vector<runtime::MissedAttempts> &missed)
{
    Miss most;
    for (const runtime::MissedAttempts &group : missed) {
        if (group.miss.kind > most.kind)
            most = group.miss;
    }
    return most;
}

/// What to try where something came and no usable reply.
std::string adviceFor(const Miss &miss)
{
    switch (miss.kind) {
    case Miss::Kind::Echo:
        return "the line hands back what is sent: add setting 'echo'";
    case Miss::Kind::MayBeEcho:
        return "add setting 'echo' if the line hands back what is sent";
    case Miss::Kind::EchoMissing:
        return "is setting 'echo' right for this line?";
    case Miss::Kind::NoFrame:
        return "check baud rate, parity and stop bits, and wiring";
    case Miss::Kind::OtherMaster:
        return "a line has one master: find the other one";
    case Miss::Kind::OtherStation:
        return "check the station number, and whether the line has a second master";
    case Miss::Kind::OtherFunction:
    case Miss::Kind::OtherLength:
    case Miss::Kind::OtherPlace:
        return "answers come late, or two stations share the number, or the line has a second master; give "
               "them more time with setting 'timeoutMs'";
    case Miss::Kind::WrongCrc:
        return "check wiring and termination, and whether two stations share the number";
    case Miss::Kind::SwappedCrc:
        return std::string(miss.crcHighFirst ? "add" : "leave out") +
               " setting 'driverOptions' crc-swap-replies";
    case Miss::Kind::None:
    case Miss::Kind::NothingHeard:
    case Miss::Kind::NotAccepted:
    case Miss::Kind::Refused:
    case Miss::Kind::LineBusy:
        break;
    }
    return "check baud rate, parity and stop bits, wiring, and whether two stations share the number";
}

std::string unusableText(const runtime::OrderResult &result, const std::string &who,
                         const std::string &effort)
{
    const Miss most = mostTelling(result.missed);
    const std::string why = result.missed.empty() ? "" : ": " + describe(result.missed);
    const std::string echo = most.alsoEcho ? "; the line hands back what is sent: add setting 'echo'" : "";
    return "no usable reply from " + who + effort + why + "; " + adviceFor(most) + echo;
}

/// The other ends of attempts where the text tells the last alone.
std::string othersOf(const runtime::OrderResult &result)
{
    return result.missed.size() > 1 ? " (" + describe(result.missed) + ")" : "";
}

std::string textOf(const runtime::OrderResult &result, int station, runtime::Time timeout)
{
    const std::string who = "station " + std::to_string(station);
    const std::string effort =
        " after " + std::to_string(result.attempts) + (result.attempts == 1 ? " attempt" : " attempts");
    switch (result.end) {
    case OrderEnd::Good:
    case OrderEnd::Open:
        return std::string();
    case OrderEnd::Refused:
        return who + " refused with " +
               runtime::describeException(result.function, result.exceptionCode, result.address,
                                          result.count) +
               othersOf(result);
    case OrderEnd::Unusable:
        return unusableText(result, who, effort);
    case OrderEnd::LineBusy:
        return "the line never fell silent, so that the request to " + who + " could not go out" +
               (result.attempts > 0 ? effort : "") + ": noise or a second master" + othersOf(result);
    case OrderEnd::PortLost:
        return "the port was lost";
    case OrderEnd::Unconfirmed:
        return "sent to " + who +
               " and not confirmed: it was given up before the answer had come; the write may have been "
               "done, read it back";
    case OrderEnd::Dropped:
        return who + " is switched off";
    case OrderEnd::Offline:
        return who + " is offline: it has not answered for a while and is tried now and then";
    case OrderEnd::Expired:
        return "its deadline came before " + who + " had been asked or had answered";
    case OrderEnd::Closed:
        return "not sent: the line was closed";
    case OrderEnd::NotTaken:
        return "not sent: the driver has refused it";
    case OrderEnd::OnlyEcho:
        return "not sent: of a read from " + who +
               ", which has not answered yet, nothing but the echo came back, and the echo of a write would "
               "pass for its reply; the line hands back what is sent: add setting 'echo'";
    case OrderEnd::NoReply:
        break;
    }
    return "no answer from " + who + effort + " of " +
           std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(timeout).count()) + " ms" +
           (result.missed.empty() ? "" : ": " + describe(result.missed)) +
           "; check station number, wiring, baud rate and parity, or give it more time with setting "
           "'timeoutMs'";
}

std::string textOf(const runtime::WatchStatus &status, int station, runtime::Time timeout,
                   const std::string &portLost)
{
    const std::string who = "station " + std::to_string(station);
    switch (status.state) {
    case VariableState::Good:
        return std::string();
    case VariableState::NeverRead:
        return "it has not been read yet";
    case VariableState::Stale:
        return "it was read too long ago";
    case VariableState::SwitchedOff:
        return who + " is switched off";
    case VariableState::Offline: {
        const bool isKnown = status.last.end != OrderEnd::Good && status.last.end != OrderEnd::Open &&
                             status.last.end != OrderEnd::Offline;
        return isKnown ? who + " is offline, and tried now and then: " + textOf(status.last, station, timeout)
                       : who + " is offline: it has not answered for a while and is tried now and then";
    }
    case VariableState::PortLost:
        return "the port is lost: " + portLost;
    case VariableState::Refused:
    case VariableState::NoAnswer:
    case VariableState::BadReply:
    case VariableState::LineBusy:
        break;
    }
    return textOf(status.last, station, timeout);
}

} // namespace

QString reasonOf(const runtime::OrderResult &result, int station, runtime::Time timeout)
{
    return runtime::fromUtf8(textOf(result, station, timeout));
}

QString reasonOf(const runtime::WatchStatus &status, int station, runtime::Time timeout,
                 const std::string &portLost)
{
    return runtime::fromUtf8(textOf(status, station, timeout, portLost));
}

plcruntime::OrderEnd publicEnd(runtime::OrderEnd end)
{
    switch (end) {
    case OrderEnd::Open:
        return plcruntime::OrderEnd::Open;
    case OrderEnd::Good:
        return plcruntime::OrderEnd::Good;
    case OrderEnd::NoReply:
        return plcruntime::OrderEnd::NoAnswer;
    case OrderEnd::Refused:
        return plcruntime::OrderEnd::Refused;
    case OrderEnd::Unusable:
        return plcruntime::OrderEnd::BadReply;
    case OrderEnd::LineBusy:
        return plcruntime::OrderEnd::LineBusy;
    case OrderEnd::PortLost:
        return plcruntime::OrderEnd::PortLost;
    case OrderEnd::Dropped:
        return plcruntime::OrderEnd::SwitchedOff;
    case OrderEnd::Unconfirmed:
        return plcruntime::OrderEnd::Unconfirmed;
    case OrderEnd::Offline:
        return plcruntime::OrderEnd::Offline;
    case OrderEnd::Expired:
        return plcruntime::OrderEnd::Expired;
    case OrderEnd::Closed:
        return plcruntime::OrderEnd::Closed;
    case OrderEnd::OnlyEcho:
        return plcruntime::OrderEnd::OnlyEcho;
    case OrderEnd::NotTaken:
        break;
    }
    return plcruntime::OrderEnd::NotTaken;
}

plcruntime::Quality publicQuality(VariableState state)
{
    switch (state) {
    case VariableState::NeverRead:
        return plcruntime::Quality::NeverRead;
    case VariableState::Good:
        return plcruntime::Quality::Good;
    case VariableState::Stale:
        return plcruntime::Quality::Stale;
    case VariableState::Refused:
        return plcruntime::Quality::Refused;
    case VariableState::BadReply:
        return plcruntime::Quality::BadReply;
    case VariableState::SwitchedOff:
        return plcruntime::Quality::SwitchedOff;
    case VariableState::Offline:
        return plcruntime::Quality::Offline;
    case VariableState::PortLost:
        return plcruntime::Quality::PortLost;
    case VariableState::NoAnswer:
    case VariableState::LineBusy:
        break;
    }
    return plcruntime::Quality::NoAnswer;
}

plcruntime::StationState publicState(runtime::StationState state)
{
    switch (state) {
    case runtime::StationState::Offline:
        return plcruntime::StationState::Offline;
    case runtime::StationState::SwitchedOff:
        return plcruntime::StationState::SwitchedOff;
    case runtime::StationState::On:
    case runtime::StationState::OnProbation:
        break;
    }
    return plcruntime::StationState::On;
}

} // namespace plc::api
