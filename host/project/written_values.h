/// @file
/// What stations hold after several writes.
#ifndef PLC_PROJECT_WRITTEN_VALUES_H
#define PLC_PROJECT_WRITTEN_VALUES_H

#include <cstdint>
#include <map>
#include <tuple>

#include "host/runtime_names.h"
#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::host {

/// Writes may overlap, also in different areas of the same registers: the last one counts.
class WrittenValues
{
public:
    /// The variable was written after all that was noted before.
    void note(const Variable &variable, int station, const Values &values);
    /// What the station holds of a variable that was noted.
    Values heldOf(const Variable &variable, int station) const;

private:
    /// Station, area that its elements are read as, and address of a bit or register.
    using Place = std::tuple<int, int, int>;

    std::map<Place, std::uint16_t> elements_;
};

} // namespace plc::host

#endif
