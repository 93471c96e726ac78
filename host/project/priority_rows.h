/// @file
/// Rows of the name table that PassVarName takes, as a project's author writes them and as rate classes make
/// them.
#ifndef PLC_PROJECT_PRIORITY_ROWS_H
#define PLC_PROJECT_PRIORITY_ROWS_H

#include <optional>
#include <string>
#include <vector>

#include "host/runtime_names.h"
#include "runtime/panel/registration.h"
#include "runtime/panel/variable.h"

namespace plc::host {

constexpr int kPriorityLevels = 4;

/// Level that the text @p level of a row gives, 0 for none; nothing where the driver knows no such level.
std::optional<int> levelOfText(const std::string &level);

/// What a name in a row stands for, in every station.
struct NamedPlace
{
    int baseType = 0; ///< area: 0, 1, 4 or 5
    int address = 0;
};

/// The place that @p name is of, as "4x_d100"; nothing where the driver would not understand the name.
std::optional<NamedPlace> placeOfName(const std::string &name);

} // namespace plc::host

#endif
