#include "host/commands/command_options.h"

#include <cstdio>

#include "host/project/setting_names.h"
#include "runtime/line/failure.h"

namespace plc::host {

namespace {

/// Areas by the digits that Modbus command-line masters have for them.
std::string areaOfType(const std::string &type)
{
    if (type == "0" || type == "1" || type == "3" || type == "4")
        return type + "x";
    return type;
}

/// The same as optionMask, with complaints about what was typed.
quint32 typedOption(const std::string &name)
{
    try {
        return optionMask(name);
    } catch (const Failure &failure) {
        throw Failure(failure.kind(), std::string("--") + failure.what());
    }
}

} // namespace

LinkSettings CommandOptions::link() const
{
    LinkSettings settings;
    settings.port = port;
    settings.baud = baud;
    settings.parity = parityNamed(parity);
    if (!rs485.empty())
        settings.rs485 = rs485Named(rs485);
    settings.anyRate = anyRate;
    settings.stopBits = stopBits;
    settings.timeout = fromSeconds(timeoutSeconds);
    if (lateGuardSeconds >= 0)
        settings.lateGuard = fromSeconds(lateGuardSeconds);
    settings.turnaround = std::chrono::milliseconds(turnaroundMs);
    settings.retries = retries;
    settings.station = station;
    settings.linkMode = linkMode;
    settings.maxBlock = maxBlock;
    for (const std::string &name : options)
        settings.options |= typedOption(name);
    settings.echo = echo;
    for (const std::string &name : without)
        turnOff(&settings.policies, name);
    settings.policies.offline = settings.policies.offline && asksForEver;
    settings.reopen = asksForEver && !noReopen;
    settings.offline.failures = offlineAfter;
    settings.offline.firstProbe = fromSeconds(firstProbeSeconds);
    settings.offline.longestProbe = fromSeconds(longestProbeSeconds);
    if (settings.offline.firstProbe > settings.offline.longestProbe)
        throw Failure(FailureKind::Usage,
                      "the first trial (--first-trial) comes later than the longest distance of the "
                      "trials (--longest-trial) allows; make it shorter");
    settings.pollInterval = std::chrono::milliseconds(intervalMs);
    settings.driverPath = driver;
    if (settings.turnaround >= settings.timeout && !quiet)
        std::fprintf(
            stderr, "plchost: the pause after a broadcast (--turnaround) should be shorter than the wait for "
                    "a reply (--timeout)\n");
    return settings;
}

std::vector<Variable> CommandOptions::variableList(bool oneBased) const
{
    std::vector<Variable> list;
    for (const std::string &text : variables)
        list.push_back(parseVariable(text, oneBased));
    if (!type.empty())
        list.push_back(parseVariable(areaOfType(type) + ":" + start + ":" + std::to_string(count), oneBased));
    if (list.empty())
        throw Failure(FailureKind::Usage, "no variable is given; name at least one, as 4x:100:10");
    return list;
}

} // namespace plc::host
