# 32-bit x86, with the system root of scripts/sysroot i386. An x86-64 kernel runs the programs as they are, so this is the
# quick way to 4-byte pointers. For tests only: the programs name the dynamic linker and the libraries of the system root.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(PLC_MULTIARCH i386-linux-gnu)
include("${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake")
plc_use_sysroot(i386)

set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
# RPATH instead of RUNPATH, since the libraries of the system root have to find each other too.
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-Wl,--dynamic-linker=${CMAKE_SYSROOT}/lib/ld-linux.so.2 -Wl,--disable-new-dtags")
set(CMAKE_BUILD_RPATH "${CMAKE_SYSROOT}/lib/i386-linux-gnu;${CMAKE_SYSROOT}/usr/lib/i386-linux-gnu")
