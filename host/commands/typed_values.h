/// @file
/// Values as somebody has typed them, to be shown again in the same way.
#ifndef PLC_COMMANDS_TYPED_VALUES_H
#define PLC_COMMANDS_TYPED_VALUES_H

#include <string>
#include <vector>

#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::host {

/// The words of @p text that the whole numbers and bits in @p values were typed as, one for each. Empty where
/// a value is of another kind, or has a scale or texts of its own: what was typed is then not what was
/// written.
std::vector<std::string> typedValues(const std::string &text, const runtime::Variable &variable,
                                     const runtime::Values &values);

/// True where a program reads the word as the number that it is: "-1", and not "0x10" or "on".
bool isPlainNumber(const std::string &word);

} // namespace plc::host

#endif
