# Shows that check_conformance.cmake can fail: it is given pages of WORK with one mistake each, beside a good one.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${WORK})
file(WRITE ${WORK}/tests/a_test.cpp "TEST_F(Suite,\n       Shows) {}\nTEST(Suite, ShowsMore) {}\n")
file(WRITE ${WORK}/src/core/a.h "class Cycle { void take(int); };\n")

set(counts "\n| met | 1 |\n| partly | 1 |\n| not met | 0 |\n| n.a. | 0 |\n")
set(met "| SL 1 | a; [b] | both | met | `Cycle::take()`, `core/a.h` | `Suite.Shows` |\n")
set(partly "| AP 2 | c | - | partly | d | none |\n")

# expect(MESSAGE PAGE): the page is refused with these words; with none it is taken.
function(expect words page)
  file(WRITE ${WORK}/page.md "${page}")
  execute_process(COMMAND ${CMAKE_COMMAND} -DROOT=${WORK} -DPAGE=page.md -P ${CHECK}
    RESULT_VARIABLE failed ERROR_VARIABLE said)
  string(REGEX REPLACE "[ \n]+" " " said "${said}")
  if(words STREQUAL "")
    if(failed)
      message(SEND_ERROR "a good page was refused: ${said}")
    endif()
    return()
  endif()
  string(FIND "${said}" "${words}" at)
  if(NOT failed OR at EQUAL -1)
    message(SEND_ERROR "'${words}' was not said, but: ${said}")
  endif()
endfunction()

# expect_changed(MESSAGE FROM TO): the same for the good page with FROM turned into TO.
function(expect_changed words from to)
  string(REPLACE "${from}" "${to}" page "${counts}${met}${partly}")
  expect("${words}" "${page}")
endfunction()

expect("" "${counts}${met}${partly}")
expect_changed("" "`Suite.Shows`" "`Suite.Shows` `Suite.ShowsMore`")
expect_changed("there is no test Suite.Show" "Suite.Shows" "Suite.Show")
expect_changed("there is no test Suite.ShowsMuch" "Suite.Shows" "Suite.ShowsMuch")
expect_changed("there is no function Cycle::give()" "::take" "::give")
expect_changed("there is no class Circle" "Cycle" "Circle")
expect_changed("there is no file core/b.h" "core/a.h" "core/b.h")
expect_changed("no test shows it" "`Suite.Shows`" "none")
expect_changed("has the verdict 'nearly'" "| - | partly |" "| - | nearly |")
expect_changed("has not six columns" "| d | none |" "| d |")
expect("stands in 0 rows" "${counts}${met}")
