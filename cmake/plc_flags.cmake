# plc_flags: the warnings, sanitizers and coverage that every target of ours is built with.
add_library(plc_flags INTERFACE)
target_compile_options(plc_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Werror)

if(PLC_SANITIZE)
  list(JOIN PLC_SANITIZE "," plc_sanitizers)
  target_compile_options(plc_flags INTERFACE
    -fsanitize=${plc_sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(plc_flags INTERFACE -fsanitize=${plc_sanitizers})
endif()

if(PLC_COVERAGE)
  target_compile_options(plc_flags INTERFACE --coverage -fprofile-abs-path)
  target_link_options(plc_flags INTERFACE --coverage)
endif()
