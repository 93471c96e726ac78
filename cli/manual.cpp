#include "cli/manual.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "cli/option_text.h"
#include "cli/version.h"

namespace plc::cli {

namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kMeaningColumn = 26;  ///< of options
constexpr std::size_t kWordColumnMost = 22; ///< of words in chapters

/// The text in lines of at most @p width characters, each with @p indent blanks in front, without the last
/// line's end.
std::string wrapped(const std::string &text, std::size_t indent, std::size_t width = kHelpWidth)
{
    std::string lines;
    std::string line;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (!line.empty() && indent + line.size() + 1 + word.size() > width) {
            lines += std::string(indent, ' ') + line + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    return lines + std::string(indent, ' ') + line;
}

/// The word, and its meaning beside it from @p column on, or below it where the word is too long.
std::string rowText(const std::string &word, const std::string &meaning, std::size_t column)
{
    const std::string meant = wrapped(meaning, column) + "\n";
    const std::string head = std::string(kIndent, ' ') + word;
    if (head.size() + 1 > column)
        return head + "\n" + meant;
    return head + meant.substr(head.size());
}

std::string blockText(const Block &block)
{
    if (block.kind == Block::Kind::Text)
        return wrapped(block.text, kIndent) + "\n";
    std::string text;
    if (block.kind == Block::Kind::Lines) {
        std::istringstream lines(block.text);
        for (std::string line; std::getline(lines, line);)
            text += std::string(kIndent, ' ') + line + "\n";
        return text;
    }
    std::size_t longest = 0;
    for (const Row &row : block.rows)
        longest = std::max(longest, row.word.size());
    for (const Row &row : block.rows)
        text += rowText(row.word, row.meaning, kIndent + std::min(longest, kWordColumnMost) + 2);
    return text;
}

std::string chapterText(const Chapter &chapter, const std::string &mark = std::string())
{
    std::string text = "\n" + wrapped(mark + chapter.title + ":", 0) + "\n";
    for (const Block &block : chapter.blocks)
        text += blockText(block);
    return text;
}

/// "-p, --port PATH", "VARIABLE ...".
std::string headOf(const CLI::Option &option)
{
    if (isPositional(option))
        return option.get_name(true) + (option.get_expected_max() > 1 ? " ..." : "");
    std::string head;
    for (const std::string &name : typedNames(option))
        head += (head.empty() ? "" : ", ") + name;
    const std::string unit = unitOf(option);
    return head + (unit.empty() ? "" : " " + unit);
}

bool isHelp(const CLI::App &command, const CLI::Option *option)
{
    return option == command.get_help_ptr() || option == command.get_help_all_ptr() ||
           option == command.get_version_ptr();
}

/// The groups of the options in the order in which they were declared, the rare ones behind those they belong
/// to, and those of this command alone in front.
std::vector<std::string> groupsOf(const CLI::App &command)
{
    std::vector<std::string> plain{"Options"};
    for (const CLI::Option *option : command.get_options()) {
        const std::string group = plainGroup(option->get_group());
        if (!group.empty() && !isPositional(*option) && !isHelp(command, option) &&
            std::find(plain.begin(), plain.end(), group) == plain.end())
            plain.push_back(group);
    }
    std::vector<std::string> groups;
    for (const std::string &group : plain) {
        groups.push_back(group);
        groups.push_back(rare(group));
    }
    return groups;
}

} // namespace

Block flowing(std::string text)
{
    return {Block::Kind::Text, std::move(text), {}};
}

Block asTyped(std::string lines)
{
    return {Block::Kind::Lines, std::move(lines), {}};
}

Block listed(Rows rows)
{
    return {Block::Kind::List, {}, std::move(rows)};
}

std::string wordsOf(const CLI::App &command)
{
    return command.get_parent() == nullptr ? command.get_name()
                                           : wordsOf(*command.get_parent()) + " " + command.get_name();
}

std::vector<const CLI::App *> commandsOf(const CLI::App &command)
{
    return command.get_subcommands([](const CLI::App *inner) { return !inner->get_group().empty(); });
}

std::string usageOf(const CLI::App &command)
{
    std::string usage = wordsOf(command);
    if (command.get_require_subcommand_min() > 0)
        usage += " COMMAND";
    usage += " [OPTIONS]";
    for (const CLI::Option *option : command.get_options()) {
        if (!isPositional(*option))
            continue;
        const std::string name =
            option->get_name(true) + (option->get_expected_max() > 1 ? std::string("...") : std::string());
        usage += " " + (option->get_required() ? name : "[" + name + "]");
    }
    return usage;
}

void addHelpOptions(CLI::App *program)
{
    program->set_help_flag("-h,--help", "what it does, an example and the everyday options");
    program->set_help_all_flag("--help-all", "the same with all options and all there is to know");
    program->set_version_flag("--version", versionLine(program->get_name()), "which version this is");
}

std::string Book::optionsOf(const CLI::App &command, Extent extent) const
{
    std::string text;
    for (const CLI::Option *option : command.get_options()) {
        if (isPositional(*option))
            text += rowText(headOf(*option), meaningOf(*option), kMeaningColumn);
    }
    if (!text.empty())
        text = "\n" + text;
    std::string explained;
    for (const std::string &group : groupsOf(command)) {
        if (isRare(group) && extent == Extent::Everyday)
            continue;
        std::string rows;
        for (const CLI::Option *option : command.get_options()) {
            if (option->get_group() == group && !isPositional(*option) && !isHelp(command, option))
                rows += rowText(headOf(*option), meaningOf(*option), kMeaningColumn);
        }
        if (rows.empty())
            continue;
        // Where a group of options is first named, also where it has rare ones alone.
        const bool isFirst = explained != plainGroup(group);
        explained = plainGroup(group);
        const auto told = explanations_.find(explained);
        const std::string explanation =
            !isFirst || told == explanations_.end() ? "" : " (" + told->second + ")";
        text += "\n" + wrapped(group + explanation + ":", 0) + "\n" + rows;
    }
    return text;
}

std::string Book::help(const CLI::App &command, Extent extent) const
{
    const auto found = manuals_.find(&command);
    const Manual manual = found == manuals_.end() ? Manual() : found->second;
    std::string text = wrapped(wordsOf(command) + ": " + command.get_description(), 0) +
                       "\n\nUsage: " + usageOf(command) + "\n";
    for (const Chapter &example : manual.examples)
        text += chapterText(example, "Example: ");
    std::string commands;
    for (const CLI::App *inner : commandsOf(command))
        commands += rowText(inner->get_name(), inner->get_description(), kMeaningColumn - kIndent * 6);
    if (!commands.empty())
        text += "\nCommands:\n" + commands;
    text += optionsOf(command, extent);
    for (const Chapter &chapter : manual.chapters) {
        if (extent == Extent::All || chapter.extent == Extent::Everyday)
            text += chapterText(chapter);
    }
    const std::string words = wordsOf(command);
    const std::string more = extent == Extent::All ? "" : words + " --help-all, ";
    return text + "\n" + wrapped("More: " + more + "man " + program_->get_name(), 0) + "\n";
}

} // namespace plc::cli
