#include "runtime/line/port_list.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "runtime/line/port_holder.h"

namespace plc::runtime {

namespace {

namespace files = std::filesystem;

/// The first line of the file, without blanks at its ends; empty where it cannot be read.
std::string contentOf(const files::path &file)
{
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    const std::size_t first = line.find_first_not_of(" \t");
    return first == std::string::npos ? std::string()
                                      : line.substr(first, line.find_last_not_of(" \t") - first + 1);
}

/// Name of what the link leads to; empty where there is none.
std::string targetName(const files::path &link)
{
    std::error_code none;
    return files::read_symlink(link, none).filename().string();
}

/// The folder of the device and those around it, the innermost first.
std::vector<files::path> foldersAround(const files::path &device)
{
    std::vector<files::path> folders;
    for (files::path folder = device; folder.has_relative_path(); folder = folder.parent_path())
        folders.push_back(folder);
    return folders;
}

std::string driverOf(const std::vector<files::path> &folders)
{
    for (const files::path &folder : folders) {
        // The kernel's own bus between port and chip, which has drivers of its own, says nothing of the chip.
        std::string driver = targetName(folder / "driver");
        if (!driver.empty() && targetName(folder / "subsystem") != "serial-base")
            return driver;
    }
    return std::string();
}

/// What the USB device says that it is.
std::string adapterOf(const std::vector<files::path> &folders)
{
    for (const files::path &folder : folders) {
        if (contentOf(folder / "idVendor").empty())
            continue;
        std::string adapter;
        for (const char *part : {"manufacturer", "product", "serial"}) {
            const std::string text = contentOf(folder / part);
            adapter += (adapter.empty() || text.empty() ? "" : " ") + text;
        }
        return adapter.empty()
                   ? "USB " + contentOf(folder / "idVendor") + ":" + contentOf(folder / "idProduct")
                   : adapter;
    }
    return std::string();
}

std::vector<std::string> lastingNamesOf(const std::string &path, const std::string &devices)
{
    std::vector<std::string> names;
    std::error_code unreadable; // a system without such names has no such folder
    for (files::directory_iterator link(devices + "/serial/by-id", unreadable), end; link != end;
         link.increment(unreadable)) {
        std::error_code gone;
        if (files::equivalent(link->path(), path, gone))
            names.push_back(link->path().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// The name with its number at the end apart, so that ttyS10 comes behind ttyS9.
std::pair<std::string, std::string> orderOf(const std::string &name)
{
    const std::size_t digits = name.find_last_not_of("0123456789") + 1;
    const std::string number = name.substr(digits);
    return {name.substr(0, digits), std::string(10 - std::min<std::size_t>(number.size(), 10), '0') + number};
}

} // namespace

std::vector<std::string> portNames(const std::string &terminals)
{
    std::vector<std::string> names;
    std::error_code unreadable;
    for (files::directory_iterator entry(terminals, unreadable), end; entry != end;
         entry.increment(unreadable)) {
        std::error_code none;
        // A place that no chip fills has the type 0.
        if (files::exists(entry->path() / "device", none) && contentOf(entry->path() / "type") != "0")
            names.push_back(entry->path().filename().string());
    }
    std::sort(names.begin(), names.end(),
              [](const std::string &one, const std::string &other) { return orderOf(one) < orderOf(other); });
    return names;
}

std::vector<ListedPort> listPorts(const PortPlaces &places, Holders holders)
{
    std::vector<ListedPort> ports;
    for (const std::string &name : portNames(places.terminals)) {
        ListedPort port;
        port.path = places.devices + "/" + name;
        std::error_code none;
        const files::path device = files::canonical(files::path(places.terminals) / name / "device", none);
        if (none || !files::exists(port.path, none))
            continue;
        const std::vector<files::path> folders = foldersAround(device);
        port.driver = driverOf(folders);
        port.adapter = adapterOf(folders);
        port.lastingNames = lastingNamesOf(port.path, places.devices);
        if (holders == Holders::Found)
            port.holder = lockHolder(port.path, places.processes);
        if (holders == Holders::Found && port.holder.empty())
            port.holder = openHolder(port.path, places.processes);
        ports.push_back(port);
    }
    return ports;
}

} // namespace plc::runtime
