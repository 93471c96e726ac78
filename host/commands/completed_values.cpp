#include "host/commands/completed_values.h"

#include <algorithm>

#include "host/project/project_file.h"
#include "host/project/setting_names.h"
#include "runtime/line/failure.h"
#include "runtime/line/port_list.h"
#include "runtime/panel/variable.h"

namespace plc::host {

namespace {

using Words = std::vector<std::string>;

Words wordsOf(const cli::Rows &rows)
{
    Words words;
    for (const cli::Row &row : rows)
        words.push_back(row.word);
    return words;
}

Words ports()
{
    Words words;
    // Nobody who presses Tab waits for a look at all processes.
    for (const runtime::ListedPort &port :
         runtime::listPorts(runtime::PortPlaces(), runtime::Holders::LeftOut)) {
        words.push_back(port.path);
        words.insert(words.end(), port.lastingNames.begin(), port.lastingNames.end());
    }
    return words;
}

Words areaNames(const std::string &behind)
{
    Words words;
    for (const Area &area : areas())
        words.push_back(area.name + behind);
    return words;
}

/// The file behind --project; empty for none.
std::string projectIn(const Words &words)
{
    const std::string option = "--project";
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == option && i + 1 < words.size())
            return words[i + 1];
        if (words[i].compare(0, option.size() + 1, option + "=") == 0)
            return words[i].substr(option.size() + 1);
    }
    return std::string();
}

Words names(const std::string &file, const std::string &behind)
{
    Words words;
    try {
        for (const Variable &variable : loadProject(file).variables)
            words.push_back(variable.label + behind);
    } catch (const Failure &) {
        // The command itself says what is wrong with the file.
    }
    return words;
}

/// Variables, with @p behind each name.
Words variables(const cli::Typing &typing, const std::string &behind)
{
    Words words = areaNames(":");
    const std::string file = projectIn(typing.words);
    if (file.empty())
        return words;
    const Words named = names(file, behind);
    words.insert(words.begin(), named.begin(), named.end());
    return words;
}

} // namespace

std::vector<std::string> valuesOf(const cli::Typing &typing)
{
    const std::string option = typing.option->get_name(typing.option->get_positional());
    const Words &longNames = typing.option->get_lnames();
    const auto is = [&](const char *name) {
        return option == name || std::find(longNames.begin(), longNames.end(), name) != longNames.end();
    };
    if (is("port"))
        return ports();
    if (is("type"))
        return areaNames("");
    if (is("option"))
        return wordsOf(optionRows());
    if (is("without"))
        return wordsOf(policyRows());
    if (is("VARIABLE"))
        return variables(typing, "");
    if (is("WRITE"))
        return variables(typing, "=");
    if (is("PROJECT") || is("MAP"))
        return {cli::kAnyFile};
    return Words();
}

} // namespace plc::host
