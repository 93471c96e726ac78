/// @file
/// Files that people hand to the tool, whole.
#ifndef PLC_PROJECT_INPUT_FILE_H
#define PLC_PROJECT_INPUT_FILE_H

#include <string>

#include "host/runtime_names.h"

namespace plc::host {

/// Bytes of the largest file that is read: some 300 for each of the most variables that a project may have.
/// Whatever never ends, as /dev/zero, is given up there.
constexpr std::size_t kLargestFile = std::size_t{32} * 1024 * 1024;

/// The text of the file at @p path.
/// @throw Failure  (wrong usage) where it cannot be read, or is larger than kLargestFile.
std::string textOfFile(const std::string &path);

/// The same, where "-" stands for standard input.
std::string textOfInput(const std::string &path);

} // namespace plc::host

#endif
