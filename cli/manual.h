/// @file
/// What a program tells about itself: the help of its commands and its man page, both made of the options as
/// they are declared and of the same chapters.
#ifndef PLC_CLI_MANUAL_H
#define PLC_CLI_MANUAL_H

#include <CLI/CLI.hpp>

#include <map>
#include <string>
#include <vector>

#include "cli/row.h"

namespace plc::cli {

/// How much of it: what everybody needs every day (--help), or all (--help-all and the man page).
enum class Extent
{
    Everyday,
    All
};

/// A piece of a chapter.
struct Block
{
    enum class Kind
    {
        Text,  ///< flows, broken where a line is full; one paragraph
        Lines, ///< stands as it is: commands, contents of files
        List   ///< words and their meanings
    };
    Kind kind = Kind::Text;
    std::string text; ///< of Text and Lines
    Rows rows;        ///< of a List
};

Block flowing(std::string text);
Block asTyped(std::string lines);
Block listed(Rows rows);

struct Chapter
{
    std::string title;
    std::vector<Block> blocks;
    Extent extent = Extent::Everyday; ///< the least extent that shows it
};

/// What is told on a command besides its options.
struct Manual
{
    std::vector<Chapter> examples; ///< each with what it does as its title
    std::vector<Chapter> chapters;
};

/// The group of options that are rarely needed and belong to @p group: --help leaves them out. An option of
/// any other group is an everyday option. Whoever declares an option says so there, with
/// `->group(rare(kLineGroup))`.
std::string rare(const std::string &group);

/// Widest line of a help.
constexpr std::size_t kHelpWidth = 80;

/// All that is told on a program and its commands.
class Book
{
public:
    /// @param program  the command line, with all its commands and options by the time that something is
    /// printed;
    ///                 outlives this object.
    explicit Book(const CLI::App &program) : program_(&program) {}

    /// The manual of a command, or of the program itself, to be filled in.
    Manual &of(const CLI::App *command) { return manuals_[command]; }
    /// What the options of a group have in common, told above them.
    void explain(const std::string &group, const std::string &text) { explanations_[group] = text; }

    /// The help on a command, or on the program itself, within kHelpWidth.
    std::string help(const CLI::App &command, Extent extent) const;
    /// The man page: source for man(1).
    std::string manPage() const;

private:
    std::string optionsOf(const CLI::App &command, Extent extent) const;
    std::string commandPart(const CLI::App &command, const std::vector<Chapter> &common) const;
    std::string optionPart() const;
    std::vector<Chapter> commonChapters() const;

    const CLI::App *program_;
    std::map<const CLI::App *, Manual> manuals_;
    std::map<std::string, std::string> explanations_;
};

/// "plchost project from-csv": the words that choose the command.
std::string wordsOf(const CLI::App &command);
/// "plchost read [OPTIONS] [VARIABLE...]".
std::string usageOf(const CLI::App &command);
/// The commands of a program or of a command, those without a group left out.
std::vector<const CLI::App *> commandsOf(const CLI::App &command);
/// Gives a program the options -h, --help, --help-all and --version. Before its commands are added.
void addHelpOptions(CLI::App *program);
} // namespace plc::cli

#endif
