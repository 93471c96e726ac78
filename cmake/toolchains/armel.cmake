# 32-bit ARM panels without a floating-point unit (ARMv5, soft float), with the system root of scripts/sysroot armel. Programs
# run under an emulator, as on a processor of that generation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv5tel)
set(PLC_MULTIARCH arm-linux-gnueabi)
include("${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake")
plc_use_sysroot(armel)

set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR
  env "PLC_SYSROOT=${CMAKE_SYSROOT}" QEMU_CPU=arm926 "${CMAKE_CURRENT_LIST_DIR}/../../scripts/run-armhf")
set(PLC_SKIPPED_TESTS "${CMAKE_CURRENT_LIST_DIR}/../armhf_skipped_tests.txt")
