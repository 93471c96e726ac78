// Part of a library that carries its own libstdc++ and libgcc (PLC_STATIC_RUNTIME). The linker puts these in
// place of two things that the compiler's runtime would otherwise bring or ask for; see docs/building.md.
#include <cstdlib>

namespace __gnu_cxx {
/// libstdc++'s own: gives back what it keeps for exceptions in case that the memory is used up.
void __freeres() noexcept; // NOLINT(bugprone-reserved-identifier,cert-*,readability-identifier-naming)
} // namespace __gnu_cxx

namespace {

/// When the library is unloaded. A process that opens a line for each of its ports, over and over, loads it
/// as often, and each copy would leave some 20 KiB behind.
__attribute__((destructor)) void releaseMemoryForExceptions()
{
    __gnu_cxx::__freeres();
}

} // namespace

#define PLC_REPLACEMENT __attribute__((visibility("hidden")))

// The linker chooses the names.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" {

/// In place of libstdc++'s report of an uncaught exception, whose demangler is a third of the whole library.
/// No exception leaves an entry point, and a panel has nobody to read the report.
PLC_REPLACEMENT void __wrap__ZN9__gnu_cxx27__verbose_terminate_handlerEv()
{
    std::abort();
}

/// In place of a flag that glibc has only since 2.32 and that lets reference counts skip atomic instructions:
/// never skip.
PLC_REPLACEMENT char __wrap___libc_single_threaded = 0;

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
