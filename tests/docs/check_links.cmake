# Checks that each relative link in the Markdown files of ROOT and ROOT/docs leads to a file or folder.
#
#   cmake -DROOT=<checkout> -P tests/docs/check_links.cmake
cmake_minimum_required(VERSION 3.25)

file(GLOB pages RELATIVE ${ROOT} ${ROOT}/*.md ${ROOT}/docs/*.md)
if(NOT pages)
  message(SEND_ERROR "there is no Markdown file in ${ROOT}")
endif()
foreach(page IN LISTS pages)
  file(READ ${ROOT}/${page} text)
  # Semicolons and brackets mean something in lists.
  string(REPLACE ";" "," text "${text}")
  string(REGEX REPLACE "\\]\\(" "\n<link>" text "${text}")
  string(REGEX REPLACE "[][]" "" text "${text}")
  string(REGEX MATCHALL "<link>[^)\n]*" links "${text}")
  list(TRANSFORM links REPLACE "^<link>" "")
  get_filename_component(folder ${page} DIRECTORY)
  foreach(link IN LISTS links)
    if(link MATCHES "^[a-z]+:")
      continue()
    endif()
    string(REGEX REPLACE "#.*" "" path "${link}")
    if(path AND NOT EXISTS ${ROOT}/${folder}/${path})
      message(SEND_ERROR "${page}: the link ${link} leads nowhere")
    endif()
  endforeach()
endforeach()
