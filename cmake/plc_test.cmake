# plc_test(NAME [SOURCES a.cpp ...] [LIBS lib ...] [LABELS label ...] [SHARDS count])
#
# One GoogleTest program, which is one test of ctest with all its cases: starting a process takes longer than most cases.
# What fails is named in the program's output. Programs with few long cases, or with cases that mostly wait, have SHARDS:
# that many tests NAME.1, NAME.2 and so on, which share the cases and run beside each other. Without SOURCES the program is
# NAME.cpp.
find_package(GTest REQUIRED)

option(PLC_THREADS_ONLY "only the test programs that start threads: those labelled threads or system" OFF)

# Libraries and options of a test program, the same for all of them: they share their precompiled headers.
function(plc_test_program name)
  target_compile_features(${name} PRIVATE cxx_std_17)
  target_link_libraries(${name} PRIVATE ${ARGN} plc_qtcore plc_flags GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    # What is tested is compiled as it ships; the tests themselves are compiled as fast as can be.
    target_compile_options(${name} PRIVATE -O0 -g0 -Wno-psabi)
  endif()
  if("undefined" IN_LIST PLC_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # The same checks in half of the code: what a test itself does wrong ends it with a trace, what it tests does so in words.
    target_compile_options(${name} PRIVATE -fsanitize-undefined-trap-on-error)
  endif()
endfunction()

function(plc_test name)
  cmake_parse_arguments(arg "" "SHARDS" "SOURCES;LIBS;LABELS" ${ARGN})
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "plc_test(${name}) does not know ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT arg_SOURCES)
    set(arg_SOURCES ${name}.cpp)
  endif()
  add_executable(${name} ${arg_SOURCES})
  plc_test_program(${name} ${arg_LIBS})
  target_precompile_headers(${name} REUSE_FROM plc_test_headers)
  if(PLC_THREADS_ONLY AND NOT "threads" IN_LIST arg_LABELS AND NOT "system" IN_LIST arg_LABELS)
    set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
  endif()
  set(filter "")
  if(PLC_SKIPPED_FILTER)
    set(filter "--gtest_filter=*-${PLC_SKIPPED_FILTER}")
  endif()
  set(tests ${name})
  if(arg_SHARDS)
    set(tests "")
    foreach(shard RANGE 1 ${arg_SHARDS})
      list(APPEND tests ${name}.${shard})
    endforeach()
  endif()
  set(index 0)
  foreach(test IN LISTS tests)
    set(sharing "")
    if(arg_SHARDS)
      set(sharing "GTEST_TOTAL_SHARDS=${arg_SHARDS};GTEST_SHARD_INDEX=${index};")
    endif()
    # Process ids repeat from one namespace to the next, so files that are named after them need folders of their own.
    set(folder "${CMAKE_BINARY_DIR}/tmp/${test}")
    file(MAKE_DIRECTORY "${folder}")
    add_test(NAME ${test} COMMAND ${name} ${filter})
    # The time-out ends what hangs and judges no speed. The longest tests come first, before ctest has measured any.
    set_tests_properties(${test} PROPERTIES LABELS "${arg_LABELS}" TIMEOUT 600 COST "$<IF:$<BOOL:${arg_SHARDS}>,100,0>"
      ENVIRONMENT "PLC_RUN_SECONDS=590;${sharing}TEST_TMPDIR=${folder}/")
    math(EXPR index "${index} + 1")
  endforeach()
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
    list(APPEND PLC_SKIPPED_FILTER "${CMAKE_MATCH_1}" "*/${CMAKE_MATCH_1}/*") # of a TEST_P the second
  endforeach()
  list(JOIN PLC_SKIPPED_FILTER ":" PLC_SKIPPED_FILTER)
endif()
