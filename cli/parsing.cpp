#include "cli/parsing.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "cli/mistake_text.h"
#include "cli/nearest.h"
#include "cli/version.h"

namespace plc::cli {

namespace {

constexpr char kComplete[] = "--complete";

/// A word that is no command.
struct NoCommand : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

std::vector<std::string> namesOfCommands(const CLI::App &outer)
{
    std::vector<std::string> names;
    for (const CLI::App *inner : commandsOf(outer))
        names.push_back(inner->get_name());
    return names;
}

/// The command that @p words choose, the program itself for none.
/// @throw NoCommand
const CLI::App &commandOf(const CLI::App &program, const std::vector<std::string> &words)
{
    const CLI::App *command = &program;
    for (const std::string &word : words) {
        const std::vector<const CLI::App *> inner = commandsOf(*command);
        const auto found = std::find_if(inner.begin(), inner.end(),
                                        [&](const CLI::App *one) { return one->get_name() == word; });
        if (found == inner.end()) {
            const std::vector<std::string> names = namesOfCommands(*command);
            const std::string guess = didYouMean(word, names);
            std::string list;
            for (const std::string &name : names)
                list += (list.empty() ? "; commands are " : ", ") + name;
            throw NoCommand("'" + word + "' is no command" + (guess.empty() ? list : guess));
        }
        command = *found;
    }
    return *command;
}

/// What the words behind help ask for.
struct HelpWanted
{
    std::vector<std::string> words;
    bool all = false;
    bool manPage = false;
};

void addHelpCommand(CLI::App *program, const Book *book, HelpWanted *wanted, Parsed *parsed)
{
    CLI::App *command = program->add_subcommand("help", "show the help on a command");
    command->add_option("COMMAND", wanted->words, "the command; without it the program itself")
        ->type_name("");
    command->add_flag("--all", wanted->all, "all options and all there is to know, as --help-all");
    command->add_flag("--man", wanted->manPage, "the man page of the whole program, as source for man");
    command->callback([=] {
        const CLI::App &about = commandOf(*program, wanted->words);
        parsed->isAnswered = true;
        parsed->answer = wanted->manPage ? book->manPage()
                                         : book->help(about, wanted->all ? Extent::All : Extent::Everyday);
    });
}

/// What was typed of commands, the innermost; the program itself where none was.
const CLI::App &chosenCommand(const CLI::App &program)
{
    const CLI::App *command = &program;
    for (auto inner = program.get_subcommands(); !inner.empty(); inner = command->get_subcommands())
        command = inner.front();
    return *command;
}

/// What is wrong with words that no command and no option takes.
std::string unexpected(const CLI::App &program, const CLI::App &command)
{
    const std::vector<std::string> words = program.remaining(true);
    const auto option = std::find_if(words.begin(), words.end(), [](const std::string &word) {
        return word.size() > 1 && word[0] == '-';
    });
    if (option == words.end())
        return "'" + words.front() + "' is one word too many for " + wordsOf(command);
    // Letters of flags that were typed together have been taken off.
    const std::size_t end = option->find('=');
    const std::string name = end == 1 ? *option : option->substr(0, end);
    std::vector<std::string> names;
    for (const CLI::Option *known : command.get_options()) {
        for (const std::string &longName : known->get_lnames())
            names.push_back("--" + longName);
    }
    return name + " is no option of " + wordsOf(command) + didYouMean(name, names);
}

std::string lines(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words)
        text += word + "\n";
    return text;
}

Parsed answered(const std::string &text)
{
    Parsed parsed;
    parsed.isAnswered = true;
    parsed.answer = text;
    return parsed;
}

Parsed mistaken(const std::string &text)
{
    Parsed parsed;
    parsed.mistake = text;
    return parsed;
}

/// What help offers behind it are commands.
ValuesOf withCommands(const CLI::App &program, const ValuesOf &valuesOf)
{
    return [&program, valuesOf](const Typing &typing) {
        if (typing.command->get_name() != "help" || typing.command->get_parent() != &program)
            return valuesOf ? valuesOf(typing) : std::vector<std::string>();
        std::vector<std::string> words;
        std::copy_if(typing.words.begin() + 1, typing.words.end(), std::back_inserter(words),
                     [](const std::string &word) { return word.empty() || word[0] != '-'; });
        try {
            return namesOfCommands(commandOf(program, words));
        } catch (const NoCommand &) {
            return std::vector<std::string>();
        }
    };
}

} // namespace

Parsed parse(CLI::App *program, Book *book, int argc, const char *const *argv, const ValuesOf &valuesOf)
{
    HelpWanted wanted;
    Parsed parsed;
    addHelpCommand(program, book, &wanted, &parsed);
    const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    if (!words.empty() && words.front() == kComplete)
        return answered(
            lines(completions(*program, {words.begin() + 1, words.end()}, withCommands(*program, valuesOf))));
    try {
        if (!words.empty() && words.front().compare(0, 1, "-") != 0 &&
            program->get_require_subcommand_min() > 0)
            commandOf(*program, {words.front()});
        program->parse(argc, argv);
        return parsed;
    } catch (const CLI::CallForHelp &) {
        return answered(book->help(chosenCommand(*program), Extent::Everyday));
    } catch (const CLI::CallForAllHelp &) {
        return answered(book->help(chosenCommand(*program), Extent::All));
    } catch (const CLI::CallForVersion &) {
        return answered(versionLine(program->get_name()) + "\n");
    } catch (const NoCommand &unknown) {
        return mistaken(unknown.what());
    } catch (const CLI::ParseError &error) {
        const CLI::App &command = chosenCommand(*program);
        const bool isUnexpected = dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr;
        return mistaken((isUnexpected ? unexpected(*program, command) : mistakeText(error, command)) + " (" +
                        wordsOf(command) + " --help shows what is possible)");
    }
}

} // namespace plc::cli
