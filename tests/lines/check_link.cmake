# Compiles SOURCE with COMPILER and FLAGS, and links it with LIBRARY into WORK, a folder that is made anew.
#
# Without REFUSAL the program has to run, under EMULATOR where there is one, with a copy of the library as its argument.
# With REFUSAL, a regular expression, the linker has to refuse the program with a message that matches.
# With PKG_CONFIG, the program, what it says of plcdriver comes before FLAGS.
# RPATH and EMULATOR are lists.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
get_filename_component(folder "${LIBRARY}" DIRECTORY)
list(PREPEND RPATH "${folder}")
list(TRANSFORM RPATH PREPEND "-Wl,-rpath,")
separate_arguments(FLAGS UNIX_COMMAND "${FLAGS}")
if(PKG_CONFIG)
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs plcdriver OUTPUT_VARIABLE said COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(said UNIX_COMMAND "${said}")
  list(PREPEND FLAGS ${said})
endif()

execute_process(COMMAND ${COMPILER} ${FLAGS} -c "${SOURCE}" -o "${WORK}/program.o"
  RESULT_VARIABLE failed OUTPUT_VARIABLE said ERROR_VARIABLE said)
if(failed)
  message(FATAL_ERROR "does not compile with ${FLAGS}:\n${said}")
endif()
execute_process(COMMAND ${COMPILER} ${FLAGS} "${WORK}/program.o" "${LIBRARY}" ${RPATH} -ldl -o "${WORK}/program"
  RESULT_VARIABLE failed OUTPUT_VARIABLE said ERROR_VARIABLE said)
if(REFUSAL)
  if(NOT failed)
    message(FATAL_ERROR "is linked with ${FLAGS} and should not be:\n${said}")
  elseif(NOT said MATCHES "${REFUSAL}")
    message(FATAL_ERROR "is refused for another reason than '${REFUSAL}':\n${said}")
  endif()
  return()
endif()
if(failed OR NOT said STREQUAL "")
  message(FATAL_ERROR "is not linked, or not in silence, with ${FLAGS}:\n${said}")
endif()
file(COPY_FILE "${LIBRARY}" "${WORK}/line2.so")
execute_process(COMMAND ${EMULATOR} "${WORK}/program" "${WORK}/line2.so"
  RESULT_VARIABLE failed OUTPUT_VARIABLE said ERROR_VARIABLE said)
if(failed)
  message(FATAL_ERROR "linked with ${FLAGS}, the program ends with ${failed}:\n${said}")
endif()
