/// @file
/// How much memory a run holds.
#ifndef PLC_TESTS_BUS_HEAP_USE_H
#define PLC_TESTS_BUS_HEAP_USE_H

#include <malloc.h>

#include <cstdint>

namespace plc::bus {

/// Bytes of heap in use; 0 where the allocator does not tell, as under a sanitizer.
inline std::int64_t heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    // What is large has a mapping of its own, outside the arena.
    return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
}

} // namespace plc::bus

#endif
