#include "host/project/project_file.h"

#include <QFile>

#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <set>

#include "core/register_types.h"
#include "host/project/located_json.h"
#include "runtime/line/failure.h"

namespace plc::host {

namespace {

constexpr int kLongestMs = 60000;
constexpr int kLongestTrialMs = 3600000;
constexpr int kMostRetries = 100;
constexpr int kMostFailures = 1000;
constexpr int kMostRegistersInOneRead = 125;
constexpr int kMostBitsInOneRead = 2000;
constexpr int kMostValues = 65536;
constexpr int kLevels = 4;
constexpr int kRowTexts = 10;
constexpr int kLevelText = 8;
constexpr std::size_t kLongestName = 64;

/// What a name of the name table may begin with. The longer ones come first, since "4x" also begins "4x_d".
struct NamePrefix
{
    const char *text;
    int baseType;
};

constexpr NamePrefix kNamePrefixes[] = {
    {"4x_d", kHoldingRegister},
    {"3x_d", kInputRegister},
    {"4x_bit", kHoldingRegister},
    {"3x_bit", kInputRegister},
    {"4x", kHoldingRegister},
    {"3x", kInputRegister},
    {"0x", kCoil},
    {"1x", kDiscreteInput},
};

/// The driver divides the number in a bit's name by this.
constexpr int kBitNameScale = 8;

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

/// A row that gives the element at @p address the priority @p level.
PriorityRow rowFor(const std::string &name, int baseType, int address, int level)
{
    PriorityRow row;
    row.level = level;
    row.baseType = baseType;
    row.address = address;
    for (int i = 0; i < kRowTexts; ++i)
        row.texts.append(QString());
    row.texts[0] = QString::fromStdString(name);
    row.texts[kLevelText] = QString::number(level);
    row.texts.last() = QLatin1String(areaName(baseType)) +
                       QString::number(isBitArea(baseType) ? address * kBitNameScale : address);
    return row;
}

/// Reads one project; the first mistake ends it.
class Reader
{
public:
    explicit Reader(const std::string &file) : file_(file) {}

    Project read(const LocatedValue &root)
    {
        const LocatedValue *link = nullptr;
        const LocatedValue *variables = nullptr;
        const LocatedValue *rows = nullptr;
        visit(root, "a project",
              {{"name", [&](const LocatedValue &value) { project_.name = text(value, "a text"); }},
               {"link", [&](const LocatedValue &value) { link = &value; }},
               {"variables", [&](const LocatedValue &value) { variables = &value; }},
               {"nameRows", [&](const LocatedValue &value) { rows = &value; }}});
        // In this order, whatever the file's: the addresses mean what the options of the link say.
        if (link)
            readLink(*link);
        if (!variables)
            refuseAt(file_, root.place, "the project has no 'variables', a list of at least one variable");
        readVariables(*variables);
        if (rows)
            readRows(*rows);
        addRateRows();
        return std::move(project_);
    }

private:
    using Take = std::function<void(const LocatedValue &)>;
    using Keys = std::vector<std::pair<const char *, Take>>;

    void visit(const LocatedValue &object, const std::string &what, const Keys &keys) const
    {
        if (object.type() != QJsonValue::Object)
            refuseAt(file_, object.place, what + " must be an object, {...}");
        for (const LocatedMember &member : object.members)
            find(member, what, keys)(member.value);
    }

    const Take &find(const LocatedMember &member, const std::string &what, const Keys &keys) const
    {
        std::string names;
        for (const auto &[name, take] : keys) {
            if (member.key == name)
                return take;
            names += (names.empty() ? "" : ", ") + std::string(name);
        }
        refuseAt(file_, member.keyPlace,
                 quoted(member.key) + " is no key of " + what + "; keys are " + names);
    }

    const std::vector<LocatedValue> &list(const LocatedValue &value, const std::string &what) const
    {
        if (value.type() != QJsonValue::Array)
            refuseAt(file_, value.place, what + " must be a list, [...]");
        return value.items;
    }

    std::string text(const LocatedValue &value, const std::string &allowed) const
    {
        if (value.type() != QJsonValue::String)
            refuseAt(file_, value.place, "this must be " + allowed + " in quotation marks");
        return value.scalar.toString().toStdString();
    }

    int number(const LocatedValue &value, int least, int most) const
    {
        const double given = value.scalar.toDouble(std::nan(""));
        // What is no number gives NaN, which no comparison accepts.
        if (!(given >= least && given <= most) || given != std::floor(given))
            refuseAt(file_, value.place,
                     "this must be a whole number from " + std::to_string(least) + " to " +
                         std::to_string(most));
        return static_cast<int>(given);
    }

    bool flag(const LocatedValue &value) const
    {
        if (value.type() != QJsonValue::Bool)
            refuseAt(file_, value.place, "this must be true or false");
        return value.scalar.toBool();
    }

    Take numberInto(int *target, int least, int most) const
    {
        return [=](const LocatedValue &value) { *target = number(value, least, most); };
    }

    Take millisecondsInto(Time *target, int least, int most = kLongestMs) const
    {
        return [=](const LocatedValue &value) {
            *target = std::chrono::milliseconds(number(value, least, most));
        };
    }

    void readLink(const LocatedValue &value)
    {
        LinkSettings &link = project_.link;
        visit(
            value, "the link",
            {{"port", [&](const LocatedValue &port) { link.port = text(port, "a path, as /dev/ttyUSB0,"); }},
             {"baud", numberInto(&link.baud, kSlowestBaud, kFastestBaud)},
             {"parity", [&](const LocatedValue &parity) { readParity(parity); }},
             {"stopBits", numberInto(&link.stopBits, 1, 2)},
             {"retryLimit", numberInto(&link.retries, 0, kMostRetries)},
             {"replyTimeoutMs", millisecondsInto(&link.timeout, 10)},
             {"lateGuardMs",
              [&](const LocatedValue &given) {
                  Time guard{};
                  millisecondsInto(&guard, 0)(given);
                  link.lateGuard = guard;
              }},
             {"turnaroundMs", millisecondsInto(&link.turnaround, 0)},
             {"options", [&](const LocatedValue &options) { readOptions(options); }},
             {"linkMode", numberInto(&link.linkMode, 0, 1)},
             {"maxBlock", numberInto(&link.maxBlock, 1, 100)},
             {"station", numberInto(&link.station, 1, kLastStation)},
             {"echo", [&](const LocatedValue &echo) { link.echo = flag(echo); }},
             {"without", [&](const LocatedValue &without) { readPoliciesOff(without); }},
             {"offlineAfter", numberInto(&link.offline.failures, 1, kMostFailures)},
             {"firstTrialMs", millisecondsInto(&link.offline.firstProbe, 100, kLongestTrialMs)},
             {"longestTrialMs", millisecondsInto(&link.offline.longestProbe, 100, kLongestTrialMs)}});
        if (link.offline.firstProbe > link.offline.longestProbe)
            refuseAt(file_, value.place, "firstTrialMs must not be longer than longestTrialMs");
    }

    void readParity(const LocatedValue &value)
    {
        const std::map<std::string, Parity> names{
            {"even", Parity::Even}, {"odd", Parity::Odd}, {"none", Parity::None}};
        const auto found = names.find(text(value, "even, odd or none"));
        if (found == names.end())
            refuseAt(file_, value.place, "the parity must be even, odd or none");
        project_.link.parity = found->second;
    }

    void readPoliciesOff(const LocatedValue &value)
    {
        for (const LocatedValue &item : list(value, "the policies to do without")) {
            const std::string name = text(item, "the name of a policy");
            try {
                turnOff(&project_.link.policies, name);
            } catch (const Failure &failure) {
                refuseAt(file_, item.place, failure.what());
            }
        }
    }

    void readOptions(const LocatedValue &value)
    {
        for (const LocatedValue &item : list(value, "the options")) {
            const std::string name = text(item, "the name of an option");
            try {
                project_.link.options |= optionMask(name);
            } catch (const Failure &failure) {
                const std::string reason = failure.what();
                refuseAt(file_, item.place, reason.substr(reason.find_first_not_of('-')));
            }
        }
    }

    void readVariables(const LocatedValue &value)
    {
        const std::vector<LocatedValue> &items = list(value, "the variables");
        if (items.empty())
            refuseAt(file_, value.place, "the project has no variable; at least one is needed");
        for (const LocatedValue &item : items)
            readVariable(item);
    }

    void readVariable(const LocatedValue &value)
    {
        const LocatedValue *name = nullptr;
        const LocatedValue *area = nullptr;
        const LocatedValue *address = nullptr;
        const LocatedValue *count = nullptr;
        int station = project_.link.station;
        int rate = 0;
        visit(value, "a variable",
              {{"name", [&](const LocatedValue &given) { name = &given; }},
               {"area", [&](const LocatedValue &given) { area = &given; }},
               {"address", [&](const LocatedValue &given) { address = &given; }},
               {"station", numberInto(&station, 1, kLastStation)},
               {"count", [&](const LocatedValue &given) { count = &given; }},
               {"rate", numberInto(&rate, 0, kLevels)}});
        if (!name || !area || !address)
            refuseAt(file_, value.place,
                     std::string("the variable has no '") +
                         (!name   ? "name"
                          : !area ? "area"
                                  : "address") +
                         "'; it needs name, area and address");
        const std::string label = readName(*name);
        const std::string place = readArea(*area) + ":" + readAddress(*address);
        const std::string at = "@" + std::to_string(station);
        Variable variable = checked(place + at, address->place);
        if (count) {
            const int values = number(*count, 1, kMostValues);
            variable = checked(place + ":" + std::to_string(values) + at, count->place);
            checkCount(variable, count->place);
        }
        variable.text = label;
        variable.label = label;
        project_.variables.push_back(variable);
        rates_.push_back(rate);
    }

    /// What is not packed is not cut either: a variable is one request then, and stations refuse longer ones
    /// (MODBUS Application Protocol V1.1b3, 6.1 to 6.4).
    void checkCount(const Variable &variable, TextPlace place) const
    {
        const bool bits = isBitArea(variable.area->baseType);
        const LinkSettings &link = project_.link;
        const bool packed = link.maxBlock > 1 && (!bits || link.bitLimit() > 1);
        const int most = bits ? kMostBitsInOneRead : kMostRegistersInOneRead;
        if (!packed && variable.baseCount() > most)
            refuseAt(file_, place,
                     "without packing a variable is one request, of at most " + std::to_string(most) +
                         (bits ? " bits" : " registers") + ", not " + std::to_string(variable.baseCount()));
    }

    Variable checked(const std::string &text, TextPlace place) const
    {
        try {
            return parseVariable(text, project_.link.oneBased());
        } catch (const Failure &failure) {
            refuseAt(file_, place, reasonOf(failure));
        }
    }

    std::string readName(const LocatedValue &value)
    {
        std::string name = text(value, "a name");
        bool good = !name.empty() && name.size() <= kLongestName && name.front() != ' ' &&
                    name.back() != ' ' && name.front() != '#';
        for (const char letter : name)
            good = good && std::string("=,\"\\").find(letter) == std::string::npos &&
                   static_cast<unsigned char>(letter) >= 0x20;
        if (!good)
            refuseAt(file_, value.place,
                     "a name has 1 to " + std::to_string(kLongestName) +
                         " bytes, no = , \" \\ or line end, no blank at its ends and no # in front");
        const auto [other, isNew] = lineOfName_.emplace(name, value.place.line);
        if (!isNew)
            refuseAt(file_, value.place,
                     quoted(name) + " is the name of another variable already, in line " +
                         std::to_string(other->second) + "; each needs its own");
        return name;
    }

    std::string readArea(const LocatedValue &value) const
    {
        std::string name = text(value, "the name of an area");
        if (!findArea(name))
            // The one reader of variables knows all areas.
            return checked(name + ":0", value.place).area->name;
        return name;
    }

    std::string readAddress(const LocatedValue &value) const
    {
        // A number would lose the last digit of "35.10".
        if (value.type() == QJsonValue::Double)
            return std::to_string(number(value, 0, kMostValues));
        std::string address = text(value, "an address, as \"100\", or REGISTER.BIT, as \"35.3\",");
        if (address.find_first_not_of("0123456789.") != std::string::npos)
            refuseAt(file_, value.place,
                     "an address is a number, as \"100\", or REGISTER.BIT, as \"35.3\", not " +
                         quoted(address));
        return address;
    }

    void readRows(const LocatedValue &value)
    {
        for (const LocatedValue &item : list(value, "nameRows"))
            readRow(item);
    }

    void readRow(const LocatedValue &value)
    {
        const std::vector<LocatedValue> &items = list(value, "a row");
        if (items.size() < kRowTexts)
            refuseAt(file_, value.place,
                     "a row has at least 10 texts, the ninth the level and the last the name; here are " +
                         std::to_string(items.size()));
        PriorityRow row;
        for (const LocatedValue &item : items)
            row.texts.append(QString::fromStdString(text(item, "a text")));
        const std::string level = row.texts.at(kLevelText).toStdString();
        if (level.size() > 1 || (level.size() == 1 && (level[0] < '0' || level[0] > '0' + kLevels)))
            refuseAt(file_, items[kLevelText].place,
                     "the level must be \"1\" to \"4\", or \"0\" or \"\" for none");
        row.level = level.empty() ? 0 : level[0] - '0';
        if (row.level != 0)
            readRowName(items.back(), &row);
        project_.rows.push_back(row);
    }

    void readRowName(const LocatedValue &value, PriorityRow *row) const
    {
        const QString name = value.scalar.toString().section(QLatin1Char('.'), 0, 0);
        for (const NamePrefix &prefix : kNamePrefixes) {
            const QString start = QLatin1String(prefix.text);
            if (!name.startsWith(start, Qt::CaseInsensitive))
                continue;
            bool isNumber = false;
            const int found = name.mid(start.size()).toInt(&isNumber);
            if (!isNumber || found < 0)
                break;
            row->baseType = prefix.baseType;
            row->address = isBitArea(prefix.baseType) ? found / kBitNameScale : found;
            return;
        }
        refuseAt(
            file_, value.place,
            "a name is 0x, 1x, 3x, 4x, 3x_bit, 4x_bit, 3x_d or 4x_d with a number behind it, as \"4x_d100\"");
    }

    /// Packing may cut a variable anywhere, so that each of its elements gets a row of its own.
    void addRateRows()
    {
        std::set<std::array<int, 3>> given;
        for (std::size_t i = 0; i < rates_.size(); ++i) {
            const Variable &variable = project_.variables[i];
            const int baseType = variable.area->baseType;
            for (int element = 0; rates_[i] != 0 && element < variable.baseCount(); ++element) {
                const int address = variable.baseFirst() + element;
                if (given.insert({rates_[i], baseType, address}).second)
                    project_.rows.push_back(rowFor(variable.label, baseType, address, rates_[i]));
            }
        }
    }

    const std::string &file_;
    Project project_;
    std::vector<int> rates_; ///< rate class of each variable
    std::map<std::string, int> lineOfName_;
};

} // namespace

Project parseProject(const std::string &file, const QByteArray &text)
{
    return Reader(file).read(parseLocatedJson(file, text));
}

Project loadProject(const std::string &path)
{
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly))
        throw Failure(FailureKind::Usage,
                      "'" + path + "' cannot be read: " + file.errorString().toStdString());
    Project project = parseProject(path, file.readAll());
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
    if (project.link.turnaround >= project.link.timeout)
        warnings.emplace_back("turnaroundMs should be shorter than replyTimeoutMs");
    return warnings;
}

} // namespace plc::host
