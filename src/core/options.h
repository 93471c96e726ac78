/// @file
/// The bits of COM_INFO::options, each under its one name.
#ifndef PLC_CORE_OPTIONS_H
#define PLC_CORE_OPTIONS_H

#include <QtGlobal>

namespace plc {

/// Addresses are typed counting from 1: PLCAddressChangeIntef() and all that take an address text.
constexpr quint32 kOptionOneBased = 1u << 0;
/// A single holding register (type 5) is written with function 16 instead of 6.
constexpr quint32 kOptionRegisterAsBlock = 1u << 1;
/// A bit inside a holding register (type 3) is written from the mirrored register, without reading the
/// register first.
constexpr quint32 kOptionBitFromMirror = 1u << 4;
/// SetRegisterData() writes holding registers (type 5) one a request.
constexpr quint32 kOptionSingleRegisters = 1u << 5;
/// SetRegisterData() writes coils (type 0) one a request.
constexpr quint32 kOptionSingleCoils = 1u << 6;
/// The CRC of requests goes out high byte first.
constexpr quint32 kOptionSwapRequestCrc = 1u << 7;
/// The CRC of replies comes high byte first.
constexpr quint32 kOptionSwapReplyCrc = 1u << 8;
/// Stations do not answer writes of type 8.
constexpr quint32 kOptionNoReplyToSingle = 1u << 9;
/// Stations do not answer writes of type 9.
constexpr quint32 kOptionNoReplyToBlock = 1u << 10;
/// Coils and discrete inputs are read one a request.
constexpr quint32 kOptionNoBitPacking = 1u << 11;

/// Whether the word @p options has all bits of @p mask.
constexpr bool hasOption(quint32 options, quint32 mask)
{
    return (options & mask) == mask;
}

} // namespace plc

#endif
