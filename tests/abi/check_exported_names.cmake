# Compares the names that LIBRARY exports with those in the file RECORD, one a line, demangled. With -DWRITE=ON it
# writes the file instead.
#
# Left out: names that begin with two underscores, which belong to the tool chain (sanitizers, coverage), and weak
# names, which are instances of other people's templates and come and go with the compiler's mood. A weak name of our
# own is an error.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${NM} -D --defined-only -C ${LIBRARY}
  OUTPUT_VARIABLE listing RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${NM} cannot read ${LIBRARY}: build the target plcdriver first")
endif()

string(REPLACE ";" "," listing "${listing}")
string(REGEX REPLACE "\n" ";" lines "${listing}")
set(exported)
foreach(line IN LISTS lines)
  if(NOT line MATCHES "^[0-9a-fA-F]+ (.) (.*)$")
    continue()
  endif()
  set(kind "${CMAKE_MATCH_1}")
  set(name "${CMAKE_MATCH_2}")
  if(name MATCHES "^_[_fi]")
    continue()
  endif()
  if(kind MATCHES "[WVu]")
    if(name MATCHES "(^|[ *&])(plc|RW_VAR|Protocol|EXTENDVAR|COM_INFO|Communication_Protocol)::")
      message(SEND_ERROR "weak name of our own: ${name}")
    endif()
    continue()
  endif()
  list(APPEND exported "${name}")
endforeach()
list(REMOVE_DUPLICATES exported)
list(SORT exported COMPARE STRING)

if(WRITE)
  list(JOIN exported "\n" text)
  file(WRITE ${RECORD} "${text}\n")
  list(LENGTH exported count)
  message(STATUS "${RECORD}: ${count} names written")
  return()
endif()

file(STRINGS ${RECORD} recorded)
foreach(name IN LISTS recorded)
  if(NOT name IN_LIST exported)
    message(SEND_ERROR "recorded but not exported any more: ${name}")
  endif()
endforeach()
foreach(name IN LISTS exported)
  if(NOT name IN_LIST recorded)
    message(SEND_ERROR "exported but not recorded: ${name}")
  endif()
endforeach()
