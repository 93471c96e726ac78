# Compares the names that LIBRARY exports with those in the file RECORD, one a line, as the loader knows them: a C++ function
# by its mangled name. With -DWRITE=ON it writes the file instead.
#
# Nothing is left out. A weak or unique name is an error, recorded or not: such a name is an instance of a template or an
# inline function, which the loader would share with other files of the process; a unique one also keeps the library from
# being unloaded.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE listing RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${NM} cannot read ${LIBRARY}: build the target plcdriver first")
endif()

string(STRIP "${listing}" listing)
string(REPLACE ";" "," listing "${listing}")
string(REGEX REPLACE "\n" ";" lines "${listing}")
set(exported)
foreach(line IN LISTS lines)
  if(NOT line MATCHES "^[0-9a-fA-F]+ (.) (.*)$")
    message(FATAL_ERROR "cannot tell what ${NM} means by: ${line}")
  endif()
  set(kind "${CMAKE_MATCH_1}")
  set(name "${CMAKE_MATCH_2}")
  if(NOT kind MATCHES "[TBDR]")
    message(SEND_ERROR "weak or unique (${kind}): ${name}")
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
