#include "cli/mistake_text.h"

#include <algorithm>
#include <vector>

#include "cli/manual.h"
#include "cli/nearest.h"
#include "cli/option_text.h"

namespace plc::cli {

namespace {

bool beginsWith(const std::string &text, const std::string &beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

/// The option that the parser's text begins with.
const CLI::Option *optionOf(const std::string &text, const CLI::App &command)
{
    for (const CLI::Option *option : command.get_options()) {
        const std::string name = option->get_name();
        if (beginsWith(text, name + ":") || beginsWith(text, name + " "))
            return option;
    }
    return nullptr;
}

/// "a, b or c".
std::string either(const std::vector<std::string> &words)
{
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i)
        text += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
    return text;
}

/// The word behind the option that the parser's text is about.
std::string typedFor(const CLI::Option &option, const std::string &text)
{
    const std::vector<std::string> &words = option.results();
    const auto found = std::find_if(words.begin(), words.end(), [&text](const std::string &word) {
        return text.find(word) != std::string::npos;
    });
    return found == words.end() ? std::string() : *found;
}

std::string wrongValue(const CLI::Option &option, const std::string &text)
{
    const std::string word =
        option.get_name() + ": '" + typedFor(option, text) + "' is not possible; it takes ";
    const std::vector<std::string> choices = choicesOf(option);
    if (text.find(" not in {") != std::string::npos)
        return word + either(choices) + didYouMean(typedFor(option, text), choices);
    if (text.find(" not in range ") == std::string::npos)
        return text;
    // How the parser names types of whole numbers.
    const bool isWhole = option.get_type_name().find("INT in ") != std::string::npos;
    return word + (isWhole ? "a whole number from " : "a number from ") + limitsOf(option);
}

std::string missing(const std::string &text, const CLI::App &command)
{
    if (const CLI::Option *option = optionOf(text, command))
        return option->get_name(isPositional(*option)) + " is missing: " + option->get_description();
    std::vector<std::string> names;
    for (const CLI::App *inner : commandsOf(command))
        names.push_back(inner->get_name());
    return names.empty() ? text : "a command is missing; it is " + either(names);
}

/// Too few or too many words behind an option.
std::string wrongNumber(const CLI::Option &option)
{
    if (option.count() > 1)
        return option.get_name() + " is given " + std::to_string(option.count()) + " times; once is possible";
    return option.get_name() + ": " + unitOf(option) + " is missing behind it: " + option.get_description();
}

/// "--a excludes --b".
std::string contradiction(const std::string &text)
{
    const std::string between = " excludes ";
    const std::size_t at = text.find(between);
    if (at == std::string::npos)
        return text;
    return text.substr(0, at) + " and " + text.substr(at + between.size()) +
           " contradict each other; leave one of them out";
}

} // namespace

std::string mistakeText(const CLI::ParseError &error, const CLI::App &command)
{
    const std::string text = error.what();
    const CLI::Option *option = optionOf(text, command);
    if (dynamic_cast<const CLI::RequiredError *>(&error))
        return missing(text, command);
    if (dynamic_cast<const CLI::ExcludesError *>(&error))
        return contradiction(text);
    if (option && dynamic_cast<const CLI::ValidationError *>(&error))
        return wrongValue(*option, text);
    if (option && dynamic_cast<const CLI::ArgumentMismatch *>(&error))
        return wrongNumber(*option);
    return text;
}

} // namespace plc::cli
