# Fails unless a Qt 4.8 outside the system root is found through cmake/toolchains/sysroot.cmake, and the library can be
# compiled and linked with it.
#
#   cmake -DROOT=checkout -DWORK=folder -DCXX=compiler -DLAUNCHER=ccache -DMULTIARCH=triplet -P check_sysroot.cmake
#
# The system root is made up of links to this machine's own folders, the Qt 4.8 is the stand-in. Leaves the build in
# WORK/build for check_install.cmake.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${WORK}")
foreach(folder IN ITEMS usr lib lib64)
  if(IS_DIRECTORY "/${folder}")
    file(MAKE_DIRECTORY "${WORK}/sysroot")
    file(CREATE_LINK "/${folder}" "${WORK}/sysroot/${folder}" SYMBOLIC)
  endif()
endforeach()
set(qt "${WORK}/elsewhere/qt")

# make_qt([OBJECTS folder])
function(make_qt)
  set(PREFIX "${qt}")
  cmake_parse_arguments(PARSE_ARGV 0 "" "" "OBJECTS" "")
  set(OBJECTS "${_OBJECTS}")
  include("${ROOT}/tests/qt4_names/make_standin.cmake")
endfunction()

# run(COMMAND...): a step of the build, whose output is shown when it fails.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed OUTPUT_VARIABLE said ERROR_VARIABLE said)
  if(failed)
    message(FATAL_ERROR "failed: ${ARGN}\n${said}")
  endif()
endfunction()

make_qt()
file(WRITE "${WORK}/toolchain.cmake" "
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR made-up)
set(PLC_MULTIARCH ${MULTIARCH})
include(\"${ROOT}/cmake/toolchains/sysroot.cmake\")
plc_use_sysroot(made-up)
set(CMAKE_CXX_COMPILER \"${CXX}\")
")
run("${CMAKE_COMMAND}" -G Ninja -S "${ROOT}" -B "${WORK}/build" "-DCMAKE_TOOLCHAIN_FILE=${WORK}/toolchain.cmake"
  "-DPLC_SYSROOT=${WORK}/sysroot" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-g0
  "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}" -DPLC_QT=4 "-DQT_QMAKE_EXECUTABLE=${qt}/bin/qmake"
  -DCMAKE_INSTALL_PREFIX=/usr)
file(STRINGS "${WORK}/build/CMakeCache.txt" found REGEX "^QT_QTCORE_LIBRARY_RELEASE:")
if(NOT found STREQUAL "QT_QTCORE_LIBRARY_RELEASE:FILEPATH=${qt}/lib/libQtCore.so")
  message(FATAL_ERROR "the QtCore that was found: '${found}'")
endif()
run("${CMAKE_COMMAND}" --build "${WORK}/build" --target plc_objects -j 2)
make_qt(OBJECTS "${WORK}/build/src")
run("${CMAKE_COMMAND}" --build "${WORK}/build" --target plcdriver -j 2)
