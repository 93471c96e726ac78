#include "cli/completion.h"

#include <algorithm>

#include "cli/manual.h"
#include "cli/option_text.h"

namespace plc::cli {

namespace {

/// The option that is typed as @p name, null for none.
const CLI::Option *optionNamed(const CLI::App &command, const std::string &name)
{
    for (const CLI::Option *option : command.get_options()) {
        const std::vector<std::string> names = typedNames(*option);
        if (std::find(names.begin(), names.end(), name) != names.end())
            return option;
    }
    return nullptr;
}

/// The place of the word without dashes that @p before such words stand in front of, null for none.
const CLI::Option *placeBehind(const CLI::App &command, std::size_t before)
{
    for (const CLI::Option *option : command.get_options()) {
        if (!isPositional(*option))
            continue;
        if (before == 0 || option->get_expected_max() > 1)
            return option;
        --before;
    }
    return nullptr;
}

const CLI::App *commandNamed(const CLI::App &outer, const std::string &name)
{
    for (const CLI::App *inner : commandsOf(outer)) {
        if (inner->get_name() == name)
            return inner;
    }
    return nullptr;
}

void addCommands(const CLI::App &outer, std::vector<std::string> *words)
{
    for (const CLI::App *inner : commandsOf(outer))
        words->push_back(inner->get_name());
}

/// What an option says of its values itself.
std::vector<std::string> ownValues(const CLI::Option &option)
{
    std::vector<std::string> values = choicesOf(option);
    const std::string unit = unitOf(option);
    if (unit == "FILE" || unit == "PATH")
        values.emplace_back(kAnyFile);
    return values;
}

/// Follows what has been typed so far.
class Walk
{
public:
    explicit Walk(const CLI::App &program) : command_(&program) {}

    void take(const std::string &word)
    {
        if (waiting_ != nullptr) {
            waiting_ = nullptr;
            return;
        }
        if (word.size() > 1 && word[0] == '-') {
            const CLI::Option *option = optionNamed(*command_, word);
            waiting_ = option != nullptr && takesValue(*option) ? option : nullptr;
            return;
        }
        const CLI::App *inner = places_ == 0 ? commandNamed(*command_, word) : nullptr;
        if (inner != nullptr)
            command_ = inner;
        else
            ++places_;
    }

    const CLI::App &command() const { return *command_; }
    /// The option that waits for its value, null for none.
    const CLI::Option *waiting() const { return waiting_; }
    std::size_t places() const { return places_; }

private:
    const CLI::App *command_;
    const CLI::Option *waiting_ = nullptr;
    std::size_t places_ = 0;
};

/// Where the part of the word begins that values stand for: behind "--format=", behind the last comma of a
/// list.
std::size_t beginOfValue(const Typing &typing, bool isBehindEquals)
{
    const std::size_t equals = isBehindEquals ? typing.begun.find('=') + 1 : 0;
    const std::size_t comma = typing.begun.rfind(',');
    const bool isList = typing.option != nullptr && typing.option->get_delimiter() == ',';
    return isList && comma != std::string::npos ? comma + 1 : equals;
}

} // namespace

std::vector<std::string> completions(const CLI::App &program, std::vector<std::string> words,
                                     const ValuesOf &valuesOf)
{
    Typing typing;
    if (!words.empty()) {
        typing.begun = words.back();
        words.pop_back();
    }
    typing.words = words;
    Walk walk(program);
    for (const std::string &word : words)
        walk.take(word);
    typing.command = &walk.command();

    std::vector<std::string> offered;
    const bool isOption = walk.waiting() == nullptr && !typing.begun.empty() && typing.begun[0] == '-';
    const std::size_t equals = isOption ? typing.begun.find('=') : std::string::npos;
    if (isOption && equals == std::string::npos) {
        for (const CLI::Option *option : walk.command().get_options()) {
            for (const std::string &name : typedNames(*option))
                offered.push_back(name);
        }
    } else {
        typing.option = isOption ? optionNamed(walk.command(), typing.begun.substr(0, equals))
                        : walk.waiting() != nullptr ? walk.waiting()
                                                    : placeBehind(walk.command(), walk.places());
        if (!isOption && walk.waiting() == nullptr && walk.places() == 0)
            addCommands(walk.command(), &offered);
        if (typing.option != nullptr) {
            const std::vector<std::string> own = ownValues(*typing.option);
            offered.insert(offered.end(), own.begin(), own.end());
            const std::vector<std::string> values = valuesOf ? valuesOf(typing) : std::vector<std::string>();
            offered.insert(offered.end(), values.begin(), values.end());
        }
    }

    const std::string front = typing.begun.substr(0, beginOfValue(typing, equals != std::string::npos));
    const std::string begun = typing.begun.substr(front.size());
    std::vector<std::string> fitting;
    for (const std::string &word : offered) {
        if (word == kAnyFile)
            fitting.push_back(word);
        else if (word.compare(0, begun.size(), begun) == 0)
            fitting.push_back(front + word);
    }
    return fitting;
}

} // namespace plc::cli
