# plc_test(NAME [SOURCES a.cpp ...] [LIBS lib ...] [LABELS label ...] [TIMEOUT seconds])
#
# One GoogleTest program, registered with ctest case by case. Without SOURCES the program is NAME.cpp.
find_package(GTest REQUIRED)
include(GoogleTest)

function(plc_test name)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  if(NOT arg_SOURCES)
    set(arg_SOURCES ${name}.cpp)
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 60)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_compile_features(${name} PRIVATE cxx_std_17)
  target_link_libraries(${name} PRIVATE ${arg_LIBS} plc_flags GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  # Listing the cases at test time keeps the build from running programs of another architecture.
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
    PROPERTIES LABELS "${arg_LABELS}" TIMEOUT ${arg_TIMEOUT})
endfunction()
