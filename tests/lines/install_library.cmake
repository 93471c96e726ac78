# Installs the library and what belongs to its development from the folder BUILD into PREFIX, which is made anew.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${PREFIX}")
foreach(component IN ITEMS library development)
  execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD}" --component ${component} --prefix "${PREFIX}"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
