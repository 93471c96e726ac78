#include "modbus/request_parts.h"

#include "mirror/register_cache.h"

namespace plc {

quint16 withBit(quint16 value, const RW_VAR &bitVariable)
{
    const int bit = bitVariable.address % 16;
    const unsigned mask = bit < 0 ? 0u : 1u << bit;
    const bool set = byteAt(bitVariable.data, 0) != 0;
    return static_cast<quint16>(set ? value | mask : value & ~mask);
}

} // namespace plc
