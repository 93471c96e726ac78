#include "host/commands/result_text.h"

#include <cstdio>

#include "host/commands/output.h"
#include "host/option_words.h"
#include "runtime/panel/utf8.h"

namespace plc::host {

namespace {

/// "0.5 s", "12 s".
std::string roughly(qint64 milliseconds)
{
    constexpr double kShort = 10;
    const double seconds = static_cast<double>(milliseconds) / 1000;
    char text[32];
    std::snprintf(text, sizeof text, seconds < kShort ? "%.1f s" : "%.0f s", seconds);
    return text;
}

/// @param reason  the library's, of an end that is neither Open nor Closed.
std::string textOf(OrderEnd end, const QString &reason, int station)
{
    const std::string who = "station " + std::to_string(station);
    if (end == OrderEnd::Open)
        return "interrupted before " + who + " had answered";
    if (end == OrderEnd::Closed)
        return "not sent: the run was ended before its turn";
    return inOptions(toUtf8(reason));
}

} // namespace

std::string describe(const OrderResult &result, int station)
{
    return textOf(result.end, result.reason, station);
}

std::string describe(const VariableState &state, int station)
{
    // The reason is that of the quality, which may have become another since.
    const bool isOfReading = state.quality == Quality::Refused || state.quality == Quality::NoAnswer ||
                             state.quality == Quality::BadReply || state.quality == Quality::Offline;
    if (!isOfReading && state.lastRead != OrderEnd::Open)
        return "the last reading of station " + std::to_string(station) +
               " has failed: " + stateName(state.lastRead);
    return textOf(state.lastRead, state.reason, station);
}

std::string describe(const StationChange &change)
{
    const std::string who = "station " + std::to_string(change.station);
    if (change.state != plcruntime::StationState::Offline)
        return who + " is back after " + roughly(change.lastedMs);
    return who + " is offline after " + std::to_string(change.failures) +
           (change.failures == 1 ? " failure" : " failures in a row") + "; next try in " +
           roughly(change.nextProbeMs);
}

std::string describe(const PortChange &change, const std::string &port)
{
    if (change.state == plcruntime::PortState::Open)
        return "port '" + port + "' is back after " + roughly(change.lastedMs);
    const std::string reason = inOptions(toUtf8(change.reason));
    return change.isRefused ? reason + "; it is tried again and again"
                            : reason + " It is looked for until it is back";
}

} // namespace plc::host
