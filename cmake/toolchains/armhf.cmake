# 32-bit ARM panels (ARMv7, hard float), with the system root of scripts/sysroot armhf. Programs run under an emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(PLC_MULTIARCH arm-linux-gnueabihf)
include("${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake")
plc_use_sysroot(armhf)

set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR
  env "PLC_SYSROOT=${CMAKE_SYSROOT}" "${CMAKE_CURRENT_LIST_DIR}/../../scripts/run-armhf")
set(PLC_SKIPPED_TESTS "${CMAKE_CURRENT_LIST_DIR}/../armhf_skipped_tests.txt")
