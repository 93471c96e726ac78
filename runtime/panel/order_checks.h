/// @file
/// What is no order, whatever the state of the line.
#ifndef PLC_PANEL_ORDER_CHECKS_H
#define PLC_PANEL_ORDER_CHECKS_H

#include <set>
#include <utility>

#include "runtime/master/link_settings.h"
#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::runtime {

/// Station and address of holding registers that have been read.
using KnownRegisters = std::set<std::pair<int, int>>;

/// @throw Failure  (wrong usage) for a variable that nobody can read, or not in one order.
void checkRead(const Variable &variable, const LinkSettings &settings);

/// Refuses what the driver would take and then not do, or put into a frame that no station understands.
/// @param known    looked at where bits are written from what was read.
/// @throw Failure  (wrong usage)
void checkWrite(const Variable &variable, const Values &values, const LinkSettings &settings,
                const KnownRegisters &known);

} // namespace plc::runtime

#endif
