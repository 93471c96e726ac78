#include "host/project/project_writer.h"

#include <json/value.h>
#include <json/writer.h>

#include <chrono>

#include "host/project/setting_names.h"
#include "host/project/variable_meaning.h"
#include "runtime/panel/value_text.h"

namespace plc::host {

namespace {

std::string textOf(const Json::Value &value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

/// A list of texts on one line.
std::string listOf(const std::vector<std::string> &texts)
{
    std::string list;
    for (const std::string &text : texts)
        list += (list.empty() ? "" : ", ") + textOf(text);
    return "[" + list + "]";
}

int inMilliseconds(Time time)
{
    return static_cast<int>(std::chrono::round<std::chrono::milliseconds>(time).count());
}

/// One object on one line. JsonCpp would put its keys in the order of the alphabet.
class ObjectLine
{
public:
    void add(const char *key, const Json::Value &value) { addText(key, textOf(value)); }

    void add(const char *key, const std::vector<std::string> &texts) { addText(key, listOf(texts)); }

    void add(const char *key, const ObjectLine &object) { addText(key, object.text()); }

    void addNumber(const char *key, double number) { addText(key, shortestText(number)); }

    /// Adds what is not as it is without the key.
    template <typename Setting>
    void addUnless(const Setting &usual, const char *key, const Setting &given)
    {
        if (given != usual)
            add(key, given);
    }

    void addUnless(Time usual, const char *key, Time given)
    {
        addUnless(inMilliseconds(usual), key, inMilliseconds(given));
    }

    std::string text() const { return "{" + members_ + "}"; }

private:
    void addText(const char *key, const std::string &value)
    {
        members_ += (members_.empty() ? "" : ", ") + textOf(key) + ": " + value;
    }

    std::string members_;
};

std::string lineOf(const LinkSettings &link)
{
    const LinkSettings usual;
    ObjectLine line;
    line.addUnless(usual.port, "port", link.port);
    line.add("baud", link.baud);
    line.add("parity", nameOf(link.parity));
    line.addUnless(usual.stopBits, "stopBits", link.stopBits);
    if (link.rs485)
        line.add("rs485", nameOf(*link.rs485));
    line.addUnless(usual.anyRate, "anyRate", link.anyRate);
    line.addUnless(usual.retries, "retryLimit", link.retries);
    line.addUnless(usual.timeout, "replyTimeoutMs", link.timeout);
    if (link.lateGuard)
        line.add("lateGuardMs", inMilliseconds(*link.lateGuard));
    line.addUnless(usual.turnaround, "turnaroundMs", link.turnaround);
    if (link.options != 0)
        line.add("options", optionNames(link.options));
    line.addUnless(usual.linkMode, "linkMode", link.linkMode);
    line.addUnless(usual.maxBlock, "maxBlock", link.maxBlock);
    line.addUnless(usual.station, "station", link.station);
    line.addUnless(usual.echo, "echo", link.echo);
    const std::vector<std::string> off = namesOfThoseOff(link.policies);
    if (!off.empty())
        line.add("without", off);
    line.addUnless(usual.offline.failures, "offlineAfter", link.offline.failures);
    line.addUnless(usual.offline.firstProbe, "firstTrialMs", link.offline.firstProbe);
    line.addUnless(usual.offline.longestProbe, "longestTrialMs", link.offline.longestProbe);
    return line.text();
}

std::string lineOf(const Hole &hole, bool oneBased)
{
    ObjectLine line;
    line.add("station", hole.station);
    line.add("area", std::string(runtime::areaName(hole.baseType)));
    line.add("address", hole.first + (oneBased ? 1 : 0));
    line.addUnless(1, "count", hole.count);
    return line.text();
}

std::string lineOf(int station, const StationSettings &settings)
{
    ObjectLine line;
    line.add("station", station);
    if (settings.timeout)
        line.add("replyTimeoutMs", inMilliseconds(*settings.timeout));
    if (settings.retries)
        line.add("retryLimit", *settings.retries);
    line.addUnless(StationSettings().pause, "pauseMs", settings.pause);
    return line.text();
}

/// What there is of the meaning.
void add(const Variable &variable, const Meaning &meaning, ObjectLine *line)
{
    if (meaning.scale != 1)
        line->addNumber("scale", meaning.scale);
    if (meaning.offset != 0)
        line->addNumber("offset", meaning.offset);
    if (!meaning.unit.empty())
        line->add("unit", meaning.unit);
    if (meaning.least)
        line->addNumber("min", *meaning.least);
    if (meaning.most)
        line->addNumber("max", *meaning.most);
    ObjectLine texts;
    for (const ValueName &name : meaning.names)
        texts.add(keyOf(variable, name).c_str(), name.text);
    if (!meaning.names.empty())
        line->add("texts", texts);
    if (!meaning.description.empty())
        line->add("description", meaning.description);
}

std::string lineOf(const Variable &variable, int rate)
{
    ObjectLine line;
    line.add("name", variable.label);
    line.add("area", variable.area->name);
    line.add("address", variable.address.toStdString());
    line.add("station", *variable.station);
    line.addUnless(1, "count", variable.count);
    line.addUnless(0, "rate", rate);
    if (variable.format)
        line.add("format", nameOf(*variable.format));
    if (variable.meaning)
        add(variable, *variable.meaning, &line);
    return line.text();
}

std::string lineOf(const PriorityRow &row)
{
    std::vector<std::string> texts;
    for (const QString &text : row.texts)
        texts.push_back(text.toStdString());
    return listOf(texts);
}

/// A list with an item a line.
std::string listText(const std::vector<std::string> &lines)
{
    std::string text = "[";
    for (std::size_t i = 0; i < lines.size(); ++i)
        text += (i > 0 ? ",\n    " : "\n    ") + lines[i];
    return text + "\n  ]";
}

} // namespace

std::string projectText(const Project &project)
{
    std::vector<std::string> variables;
    for (std::size_t i = 0; i < project.variables.size(); ++i)
        variables.push_back(lineOf(project.variables[i], project.rates[i]));
    std::vector<std::string> rows;
    for (std::size_t i = 0; i < project.writtenRows; ++i)
        rows.push_back(lineOf(project.rows[i]));

    std::vector<std::string> stations;
    for (const auto &[station, settings] : project.link.stations)
        stations.push_back(lineOf(station, settings));

    std::string text = "{\n";
    if (!project.name.empty())
        text += "  \"name\": " + textOf(project.name) + ",\n";
    text += "  \"link\": " + lineOf(project.link) + ",\n";
    if (!stations.empty())
        text += "  \"stations\": " + listText(stations) + ",\n";
    std::vector<std::string> holes;
    for (const Hole &hole : project.link.holes)
        holes.push_back(lineOf(hole, project.link.oneBased()));
    if (!holes.empty())
        text += "  \"holes\": " + listText(holes) + ",\n";
    text += "  \"variables\": " + listText(variables);
    if (!rows.empty())
        text += ",\n  \"nameRows\": " + listText(rows);
    return text + "\n}\n";
}

} // namespace plc::host
