#include "runtime/api/settings.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cmath>

#include "runtime/line/setting_limits.h"
#include "runtime/panel/utf8.h"

namespace plc::api {

namespace {

using runtime::Failure;
using runtime::FailureKind;
using runtime::Limits;
using std::chrono::milliseconds;

void check(const char *name, int value, const Limits &limits)
{
    if (value < limits.least || value > limits.most)
        throw Failure(FailureKind::Usage, "setting '" + std::string(name) + "' is " +
                                              std::to_string(limits.least) + " to " +
                                              std::to_string(limits.most) + ", not " + std::to_string(value));
}

/// -1 stands for something else.
void checkOrDefault(const char *name, int value, const Limits &limits)
{
    if (value != -1)
        check(name, value, limits);
}

runtime::Parity parityOf(plcruntime::Parity parity)
{
    switch (parity) {
    case plcruntime::Parity::Odd:
        return runtime::Parity::Odd;
    case plcruntime::Parity::None:
        return runtime::Parity::None;
    case plcruntime::Parity::Even:
        break;
    }
    return runtime::Parity::Even;
}

runtime::Policies policiesWithout(unsigned off)
{
    runtime::Policies policies;
    policies.discardInput = (off & plcruntime::PolicyDiscardInput) == 0;
    policies.lateReplyGuard = (off & plcruntime::PolicyLateReplyGuard) == 0;
    policies.checkReplies = (off & plcruntime::PolicyCheckReplies) == 0;
    policies.strictWrites = (off & plcruntime::PolicyStrictWrites) == 0;
    policies.endOnException = (off & plcruntime::PolicyEndOnException) == 0;
    policies.endOnDamage = (off & plcruntime::PolicyEndOnDamage) == 0;
    policies.absoluteDeadline = (off & plcruntime::PolicyAbsoluteDeadline) == 0;
    policies.offline = (off & plcruntime::PolicyOffline) == 0;
    policies.echoCheck = (off & plcruntime::PolicyEchoCheck) == 0;
    return policies;
}

void setLine(const plcruntime::LineSettings &given, runtime::LinkSettings *link)
{
    check("baud", given.baud, runtime::kBaudLimits);
    if (given.stopBits != 0)
        check("stopBits", given.stopBits, runtime::kStopBitLimits);
    check("rs485BeforeMs", given.rs485BeforeMs, runtime::kRs485DelayMsLimits);
    check("rs485AfterMs", given.rs485AfterMs, runtime::kRs485DelayMsLimits);
    link->port = runtime::toUtf8(given.port);
    link->baud = given.baud;
    link->parity = parityOf(given.parity);
    link->stopBits = given.stopBits;
    link->anyRate = given.anyRate;
    if (given.rs485)
        link->rs485 = runtime::Rs485{given.rs485RtsOnSend, given.rs485BeforeMs, given.rs485AfterMs};
}

void setStations(const plcruntime::LineSettings &given, runtime::LinkSettings *link)
{
    for (const plcruntime::StationSettings &station : given.stations) {
        check("station", station.station, runtime::kStationLimits);
        checkOrDefault("timeoutMs", station.timeoutMs, runtime::kTimeoutMsLimits);
        checkOrDefault("retries", station.retries, runtime::kRetryLimits);
        check("pauseMs", station.pauseMs, runtime::kPauseMsLimits);
        runtime::StationSettings own;
        if (station.timeoutMs != -1)
            own.timeout = milliseconds(station.timeoutMs);
        if (station.retries != -1)
            own.retries = station.retries;
        own.pause = milliseconds(station.pauseMs);
        if (!link->stations.emplace(station.station, own).second)
            throw Failure(FailureKind::Usage,
                          "setting 'stations' has station " + std::to_string(station.station) + " twice");
    }
}

/// The same in the terms of the runtime, whose enumerations have the same order.
runtime::ValueFormat formatOf(const plcruntime::VariableSettings &settings)
{
    static_assert(
        static_cast<int>(plcruntime::Format::U16) == 1 + static_cast<int>(runtime::ValueKind::U16) &&
            static_cast<int>(plcruntime::Format::Bcd) == 1 + static_cast<int>(runtime::ValueKind::Bcd) &&
            static_cast<int>(plcruntime::Format::F32) == 1 + static_cast<int>(runtime::ValueKind::F32) &&
            static_cast<int>(plcruntime::Format::Text) == 1 + static_cast<int>(runtime::ValueKind::Text),
        "the default comes first, then the same kinds");
    static_assert(
        static_cast<int>(plcruntime::ByteOrder::Dcba) == static_cast<int>(runtime::ByteOrder::Dcba) &&
            static_cast<int>(plcruntime::ByteOrder::Badc) == static_cast<int>(runtime::ByteOrder::Badc),
        "the same orders");
    const bool isKind =
        settings.format >= plcruntime::Format::U16 && settings.format <= plcruntime::Format::Text;
    const bool isOrder =
        settings.order >= plcruntime::ByteOrder::Abcd && settings.order <= plcruntime::ByteOrder::Dcba;
    if (!isKind || !isOrder)
        throw Failure(FailureKind::Usage,
                      "a byte order stands beside a format, and both are those of the header");
    runtime::ValueFormat format;
    format.kind = static_cast<runtime::ValueKind>(static_cast<int>(settings.format) - 1);
    format.order = static_cast<runtime::ByteOrder>(settings.order);
    format.textBytes = settings.textBytes;
    return format;
}

/// The place as people write it, so that one parser judges both ways of giving it.
std::string placeText(const plcruntime::VariableSettings &settings)
{
    if (!settings.place.isEmpty())
        return runtime::toUtf8(settings.place);
    std::string text = runtime::toUtf8(settings.area) + ":" + runtime::toUtf8(settings.address) + ":" +
                       std::to_string(settings.count);
    const bool isPlain =
        settings.format == plcruntime::Format::Default && settings.order == plcruntime::ByteOrder::Abcd;
    if (!isPlain)
        text += "/" + nameOf(formatOf(settings));
    if (settings.station != -1)
        text += "@" + std::to_string(settings.station);
    return text;
}

} // namespace

runtime::LinkSettings linkSettings(const plcruntime::LineSettings &given)
{
    runtime::LinkSettings link;
    setLine(given, &link);
    setStations(given, &link);
    check("timeoutMs", given.timeoutMs, runtime::kTimeoutMsLimits);
    check("retries", given.retries, runtime::kRetryLimits);
    check("station", given.station, runtime::kStationLimits);
    check("turnaroundMs", given.turnaroundMs, runtime::kTurnaroundMsLimits);
    checkOrDefault("lateGuardMs", given.lateGuardMs, runtime::kLateGuardMsLimits);
    check("maxBlock", given.maxBlock, runtime::kMaxBlockLimits);
    check("offlineFailures", given.offlineFailures, runtime::kOfflineFailureLimits);
    check("firstProbeMs", given.firstProbeMs, runtime::kProbeMsLimits);
    check("longestProbeMs", given.longestProbeMs, runtime::kProbeMsLimits);
    check("pollIntervalMs", given.pollIntervalMs, runtime::kPollIntervalMsLimits);
    link.timeout = milliseconds(given.timeoutMs);
    link.retries = given.retries;
    link.station = given.station;
    link.turnaround = milliseconds(given.turnaroundMs);
    if (given.lateGuardMs != -1)
        link.lateGuard = milliseconds(given.lateGuardMs);
    link.maxBlock = given.maxBlock;
    link.separateReads = given.separateReads;
    link.linkMode = given.relay ? 1 : 0;
    link.echo = given.echo;
    link.options = given.driverOptions;
    link.policies = policiesWithout(given.policiesOff);
    link.offline.failures = given.offlineFailures;
    link.offline.firstProbe = milliseconds(given.firstProbeMs);
    link.offline.longestProbe = milliseconds(given.longestProbeMs);
    link.pollInterval = milliseconds(given.pollIntervalMs);
    link.reopen = given.reopen;
    return link;
}

runtime::Variable variableOf(const plcruntime::VariableSettings &settings,
                             const plcruntime::LineSettings &line)
{
    runtime::Variable variable =
        runtime::parseVariable(placeText(settings), hasOption(line.driverOptions, kOptionOneBased));
    if (!variable.station)
        variable.station = line.station;
    variable.label = runtime::toUtf8(settings.name);
    if (settings.scale != 1 || settings.offset != 0) {
        if (variable.area->unit == runtime::Unit::Bit || variable.registerFormat().isText())
            throw Failure(FailureKind::Usage,
                          "variable '" + variable.text + "': bits and texts have neither scale nor offset");
        // The reverse must be a number as well.
        if (!std::isfinite(settings.scale) || !std::isfinite(1 / settings.scale) ||
            !std::isfinite(settings.offset))
            throw Failure(FailureKind::Usage, "variable '" + variable.text +
                                                  "': a scale is a number but 0, and an offset a number");
        runtime::Meaning meaning;
        meaning.scale = settings.scale;
        meaning.offset = settings.offset;
        variable.meaning = std::make_shared<const runtime::Meaning>(meaning);
    }
    return variable;
}

std::string driverFile(const plcruntime::LineSettings &settings)
{
    constexpr const char *kName = "libplcdriver.so.1";
    if (!settings.driverFile.isEmpty())
        return runtime::toUtf8(settings.driverFile);
    // Installed, the driver lies beside this library.
    Dl_info here{};
    if (dladdr(reinterpret_cast<const void *>(&driverFile), &here) != 0 && here.dli_fname) {
        const std::string file = here.dli_fname;
        const std::size_t slash = file.rfind('/');
        std::string beside = slash == std::string::npos ? kName : file.substr(0, slash + 1) + kName;
        if (access(beside.c_str(), F_OK) == 0)
            return beside;
    }
    return kName;
}

plcruntime::Error errorOf(const runtime::Failure &failure)
{
    plcruntime::ErrorKind kind = plcruntime::ErrorKind::Usage;
    if (failure.kind() == FailureKind::Driver)
        kind = plcruntime::ErrorKind::Driver;
    if (failure.kind() == FailureKind::Port)
        kind = dynamic_cast<const runtime::PortAbsent *>(&failure) ? plcruntime::ErrorKind::PortAbsent
                                                                   : plcruntime::ErrorKind::Port;
    return plcruntime::Error(kind, runtime::fromUtf8(failure.what()));
}

} // namespace plc::api
