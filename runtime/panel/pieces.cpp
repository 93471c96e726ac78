#include "runtime/panel/pieces.h"

#include <algorithm>

#include "core/register_types.h"

namespace plc::runtime {

namespace {

constexpr int kPairsInOneWrite = 60;

int dividedUp(int count, int limit)
{
    return (count + limit - 1) / limit;
}

} // namespace

int readPieces(const Variable &variable, const LinkSettings &settings)
{
    const bool bits = isBitArea(variable.area->baseType);
    return dividedUp(variable.baseCount(), bits ? settings.bitLimit() : settings.wordLimit());
}

int writePieces(const Variable &variable, const LinkSettings &settings)
{
    // A limit of 1 means no limit to the driver's host writes.
    const bool unlimited = settings.maxBlock == 1;
    const auto pieces = [&](int limit) { return unlimited ? 1 : dividedUp(variable.count, limit); };
    switch (variable.area->regType) {
    case kCoil:
        return hasOption(settings.options, kOptionSingleCoils) ? variable.count
                                                               : pieces(settings.maxBlock * 8);
    case kHoldingRegister:
        return hasOption(settings.options, kOptionSingleRegisters) ? variable.count
                                                                   : pieces(settings.maxBlock);
    case kHoldingRegisterPair:
        return dividedUp(variable.count,
                         unlimited ? kPairsInOneWrite : std::min(kPairsInOneWrite, settings.maxBlock));
    default:
        return variable.count;
    }
}

} // namespace plc::runtime
