#include "runtime/testing/plain_stations.h"

#include <algorithm>

#include "runtime/line/exception_codes.h"
#include "runtime/line/rtu_layout.h"

namespace plc::simulation {

namespace {

constexpr int kDone = 0; ///< beside the exception codes

constexpr std::size_t kHead = runtime::kRequestHead;
constexpr std::size_t kCountedHead = 7; ///< the same and a byte count

bool isBitTable(Table table)
{
    return table == Table::Coils || table == Table::DiscreteInputs;
}

Table tableOf(std::uint8_t function)
{
    switch (function) {
    case kReadCoils:
    case kWriteSingleCoil:
    case kWriteMultipleCoils:
        return Table::Coils;
    case kReadDiscreteInputs:
        return Table::DiscreteInputs;
    case kReadInputRegisters:
        return Table::InputRegisters;
    default:
        return Table::HoldingRegisters;
    }
}

/// Most places in one request; 0 for a function that is not known.
int mostPlaces(std::uint8_t function)
{
    switch (function) {
    case kReadCoils:
    case kReadDiscreteInputs:
        return runtime::kMostReadBits;
    case kReadHoldingRegisters:
    case kReadInputRegisters:
        return runtime::kMostReadRegisters;
    case kWriteSingleCoil:
    case kWriteSingleRegister:
        return 1;
    case kWriteMultipleCoils:
        return runtime::kMostWriteBits;
    case kWriteMultipleRegisters:
        return runtime::kMostWriteRegisters;
    default:
        return 0;
    }
}

bool isSingle(std::uint8_t function)
{
    return function == kWriteSingleCoil || function == kWriteSingleRegister;
}

bool isCounted(std::uint8_t function)
{
    return function == kWriteMultipleCoils || function == kWriteMultipleRegisters;
}

std::size_t bytesOf(Table table, int places)
{
    return static_cast<std::size_t>(isBitTable(table) ? (places + 7) / 8 : 2 * places);
}

/// What a write frame brings for place number @p index.
std::uint16_t broughtBy(const Bytes &frame, int index)
{
    const auto at = static_cast<std::size_t>(index);
    switch (frame[1]) {
    case kWriteSingleCoil:
        return wordAt(frame, 4) == runtime::kCoilOn;
    case kWriteSingleRegister:
        return wordAt(frame, 4);
    case kWriteMultipleCoils:
        return static_cast<std::uint16_t>(frame[kCountedHead + at / 8] >> (at % 8) & 1);
    default:
        return wordAt(frame, kCountedHead + 2 * at);
    }
}

bool hasGoodContent(const Bytes &frame, int count)
{
    const std::uint8_t function = frame[1];
    const std::size_t length = frame.size() - runtime::kCrcLen;
    if (function == kWriteSingleCoil && wordAt(frame, 4) != runtime::kCoilOn && wordAt(frame, 4) != 0)
        return false;
    if (!isCounted(function))
        return length == kHead;
    const std::size_t bytes = bytesOf(tableOf(function), count);
    return length == kCountedHead + bytes && frame[kHead] == bytes;
}

} // namespace

std::uint16_t PlainStations::value(int station, Table table, int address) const
{
    return static_cast<std::uint16_t>(valueAt(devices_.at(station), table, address));
}

void PlainStations::setValue(int station, Table table, int address, std::uint16_t value)
{
    const auto stored = static_cast<std::uint16_t>(isBitTable(table) ? value != 0 : value);
    devices_.at(station).tables[static_cast<std::size_t>(table)][address] = stored;
}

void PlainStations::refuseAt(int station, Table table, int first, int count, int code)
{
    devices_.at(station).refusals.push_back({table, first, count, code});
}

int PlainStations::valueAt(const Device &device, Table table, int address)
{
    const std::map<int, std::uint16_t> &places = device.tables[static_cast<std::size_t>(table)];
    const auto found = places.find(address);
    return found == places.end() ? 0 : found->second;
}

int PlainStations::refusalAt(const Device &device, Table table, int first, int count)
{
    for (int address = first; address < first + count; ++address) {
        const auto covers = [table, address](const Refusal &refusal) {
            return refusal.table == table && address >= refusal.first &&
                   address - refusal.first < refusal.count;
        };
        const auto last = std::find_if(device.refusals.rbegin(), device.refusals.rend(), covers);
        if (last != device.refusals.rend() && last->code != kDone)
            return last->code;
    }
    return kDone;
}

/// Does the request, with its reply but for the CRC.
/// @return the exception code; 0 when it is done.
int PlainStations::perform(Device *device, const Bytes &frame, Bytes *reply)
{
    const std::uint8_t function = frame[1];
    const int most = mostPlaces(function);
    if (most == 0)
        return runtime::kExceptionFunction;
    if (frame.size() < kHead + runtime::kCrcLen)
        return runtime::kExceptionValue;
    const Table table = tableOf(function);
    const int first = wordAt(frame, 2);
    const int count = isSingle(function) ? 1 : wordAt(frame, 4);
    if (count < 1 || count > most || !hasGoodContent(frame, count))
        return runtime::kExceptionValue;
    if (first + count > runtime::kAddresses)
        return runtime::kExceptionAddress;
    const int refusal = refusalAt(*device, table, first, count);
    if (refusal != kDone)
        return refusal;
    if (!runtime::isReadFunction(function)) {
        for (int i = 0; i < count; ++i)
            device->tables[static_cast<std::size_t>(table)][first + i] = broughtBy(frame, i);
        ++device->writesDone;
        reply->assign(frame.begin(), frame.begin() + kHead);
        return kDone;
    }
    const std::size_t bytes = bytesOf(table, count);
    *reply = {frame[0], function, static_cast<std::uint8_t>(bytes)};
    reply->resize(3 + bytes, 0);
    for (int i = 0; i < count; ++i) {
        const int value = valueAt(*device, table, first + i);
        const auto at = 3 + static_cast<std::size_t>(isBitTable(table) ? i / 8 : 2 * i);
        if (isBitTable(table)) {
            (*reply)[at] = static_cast<std::uint8_t>((*reply)[at] | value << (i % 8));
            continue;
        }
        (*reply)[at] = static_cast<std::uint8_t>(value >> 8);
        (*reply)[at + 1] = static_cast<std::uint8_t>(value & 0xFF);
    }
    return kDone;
}

Stations::Done PlainStations::execute(Time, const Bytes &frame, bool)
{
    Bytes reply;
    const int code = perform(&devices_.at(frame[0]), frame, &reply);
    if (code != kDone)
        return {refuse(frame, static_cast<std::uint8_t>(code)), false};
    appendCrc(&reply, replyCrcHighFirst_);
    return {std::move(reply), !runtime::isReadFunction(frame[1])};
}

Bytes PlainStations::refuse(const Bytes &frame, std::uint8_t code)
{
    Bytes reply = {frame[0], static_cast<std::uint8_t>(frame[1] | runtime::kExceptionBit), code};
    appendCrc(&reply, replyCrcHighFirst_);
    return reply;
}

void PlainStations::executeBroadcast(Time, int station, const Bytes &frame)
{
    Bytes nobodysReply;
    if (!runtime::isReadFunction(frame[1]))
        perform(&devices_.at(station), frame, &nobodysReply);
}

} // namespace plc::simulation
