/// @file
/// What a declared option looks like to people.
#ifndef PLC_CLI_OPTION_TEXT_H
#define PLC_CLI_OPTION_TEXT_H

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace plc::cli {

/// A place for a word without dashes, as VARIABLE.
bool isPositional(const CLI::Option &option);
/// A word must follow the option.
bool takesValue(const CLI::Option &option);
/// "-p" and "--port", as they are typed.
std::vector<std::string> typedNames(const CLI::Option &option);
/// "PATH": what the word behind the option is; empty for none.
std::string unitOf(const CLI::Option &option);
/// "300 to 4000000": empty where nothing is known of limits.
std::string limitsOf(const CLI::Option &option);
/// The words that the option takes, where only some are allowed.
std::vector<std::string> choicesOf(const CLI::Option &option);
/// What it does, with its limits and what counts without it.
std::string meaningOf(const CLI::Option &option);

/// The group without the mark of rare().
std::string plainGroup(const std::string &group);
bool isRare(const std::string &group);

} // namespace plc::cli

#endif
