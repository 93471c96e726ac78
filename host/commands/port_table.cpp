#include "host/commands/port_table.h"

#include "host/commands/json_line.h"
#include "host/project/csv_cell.h"
#include "runtime/panel/value_text.h"

namespace plc::host {

namespace {

/// Devices choose their names themselves.
std::string orDash(const std::string &text)
{
    return text.empty() ? "-" : runtime::withoutControlCharacters(text);
}

/// The first of the names, or the port itself.
std::string nameOf(const runtime::ListedPort &port)
{
    return port.lastingNames.empty() ? std::string() : port.lastingNames.front();
}

std::string text(const std::vector<runtime::ListedPort> &ports)
{
    std::vector<std::vector<std::string>> cells{{"port", "driver", "adapter", "in use by", "name"}};
    for (const runtime::ListedPort &port : ports)
        cells.push_back({port.path, orDash(port.driver), orDash(port.adapter), orDash(port.holder),
                         orDash(nameOf(port))});
    std::string table;
    for (const std::string &line : layOut(cells))
        table += line + "\n";
    return ports.empty() ? std::string() : table;
}

std::string csv(const std::vector<runtime::ListedPort> &ports, const std::string &time)
{
    std::string lines = "port,driver,adapter,in_use_by,name,time\n";
    for (const runtime::ListedPort &port : ports)
        lines += csvCell(port.path) + "," + csvCell(port.driver) + "," + csvCell(port.adapter) + "," +
                 csvCell(port.holder) + "," + csvCell(nameOf(port)) + "," + time + "\n";
    return lines;
}

/// Adds the member unless nothing is known of it.
void addKnown(JsonLine *line, const char *name, const std::string &value)
{
    if (!value.empty())
        line->text(name, value);
}

std::string json(const std::vector<runtime::ListedPort> &ports, const std::string &time)
{
    std::string lines;
    for (const runtime::ListedPort &port : ports) {
        JsonLine line("serial_port");
        line.text("time", time).text("port", port.path);
        addKnown(&line, "driver", port.driver);
        addKnown(&line, "adapter", port.adapter);
        addKnown(&line, "in_use_by", port.holder);
        std::string names;
        for (const std::string &name : port.lastingNames)
            names += (names.empty() ? "" : ",") + inJson(name);
        line.raw("names", "[" + names + "]");
        lines += line.object() + "\n";
    }
    return lines;
}

} // namespace

std::string portTable(const std::vector<runtime::ListedPort> &ports, Format format, WallTime time)
{
    switch (format) {
    case Format::Csv:
        return csv(ports, isoTime(time));
    case Format::NdJson:
        return json(ports, isoTime(time));
    case Format::Text:
        break;
    }
    return text(ports);
}

} // namespace plc::host
