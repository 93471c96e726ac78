#include "host/commands/command_options.h"

#include <algorithm>
#include <cstdio>

#include "cli/nearest.h"
#include "host/commands/station_list.h"
#include "host/project/setting_names.h"
#include "runtime/line/failure.h"

namespace plc::host {

namespace {

/// The area that was probably meant; empty where none is near.
std::string guessAtArea(const std::string &typed)
{
    std::vector<std::string> names;
    for (const Area &known : areas())
        names.emplace_back(known.name);
    return cli::didYouMean(typed, names);
}

/// Areas by the digits that Modbus command-line masters have for them.
std::string areaOfType(const std::string &type)
{
    if (type == "0" || type == "1" || type == "3" || type == "4")
        return type + "x";
    if (!findArea(type)) {
        const std::string guess = guessAtArea(type);
        throw Failure(FailureKind::Usage,
                      "--type: '" + type + "' is no area" +
                          (guess.empty() ? "; it is 0, 1, 3 or 4 for 0x, 1x, 3x or 4x, or the name of an "
                                           "area, as 4x_bit"
                                         : guess));
    }
    return type;
}

/// An address alone: the other parts of a variable have options of their own.
const std::string &checkedStart(const std::string &start)
{
    if (start.empty() || start.find_first_not_of("0123456789.") != std::string::npos)
        throw Failure(FailureKind::Usage,
                      "--start: '" + start +
                          "' is no address; it is a number, as 100, or REGISTER.BIT, as "
                          "35.3; the count goes to -c, the station to -a, a format to -t");
    return start;
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
    std::string place =
        areaOfType(type.substr(0, mark)) + ":" + checkedStart(start) + ":" + std::to_string(count);
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
    const std::string guess = guessAtArea(area);
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

/// The variables once for each station, those that name one excepted.
std::vector<Variable> atEach(const std::vector<int> &stations, const std::vector<Variable> &variables)
{
    std::vector<Variable> list;
    bool isUsed = false;
    for (const int station : stations) {
        for (Variable variable : variables) {
            if (variable.station && station != stations.front())
                continue;
            if (!variable.station) {
                isUsed = true;
                variable.station = station;
                variable.text += "@" + std::to_string(station);
            }
            list.push_back(std::move(variable));
        }
    }
    if (!isUsed)
        throw Failure(
            FailureKind::Usage,
            "--station: each variable has a station of its own; several are for those that name none");
    return list;
}

} // namespace

void CommandOptions::takeProject()
{
    if (!projectFile.empty())
        project_ = std::make_shared<const Project>(loadProject(projectFile));
    if (project_) {
        for (const Variable &variable : project_->variables)
            byName_.emplace(variable.label, &variable);
    }
}

std::vector<int> CommandOptions::stationList() const
{
    std::vector<int> list;
    const std::string wrong = stationListMistake(stations, &list);
    if (!wrong.empty())
        throw Failure(FailureKind::Usage, "--station: " + wrong);
    if (list.size() > 1 && !takesSeveralStations)
        throw Failure(FailureKind::Usage,
                      "--station: several stations, as '" + stations + "', " + forSeveralStations);
    return list;
}

std::vector<int> AskOptions::askedStations() const
{
    std::vector<int> asked = stationList();
    if (std::find(asked.begin(), asked.end(), 0) != asked.end())
        throw Failure(FailureKind::Usage,
                      "--station: 0 is a broadcast, which nobody answers; name a station");
    return asked;
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
        settings.station = stationList().front();
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
    const auto found = byName_.find(name);
    return found == byName_.end() ? nullptr : found->second;
}

void CommandOptions::refuseOption(const std::string &text)
{
    if (text == "-0")
        throw Failure(
            FailureKind::Usage,
            "'-0' is no option: addresses count from 0 without it; --option one-based counts from 1");
    if (text.size() > 1 && text[0] == '-')
        throw Failure(FailureKind::Usage, "'" + text + "' is no option; --help shows those of the command");
}

Variable CommandOptions::variableOf(const std::string &text, bool oneBased) const
{
    if (const Variable *known = inProject(text))
        return *known;
    refuseOption(text);
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
    for (const char *option : {"--type", "--start", "--count"}) {
        if (typed.count(option) > 0 && (type.empty() || start.empty()))
            throw Failure(FailureKind::Usage, std::string(option) +
                                                  " belongs to -t AREA -r ADDRESS, as -t 4 -r 100 -c 10; the "
                                                  "same as a VARIABLE, without these options, is 4x:100:10");
    }
    std::vector<Variable> list;
    for (const std::string &text : variables)
        list.push_back(variableOf(text, oneBased));
    if (!type.empty())
        list.push_back(typedVariable(variableText(type, start, count), oneBased));
    if (list.empty())
        throw Failure(FailureKind::Usage, "no variable is given; name at least one, as 4x:100:10");
    const std::vector<int> asked = stationList();
    return asked.size() > 1 ? atEach(asked, list) : list;
}

} // namespace plc::host
