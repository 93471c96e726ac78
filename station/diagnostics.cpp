#include "diagnostics.h"

#include "modbus_codes.h"

namespace plc::station {

namespace {

constexpr std::uint16_t kReturnQueryData = 0x00;
constexpr std::uint16_t kRestart = 0x01;
constexpr std::uint16_t kReturnRegister = 0x02;
constexpr std::uint16_t kForceListenOnly = 0x04;
constexpr std::uint16_t kClearCounters = 0x0A;
constexpr std::uint16_t kClearOverruns = 0x14;

constexpr std::uint16_t kRestartKeepLog = 0x0000;
constexpr std::uint16_t kRestartClearLog = 0xFF00;

struct Counter
{
    std::uint16_t subFunction;
    std::uint16_t Diagnostics::*value;
};

constexpr Counter kCounters[] = {
    {0x0B, &Diagnostics::busMessages}, {0x0C, &Diagnostics::communicationErrors},
    {0x0D, &Diagnostics::exceptions},  {0x0E, &Diagnostics::stationMessages},
    {0x0F, &Diagnostics::unanswered},  {0x10, &Diagnostics::negativeAcknowledges},
    {0x11, &Diagnostics::busy},        {0x12, &Diagnostics::overruns},
};

Bytes exception(std::uint8_t code)
{
    return {kDiagnostics | kExceptionBit, code};
}

Bytes valueReply(std::uint16_t subFunction, std::uint16_t value)
{
    Bytes reply = {kDiagnostics};
    putBe16(&reply, subFunction);
    putBe16(&reply, value);
    return reply;
}

const Counter *findCounter(std::uint16_t subFunction)
{
    for (const Counter &counter : kCounters) {
        if (counter.subFunction == subFunction)
            return &counter;
    }
    return nullptr;
}

bool isKnown(std::uint16_t subFunction)
{
    return subFunction <= kReturnRegister || subFunction == kForceListenOnly ||
           subFunction == kClearCounters || subFunction == kClearOverruns ||
           findCounter(subFunction) != nullptr;
}

bool isRestart(ByteView pdu)
{
    return pdu.size == 5 && getBe16(pdu, 1) == kRestart &&
           (getBe16(pdu, 3) == kRestartKeepLog || getBe16(pdu, 3) == kRestartClearLog);
}

} // namespace

void Diagnostics::clearCounters()
{
    for (const Counter &counter : kCounters)
        this->*counter.value = 0;
}

Bytes Diagnostics::execute(ByteView pdu)
{
    const bool silent = listenOnly;
    if (isRestart(pdu)) {
        listenOnly = false;
        clearCounters();
    }
    if (silent)
        return {};
    if (pdu.size < 3)
        return exception(kIllegalDataValue);
    const std::uint16_t subFunction = getBe16(pdu, 1);
    if (!isKnown(subFunction))
        return exception(kIllegalFunction);
    // Only the echo takes more than one word.
    const std::size_t dataSize = pdu.size - 3;
    if (dataSize < 2 || dataSize % 2 != 0 || (dataSize != 2 && subFunction != kReturnQueryData))
        return exception(kIllegalDataValue);
    if (subFunction == kReturnQueryData)
        return pdu.copy();

    const std::uint16_t data = getBe16(pdu, 3);
    if (subFunction == kRestart)
        return isRestart(pdu) ? pdu.copy() : exception(kIllegalDataValue);
    if (data != 0)
        return exception(kIllegalDataValue);
    if (subFunction == kForceListenOnly) {
        listenOnly = true;
        return {};
    }
    if (subFunction == kReturnRegister)
        return valueReply(subFunction, 0);
    if (const Counter *counter = findCounter(subFunction))
        return valueReply(subFunction, this->*counter->value);

    // What is left clears: all counters, or the overruns alone.
    if (subFunction == kClearCounters)
        clearCounters();
    else
        overruns = 0;
    return pdu.copy();
}

} // namespace plc::station
