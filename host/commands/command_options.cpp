#include "host/commands/command_options.h"

#include <algorithm>
#include <cstdio>

#include "cli/nearest.h"
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

/// Formats by the words that those masters have for them.
std::string formatOfWord(const std::string &word)
{
    constexpr const char *kWords[][2] = {{"float", "f32"}, {"int", "i32"}, {"int16", "i16"}, {"hex", "hex"}};
    std::string words;
    for (const auto &[theirs, ours] : kWords) {
        if (word == theirs)
            return ours;
        words += (words.empty() ? "" : ", ") + std::string(theirs);
    }
    throw Failure(FailureKind::Usage, "--type: behind : stands one of " + words + ", not '" + word +
                                          "'; behind / any format, as 4/f32.cdab");
}

/// The variable that -t, -r and -c describe.
std::string variableText(const std::string &type, const std::string &start, int count)
{
    const std::size_t mark = std::min(type.find_first_of(":/"), type.size());
    std::string place = areaOfType(type.substr(0, mark)) + ":" + start + ":" + std::to_string(count);
    if (mark == type.size())
        return place;
    const std::string format = type.substr(mark + 1);
    return place + "/" + (type[mark] == ':' ? formatOfWord(format) : format);
}

/// The same as runtime::parseVariable(), with a guess at an area that was mistyped.
Variable typedVariable(const std::string &text, bool oneBased)
{
    const std::size_t colon = text.find(':');
    const std::string area = text.substr(0, colon);
    std::vector<std::string> names;
    for (const Area &known : areas())
        names.emplace_back(known.name);
    const std::string guess = cli::didYouMean(area, names);
    if (colon != std::string::npos && !findArea(area) && !guess.empty())
        throw Failure(FailureKind::Usage, "variable '" + text + "': '" + area + "' is no area" + guess);
    return parseVariable(text, oneBased);
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

void CommandOptions::takeProject()
{
    if (!projectFile.empty())
        project_ = std::make_shared<const Project>(loadProject(projectFile));
}

LinkSettings CommandOptions::link() const
{
    LinkSettings settings = project_ ? project_->link : LinkSettings();
    const auto isGiven = [this](const char *option) { return !project_ || typed.count(option) > 0; };
    if (isGiven("--port"))
        settings.port = port;
    if (settings.port.empty() && project_)
        throw Failure(FailureKind::Usage, projectFile + " names no port; give one with -p PATH");
    if (isGiven("--baud"))
        settings.baud = baud;
    if (isGiven("--parity"))
        settings.parity = parityNamed(parity);
    if (!rs485.empty())
        settings.rs485 = rs485Named(rs485);
    settings.anyRate = settings.anyRate || anyRate;
    if (isGiven("--stop-bits"))
        settings.stopBits = stopBits;
    if (isGiven("--timeout"))
        settings.timeout = fromSeconds(timeoutSeconds);
    if (lateGuardSeconds >= 0)
        settings.lateGuard = fromSeconds(lateGuardSeconds);
    if (isGiven("--turnaround"))
        settings.turnaround = std::chrono::milliseconds(turnaroundMs);
    if (isGiven("--retries"))
        settings.retries = retries;
    if (isGiven("--station"))
        settings.station = station;
    if (isGiven("--link-mode"))
        settings.linkMode = linkMode;
    if (isGiven("--max-block"))
        settings.maxBlock = maxBlock;
    for (const std::string &name : options)
        settings.options |= typedOption(name);
    if (project_ && settings.oneBased() != project_->link.oneBased())
        throw Failure(FailureKind::Usage,
                      "the addresses in " + projectFile + " count from 0; leave --option one-based out");
    settings.echo = settings.echo || echo;
    for (const std::string &name : without)
        turnOff(&settings.policies, name);
    settings.policies.echoCheck = settings.policies.echoCheck && !noEchoCheck;
    settings.policies.offline = settings.policies.offline && asksForEver;
    settings.reopen = asksForEver && !noReopen;
    if (isGiven("--offline-after"))
        settings.offline.failures = offlineAfter;
    if (isGiven("--first-trial"))
        settings.offline.firstProbe = fromSeconds(firstProbeSeconds);
    if (isGiven("--longest-trial"))
        settings.offline.longestProbe = fromSeconds(longestProbeSeconds);
    if (settings.offline.firstProbe > settings.offline.longestProbe)
        throw Failure(FailureKind::Usage,
                      "the first trial (--first-trial) comes later than the longest distance of the "
                      "trials (--longest-trial) allows; make it shorter");
    settings.pollInterval = std::chrono::milliseconds(intervalMs);
    settings.driverPath = driver;
    return settings;
}

void CommandOptions::adviseOnBroadcasts(const LinkSettings &link) const
{
    if (link.turnaround >= link.timeout && !quiet)
        std::fprintf(
            stderr, "plchost: the pause after a broadcast (--turnaround) should be shorter than the wait for "
                    "a reply (--timeout)\n");
}

const Variable *CommandOptions::inProject(const std::string &name) const
{
    if (!project_)
        return nullptr;
    const auto found = std::find_if(project_->variables.begin(), project_->variables.end(),
                                    [&](const Variable &variable) { return variable.label == name; });
    return found == project_->variables.end() ? nullptr : &*found;
}

Variable CommandOptions::variableOf(const std::string &text, bool oneBased) const
{
    if (const Variable *known = inProject(text))
        return *known;
    try {
        return typedVariable(text, oneBased);
    } catch (const Failure &failure) {
        if (!project_ || text.find(':') != std::string::npos)
            throw;
        throw Failure(FailureKind::Usage, "'" + text + "' is no variable of " + projectFile +
                                              ", nor an area and address, as 4x:100");
    }
}

std::vector<Variable> CommandOptions::variableList(bool oneBased) const
{
    std::vector<Variable> list;
    for (const std::string &text : variables)
        list.push_back(variableOf(text, oneBased));
    if (!type.empty())
        list.push_back(typedVariable(variableText(type, start, count), oneBased));
    if (list.empty())
        throw Failure(FailureKind::Usage, "no variable is given; name at least one, as 4x:100:10");
    return list;
}

} // namespace plc::host
