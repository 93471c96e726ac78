#include "memory_safety/scarce_memory.h"

#include <cstddef>
#include <new>

// What stands behind the public names: the C library's allocator or the sanitizer's. The sanitizer's own
// functions keep watch over every block then, as in other programs.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {
#ifdef PLC_SANITIZED
void *__interceptor_malloc(std::size_t size);
void *__interceptor_calloc(std::size_t count, std::size_t size);
void *__interceptor_realloc(void *block, std::size_t size);
void __interceptor_free(void *block);
#define PLC_REAL(function) __interceptor_##function
#else
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void __libc_free(void *block);
#define PLC_REAL(function) __libc_##function
#endif
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace {

thread_local bool scarce = false;
thread_local int asked = 0;
thread_local int firstToFail = 0;
thread_local bool onlyOnce = false;
thread_local int held = 0;

bool isRefused()
{
    if (!scarce)
        return false;
    ++asked;
    return firstToFail != 0 && (onlyOnce ? asked == firstToFail : asked >= firstToFail);
}

void *counted(void *block)
{
    if (block)
        ++held;
    return block;
}

} // namespace

extern "C" {

void *malloc(std::size_t size) noexcept
{
    return isRefused() ? nullptr : counted(PLC_REAL(malloc)(size));
}

void *calloc(std::size_t count, std::size_t size) noexcept
{
    return isRefused() ? nullptr : counted(PLC_REAL(calloc)(count, size));
}

void *realloc(void *block, std::size_t size) noexcept
{
    if (isRefused())
        return nullptr;
    void *const moved = PLC_REAL(realloc)(block, size);
    return block ? moved : counted(moved);
}

void free(void *block) noexcept
{
    if (block)
        --held;
    PLC_REAL(free)(block);
}

} // extern "C"

// A sanitizer's own operators would not come here.

void *operator new(std::size_t size)
{
    void *const block = malloc(size != 0 ? size : 1);
    if (!block)
        throw std::bad_alloc();
    return block;
}

void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    return malloc(size != 0 ? size : 1);
}

void *operator new[](std::size_t size)
{
    return operator new(size);
}

void *operator new[](std::size_t size, const std::nothrow_t &nothrow) noexcept
{
    return operator new(size, nothrow);
}

void operator delete(void *block) noexcept
{
    free(block);
}

void operator delete(void *block, std::size_t) noexcept
{
    free(block);
}

void operator delete(void *block, const std::nothrow_t &) noexcept
{
    free(block);
}

void operator delete[](void *block) noexcept
{
    free(block);
}

void operator delete[](void *block, std::size_t) noexcept
{
    free(block);
}

void operator delete[](void *block, const std::nothrow_t &) noexcept
{
    free(block);
}

namespace plc::test {

ScarceMemory::ScarceMemory(int first, Shortage shortage)
{
    asked = 0;
    firstToFail = first;
    onlyOnce = shortage == Shortage::Once;
}

ScarceMemory::~ScarceMemory()
{
    firstToFail = 0;
}

bool ScarceMemory::ranOut()
{
    return firstToFail != 0 && asked >= firstToFail;
}

ScarceMemory::Now::Now()
{
    scarce = true;
}

ScarceMemory::Now::~Now()
{
    scarce = false;
}

ScarceMemory::Plenty::Plenty() : wasScarce_(scarce)
{
    scarce = false;
}

ScarceMemory::Plenty::~Plenty()
{
    scarce = wasScarce_;
}

int heldBlocks()
{
    return held;
}

} // namespace plc::test
