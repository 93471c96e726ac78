# Debian packages (library, -dev, tools) and a tarball for panels; scripts/package makes and tries them all.
set(CPACK_PACKAGE_NAME plcdriver)
set(CPACK_PACKAGE_VENDOR "plcdriver developers")
set(PLC_CONTACT "plcdriver developers <maintainers@plcdriver.invalid>" CACHE STRING
  "maintainer of the packages, as Name <address>; the default reaches nobody")
set(CPACK_PACKAGE_CONTACT "${PLC_CONTACT}")
set(CPACK_GENERATOR "DEB;TGZ")
if(PLC_QT EQUAL 4)
  # No Debian release that the packages could be for has Qt 4 any more.
  set(CPACK_GENERATOR "TGZ")
endif()
set(CPACK_PROJECT_CONFIG_FILE "${CMAKE_CURRENT_LIST_DIR}/plc_cpack_options.cmake")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PLC_QT ${PLC_QT})

set(plc_library_package "libplcdriver${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(plc_same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${plc_library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "Modbus RTU master driver for operator panels
A library that the runtime of an operator panel loads to talk, as a Modbus RTU
master, to the stations on one serial line. It packs variables into few
requests, judges replies, keeps a mirror of all values and retries.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libplcdriver-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${plc_library_package} ${plc_same_version}, qtbase5-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Modbus RTU master driver for operator panels, for development
Headers of the driver library and what CMake and pkg-config need to find it.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME plcdriver-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${plc_library_package} ${plc_same_version}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "wireshark")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "Modbus RTU commissioning tool and simulated station
plchost reads, writes and watches variables of stations on a serial line
through the driver library; plcstation simulates stations and a faulty line on
a pseudo-terminal.")

set(plc_runtime_package "libplcruntime${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${plc_runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The driver is loaded while the program runs, so nothing of it is found in the library.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${plc_library_package} ${plc_same_version}")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "runtime around the Modbus RTU master driver for operator panels
A library for programs that read and write variables of stations on serial
lines: it owns port, thread and clock, and tells values with their quality and
age, ends of orders, and stations and ports that go and come back.")

set(CPACK_DEBIAN_RUNTIME_DEVELOPMENT_PACKAGE_NAME libplcruntime-dev)
set(CPACK_DEBIAN_RUNTIME_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_RUNTIME_DEVELOPMENT_PACKAGE_DEPENDS
  "${plc_runtime_package} ${plc_same_version}, libplcdriver-dev ${plc_same_version}, qtbase5-dev")
set(CPACK_DEBIAN_RUNTIME_DEVELOPMENT_DESCRIPTION "runtime around the Modbus RTU master driver, for development
Header of the runtime library, what CMake and pkg-config need to find it, and a
library for tests that simulates a line with stations and faults in virtual
time.")

if(CMAKE_CROSSCOMPILING)
  # The packages of the other architecture are unknown to this machine's dpkg, so the dependencies stand here. Those of the
  # library follow from scripts/check-symbols, those of the tools from the release whose system root they are linked with.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^armv[45]")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armel)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^i.86$")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
  else()
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
  endif()
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6 (>= 2.4), libqt5core5a (>= 5.15.1)")
  string(APPEND CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS ", libc6 (>= 2.34), libqt5core5a (>= 5.15.1)")
  string(APPEND CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ", libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12), "
    "libqt5core5a (>= 5.15.1), libqt5serialbus5 (>= 5.15.1), libjsoncpp25 (>= 1.9.5), libcsv3 (>= 3.0.3), "
    "libncursesw6 (>= 6), libtinfo6 (>= 6)")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # The tools load the library while they run, so nothing of it is found in them.
  execute_process(COMMAND dpkg --print-architecture OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE
    OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE plc_no_dpkg ERROR_QUIET)
endif()

# What tells dpkg that programs linked with the library need this package, and the system that there is a new library.
file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/packaging/shlibs"
  "libplcdriver ${PROJECT_VERSION_MAJOR} ${plc_library_package} (>= ${PROJECT_VERSION})\n")
file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/packaging/runtime/shlibs"
  "libplcruntime ${PROJECT_VERSION_MAJOR} ${plc_runtime_package} (>= ${PROJECT_VERSION})\n")
file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/packaging/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  "${CMAKE_CURRENT_BINARY_DIR}/packaging/runtime/shlibs;${CMAKE_CURRENT_BINARY_DIR}/packaging/triggers")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  "${CMAKE_CURRENT_BINARY_DIR}/packaging/shlibs;${CMAKE_CURRENT_BINARY_DIR}/packaging/triggers")

if("DEB" IN_LIST CPACK_GENERATOR)
  # Every package has its own copy of these.
  string(TIMESTAMP plc_build_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  configure_file(packaging/changelog.Debian.in "${CMAKE_CURRENT_BINARY_DIR}/packaging/changelog.Debian" @ONLY)
  find_program(PLC_GZIP gzip)
  if(PLC_GZIP)
    execute_process(COMMAND "${PLC_GZIP}" -9nf "${CMAKE_CURRENT_BINARY_DIR}/packaging/changelog.Debian")
  endif()
  foreach(component IN ITEMS LIBRARY DEVELOPMENT TOOLS RUNTIME RUNTIME_DEVELOPMENT)
    string(TOLOWER ${component} part)
    set(folder "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME}")
    install(FILES packaging/copyright "${CMAKE_CURRENT_BINARY_DIR}/packaging/changelog.Debian.gz"
      DESTINATION "${folder}" COMPONENT ${part} OPTIONAL)
  endforeach()
endif()

if("DEB" IN_LIST CPACK_GENERATOR)
  install(FILES packaging/libplcdriver-dev.lintian-overrides
    DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" RENAME libplcdriver-dev COMPONENT development)
  install(FILES packaging/libplcruntime-dev.lintian-overrides
    DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" RENAME libplcruntime-dev COMPONENT runtime_development)
endif()

include(CPack)

option(PLC_PACKAGE_ARMHF "make the armhf packages too" OFF)
if(PLC_PACKAGE_ARMHF)
  add_custom_target(package_armhf ALL
    COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/scripts/sysroot" armhf
    COMMAND "${CMAKE_COMMAND}" --preset armhf "-DPLC_CONTACT=${PLC_CONTACT}"
    COMMAND "${CMAKE_COMMAND}" --workflow --preset package-armhf
    WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" USES_TERMINAL VERBATIM)
endif()
