#include "host/project/project_input.h"

#include <sstream>

#include "runtime/line/failure.h"
#include "runtime/line/setting_limits.h"

namespace plc::host {

namespace {

constexpr int kMostPages = 1000000;

std::string trimmed(const std::string &text)
{
    constexpr const char *kBlanks = " \t";
    const std::size_t from = text.find_first_not_of(kBlanks);
    return from == std::string::npos ? "" : text.substr(from, text.find_last_not_of(kBlanks) - from + 1);
}

/// The number that @p word is, at most @p most; 0 for anything else.
int positive(const std::string &word, int most)
{
    if (word.empty() || word.size() > 7 || word.find_first_not_of("0123456789") != std::string::npos)
        return 0;
    const int value = std::stoi(word);
    return value <= most ? value : 0;
}

} // namespace

std::string projectInputHelp()
{
    return "Lines on standard input:\n"
           "  NAME = VALUE[,VALUE...]   writes a variable, as plchost write does; each write is reported "
           "once, as done or as "
           "failed\n"
           "  station N off|on          switches a station off or on; writes to a station that is off fail "
           "at once\n"
           "  page N, next, empty line  other variables on the screen\n"
           "  quit                      ends\n"
           "  # ...                     is passed over\n";
}

ProjectInput::ProjectInput(const std::vector<Variable> &variables) : variables_(variables)
{
    for (std::size_t i = 0; i < variables.size(); ++i)
        numbers_.emplace(variables[i].label, static_cast<int>(i));
}

ProjectOrder ProjectInput::parse(const std::string &line) const
{
    const std::string text = trimmed(line);
    ProjectOrder order;
    if (!text.empty() && text[0] == '#')
        return order;
    const std::size_t equals = text.find('=');
    if (equals != std::string::npos)
        return parseWrite(trimmed(text.substr(0, equals)), text.substr(equals + 1));

    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    if (words.empty() || (words.size() == 1 && words[0] == "next")) {
        order.kind = ProjectOrder::Kind::NextPage;
        return order;
    }
    if (words.size() == 1 && words[0] == "quit") {
        order.kind = ProjectOrder::Kind::Quit;
        return order;
    }
    if (words.size() == 2 && words[0] == "page" && positive(words[1], kMostPages) > 0) {
        order.kind = ProjectOrder::Kind::Page;
        order.page = positive(words[1], kMostPages);
        return order;
    }
    if (words.size() == 3 && words[0] == "station" && positive(words[1], kStationLimits.most) > 0 &&
        (words[2] == "on" || words[2] == "off")) {
        order.kind = ProjectOrder::Kind::Station;
        order.station = positive(words[1], kStationLimits.most);
        order.enabled = words[2] == "on";
        return order;
    }
    throw Failure(FailureKind::Usage,
                  "'" + text +
                      "' is not understood; lines are NAME = VALUE, station N off, station N on, "
                      "page N, next, quit");
}

ProjectOrder ProjectInput::parseWrite(const std::string &name, const std::string &values) const
{
    const auto found = numbers_.find(name);
    if (found == numbers_.end())
        throw Failure(FailureKind::Usage, "'" + name + "' is no variable of the project");
    ProjectOrder order;
    order.kind = ProjectOrder::Kind::Write;
    order.variable = found->second;
    const Variable &variable = variables_[static_cast<std::size_t>(found->second)];
    if (!variable.area->writable)
        throw Failure(FailureKind::Usage,
                      "'" + name + "' cannot be written: it is one of the " + variable.area->meaning);
    const std::string plain = trimmed(values);
    order.typed = plain;
    order.values = parseValues(plain, variable, name + " = " + plain);
    const int given = valueCount(variable, order.values);
    if (given != variable.count)
        throw Failure(FailureKind::Usage, "'" + name + "' has " + std::to_string(variable.count) +
                                              " values, but " + std::to_string(given) + " are given");
    return order;
}

} // namespace plc::host
