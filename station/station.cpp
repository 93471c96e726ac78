#include "station.h"

#include "modbus_codes.h"

#include <utility>

namespace plc::station {

namespace {

struct Function
{
    std::uint8_t code;
    bool writes;
};

constexpr Function kFunctions[] = {
    {kReadCoils, false},          {kReadDiscreteInputs, false},    {kReadHoldingRegisters, false},
    {kReadInputRegisters, false}, {kWriteSingleCoil, true},        {kWriteSingleRegister, true},
    {kWriteMultipleCoils, true},  {kWriteMultipleRegisters, true}, {kMaskWriteRegister, true},
};

const Function *findFunction(std::uint8_t code)
{
    for (const Function &function : kFunctions) {
        if (function.code == code)
            return &function;
    }
    return nullptr;
}

/// A reply that is not there is that of a station that is silent about what it lacks.
bool isRefused(const Bytes &reply)
{
    return reply.empty() || (reply[0] & kExceptionBit) != 0;
}

Bytes exceptionPdu(std::uint8_t function, std::uint8_t code)
{
    return {static_cast<std::uint8_t>(function | kExceptionBit), code};
}

} // namespace

Station::Station(int size) : registers_(size) {}

Bytes Station::execute(ByteView pdu)
{
    if (manner_ == Manner::Dead)
        return {};
    ++diagnostics_.stationMessages;
    const bool onlyListens = diagnostics_.listenOnly && pdu[0] != kDiagnostics;
    Bytes reply = onlyListens ? Bytes() : executeKnown(pdu);
    if (reply.empty()) {
        // A restart ends listen-only mode in silence too, but it has just cleared the counters.
        if (diagnostics_.listenOnly)
            ++diagnostics_.unanswered;
        return {};
    }
    if ((reply[0] & kExceptionBit) != 0)
        return refuse(pdu[0], reply[1]);
    return reply;
}

void Station::executeBroadcast(ByteView pdu)
{
    if (manner_ == Manner::Dead)
        return;
    ++diagnostics_.stationMessages;
    ++diagnostics_.unanswered;
    if (diagnostics_.listenOnly)
        return;
    const Function *function = findFunction(pdu[0]);
    if (function == nullptr || !function->writes || isRefused(executeKnown(pdu)))
        ++diagnostics_.exceptions;
}

Bytes Station::refuse(std::uint8_t function, std::uint8_t code)
{
    ++diagnostics_.exceptions;
    if (code == kServerBusy)
        ++diagnostics_.busy;
    return exceptionPdu(function, code);
}

void Station::setManner(Manner manner, std::uint8_t code)
{
    manner_ = manner;
    refusalCode_ = code;
}

bool Station::refuses(std::uint8_t function) const
{
    const Function *known = findFunction(function);
    return manner_ == Manner::Refuses ||
           (manner_ == Manner::RefusesWrites && known != nullptr && known->writes);
}

Bytes Station::executeKnown(ByteView pdu)
{
    if (refuses(pdu[0]))
        return exceptionPdu(pdu[0], refusalCode_);
    if (std::optional<Bytes> answer = answerByAbilities(abilities_, pdu))
        return std::move(*answer);
    if (pdu[0] == kDiagnostics)
        return diagnostics_.execute(pdu);
    // Qt's server knows more functions than this station, Read/Write Multiple Registers among them.
    if (findFunction(pdu[0]) == nullptr)
        return exceptionPdu(pdu[0], kIllegalFunction);
    return registers_.execute(pdu);
}

bool Station::addMoving(const MovingRange &range)
{
    if (!registers_.read(range.area, range.address, range.count))
        return false;
    moving_.push_back(range);
    return true;
}

void Station::moveAll()
{
    for (const MovingRange &range : moving_) {
        std::vector<std::uint16_t> values = *registers_.read(range.area, range.address, range.count);
        const bool bits = isBitArea(range.area);
        for (std::uint16_t &value : values) {
            const int moved = value + range.step;
            value = static_cast<std::uint16_t>(bits ? moved & 1 : moved);
        }
        registers_.write(range.area, range.address, values);
    }
}

} // namespace plc::station
