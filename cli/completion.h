/// @file
/// What may stand where somebody is typing: the words that a shell offers.
#ifndef PLC_CLI_COMPLETION_H
#define PLC_CLI_COMPLETION_H

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace plc::cli {

/// Where somebody is typing.
struct Typing
{
    const CLI::App *command = nullptr;
    const CLI::Option *option = nullptr; ///< whose value is typed, or which place without dashes
    std::vector<std::string> words;      ///< in front of it, behind the program's name
    std::string begun;                   ///< what is typed of the word
};

/// Stands for the names of files among the words that are offered; no word begins so.
constexpr char kAnyFile[] = ":files";

/// What may stand as the value of an option or in a place without dashes, whether it goes on from what was
/// begun or not.
using ValuesOf = std::function<std::vector<std::string>(const Typing &)>;

/// All words that go on from the last of @p words, which may be empty.
/// @param valuesOf  asked for values beside those that the options themselves know; may be null.
std::vector<std::string> completions(const CLI::App &program, std::vector<std::string> words,
                                     const ValuesOf &valuesOf);

} // namespace plc::cli

#endif
