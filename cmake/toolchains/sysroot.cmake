# What the toolchain files share: where the system root is, and that only things of it are found.
#
# plc_use_sysroot(ARCHITECTURE) takes the folder of PLC_SYSROOT (a cache variable or an environment variable), otherwise
# build/sysroots/ARCHITECTURE, which scripts/sysroot makes. PLC_MULTIARCH, set before, is the name of its library folder.
macro(plc_use_sysroot architecture)
  # Compile checks read the toolchain file in a project of their own.
  list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PLC_SYSROOT)
  if(NOT PLC_SYSROOT AND DEFINED ENV{PLC_SYSROOT})
    set(PLC_SYSROOT "$ENV{PLC_SYSROOT}")
  elseif(NOT PLC_SYSROOT)
    get_filename_component(PLC_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../../build/sysroots/${architecture}" ABSOLUTE)
  endif()
  if(NOT EXISTS "${PLC_SYSROOT}/usr/include")
    message(FATAL_ERROR "There is no system root in ${PLC_SYSROOT}: run scripts/sysroot ${architecture}, or set PLC_SYSROOT")
  endif()
  set(CMAKE_SYSROOT "${PLC_SYSROOT}")
  set(CMAKE_LIBRARY_ARCHITECTURE ${PLC_MULTIARCH})
  set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
  set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
  set(ENV{PKG_CONFIG_DIR} "")
  set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
  set(ENV{PKG_CONFIG_LIBDIR} "${CMAKE_SYSROOT}/usr/lib/${PLC_MULTIARCH}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")
endmacro()
