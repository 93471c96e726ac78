#include "core/register_types.h"

namespace {

// Base type of each register type code.
constexpr int kBaseTypes[plc::kRegTypeCount] = {0, 1, 4, 5, 4, 5, 4, 5, 5, 5};

} // namespace

int getPlcReg(int regType)
{
    return plc::isKnownRegType(regType) ? kBaseTypes[regType] : regType;
}
