# plc_man_page(PROGRAM): builds man/PROGRAM.1 in the build folder, as the program itself tells it, and installs it.
# Programs of another architecture tell it where there is an emulator for them; otherwise there is no page.
find_program(PLC_GZIP gzip)

function(plc_man_page program)
  if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    message(STATUS "no man page of ${program}: it does not run on this machine")
    return()
  endif()
  set(page "${CMAKE_BINARY_DIR}/man/${program}.1")
  file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/man")
  add_custom_command(OUTPUT "${page}" COMMAND ${program} help --man > "${page}" DEPENDS ${program}
    COMMENT "Man page of ${program}" VERBATIM)
  set(pages "${page}")
  if(PLC_GZIP)
    set(pages "${page}.gz")
    add_custom_command(OUTPUT "${page}.gz" COMMAND "${PLC_GZIP}" -9nkf "${page}" DEPENDS "${page}" VERBATIM)
  endif()
  add_custom_target(man_page_${program} ALL DEPENDS "${page}" ${pages})
  # Who has built single targets only has no pages, which is no reason not to install.
  install(FILES ${pages} DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools OPTIONAL)
endfunction()
