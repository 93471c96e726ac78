/// @file
/// A word and its meaning, for a list of them.
#ifndef PLC_CLI_ROW_H
#define PLC_CLI_ROW_H

#include <string>
#include <vector>

namespace plc::cli {

struct Row
{
    std::string word;
    std::string meaning;
};
using Rows = std::vector<Row>;

} // namespace plc::cli

#endif
