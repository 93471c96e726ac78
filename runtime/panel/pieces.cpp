#include "runtime/panel/pieces.h"

#include <algorithm>

#include "core/register_types.h"

namespace plc::runtime {

namespace {

constexpr int kPairsInOneWrite = 60;
constexpr int kWithoutLimit = 65536;

int dividedUp(int count, int limit)
{
    return (count + limit - 1) / limit;
}

/// The most of @p limit that is whole values; all of it where there is no room for any.
int wholeValues(int limit, int valueSize)
{
    return limit < valueSize ? limit : limit - limit % valueSize;
}

int readLimit(const Variable &variable, const LinkSettings &settings)
{
    return isBitArea(variable.area->baseType) ? settings.bitLimit() : settings.wordLimit();
}

} // namespace

int readPieceSize(const Variable &variable, const LinkSettings &settings)
{
    return wholeValues(readLimit(variable, settings), variable.valueElements());
}

bool cutsValues(const Variable &variable, const LinkSettings &settings)
{
    return variable.valueElements() > readLimit(variable, settings);
}

int readPieces(const Variable &variable, const LinkSettings &settings)
{
    return dividedUp(variable.baseCount(), readPieceSize(variable, settings));
}

int writeBlockSize(const Variable &variable, const LinkSettings &settings)
{
    // A limit of 1 means no limit to the driver's host writes.
    if (settings.maxBlock == 1)
        return kWithoutLimit;
    return wholeValues(settings.maxBlock, variable.valueElements());
}

int writePieces(const Variable &variable, const LinkSettings &settings)
{
    // A limit of 1 means no limit to the driver's host writes.
    const bool unlimited = settings.maxBlock == 1;
    const int count = variable.rawCount();
    switch (variable.area->regType) {
    case kCoil:
        if (hasOption(settings.options, kOptionSingleCoils))
            return count;
        return unlimited ? 1 : dividedUp(count, settings.maxBlock * 8);
    case kHoldingRegister:
        return hasOption(settings.options, kOptionSingleRegisters)
                   ? count
                   : dividedUp(count, writeBlockSize(variable, settings));
    case kHoldingRegisterPair:
        return dividedUp(count, unlimited ? kPairsInOneWrite : std::min(kPairsInOneWrite, settings.maxBlock));
    default:
        return count;
    }
}

} // namespace plc::runtime
