# Fails unless the installation of a Qt 4.8 build holds the library and what is needed to use it, and nothing else: documents
# of Debian packages belong into those, and such a build makes none.
#
#   cmake -DBUILD=folder -DWORK=folder -P check_install.cmake
#
# BUILD is what check_sysroot.cmake built.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${WORK}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${WORK}" OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(GLOB_RECURSE files RELATIVE "${WORK}" "${WORK}/*")
set(seen "")
foreach(file IN LISTS files)
  if(file MATCHES "^(lib|lib/[^/]+)/(libplcdriver\\.so[.0-9]*|cmake/plcdriver/[^/]+\\.cmake|pkgconfig/plcdriver\\.pc)$")
    string(REGEX REPLACE "^.*/" "" name "${file}")
    list(APPEND seen "${name}")
  elseif(file STREQUAL "include/plcdriver/plcdriver.h")
    list(APPEND seen plcdriver.h)
  elseif(NOT file MATCHES "^include/plcdriver/[a-z_/]+\\.h$")
    message(SEND_ERROR "a build with Qt 4.8 installs ${file}")
  endif()
endforeach()
foreach(wanted IN ITEMS libplcdriver.so libplcdriver.so.1 plcdriverConfig.cmake plcdriver.pc plcdriver.h)
  if(NOT wanted IN_LIST seen)
    message(SEND_ERROR "a build with Qt 4.8 does not install ${wanted}")
  endif()
endforeach()
