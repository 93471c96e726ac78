# The compiler that tells which conditions decide: clang since version 18.
find_program(PLC_CLANG_19 NAMES clang++-19 NO_CACHE)
if(NOT PLC_CLANG_19)
  message(FATAL_ERROR "There is no clang++-19 on the PATH. Run scripts/deps mcdc.")
endif()
set(CMAKE_CXX_COMPILER "${PLC_CLANG_19}")
