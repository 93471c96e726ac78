/// @file
/// Bytes on a simulated line, and the frames that they make.
#ifndef PLC_RUNTIME_TESTING_BYTES_H
#define PLC_RUNTIME_TESTING_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "runtime/line/rtu_layout.h"

namespace plc::simulation {

using Bytes = std::vector<std::uint8_t>;

// What the requests on such a line are made of.
using runtime::kReadCoils;
using runtime::kReadDiscreteInputs;
using runtime::kReadHoldingRegisters;
using runtime::kReadInputRegisters;
using runtime::kWriteMultipleCoils;
using runtime::kWriteMultipleRegisters;
using runtime::kWriteSingleCoil;
using runtime::kWriteSingleRegister;

/// 16 bits from two bytes, high byte first, as addresses, quantities and registers travel.
std::uint16_t wordAt(const Bytes &bytes, std::size_t at);
/// Appends 16 bits, high byte first.
void appendWord(Bytes *bytes, std::uint16_t value);

/// Appends the CRC of everything in @p frame to it. @p highFirst: with the high byte first, as few devices
/// do.
void appendCrc(Bytes *frame, bool highFirst);
/// Whether the last two bytes are the CRC of those before them; false for fewer than three bytes.
bool endsWithCrc(const Bytes &frame, bool highFirst);

/// As runtime::hexText().
std::string hexOf(const Bytes &bytes);

} // namespace plc::simulation

#endif
