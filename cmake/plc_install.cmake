# What an installation holds, in parts that become packages of their own:
#   library      libplcdriver.so.1
#   development  headers, the link to the library, files for CMake and pkg-config
#   tools        plchost, plcstation, their man pages, completion and documents
#   runtime      libplcruntime.so.1
#   runtime_development  its header, the link to it, the library for tests, files for CMake and pkg-config
#   panel        library, headers and documents in plain folders, for a tarball; never part of an ordinary installation
include(CMakePackageConfigHelpers)

set(plc_headers
  plcdriver.h
  core/context.h
  core/export.h
  core/options.h
  core/records.h
  core/register_types.h
  core/result_codes.h
  varlists/host_records.h)
set(plc_headers_to "${CMAKE_INSTALL_INCLUDEDIR}/plcdriver")
set(plc_cmake_to "${CMAKE_INSTALL_LIBDIR}/cmake/plcdriver")
set(plc_made "${CMAKE_CURRENT_BINARY_DIR}/packaging")

if(PLC_QT EQUAL 4)
  set(plc_qt_target Qt4::QtCore)
  set(plc_qt_dependency "Qt4 4.8 COMPONENTS QtCore")
  set(plc_qt_pc "QtCore >= 4.8")
else()
  set(plc_qt_target Qt5::Core)
  set(plc_qt_dependency "Qt5 5.9 COMPONENTS Core")
  set(plc_qt_pc "Qt5Core >= 5.9")
endif()

# Users compile our headers, which include Qt's.
target_link_libraries(plcdriver INTERFACE $<INSTALL_INTERFACE:${plc_qt_target}>)
target_compile_features(plcdriver INTERFACE cxx_std_11)

# A program that looks at the library's data has to look at the library's own, and not at a copy that the linker makes in the
# program: code that is compiled so does. Any other is refused by the linker; on ARM it only warns, so there warnings count.
# Qt's headers ask every program for the same, which Qt's target for CMake passes on and its file for pkg-config does not.
set(plc_program_compile_options -fPIC)
set(plc_program_link_options)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  set(plc_program_link_options -Wl,--fatal-warnings)
endif()
target_compile_options(plcdriver INTERFACE ${plc_program_compile_options})
target_link_options(plcdriver INTERFACE ${plc_program_link_options})

install(TARGETS plcdriver EXPORT plcdriverTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT development
  INCLUDES DESTINATION "${plc_headers_to}")
install(EXPORT plcdriverTargets NAMESPACE plcdriver:: DESTINATION "${plc_cmake_to}" COMPONENT development)

configure_package_config_file("${CMAKE_CURRENT_SOURCE_DIR}/packaging/plcdriverConfig.cmake.in"
  "${plc_made}/plcdriverConfig.cmake" INSTALL_DESTINATION "${plc_cmake_to}")
write_basic_package_version_file("${plc_made}/plcdriverConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${plc_made}/plcdriverConfig.cmake" "${plc_made}/plcdriverConfigVersion.cmake"
  DESTINATION "${plc_cmake_to}" COMPONENT development)

file(RELATIVE_PATH plc_prefix_from_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(packaging/plcdriver.pc.in "${plc_made}/plcdriver.pc" @ONLY)
install(FILES "${plc_made}/plcdriver.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

foreach(header IN LISTS plc_headers)
  get_filename_component(folder "${header}" DIRECTORY)
  install(FILES "src/${header}" DESTINATION "${plc_headers_to}/${folder}" COMPONENT development)
  install(FILES "src/${header}" DESTINATION "include/plcdriver/${folder}" COMPONENT panel EXCLUDE_FROM_ALL)
endforeach()

if(TARGET plcruntime)
  set(plc_runtime_headers "${CMAKE_CURRENT_SOURCE_DIR}/runtime/include/plcruntime/plcruntime.h")
  target_link_libraries(plcruntime INTERFACE $<INSTALL_INTERFACE:${plc_qt_target}>)
  target_compile_features(plcruntime_testing INTERFACE cxx_std_11)
  # Objects of C++17 alone: who links them does so by a compiler that has that runtime.
  target_link_libraries(plcruntime_testing INTERFACE
    $<INSTALL_INTERFACE:${plc_qt_target}> $<INSTALL_INTERFACE:Threads::Threads> $<INSTALL_INTERFACE:${CMAKE_DL_LIBS}>)
  set_target_properties(plcruntime PROPERTIES EXPORT_NAME runtime)
  set_target_properties(plcruntime_testing PROPERTIES EXPORT_NAME runtime_testing)
  install(TARGETS plcruntime EXPORT plcruntimeTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT runtime_development
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
  install(TARGETS plcruntime_testing EXPORT plcruntimeTargets
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime_development
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
  install(EXPORT plcruntimeTargets NAMESPACE plcdriver:: DESTINATION "${plc_cmake_to}" COMPONENT runtime_development)
  install(FILES ${plc_runtime_headers} "${CMAKE_CURRENT_SOURCE_DIR}/runtime/include/plcruntime/testing.h"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/plcruntime" COMPONENT runtime_development)
  foreach(name IN ITEMS plcruntime plcruntime_testing)
    configure_file(packaging/${name}.pc.in "${plc_made}/${name}.pc" @ONLY)
    install(FILES "${plc_made}/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT runtime_development)
  endforeach()
  install(TARGETS plcruntime LIBRARY DESTINATION lib COMPONENT panel EXCLUDE_FROM_ALL)
  install(FILES ${plc_runtime_headers} DESTINATION include/plcruntime COMPONENT panel EXCLUDE_FROM_ALL)
endif()

if(PLC_TOOLS)
  install(TARGETS plchost plcstation RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
  include(plc_man_page)
  foreach(program IN ITEMS plchost plcstation)
    plc_man_page(${program})
    install(FILES packaging/bash_completion RENAME ${program}
      DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT tools)
  endforeach()
  # A profile for captures, and the lines of the machine among Wireshark's interfaces.
  install(FILES packaging/wireshark/preferences
    DESTINATION "${CMAKE_INSTALL_DATADIR}/wireshark/profiles/modbus-rtu" COMPONENT tools)
  install(PROGRAMS packaging/wireshark/plchost-extcap
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/wireshark/extcap" COMPONENT tools)
  # The pages that the help names, and what they lead to.
  install(DIRECTORY docs/ DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/plcdriver-tools" COMPONENT tools
    FILES_MATCHING PATTERN "*.md" PATTERN "*.json" PATTERN "*.service" PATTERN "*.svg" PATTERN "*.png"
    PATTERN "*.cpp" PATTERN "*.h" PATTERN "*.css" PATTERN "*.qrc" PATTERN "CMakeLists.txt")
endif()

set(plc_panel_system "${CMAKE_SYSTEM_NAME} ${CMAKE_SYSTEM_PROCESSOR}")
set(plc_panel_runtime " and the C++ runtime")
if(PLC_STATIC_RUNTIME)
  set(plc_panel_runtime "; the C++ runtime is part of it")
endif()
configure_file(packaging/panel_readme.txt.in "${plc_made}/README.txt" @ONLY)
install(TARGETS plcdriver LIBRARY DESTINATION lib COMPONENT panel EXCLUDE_FROM_ALL)
install(FILES "${plc_made}/README.txt" DESTINATION . COMPONENT panel EXCLUDE_FROM_ALL)
# In the folders of the checkout, so that the links between them hold.
install(FILES CHANGELOG.md SECURITY.md DESTINATION . COMPONENT panel EXCLUDE_FROM_ALL)
install(FILES docs/integration.md docs/runtime.md docs/host-policies.md docs/cycle.md docs/wire_formats.md docs/abi.md DESTINATION docs COMPONENT panel
  EXCLUDE_FROM_ALL)
install(FILES docs/examples/minimal_runtime.cpp docs/examples/logger.cpp docs/examples/write_once.cpp docs/examples/two_lines.cpp
  docs/examples/bad_day_test.cpp
  DESTINATION docs/examples COMPONENT panel EXCLUDE_FROM_ALL)
