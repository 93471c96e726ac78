# Read by cpack for each kind of package: the Debian packages are made of the parts of an installation, the tarball of the
# part for panels.
if(CPACK_GENERATOR STREQUAL "DEB")
  set(CPACK_COMPONENTS_ALL library development tools runtime runtime_development)
  # The descriptions of the packages begin with a summary of their own.
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
  set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
else()
  set(CPACK_COMPONENTS_ALL panel)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
  set(CPACK_PACKAGING_INSTALL_PREFIX "/")
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
  set(CPACK_PACKAGE_FILE_NAME
    "plcdriver-${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_ARCHITECTURE}-qt${CPACK_PLC_QT}")
endif()
