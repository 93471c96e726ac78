/// @file
/// Function codes, exception codes and limits of Modbus.
#ifndef PLC_STATION_MODBUS_CODES_H
#define PLC_STATION_MODBUS_CODES_H

#include <cstddef>
#include <cstdint>

namespace plc::station {

// Function codes that the station answers (MODBUS Application Protocol V1.1b3, chapter 6).
constexpr std::uint8_t kReadCoils = 1;
constexpr std::uint8_t kReadDiscreteInputs = 2;
constexpr std::uint8_t kReadHoldingRegisters = 3;
constexpr std::uint8_t kReadInputRegisters = 4;
constexpr std::uint8_t kWriteSingleCoil = 5;
constexpr std::uint8_t kWriteSingleRegister = 6;
constexpr std::uint8_t kDiagnostics = 8;
constexpr std::uint8_t kWriteMultipleCoils = 15;
constexpr std::uint8_t kWriteMultipleRegisters = 16;
constexpr std::uint8_t kReportServerId = 17;
constexpr std::uint8_t kMaskWriteRegister = 22;
constexpr std::uint8_t kEncapsulated = 43;

constexpr std::uint8_t kExceptionBit = 0x80;

// Exception codes (chapter 7).
constexpr std::uint8_t kIllegalFunction = 1;
constexpr std::uint8_t kIllegalDataAddress = 2;
constexpr std::uint8_t kIllegalDataValue = 3;
constexpr std::uint8_t kServerBusy = 6;

// Quantities that one request may carry (chapter 6).
constexpr int kMaxReadBits = 2000;
constexpr int kMaxReadRegisters = 125;
constexpr int kMaxWriteBits = 1968;
constexpr int kMaxWriteRegisters = 123;

constexpr std::uint8_t kBroadcast = 0;
constexpr int kLastStation = 247;

/// Station, function and CRC: the fewest bytes that are a frame.
constexpr std::size_t kShortestFrame = 4;

} // namespace plc::station

#endif
