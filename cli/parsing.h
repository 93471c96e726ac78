/// @file
/// A command line taken apart, with what every program answers itself: help, version, completion, mistakes.
#ifndef PLC_CLI_PARSING_H
#define PLC_CLI_PARSING_H

#include <CLI/CLI.hpp>

#include <string>

#include "cli/completion.h"
#include "cli/manual.h"

namespace plc::cli {

/// What is to be done first, if anything.
struct Parsed
{
    bool isAnswered = false; ///< there is nothing to do but to print the answer
    std::string answer;      ///< help, man page, version or words for a shell
    std::string mistake;     ///< what is wrong with the command line, one line; empty for nothing
};

/// Takes the command line apart. Adds the command help to the program.
/// "--complete WORDS..." in front answers with the words that may stand in place of the last, one a line.
/// @param valuesOf  what may stand where, see completions(); may be null.
Parsed parse(CLI::App *program, Book *book, int argc, const char *const *argv, const ValuesOf &valuesOf);

} // namespace plc::cli

#endif
