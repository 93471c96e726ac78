# plc_test(NAME [SOURCES a.cpp ...] [LIBS lib ...] [LABELS label ...] [TIMEOUT seconds])
#
# One GoogleTest program, registered with ctest case by case. Without SOURCES the program is NAME.cpp. With
# PLC_WHOLE_PROGRAMS the program is one test with all its cases: where starting it takes longer than most cases, as under
# an emulator or a sanitizer.
find_package(GTest REQUIRED)
include(GoogleTest)

set(plc_needs_emulator OFF)
if(CMAKE_CROSSCOMPILING_EMULATOR)
  set(plc_needs_emulator ON)
endif()
option(PLC_THREADS_ONLY "only the test programs that start threads: those labelled threads or system" OFF)
option(PLC_WHOLE_PROGRAMS "A test program is one test of ctest, with all its cases" ${plc_needs_emulator})

# Libraries and options of a test program, the same for all of them: they share their precompiled headers.
function(plc_test_program name)
  target_compile_features(${name} PRIVATE cxx_std_17)
  target_link_libraries(${name} PRIVATE ${ARGN} plc_qtcore plc_flags GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    # What is tested is compiled as it ships; the tests themselves are compiled as fast as can be.
    target_compile_options(${name} PRIVATE -O0 -g0 -Wno-psabi)
  endif()
endfunction()

function(plc_test name)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  if(NOT arg_SOURCES)
    set(arg_SOURCES ${name}.cpp)
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 60)
  endif()
  add_executable(${name} ${arg_SOURCES})
  plc_test_program(${name} ${arg_LIBS})
  target_precompile_headers(${name} REUSE_FROM plc_test_headers)
  if(PLC_THREADS_ONLY AND NOT "threads" IN_LIST arg_LABELS AND NOT "system" IN_LIST arg_LABELS)
    set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
  endif()
  if(PLC_WHOLE_PROGRAMS)
    # Programs with a time limit of their own wait a lot: their cases run in four processes beside each other.
    set(shards 1)
    if(arg_TIMEOUT GREATER 60)
      set(shards 4)
    endif()
    foreach(shard RANGE 1 ${shards})
      math(EXPR index "${shard} - 1")
      set(filter "")
      if(PLC_SKIPPED_FILTER)
        set(filter "--gtest_filter=*-${PLC_SKIPPED_FILTER}")
      endif()
      # Process ids repeat from one namespace to the next, so files that are named after them need folders of their own.
      set(folder "${CMAKE_BINARY_DIR}/tmp/${name}.${shard}")
      file(MAKE_DIRECTORY "${folder}")
      add_test(NAME ${name}.${shard} COMMAND ${name} --gtest_brief=1 ${filter})
      set_tests_properties(${name}.${shard} PROPERTIES LABELS "${arg_LABELS}" TIMEOUT 600
        ENVIRONMENT "PLC_RUN_SECONDS=590;GTEST_TOTAL_SHARDS=${shards};GTEST_SHARD_INDEX=${index};TEST_TMPDIR=${folder}/")
    endforeach()
  else()
    # Listing the cases at test time keeps the build from running programs.
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
      PROPERTIES LABELS "${arg_LABELS}" TIMEOUT ${arg_TIMEOUT})
  endif()
endfunction()

# plc_run_path(VARIABLE TARGET): the path under which a test starts program TARGET. Where programs need an emulator it is
# that of a small script, since a test cannot start a program of another architecture itself.
function(plc_run_path variable target)
  set(path "$<TARGET_FILE:${target}>")
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    set(path "${CMAKE_BINARY_DIR}/run/${target}")
    if(target STREQUAL plcstation)
      # plchost starts the plcstation beside it: there the script has to be.
      set(path "${CMAKE_BINARY_DIR}/bin/plcstation")
      set_target_properties(plcstation PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin/emulated")
    endif()
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" emulator)
    get_property(made GLOBAL PROPERTY PLC_RUN_PATHS)
    if(NOT target IN_LIST made)
      set_property(GLOBAL APPEND PROPERTY PLC_RUN_PATHS ${target})
      file(GENERATE OUTPUT "${path}" CONTENT "#!/bin/sh\nexec '${emulator}' '$<TARGET_FILE:${target}>' \"$@\"\n"
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    endif()
  endif()
  set(${variable} "${path}" PARENT_SCOPE)
endfunction()

# Cases that the emulator cannot run: a line of the file is a case's name, a space and the reason; # begins a comment.
if(PLC_SKIPPED_TESTS)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PLC_SKIPPED_TESTS}")
  file(STRINGS "${PLC_SKIPPED_TESTS}" plc_lines REGEX "^[^#]")
  set(PLC_SKIPPED_FILTER "")
  foreach(line IN LISTS plc_lines)
    if(NOT line MATCHES "^([^ ]+) +[^ ].*")
      message(FATAL_ERROR "${PLC_SKIPPED_TESTS}: no reason behind the name in '${line}'")
    endif()
    list(APPEND PLC_SKIPPED_FILTER "${CMAKE_MATCH_1}")
  endforeach()
  list(JOIN PLC_SKIPPED_FILTER ":" PLC_SKIPPED_FILTER)
endif()
