# plc_flags: the warnings and sanitizers that every target of ours is built with.
add_library(plc_flags INTERFACE)
# Warnings are errors. For a compiler that knows other ones there is 'cmake --compile-no-warning-as-error'.
if(NOT DEFINED CMAKE_COMPILE_WARNING_AS_ERROR)
  set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
endif()
target_compile_options(plc_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast)

if(PLC_SANITIZE)
  list(JOIN PLC_SANITIZE "," plc_sanitizers)
  target_compile_options(plc_flags INTERFACE
    -fsanitize=${plc_sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(plc_flags INTERFACE -fsanitize=${plc_sanitizers})
endif()

if("thread" IN_LIST PLC_SANITIZE)
  # Tells the sanitizer of Qt's locks. It is part of each program, so that its functions are found before Qt's.
  add_library(plc_qt_under_tsan OBJECT "${CMAKE_SOURCE_DIR}/tests/support/qt_under_tsan.cpp")
  target_compile_features(plc_qt_under_tsan PRIVATE cxx_std_17)
  target_link_libraries(plc_qt_under_tsan PRIVATE plc_qtcore)
  target_link_libraries(plc_flags INTERFACE
    "$<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:$<TARGET_OBJECTS:plc_qt_under_tsan>;plc_qtcore>")
endif()
