/// @file
/// What people type for a scan: lists of settings, times, what is asked for.
#ifndef PLC_FINDING_SCAN_LISTS_H
#define PLC_FINDING_SCAN_LISTS_H

#include <string>
#include <vector>

#include "host/finding/scan_plan.h"
#include "host/runtime_names.h"

namespace plc::host {

/// "9600,19200", or a range of the usual rates, as "9600-115200", which is 9600, 19200, 38400, 57600, 115200.
/// @throw Failure  (wrong usage)
std::vector<int> baudList(const std::string &text);

/// "even,odd,none".
/// @throw Failure  (wrong usage)
std::vector<Parity> parityList(const std::string &text);

/// "1", "2", "1,2" or "1-2"; empty: as the parity asks.
/// @throw Failure  (wrong usage)
std::vector<int> stopBitList(const std::string &text);

/// "0.05" and "0.05s" are seconds, "50ms" are milliseconds.
/// @throw Failure  (wrong usage) where it is none from @p least to @p most; begins with @p option.
Time timeTyped(const std::string &option, const std::string &text, Time least, Time most);

/// The place that all stations are asked for: "4x:0", one register or bit, in @p plan.
/// @throw Failure  (wrong usage)
void setAsked(const std::string &text, ScanPlan *plan);

} // namespace plc::host

#endif
