# The compiler of the fuzzers: clang, whose libFuzzer makes up the inputs.
find_program(PLC_CLANG NAMES clang++-14 clang++ NO_CACHE)
if(NOT PLC_CLANG)
  message(FATAL_ERROR "The fuzzers need clang: neither clang++-14 nor clang++ is on the PATH. Run scripts/deps fuzz.")
endif()
set(CMAKE_CXX_COMPILER "${PLC_CLANG}")
