/// @file
/// Packs what is read over and over into requests that cut no value.
#ifndef PLC_PANEL_PACKING_H
#define PLC_PANEL_PACKING_H

#include <vector>

#include "runtime/master/link_settings.h"
#include "runtime/panel/variable.h"

namespace plc::runtime {

/// A stretch of bits or registers that one request reads.
struct ReadSpan
{
    int station = 0;
    int baseType = 0; ///< of the area: 0, 1, 4 or 5
    int first = 0;    ///< counted from 0
    int count = 0;
};

/// The requests that read @p variables, by station, area and address. As the driver packs them, but that none
/// reaches over a hole between two variables (LinkSettings::holes), and that a request ends before a value of
/// several registers that would reach beyond it. A value that is longer than a
/// request, or tied to its neighbours by others that overlap it, is cut all the same.
/// @return nothing where the driver itself cuts no value and reads over no hole, so that the packing can be
/// left to it.
std::vector<ReadSpan> packWholeValues(const std::vector<Variable> &variables, const LinkSettings &settings);

/// The requests that read @p variable by itself, none longer than the settings allow.
std::vector<ReadSpan> readsOf(const Variable &variable, const LinkSettings &settings);

/// The requests that read each of @p variables by itself, by station, area and address. Of those that begin
/// at one place only the longest: the driver makes one request of them.
std::vector<ReadSpan> readsOfEach(const std::vector<Variable> &variables, const LinkSettings &settings);

} // namespace plc::runtime

#endif
