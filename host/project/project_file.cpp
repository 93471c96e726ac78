#include "host/project/project_file.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>

#include "core/register_types.h"
#include "host/project/input_file.h"
#include "host/project/located_json.h"
#include "host/project/priority_rows.h"
#include "host/project/setting_names.h"
#include "host/project/variable_meaning.h"
#include "runtime/line/failure.h"
#include "runtime/line/rtu_layout.h"
#include "runtime/line/setting_limits.h"

namespace plc::host {

namespace {

constexpr int kMostRegistersInOneRead = 125;
constexpr int kMostBitsInOneRead = 2000;
constexpr Limits kTypedAddressLimits{0, 65536}; ///< counted from 0 or from 1
constexpr std::size_t kLongestName = 64;

std::string quoted(const std::string &text)
{
    return "'" + text + "'";
}

/// What a Failure of another reader says, without the place that it names.
std::string reasonOf(const Failure &failure)
{
    const std::string text = failure.what();
    const std::size_t place = text.find(", character ");
    const std::size_t reason = text.find(": ", place == std::string::npos ? text.size() : place);
    return reason == std::string::npos ? text : text.substr(reason + 2);
}

/// Reads one project; the first mistake ends it.
class ProjectReader
{
public:
    ProjectReader(const LocatedJson &json, const LinkSettings &link) : json_(json) { project_.link = link; }

    Project read()
    {
        const Json::Value &root = json_.root();
        const Json::Value *link = nullptr;
        const Json::Value *stations = nullptr;
        const Json::Value *variables = nullptr;
        const Json::Value *rows = nullptr;
        const Json::Value *holes = nullptr;
        visit(root, "a project",
              {{"name", [&](const Json::Value &value) { project_.name = onOneLine(text(value, "a text")); }},
               {"link", [&](const Json::Value &value) { link = &value; }},
               {"stations", [&](const Json::Value &value) { stations = &value; }},
               {"variables", [&](const Json::Value &value) { variables = &value; }},
               {"holes", [&](const Json::Value &value) { holes = &value; }},
               {"nameRows", [&](const Json::Value &value) { rows = &value; }}});
        // The link comes first, wherever it stands in the file: its options say what addresses mean.
        if (link)
            readLink(*link);
        if (stations)
            readStations(*stations);
        if (holes)
            readHoles(*holes);
        if (!variables)
            json_.refuse(root, "the project has no 'variables', a list of at least one variable");
        readVariables(*variables);
        if (rows)
            readRows(*rows);
        project_.writtenRows = project_.rows.size();
        for (PriorityRow &row : rateRows(project_.variables, project_.rates))
            project_.rows.push_back(std::move(row));
        return std::move(project_);
    }

private:
    using Take = std::function<void(const Json::Value &)>;
    using Keys = std::vector<std::pair<const char *, Take>>;

    void visit(const Json::Value &object, const std::string &what, const Keys &keys) const
    {
        if (!object.isObject())
            json_.refuse(object, what + " must be an object, {...}");
        for (const JsonMember &member : membersInOrder(object))
            find(member, what, keys)(*member.value);
    }

    const Take &find(const JsonMember &member, const std::string &what, const Keys &keys) const
    {
        std::string names;
        for (const auto &[name, take] : keys) {
            if (member.key == name)
                return take;
            names += (names.empty() ? "" : ", ") + std::string(name);
        }
        json_.refuseKey(*member.value, quoted(member.key) + " is no key of " + what + "; keys are " + names);
    }

    const Json::Value &list(const Json::Value &value, const std::string &what) const
    {
        if (!value.isArray())
            json_.refuse(value, what + " must be a list, [...]");
        return value;
    }

    std::string text(const Json::Value &value, const std::string &allowed) const
    {
        if (!value.isString())
            json_.refuse(value, "this must be " + allowed + " in quotation marks");
        return value.asString();
    }

    int number(const Json::Value &value, Limits limits) const
    {
        const double given = value.isNumeric() ? value.asDouble() : std::nan("");
        // What is no number gives NaN, which no comparison accepts.
        if (!(given >= limits.least && given <= limits.most) || given != std::floor(given))
            json_.refuse(value, "this must be a whole number from " + std::to_string(limits.least) + " to " +
                                    std::to_string(limits.most));
        return static_cast<int>(given);
    }

    bool flag(const Json::Value &value) const
    {
        if (!value.isBool())
            json_.refuse(value, "this must be true or false");
        return value.asBool();
    }

    Take numberInto(int *target, Limits limits) const
    {
        return [=](const Json::Value &value) { *target = number(value, limits); };
    }

    Take millisecondsInto(Time *target, Limits limits) const
    {
        return [=](const Json::Value &value) { *target = std::chrono::milliseconds(number(value, limits)); };
    }

    void readLink(const Json::Value &value)
    {
        LinkSettings &link = project_.link;
        visit(value, "the link",
              {{"port", [&](const Json::Value &port) { link.port = text(port, "a path, as /dev/ttyUSB0,"); }},
               {"baud", numberInto(&link.baud, kBaudLimits)},
               {"parity", [&](const Json::Value &parity) { readParity(parity); }},
               {"stopBits", numberInto(&link.stopBits, kStopBitLimits)},
               {"rs485", [&](const Json::Value &rs485) { readRs485(rs485); }},
               {"anyRate", [&](const Json::Value &anyRate) { link.anyRate = flag(anyRate); }},
               {"retryLimit", numberInto(&link.retries, kRetryLimits)},
               {"replyTimeoutMs", millisecondsInto(&link.timeout, kTimeoutMsLimits)},
               {"lateGuardMs",
                [&](const Json::Value &given) {
                    Time guard{};
                    millisecondsInto(&guard, kLateGuardMsLimits)(given);
                    link.lateGuard = guard;
                }},
               {"turnaroundMs", millisecondsInto(&link.turnaround, kTurnaroundMsLimits)},
               {"options", [&](const Json::Value &options) { readOptions(options); }},
               {"linkMode", numberInto(&link.linkMode, kLinkModeLimits)},
               {"maxBlock", numberInto(&link.maxBlock, kMaxBlockLimits)},
               {"station", numberInto(&link.station, kStationLimits)},
               {"echo", [&](const Json::Value &echo) { link.echo = flag(echo); }},
               {"without", [&](const Json::Value &without) { readPoliciesOff(without); }},
               {"offlineAfter", numberInto(&link.offline.failures, kOfflineFailureLimits)},
               {"firstTrialMs", millisecondsInto(&link.offline.firstProbe, kProbeMsLimits)},
               {"longestTrialMs", millisecondsInto(&link.offline.longestProbe, kProbeMsLimits)}});
        if (link.offline.firstProbe > link.offline.longestProbe)
            json_.refuse(value, "firstTrialMs must not be longer than longestTrialMs");
    }

    void readStations(const Json::Value &value)
    {
        for (const Json::Value &item : list(value, "the stations"))
            readStation(item);
    }

    void readStation(const Json::Value &value)
    {
        const Json::Value *numberAt = nullptr;
        StationSettings settings;
        visit(value, "a station",
              {{"station", [&](const Json::Value &given) { numberAt = &given; }},
               {"replyTimeoutMs",
                [&](const Json::Value &given) {
                    settings.timeout = std::chrono::milliseconds(number(given, kTimeoutMsLimits));
                }},
               {"retryLimit",
                [&](const Json::Value &given) { settings.retries = number(given, kRetryLimits); }},
               {"pauseMs", millisecondsInto(&settings.pause, kPauseMsLimits)}});
        if (!numberAt)
            json_.refuse(value, "the settings of a station have no 'station', its number");
        const int station = number(*numberAt, kStationLimits);
        const auto [other, isNew] = lineOfStation_.emplace(station, json_.lineOf(*numberAt));
        if (!isNew)
            json_.refuse(*numberAt, "station " + std::to_string(station) + " has settings already, in line " +
                                        std::to_string(other->second));
        project_.link.stations.emplace(station, settings);
    }

    /// Hands the name that @p value is to @p take, and adds the place to its complaint.
    void takeName(const Json::Value &value, const std::string &allowed,
                  const std::function<void(const std::string &)> &take) const
    {
        const std::string name = text(value, allowed);
        try {
            take(name);
        } catch (const Failure &failure) {
            json_.refuse(value, failure.what());
        }
    }

    void readParity(const Json::Value &value)
    {
        takeName(value, "even, odd or none",
                 [&](const std::string &name) { project_.link.parity = parityNamed(name); });
    }

    void readRs485(const Json::Value &value)
    {
        takeName(value, "rts-on-send or rts-after-send",
                 [&](const std::string &name) { project_.link.rs485 = rs485Named(name); });
    }

    void readPoliciesOff(const Json::Value &value)
    {
        for (const Json::Value &item : list(value, "the policies to do without"))
            takeName(item, "the name of a policy",
                     [&](const std::string &name) { turnOff(&project_.link.policies, name); });
    }

    void readOptions(const Json::Value &value)
    {
        for (const Json::Value &item : list(value, "the options"))
            takeName(item, "the name of an option",
                     [&](const std::string &name) { project_.link.options |= optionMask(name); });
    }

    void readHoles(const Json::Value &value)
    {
        for (const Json::Value &item : list(value, "the holes"))
            project_.link.holes.push_back(readHole(item));
    }

    Hole readHole(const Json::Value &value) const
    {
        Hole hole;
        hole.station = project_.link.station;
        hole.count = 1;
        std::string area;
        const Json::Value *address = nullptr;
        visit(value, "a hole",
              {{"station", numberInto(&hole.station, kStationLimits)},
               {"area", [&](const Json::Value &given) { area = text(given, "0x, 1x, 3x or 4x"); }},
               {"address", [&](const Json::Value &given) { address = &given; }},
               {"count", numberInto(&hole.count, kValueCountLimits)}});
        const Area *const known = findArea(area);
        if (!known || area != areaName(known->baseType))
            json_.refuse(value, "a hole has an 'area': \"0x\", \"1x\", \"3x\" or \"4x\"");
        if (!address)
            json_.refuse(value, "a hole has an 'address', its first one");
        hole.baseType = known->baseType;
        hole.first = wholeNumber(*address) - (project_.link.oneBased() ? 1 : 0);
        if (hole.first < 0 || hole.first + hole.count > kAddresses)
            json_.refuse(value, "the hole goes beyond the area, whose last address is " +
                                    std::to_string(kAddresses - (project_.link.oneBased() ? 0 : 1)));
        return hole;
    }

    /// An address, as a number or as a text.
    int wholeNumber(const Json::Value &value) const
    {
        if (!value.isString())
            return number(value, kTypedAddressLimits);
        bool isNumber = false;
        const int given = QString::fromStdString(value.asString()).toInt(&isNumber);
        if (!isNumber || given < kTypedAddressLimits.least || given > kTypedAddressLimits.most)
            json_.refuse(value, "an address is a number, as 100, not " + quoted(value.asString()));
        return given;
    }

    void readVariables(const Json::Value &value)
    {
        const Json::Value &items = list(value, "the variables");
        if (items.empty())
            json_.refuse(value, "the project has no variable; at least one is needed");
        if (items.size() > kMostVariables)
            json_.refuse(value, "the project has " + std::to_string(items.size()) + " variables; at most " +
                                    std::to_string(kMostVariables) + " are possible");
        for (const Json::Value &item : items)
            readVariable(item);
    }

    void readVariable(const Json::Value &value)
    {
        const Json::Value *name = nullptr;
        const Json::Value *area = nullptr;
        const Json::Value *address = nullptr;
        const Json::Value *count = nullptr;
        const Json::Value *format = nullptr;
        MeaningMembers meaning;
        int station = project_.link.station;
        int rate = 0;
        visit(value, "a variable",
              {{"name", [&](const Json::Value &given) { name = &given; }},
               {"area", [&](const Json::Value &given) { area = &given; }},
               {"address", [&](const Json::Value &given) { address = &given; }},
               {"station", numberInto(&station, kStationLimits)},
               {"count", [&](const Json::Value &given) { count = &given; }},
               {"rate", numberInto(&rate, Limits{0, kPriorityLevels})},
               {"format", [&](const Json::Value &given) { format = &given; }},
               {"scale", [&](const Json::Value &given) { meaning.scale = &given; }},
               {"offset", [&](const Json::Value &given) { meaning.offset = &given; }},
               {"unit", [&](const Json::Value &given) { meaning.unit = &given; }},
               {"min", [&](const Json::Value &given) { meaning.least = &given; }},
               {"max", [&](const Json::Value &given) { meaning.most = &given; }},
               {"texts", [&](const Json::Value &given) { meaning.texts = &given; }},
               {"description", [&](const Json::Value &given) { meaning.description = &given; }}});
        if (!name || !area || !address)
            json_.refuse(value, std::string("the variable has no '") +
                                    (!name   ? "name"
                                     : !area ? "area"
                                             : "address") +
                                    "'; it needs name, area and address");
        const std::string label = readName(*name);
        const std::string place = readArea(*area) + ":" + readAddress(*address);
        std::string at = "@" + std::to_string(station);
        Variable variable = checked(place + at, *address);
        if (format) {
            at = "/" + readFormat(*format) + at;
            variable = checked(place + at, *format);
        }
        if (count) {
            const int values = number(*count, kValueCountLimits);
            variable = checked(place + ":" + std::to_string(values) + at, *count);
            checkCount(variable, *count);
        }
        variable.meaning = readMeaning(json_, meaning, variable);
        variable.text = label;
        variable.label = label;
        project_.variables.push_back(variable);
        project_.rates.push_back(rate);
    }

    /// Without packing the driver does not cut a variable into requests either. Stations refuse a request
    /// that is longer than the standard allows (MODBUS Application Protocol V1.1b3, 6.1 to 6.4).
    void checkCount(const Variable &variable, const Json::Value &place) const
    {
        const bool bits = isBitArea(variable.area->baseType);
        const LinkSettings &link = project_.link;
        const bool packed = link.maxBlock > 1 && (!bits || link.bitLimit() > 1);
        const int most = bits ? kMostBitsInOneRead : kMostRegistersInOneRead;
        if (!packed && variable.baseCount() > most)
            json_.refuse(place, "without packing a variable is one request, of at most " +
                                    std::to_string(most) + (bits ? " bits" : " registers") + ", not " +
                                    std::to_string(variable.baseCount()));
    }

    Variable checked(const std::string &text, const Json::Value &place) const
    {
        try {
            return parseVariable(text, project_.link.oneBased());
        } catch (const Failure &failure) {
            json_.refuse(place, reasonOf(failure));
        }
    }

    std::string readName(const Json::Value &value)
    {
        std::string name = text(value, "a name");
        const bool good = !name.empty() && name.size() <= kLongestName && name.front() != ' ' &&
                          name.back() != ' ' && name.front() != '#' && !hasControlCharacters(name) &&
                          name.find_first_of("=,\"\\") == std::string::npos;
        if (!good)
            json_.refuse(value,
                         "a name has 1 to " + std::to_string(kLongestName) +
                             " bytes, no = , \" \\, no control character, no blank at its ends and no # "
                             "in front");
        const auto [other, isNew] = lineOfName_.emplace(name, json_.lineOf(value));
        if (!isNew)
            json_.refuse(value, quoted(name) + " is the name of another variable already, in line " +
                                    std::to_string(other->second) + "; each needs its own");
        return name;
    }

    std::string readArea(const Json::Value &value) const
    {
        std::string name = text(value, "the name of an area");
        if (!findArea(name))
            // parseVariable names the areas in its complaint.
            return checked(name + ":0", value).area->name;
        return name;
    }

    std::string readFormat(const Json::Value &value) const
    {
        const std::string format = text(value, "a format, as \"f32\" or \"i32.cdab\",");
        try {
            return nameOf(parseFormat(format));
        } catch (const Failure &failure) {
            json_.refuse(value, failure.what());
        }
    }

    std::string readAddress(const Json::Value &value) const
    {
        // Only whole numbers: as a number 35.10 would lose its last digit.
        if (value.isNumeric())
            return std::to_string(number(value, kTypedAddressLimits));
        std::string address = text(value, "an address, as \"100\", or REGISTER.BIT, as \"35.3\",");
        if (address.find_first_not_of("0123456789.") != std::string::npos)
            json_.refuse(value, "an address is a number, as \"100\", or REGISTER.BIT, as \"35.3\", not " +
                                    quoted(address));
        return address;
    }

    void readRows(const Json::Value &value)
    {
        for (const Json::Value &item : list(value, "nameRows"))
            readRow(item);
    }

    void readRow(const Json::Value &value)
    {
        const Json::Value &items = list(value, "a row");
        if (items.size() < kRowTexts)
            json_.refuse(value,
                         "a row has at least 10 texts, the ninth the level and the last the name; here are " +
                             std::to_string(items.size()));
        PriorityRow row;
        for (const Json::Value &item : items)
            row.texts.append(QString::fromStdString(text(item, "a text")));
        const std::optional<int> level = levelOfText(items[kLevelText].asString());
        if (!level)
            json_.refuse(items[kLevelText], "the level must be \"1\" to \"4\", or \"0\" or \"\" for none");
        row.level = *level;
        if (row.level != 0)
            readRowName(items[items.size() - 1], &row);
        project_.rows.push_back(row);
    }

    void readRowName(const Json::Value &value, PriorityRow *row) const
    {
        const std::optional<NamedPlace> place = placeOfName(value.asString());
        if (!place)
            json_.refuse(value, "a name is 0x, 1x, 3x, 4x, 3x_bit, 4x_bit, 3x_d or 4x_d with a number behind "
                                "it, as \"4x_d100\"");
        row->baseType = place->baseType;
        row->address = place->address;
    }

    const LocatedJson &json_;
    Project project_;
    std::map<std::string, int> lineOfName_;
    std::map<int, int> lineOfStation_;
};

} // namespace

Project parseProject(const std::string &file, const QByteArray &text)
{
    return projectFrom(LocatedJson(file, text.toStdString()), LinkSettings());
}

Project projectFrom(const LocatedJson &json, const LinkSettings &link)
{
    return ProjectReader(json, link).read();
}

Project loadProject(const std::string &path)
{
    Project project = projectFrom(LocatedJson(path, textOfFile(path)), LinkSettings());
    if (project.name.empty())
        project.name = path.substr(path.rfind('/') + 1);
    return project;
}

std::vector<std::string> projectWarnings(const Project &project)
{
    std::vector<std::string> warnings;
    bool anyLevel = false;
    for (const PriorityRow &row : project.rows)
        anyLevel = anyLevel || row.level != 0;
    if (anyLevel && project.link.linkMode != 0)
        warnings.emplace_back(
            "over a relay the driver serves no priority level: variables that have one may never be read");
    const bool isBroadcast =
        std::any_of(project.variables.begin(), project.variables.end(), [&](const Variable &variable) {
            return variable.station.value_or(project.link.station) == 0;
        });
    if (isBroadcast && project.link.turnaround >= project.link.timeout)
        warnings.emplace_back("turnaroundMs should be shorter than replyTimeoutMs");
    for (const Hole &hole : project.link.holes) {
        for (const Variable &variable : project.variables) {
            const bool isHit = variable.station.value_or(project.link.station) == hole.station &&
                               variable.area->baseType == hole.baseType &&
                               variable.baseFirst() < hole.first + hole.count &&
                               hole.first < variable.baseFirst() + variable.baseCount();
            if (isHit)
                warnings.push_back("variable '" + variable.label +
                                   "' lies in one of the 'holes', which its station refuses");
        }
    }
    for (const auto &[station, settings] : project.link.stations) {
        const bool isUsed = std::any_of(
            project.variables.begin(), project.variables.end(),
            [station = station](const Variable &variable) { return variable.station == station; });
        if (!isUsed)
            warnings.push_back("'stations' has settings of station " + std::to_string(station) +
                               ", which no variable is of");
    }
    return warnings;
}

} // namespace plc::host
