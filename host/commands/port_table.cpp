#include "host/commands/port_table.h"

#include "host/project/csv_cell.h"

namespace plc::host {

namespace {

std::string orDash(const std::string &text)
{
    return text.empty() ? "-" : text;
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

std::string csv(const std::vector<runtime::ListedPort> &ports)
{
    std::string lines = "port,driver,adapter,in_use_by,name\n";
    for (const runtime::ListedPort &port : ports)
        lines += csvCell(port.path) + "," + csvCell(port.driver) + "," + csvCell(port.adapter) + "," +
                 csvCell(port.holder) + "," + csvCell(nameOf(port)) + "\n";
    return lines;
}

std::string json(const std::vector<runtime::ListedPort> &ports)
{
    std::string lines;
    for (const runtime::ListedPort &port : ports) {
        std::string names;
        for (const std::string &name : port.lastingNames)
            names += (names.empty() ? "" : ",") + inJson(name);
        lines += "{\"adapter\":" + inJson(port.adapter) + ",\"driver\":" + inJson(port.driver) +
                 ",\"in_use_by\":" + inJson(port.holder) + ",\"names\":[" + names +
                 "],\"port\":" + inJson(port.path) + "}\n";
    }
    return lines;
}

} // namespace

std::string portTable(const std::vector<runtime::ListedPort> &ports, Format format)
{
    switch (format) {
    case Format::Csv:
        return csv(ports);
    case Format::NdJson:
        return json(ports);
    case Format::Text:
        break;
    }
    return text(ports);
}

} // namespace plc::host
