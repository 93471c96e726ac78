#include "runtime/panel/order_checks.h"

#include "core/register_types.h"
#include "runtime/line/failure.h"
#include "runtime/line/rtu_layout.h"
#include "runtime/master/order_ledger.h"
#include "runtime/panel/pieces.h"

namespace plc::runtime {

namespace {

[[noreturn]] void refuse(const Variable &variable, const std::string &why)
{
    throw Failure(FailureKind::Usage, "variable '" + variable.text + "'" + why);
}

int stationOf(const Variable &variable, const LinkSettings &settings)
{
    return variable.station.value_or(settings.station);
}

void checkPieces(const Variable &variable, int pieces, bool isWrite)
{
    const int most = OrderLedger::listSize(isWrite);
    if (pieces > most)
        refuse(variable, " takes " + std::to_string(pieces) + " requests, at most " + std::to_string(most) +
                             " are possible; take fewer values or a larger setting 'maxBlock'");
}

/// The other bits of the register have to come from somewhere.
void checkBitWrite(const Variable &variable, const LinkSettings &settings, const KnownRegisters &known)
{
    const int station = stationOf(variable, settings);
    if (station == 0)
        refuse(variable, ": a bit is written together with the other bits of its register, which "
                         "nobody at station 0 tells; write the whole register");
    if (!hasOption(settings.options, kOptionBitFromMirror))
        return;
    for (int i = 0; i < variable.baseCount(); ++i) {
        if (known.count({station, variable.baseFirst() + i}) == 0)
            refuse(variable, ": its register has not been read yet, and with the option bit-from-mirror "
                             "the other bits would be written as 0; read it first, or leave the option out");
    }
}

} // namespace

void checkRead(const Variable &variable, const LinkSettings &settings)
{
    if (stationOf(variable, settings) == 0)
        refuse(variable, ": nobody answers a read of station 0");
    checkPieces(variable, readPieces(variable, settings), false);
}

void checkWrite(const Variable &variable, const Values &values, const LinkSettings &settings,
                const KnownRegisters &known)
{
    if (settings.readOnly)
        refuse(variable, " is not written: with setting 'readOnly' nothing is");
    if (values.size() != static_cast<std::size_t>(variable.rawCount()))
        refuse(variable, " has " + std::to_string(variable.count) + " values, and " +
                             std::to_string(valueCount(variable, values)) + " are given");
    if (!variable.area->writable)
        refuse(variable, std::string(": ") + variable.area->name + " (" + variable.area->meaning +
                             ") cannot be written");
    if (variable.area->regType == kHoldingRegisterBit)
        checkBitWrite(variable, settings, known);
    const bool coils = variable.area->regType == kCoil;
    const int most = coils ? kMostWriteBits : kMostWriteRegisters;
    const bool blocks = coils || variable.area->regType == kHoldingRegister;
    if (blocks && settings.maxBlock == 1 && writePieces(variable, settings) == 1 &&
        variable.rawCount() > most)
        refuse(variable, ": with setting 'maxBlock' 1 a write goes out in one piece, of at most " +
                             std::to_string(most) + (variable.format ? " registers" : " values"));
    checkPieces(variable, writePieces(variable, settings), true);
}

} // namespace plc::runtime
