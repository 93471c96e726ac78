// The man page of a program. Its source has commands of its own at the beginnings of lines, as .TP and .SH.

#include "cli/manual.h"

#include <algorithm>
#include <sstream>

#include "cli/option_text.h"
#include "cli/version.h"

namespace plc::cli {

namespace {

/// The text with nothing in it that the formatter would take for a command. A line may begin with it.
std::string plain(const std::string &text)
{
    std::string source;
    for (const char letter : text) {
        if (letter == '\\')
            source += "\\e";
        else if (letter == '-')
            source += "\\-"; // to be copied into a command line
        else
            source += letter;
    }
    // A dot or an apostrophe at the beginning of a line begins a command.
    return !source.empty() && (source[0] == '.' || source[0] == '\'') ? "\\&" + source : source;
}

/// The text in short lines, since it flows anyway; sentences end with lines.
std::string flow(const std::string &text)
{
    constexpr std::size_t kWidth = 78;
    std::string source;
    std::string line;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        line += (line.empty() ? "" : " ") + word;
        const bool endsSentence = word.back() == '.' || word.back() == '?';
        if (endsSentence || line.size() > kWidth) {
            source += plain(line) + "\n";
            line.clear();
        }
    }
    return source + (line.empty() ? "" : plain(line) + "\n");
}

std::string bold(const std::string &text)
{
    return "\\fB" + plain(text) + "\\fR";
}

std::string italic(const std::string &text)
{
    return "\\fI" + plain(text) + "\\fR";
}

std::string quoted(const std::string &text)
{
    std::string source = plain(text);
    for (std::size_t at = source.find('"'); at != std::string::npos; at = source.find('"', at + 2))
        source.replace(at, 1, "\\(dq");
    return "\"" + source + "\"";
}

std::string block(const Block &block)
{
    if (block.kind == Block::Kind::Text)
        return flow(block.text);
    std::string source;
    if (block.kind == Block::Kind::Lines) {
        source = ".RS 4\n.nf\n";
        std::istringstream lines(block.text);
        for (std::string line; std::getline(lines, line);)
            source += plain(line) + "\n";
        return source + ".fi\n.RE\n";
    }
    for (const Row &row : block.rows)
        source += ".TP\n" + bold(row.word) + "\n" + flow(row.meaning);
    return source;
}

/// The blocks of a chapter, whose heading begins the first paragraph.
std::string blocks(const Chapter &chapter)
{
    std::string source;
    for (const Block &piece : chapter.blocks)
        source += (source.empty() || piece.kind == Block::Kind::List ? "" : ".PP\n") + block(piece);
    return source;
}

std::string capitals(std::string text)
{
    for (char &letter : text) {
        if (letter >= 'a' && letter <= 'z')
            letter = static_cast<char>(letter - 'a' + 'A');
    }
    return text;
}

std::string head(const CLI::Option &option)
{
    std::string source;
    for (const std::string &name : typedNames(option))
        source += (source.empty() ? "" : ", ") + bold(name);
    const std::string unit = unitOf(option);
    return source + (unit.empty() ? "" : " " + italic(unit));
}

/// The program and all its commands, the outer ones first.
std::vector<const CLI::App *> allOf(const CLI::App &program)
{
    std::vector<const CLI::App *> all{&program};
    for (const CLI::App *command : commandsOf(program)) {
        const std::vector<const CLI::App *> inner = allOf(*command);
        all.insert(all.end(), inner.begin(), inner.end());
    }
    return all;
}

/// Options that are the same for several commands stand once.
struct SharedOption
{
    const CLI::Option *option;
    std::string commands;
};

bool areSame(const CLI::Option &one, const CLI::Option &other)
{
    return typedNames(one) == typedNames(other) && one.get_group() == other.get_group() &&
           meaningOf(one) == meaningOf(other);
}

/// "read", "project from\-csv"; empty for the program itself.
std::string shortWords(const CLI::App &command)
{
    const std::string words = wordsOf(command);
    const std::size_t blank = words.find(' ');
    return blank == std::string::npos ? std::string() : words.substr(blank + 1);
}

/// What the program tells in general stands for what its commands tell under the same title.
bool isAmong(const std::vector<Chapter> &chapters, const Chapter &chapter)
{
    return std::any_of(chapters.begin(), chapters.end(),
                       [&](const Chapter &one) { return one.title == chapter.title; });
}

} // namespace

/// The chapters that stand behind all commands: those of the program itself, and those that several commands
/// have.
std::vector<Chapter> Book::commonChapters() const
{
    std::vector<Chapter> common;
    std::vector<std::string> sources;
    const auto own = manuals_.find(program_);
    if (own != manuals_.end())
        common = own->second.chapters;
    for (const CLI::App *command : allOf(*program_)) {
        const auto manual = manuals_.find(command);
        if (manual == manuals_.end() || command == program_)
            continue;
        for (const Chapter &chapter : manual->second.chapters) {
            const std::string source = chapter.title + blocks(chapter);
            if (std::find(sources.begin(), sources.end(), source) != sources.end() &&
                !isAmong(common, chapter))
                common.push_back(chapter);
            sources.push_back(source);
        }
    }
    return common;
}

std::string Book::commandPart(const CLI::App &command, const std::vector<Chapter> &common) const
{
    std::string source = command.get_parent() == nullptr ? std::string()
                                                         : ".SS " + quoted(usageOf(command)) + "\n" +
                                                               flow(command.get_description() + ".");
    for (const CLI::Option *option : command.get_options()) {
        if (isPositional(*option))
            source += ".TP\n" + italic(option->get_name(true)) + "\n" + flow(meaningOf(*option));
    }
    const auto manual = manuals_.find(&command);
    if (manual == manuals_.end())
        return source;
    for (const Chapter &chapter : manual->second.chapters) {
        if (!isAmong(common, chapter))
            source += ".PP\n" + bold(chapter.title) + "\n.br\n" + blocks(chapter);
    }
    for (const Chapter &example : manual->second.examples)
        source += (source.empty() ? "" : ".PP\n") + flow("Example: " + example.title + ":") + ".PP\n" +
                  blocks(example);
    return source;
}

std::string Book::optionPart() const
{
    std::vector<std::string> groups;
    std::vector<SharedOption> options;
    for (const CLI::App *command : allOf(*program_)) {
        const std::string words = shortWords(*command);
        for (const CLI::Option *option : command->get_options()) {
            if (isPositional(*option) || option->get_group().empty())
                continue;
            if (std::find(groups.begin(), groups.end(), option->get_group()) == groups.end())
                groups.push_back(option->get_group());
            const auto same = std::find_if(options.begin(), options.end(), [&](const SharedOption &known) {
                return areSame(*known.option, *option);
            });
            if (same == options.end())
                options.push_back({option, words});
            else if (!same->commands.empty())
                same->commands += ", " + words;
        }
    }
    std::string source = ".SH OPTIONS\n";
    for (const std::string &group : groups) {
        source += ".SS " + quoted(group) + "\n";
        const auto told = explanations_.find(group);
        if (told != explanations_.end())
            source += flow(group + ": " + told->second + ".");
        for (const SharedOption &shared : options) {
            if (shared.option->get_group() == group)
                source += ".TP\n" + head(*shared.option) + "\n" + flow(meaningOf(*shared.option)) +
                          (shared.commands.empty() ? "" : ".br\n" + flow("Of: " + shared.commands + "."));
        }
    }
    return source;
}

std::string Book::manPage() const
{
    const std::string name = program_->get_name();
    const std::vector<Chapter> common = commonChapters();
    std::string source = ".TH " + capitals(name) + " 1 \"" + versionDate() + "\" " +
                         quoted(versionLine("plcdriver")) + " \"User Commands\"\n";
    source += ".SH NAME\n" + plain(name) + " \\- " + plain(program_->get_description()) + "\n";
    source += ".SH SYNOPSIS\n" + bold(usageOf(*program_)) + "\n";
    source += commandsOf(*program_).size() > 1 ? ".SH COMMANDS\n" : ".SH DESCRIPTION\n";
    for (const CLI::App *command : allOf(*program_))
        source += commandPart(*command, common);
    source += optionPart();
    for (const Chapter &chapter : common)
        source += ".SH " + quoted(capitals(chapter.title)) + "\n" + blocks(chapter);
    return source;
}

} // namespace plc::cli
