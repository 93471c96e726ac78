#include "host/commands/result_text.h"

#include <cstdio>

#include "host/option_words.h"
#include "runtime/line/exception_codes.h"

namespace plc::host {

namespace {

std::string attemptsText(int attempts)
{
    return std::to_string(attempts) + (attempts == 1 ? " attempt" : " attempts");
}

/// "0.5 s", "12 s".
std::string roughly(Time time)
{
    constexpr double kShort = 10;
    char text[32];
    std::snprintf(text, sizeof text, seconds(time) < kShort ? "%.1f s" : "%.0f s", seconds(time));
    return text;
}

} // namespace

std::string describeResult(const OrderResult &result, int station, const LinkSettings &settings)
{
    const std::string who = "station " + std::to_string(station);
    const std::string effort = " after " + attemptsText(result.attempts);
    switch (result.end) {
    case OrderEnd::Good:
        return who + " answered";
    case OrderEnd::Refused:
        return who + " refused with " +
               inOptions(
                   describeException(result.function, result.exceptionCode, result.address, result.count));
    case OrderEnd::Unusable:
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
    case OrderEnd::LineBusy:
        return "the line never fell silent, so that the request to " + who + " could not go out" +
               (result.attempts > 0 ? effort : "") + ": noise or a second master";
    case OrderEnd::PortLost:
        return "the port was lost";
    case OrderEnd::Unconfirmed:
        return "sent to " + who +
               " and not confirmed: the station was switched off or left alone, or the port was lost, before "
               "the "
               "answer had come; the write may have been done, read it back";
    case OrderEnd::Dropped:
        return who + " is switched off";
    case OrderEnd::Offline:
        return who + " is offline: it has not answered for a while and is tried now and then";
    case OrderEnd::Expired:
        return "not sent: its deadline came before its turn";
    case OrderEnd::Closed:
        return "not sent: the run was ended before its turn";
    case OrderEnd::NotTaken:
        return "refused by the driver";
    case OrderEnd::Open:
        return "interrupted before " + who + " had answered";
    case OrderEnd::NoReply:
        break;
    }
    return "no answer from " + who + effort + " of " +
           std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(
                              settings.rulesOf(station).responseTimeout)
                              .count()) +
           " ms; check station number, wiring, baud rate and parity, or give it more time with --timeout";
}

std::string describe(const StationNews &news)
{
    const std::string who = "station " + std::to_string(news.station);
    if (!news.offline)
        return who + " is back after " + roughly(news.lasted);
    return who + " is offline after " + std::to_string(news.failures) +
           (news.failures == 1 ? " failure" : " failures in a row") + "; next try in " +
           roughly(news.nextProbe);
}

std::string describe(const PortNews &news, const std::string &port)
{
    switch (news.change) {
    case PortNews::Change::Lost:
        return inOptions(news.reason) + " It is looked for until it is back";
    case PortNews::Change::Refused:
        return inOptions(news.reason) + "; it is tried again and again";
    case PortNews::Change::Back:
        break;
    }
    return "port '" + port + "' is back after " + roughly(news.lasted);
}

} // namespace plc::host
