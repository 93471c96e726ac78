# Checks that LIBRARY asks for QtCore and the C and C++ runtime, and for nothing else, wherever they are. Sanitizers and
# coverage bring a runtime of their own, which belongs to the compiler.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE listing RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${READELF} cannot read ${LIBRARY}: build the target plcdriver first")
endif()

string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*\\[[^\n]*\\]" entries "${listing}")
set(hasQtCore FALSE)
foreach(entry IN LISTS entries)
  string(REGEX REPLACE ".*\\[(.*)\\].*" "\\1" name "${entry}")
  if(name MATCHES "^libQt5Core\\.so\\.5$|^libQtCore\\.so\\.4$")
    set(hasQtCore TRUE)
  elseif(NOT name MATCHES
         "^(libstdc\\+\\+|libgcc_s|libc|libm|libpthread|libdl|ld-linux[^.]*|libasan|libubsan|libtsan)\\.so\\.[0-9]+$")
    message(SEND_ERROR "needs ${name}")
  endif()
endforeach()
if(NOT hasQtCore)
  message(SEND_ERROR "does not ask for QtCore; found: ${entries}")
endif()
if(listing MATCHES "\\((RPATH|RUNPATH)\\)")
  message(SEND_ERROR "carries a search path of the machine that built it")
endif()
