#include "cli/option_text.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "cli/manual.h"

namespace plc::cli {

namespace {

constexpr char kRareMark[] = ", rarely needed";

/// The checks of the option, as the parser describes them: "INT in [1 - 247]", "{even,odd,none}".
std::vector<std::string> checksOf(const CLI::Option &option)
{
    std::vector<std::string> checks;
    std::istringstream parts(option.get_type_name());
    std::string part;
    std::getline(parts, part, ':'); // the unit
    while (std::getline(parts, part, ':'))
        checks.push_back(part);
    return checks;
}

/// "1000000" for "1e+06".
std::string spelledOut(const std::string &number)
{
    if (number.find('e') == std::string::npos)
        return number;
    char digits[40] = "";
    std::snprintf(digits, sizeof digits, "%.0f", std::strtod(number.c_str(), nullptr));
    return digits;
}

} // namespace

bool isPositional(const CLI::Option &option)
{
    return option.get_positional();
}

bool takesValue(const CLI::Option &option)
{
    return !isPositional(option) && option.get_items_expected_min() > 0;
}

std::vector<std::string> typedNames(const CLI::Option &option)
{
    std::vector<std::string> names;
    for (const std::string &name : option.get_snames())
        names.push_back("-" + name);
    for (const std::string &name : option.get_lnames())
        names.push_back("--" + name);
    return names;
}

std::string unitOf(const CLI::Option &option)
{
    if (!takesValue(option))
        return std::string();
    const std::string type = option.get_type_name();
    return type.substr(0, type.find(':'));
}

std::string limitsOf(const CLI::Option &option)
{
    for (const std::string &check : checksOf(option)) {
        const std::size_t begin = check.find(" in [");
        const std::size_t middle = check.find(" - ", begin);
        if (begin == std::string::npos || middle == std::string::npos || check.back() != ']')
            continue;
        constexpr std::size_t kBegin = 5;
        constexpr std::size_t kMiddle = 3;
        return spelledOut(check.substr(begin + kBegin, middle - begin - kBegin)) + " to " +
               spelledOut(check.substr(middle + kMiddle, check.size() - middle - kMiddle - 1));
    }
    return std::string();
}

std::vector<std::string> choicesOf(const CLI::Option &option)
{
    std::vector<std::string> choices;
    for (const std::string &check : checksOf(option)) {
        if (check.size() < 2 || check.front() != '{' || check.back() != '}')
            continue;
        std::istringstream words(check.substr(1, check.size() - 2));
        for (std::string word; std::getline(words, word, ',');)
            choices.push_back(word);
    }
    return choices;
}

std::string meaningOf(const CLI::Option &option)
{
    std::string remarks = limitsOf(option);
    if (!option.get_default_str().empty() && takesValue(option))
        remarks += (remarks.empty() ? "" : "; ") + ("without it " + option.get_default_str());
    return option.get_description() + (remarks.empty() ? "" : " (" + remarks + ")");
}

std::string rare(const std::string &group)
{
    return group + kRareMark;
}

bool isRare(const std::string &group)
{
    return plainGroup(group) != group;
}

std::string plainGroup(const std::string &group)
{
    const std::string mark = kRareMark;
    const bool isMarked =
        group.size() > mark.size() && group.compare(group.size() - mark.size(), mark.size(), mark) == 0;
    return isMarked ? group.substr(0, group.size() - mark.size()) : group;
}

} // namespace plc::cli
