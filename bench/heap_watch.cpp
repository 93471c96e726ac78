#include "heap_watch.h"

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <unordered_map>

// The C library offers its own allocator under these names to those who replace the public ones.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void __libc_free(void *block);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace {

struct HeapCall
{
    void *block;
    std::size_t size; ///< 0: the block was given back
};

constexpr std::size_t kMostCalls = 1 << 22;

HeapCall calls[kMostCalls];
std::size_t callCount = 0;
bool recording = false;
std::size_t allocations = 0;
std::size_t most = 0; ///< of the last record

void record(void *block, std::size_t size)
{
    if (!recording || block == nullptr)
        return;
    if (callCount == kMostCalls) {
        recording = false;
        std::fputs("heap_watch: more heap calls than there are entries to record them\n", stderr);
        std::abort();
    }
    calls[callCount++] = {block, size};
}

} // namespace

extern "C" {

void *malloc(std::size_t size) noexcept
{
    ++allocations;
    void *block = __libc_malloc(size);
    record(block, size);
    return block;
}

void *calloc(std::size_t count, std::size_t size) noexcept
{
    ++allocations;
    void *block = __libc_calloc(count, size);
    record(block, count * size);
    return block;
}

void *realloc(void *block, std::size_t size) noexcept
{
    ++allocations;
    record(block, 0);
    void *moved = __libc_realloc(block, size);
    record(moved, size);
    return moved;
}

void free(void *block) noexcept
{
    record(block, 0);
    __libc_free(block);
}

} // extern "C"

namespace plc::bench {

std::size_t allocationCount()
{
    return allocations;
}

void startRecording()
{
    callCount = 0;
    recording = true;
}

std::size_t stopRecording()
{
    recording = false;
    std::unordered_map<void *, std::size_t> live;
    std::size_t bytes = 0;
    most = 0;
    for (std::size_t i = 0; i < callCount; ++i) {
        std::size_t &size = live[calls[i].block]; // 0 for a block of before
        bytes = bytes - size + calls[i].size;
        size = calls[i].size;
        most = std::max(most, bytes);
    }
    return bytes;
}

std::size_t mostRecorded()
{
    return most;
}

std::size_t chunkBytes()
{
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd; // hash tables of any size are mapped on their own
}

} // namespace plc::bench
