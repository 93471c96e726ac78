/// @file
/// What is wrong with the words that were typed, in our own words.
#ifndef PLC_CLI_MISTAKE_TEXT_H
#define PLC_CLI_MISTAKE_TEXT_H

#include <CLI/CLI.hpp>

#include <string>

namespace plc::cli {

/// One line: what was typed where, and what is possible there. Texts of checks that programs have of their
/// own stay as they are.
/// @param command  that was chosen, as it was parsed.
std::string mistakeText(const CLI::ParseError &error, const CLI::App &command);

} // namespace plc::cli

#endif
