/// @file
/// The ten register type codes and what each of them stands for.
#ifndef PLC_CORE_REGISTER_TYPES_H
#define PLC_CORE_REGISTER_TYPES_H

#include "core/export.h"

namespace plc {

/// Register type codes as the runtime numbers them.
enum RegType
{
    kCoil = 0,                ///< "0x": coils, one bit each
    kDiscreteInput = 1,       ///< "1x": discrete inputs, one bit each
    kInputRegisterBit = 2,    ///< "3x_bit": a bit inside input registers, address = register * 16 + bit
    kHoldingRegisterBit = 3,  ///< "4x_bit": a bit inside holding registers, address = register * 16 + bit
    kInputRegister = 4,       ///< "3x": input registers, 16 bits
    kHoldingRegister = 5,     ///< "4x": holding registers, 16 bits
    kInputRegisterPair = 6,   ///< "3x_d": input registers as 32-bit pairs
    kHoldingRegisterPair = 7, ///< "4x_d": holding registers as 32-bit pairs
    kHoldingSingle = 8,       ///< holding register always written singly
    kHoldingBlock = 9         ///< holding registers always written as a block
};

constexpr int kRegTypeCount = 10;

/// Elements in one area (MODBUS Application Protocol V1.1b3, 4.3). A request of the runtime for more than
/// that is a mistake, and splitting it up would keep the panel busy for hours.
constexpr int kAreaSize = 65536;

/// True for the codes that the runtime may use.
inline bool isKnownRegType(int regType)
{
    return regType >= 0 && regType < kRegTypeCount;
}

/// True for coils and discrete inputs, whose counts are bits.
inline bool isBitArea(int regType)
{
    return regType == kCoil || regType == kDiscreteInput;
}

} // namespace plc

/// Base type of a register type code: the area in which its elements are stored and read.
/// @return 4 for 2, 4 and 6; 5 for 3, 5, 7, 8 and 9; any other value unchanged.
/// Pure, takes no lock.
PLC_EXPORT int getPlcReg(int regType);

#endif
