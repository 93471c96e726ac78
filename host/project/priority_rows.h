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
constexpr int kRowTexts = 10; ///< that a row has at least
constexpr int kLevelText = 8; ///< index of the text that gives the level

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

/// Rows that give every register or bit of each variable its level, a place once. Packing may cut a variable
/// anywhere, so one row for a variable would not do.
/// @param rates  level of each variable, 0 for none.
std::vector<PriorityRow> rateRows(const std::vector<Variable> &variables, const std::vector<int> &rates);

} // namespace plc::host

#endif
