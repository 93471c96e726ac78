#include "relay.h"

#include "modbus_codes.h"

#include <utility>

namespace plc::station {

namespace {

constexpr std::size_t kLengthAt = 0;
constexpr std::size_t kHostIdAt = 1;
constexpr std::size_t kDirectionAt = 2;
constexpr std::size_t kLinkIdAt = 3;
constexpr std::size_t kStationAt = 4;
constexpr std::size_t kRegTypeAt = 5;
constexpr std::size_t kAddressAt = 7;
constexpr std::size_t kCountAt = 11;
constexpr std::size_t kArg1At = 13;
constexpr std::size_t kArg2At = 17;
constexpr std::size_t kDataAt = 21;
constexpr std::size_t kReadFrame = 22;

constexpr int kBitsPerRegister = 16;

/// How the items of a register type are laid out.
enum class Unit
{
    Bit,
    BitInRegister,
    Register,
    Pair
};

struct RelayType
{
    Area area;
    Unit unit;
    std::uint8_t readFunction;
    bool writable;
};

/// Indexed by register type.
constexpr RelayType kTypes[] = {
    {Area::Coils, Unit::Bit, kReadCoils, true},
    {Area::DiscreteInputs, Unit::Bit, kReadDiscreteInputs, false},
    {Area::InputRegisters, Unit::BitInRegister, kReadInputRegisters, false},
    {Area::HoldingRegisters, Unit::BitInRegister, kReadHoldingRegisters, true},
    {Area::InputRegisters, Unit::Register, kReadInputRegisters, false},
    {Area::HoldingRegisters, Unit::Register, kReadHoldingRegisters, true},
    {Area::InputRegisters, Unit::Pair, kReadInputRegisters, false},
    {Area::HoldingRegisters, Unit::Pair, kReadHoldingRegisters, true},
    {Area::HoldingRegisters, Unit::Register, kReadHoldingRegisters, true},
    {Area::HoldingRegisters, Unit::Register, kReadHoldingRegisters, true},
};
constexpr int kAlwaysSingleType = 8;
constexpr int kAlwaysBlockType = 9;

const RelayType *typeOf(int regType)
{
    return regType >= 0 && regType < static_cast<int>(std::size(kTypes)) ? &kTypes[regType] : nullptr;
}

/// Bytes of data that a write of @p count items carries.
std::size_t writeDataSize(const RelayType &type, int count)
{
    const auto items = static_cast<std::size_t>(count);
    switch (type.unit) {
    case Unit::Bit:
        return (items + 7) / 8;
    case Unit::BitInRegister:
        return 1;
    case Unit::Register:
        return items * 2;
    case Unit::Pair:
        return items * 4;
    }
    return 0;
}

std::uint8_t sumOf(ByteView bytes)
{
    unsigned sum = 0;
    for (std::size_t i = 0; i < bytes.size; ++i)
        sum += bytes[i];
    return static_cast<std::uint8_t>(sum & 0xFF);
}

bool isIntactFrame(ByteView frame)
{
    if (frame.size < kReadFrame || frame[kLengthAt] != (frame.size & 0xFF))
        return false;
    return frame[frame.size - 1] == sumOf(ByteView(frame.data, frame.size - 1));
}

FrameLength relayLength(ByteView bytes)
{
    if (bytes.size <= kCountAt + 1)
        return {FrameLength::Kind::NeedsMore, 0};
    // Directions other than 0 and 1 and types beyond one byte do not exist; this keeps noise from being
    // waited for.
    if (bytes[kDirectionAt] > 1 || bytes[kRegTypeAt] != 0)
        return {FrameLength::Kind::NoFrame, 0};

    std::size_t expected = kReadFrame;
    const RelayType *type = typeOf(bytes[kRegTypeAt + 1]);
    if (bytes[kDirectionAt] == 1 && type != nullptr)
        expected += writeDataSize(*type, getBe16(bytes, kCountAt));
    if (expected <= Framer::kMaxBuffer && bytes[kLengthAt] == (expected & 0xFF))
        return {FrameLength::Kind::Known, expected};
    // The data may disagree with the count; then the length byte is all there is to go by.
    if (bytes[kLengthAt] >= kReadFrame)
        return {FrameLength::Kind::Known, bytes[kLengthAt]};
    return {FrameLength::Kind::NoFrame, 0};
}

/// What a request came to: an exception code, or the reply's function code and data.
struct Result
{
    std::uint8_t exception = 0;
    Bytes pdu;
};

/// Function code that the request would have as a Modbus request.
std::uint8_t functionOf(const RelayRequest &request, const RelayType &type)
{
    if (!request.writes)
        return type.readFunction;
    if (isBitArea(type.area))
        return request.count == 1 ? kWriteSingleCoil : kWriteMultipleCoils;
    if (type.unit == Unit::BitInRegister || request.regType == kAlwaysSingleType)
        return kWriteSingleRegister;
    const bool single =
        type.unit == Unit::Register && request.regType != kAlwaysBlockType && request.count == 1;
    return single ? kWriteSingleRegister : kWriteMultipleRegisters;
}

/// Register that holds the first item of a request.
int firstAddress(const RelayRequest &request, const RelayType &type)
{
    if (request.address >= static_cast<std::uint32_t>(kWholeArea) * kBitsPerRegister)
        return -1;
    const auto address = static_cast<int>(request.address);
    return type.unit == Unit::BitInRegister ? address / kBitsPerRegister : address;
}

Bytes packBits(const std::vector<std::uint16_t> &bits)
{
    Bytes packed((bits.size() + 7) / 8);
    for (std::size_t i = 0; i < bits.size(); ++i) {
        if (bits[i] != 0)
            packed[i / 8] = static_cast<std::uint8_t>(packed[i / 8] | 1 << i % 8);
    }
    return packed;
}

Result read(const RelayRequest &request, const RelayType &type, const Station &station)
{
    const int limit = type.unit == Unit::Bit ? kMaxReadBits : kMaxReadRegisters;
    if (request.count < 1 || request.count > limit || !request.data.empty())
        return {kIllegalDataValue, {}};
    const auto items = station.registers().read(type.area, firstAddress(request, type), request.count);
    if (!items)
        return {kIllegalDataAddress, {}};

    Bytes data;
    if (type.unit == Unit::Bit) {
        data = packBits(*items);
    } else {
        for (std::uint16_t item : *items)
            putBe16(&data, item);
    }
    Result result;
    result.pdu = {functionOf(request, type), static_cast<std::uint8_t>(data.size())};
    result.pdu.insert(result.pdu.end(), data.begin(), data.end());
    return result;
}

/// The items that a write stores, in the order of their addresses; for a bit inside a register the register
/// as it is after the write.
std::vector<std::uint16_t> itemsOf(const RelayRequest &request, const RelayType &type, const Station &station)
{
    const ByteView data(request.data);
    std::vector<std::uint16_t> items;
    switch (type.unit) {
    case Unit::Bit:
        for (std::size_t i = 0; i < static_cast<std::size_t>(request.count); ++i)
            items.push_back(data[i / 8] >> i % 8 & 1);
        // A single coil is on for any value that is not 0, as in a write of a single coil.
        if (request.count == 1)
            items[0] = data[0] != 0;
        break;
    case Unit::BitInRegister: {
        const auto old = station.registers().read(type.area, firstAddress(request, type), 1);
        const unsigned mask = 1U << request.address % kBitsPerRegister;
        const unsigned before = old ? old->front() : 0U;
        items.push_back(static_cast<std::uint16_t>(data[0] != 0 ? before | mask : before & ~mask));
        break;
    }
    case Unit::Register:
        for (std::size_t at = 0; at < data.size; at += 2)
            items.push_back(getLe16(data, at));
        break;
    case Unit::Pair:
        for (std::size_t at = 0; at < data.size; at += 4) {
            items.push_back(getLe16(data, at + 2));
            items.push_back(getLe16(data, at));
        }
        break;
    }
    return items;
}

/// Quantity or value, the last two bytes of a write's reply.
std::uint16_t echoOf(std::uint8_t function, const std::vector<std::uint16_t> &items)
{
    constexpr std::uint16_t kCoilOn = 0xFF00;
    if (function == kWriteSingleCoil)
        return items.front() != 0 ? kCoilOn : 0;
    if (function == kWriteSingleRegister)
        return items.front();
    return static_cast<std::uint16_t>(items.size());
}

Result write(const RelayRequest &request, const RelayType &type, Station *station)
{
    if (!type.writable)
        return {kIllegalFunction, {}};
    const bool oneOnly = type.unit == Unit::BitInRegister || request.regType == kAlwaysSingleType;
    if (request.count < 1 || (oneOnly && request.count != 1) ||
        request.data.size() != writeDataSize(type, request.count))
        return {kIllegalDataValue, {}};
    const std::vector<std::uint16_t> items = itemsOf(request, type, *station);
    if (!station->registers().write(type.area, firstAddress(request, type), items))
        return {kIllegalDataAddress, {}};

    Result result;
    result.pdu = {functionOf(request, type)};
    putBe16(&result.pdu, static_cast<std::uint16_t>(firstAddress(request, type)));
    putBe16(&result.pdu, echoOf(result.pdu[0], items));
    return result;
}

Result execute(const RelayRequest &request, Station *station)
{
    const RelayType *type = typeOf(request.regType);
    if (type == nullptr)
        return {kIllegalFunction, {}};
    return request.writes ? write(request, *type, station) : read(request, *type, *station);
}

/// Function code to refuse a request with. A type that does not exist has none: the plainest one stands in.
std::uint8_t refusedFunction(const RelayRequest &request)
{
    const RelayType *type = typeOf(request.regType);
    if (type == nullptr)
        return request.writes ? kWriteMultipleRegisters : kReadHoldingRegisters;
    return functionOf(request, *type);
}

} // namespace

std::optional<RelayRequest> unpackRelayFrame(ByteView frame)
{
    if (!isIntactFrame(frame))
        return std::nullopt;
    RelayRequest request;
    request.hostId = frame[kHostIdAt];
    request.writes = frame[kDirectionAt] != 0;
    request.linkId = frame[kLinkIdAt];
    request.station = frame[kStationAt];
    request.regType = getBe16(frame, kRegTypeAt);
    request.address = getBe32(frame, kAddressAt);
    request.count = getBe16(frame, kCountAt);
    request.arg1 = getBe32(frame, kArg1At);
    request.arg2 = getBe32(frame, kArg2At);
    request.data = Bytes(frame.data + kDataAt, frame.data + frame.size - 1);
    return request;
}

FrameRule relayRequestRule()
{
    FrameRule rule;
    rule.length = relayLength;
    rule.isIntact = isIntactFrame;
    return rule;
}

Answer RelayResponder::answer(const Bytes &frame)
{
    const std::optional<RelayRequest> request = unpackRelayFrame(frame);
    if (!request) {
        noteBadFrame();
        return {Outcome::Damaged, {}};
    }
    if (request->station == kBroadcast) {
        if (request->writes) {
            for (auto &[number, station] : bus_->stations())
                execute(*request, &station);
        }
        return {Outcome::Broadcast, {}};
    }
    Station *station = bus_->station(request->station);
    if (station == nullptr)
        return {Outcome::Foreign, {}};

    const Result result = execute(*request, station);
    if (result.exception != 0)
        return refuse(frame, result.exception);
    return bus_->replyOf(request->station, result.pdu);
}

Answer RelayResponder::refuse(const Bytes &frame, std::uint8_t code)
{
    const RelayRequest request = *unpackRelayFrame(frame);
    Station *station = bus_->station(request.station);
    return bus_->replyOf(request.station, station->refuse(refusedFunction(request), code));
}

bool RelayResponder::expectsReply(const Bytes &frame) const
{
    const std::optional<RelayRequest> request = unpackRelayFrame(frame);
    return request && bus_->station(request->station) != nullptr;
}

} // namespace plc::station
