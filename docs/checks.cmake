# Checks of the documentation: compares contract tables, declarations, options and code with their sources. The examples
# are tests of their own.
find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
  set(examples ${CMAKE_CURRENT_SOURCE_DIR}/examples)
  set(headers ${PROJECT_SOURCE_DIR}/userlib/include)
  set(pages ${CMAKE_CURRENT_SOURCE_DIR}/man)
  function(add_docs_check name)
    list(POP_FRONT ARGN script)
    add_test(NAME docs.${name} COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/tools/${script} ${ARGN}
             COMMAND_EXPAND_LISTS)
  endfunction()

  # One page lists all contracts of the sources. A test of the check itself follows.
  add_docs_check(contracts contracts_page.py --check ${PROJECT_SOURCE_DIR})
  add_test(NAME docs.contracts.notices COMMAND ${Python3_EXECUTABLE}
                                               ${PROJECT_SOURCE_DIR}/tests/tools/docs/contracts_test.py)
  # Includes point down, and their picture is up to date. A test of both checks follows.
  add_docs_check(layers check_layers.py ${PROJECT_SOURCE_DIR})
  add_docs_check(include_graph include_graph.py --check ${PROJECT_SOURCE_DIR})
  add_test(NAME docs.layers.notices COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/tools/docs/layers_test.py)
  add_docs_check(code_in_headers check_headers.py ${headers} ${examples})
  add_docs_check(comment_share comment_share.py --check ${headers})
  add_test(NAME docs.comment_share.notices COMMAND ${Python3_EXECUTABLE}
                                                   ${PROJECT_SOURCE_DIR}/tests/tools/docs/comment_share_test.py)
  add_docs_check(code_in_pages code_in_pages.py --check ${PROJECT_SOURCE_DIR})
  add_docs_check(figures figures.py --check ${CMAKE_CURRENT_SOURCE_DIR}/figures)
  add_test(NAME docs.arguments COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/tools/docs/arguments_test.py)
  add_test(NAME docs.pages.notice COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/tools/docs/pages_test.py)
  add_docs_check(links.tree check_links.py tree ${PROJECT_SOURCE_DIR})
  if(USERLIB_INSTALL)
    add_docs_check(links.installed check_links.py installed ${CMAKE_COMMAND} ${PROJECT_BINARY_DIR})
    # An installation also writes to the build tree.
    set_tests_properties(docs.links.installed PROPERTIES RESOURCE_LOCK install)
  endif()
  if(USERLIB_BUILD_DOCS)
    # A fixture builds the reference for the tests that read it.
    add_test(NAME docs.html COMMAND ${CMAKE_COMMAND} --build ${PROJECT_BINARY_DIR} --target docs)
    set_tests_properties(docs.html PROPERTIES FIXTURES_SETUP reference TIMEOUT 600)
    add_docs_check(links.html check_links.py html ${CMAKE_CURRENT_BINARY_DIR}/html)
    set_tests_properties(docs.links.html docs.links.installed PROPERTIES FIXTURES_REQUIRED reference)
    find_program(CHROMIUM chromium)
    if(CHROMIUM)
      add_test(NAME docs.browser COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/tools/docs/browser_test.py
                                         ${CHROMIUM} ${CMAKE_CURRENT_BINARY_DIR}/html)
      set_tests_properties(docs.browser PROPERTIES FIXTURES_REQUIRED reference TIMEOUT 900)
    endif()
  endif()
  add_docs_check(man.up_to_date man_pages.py --check ${PROJECT_SOURCE_DIR})
  # Writes the current pages.
  add_test(NAME docs.man.written COMMAND ${USERLIB_MAN_COMMAND})
  set_tests_properties(docs.man.written PROPERTIES FIXTURES_SETUP man)
  add_test(NAME docs.man.installed COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/tools/docs/man_install_test.py
                                           ${CMAKE_COMMAND} ${CMAKE_GENERATOR})
  add_docs_check(man.declarations check_man.py ${PROJECT_SOURCE_DIR}/userlib/userlib.map ${USERLIB_MAN_TREE}/man3
                 ${CMAKE_CURRENT_BINARY_DIR}/check_man ${CMAKE_C_COMPILER} -std=c99 -pedantic -I${headers})
  set_tests_properties(docs.man.declarations PROPERTIES FIXTURES_REQUIRED man)
  # These take longest.
  set_tests_properties(docs.arguments docs.contracts.notices docs.layers.notices docs.man.installed docs.pages.notice
                       PROPERTIES COST 100)
  if(TARGET phoned)
    add_docs_check(man.options.phoned check_options.py $<TARGET_FILE:phoned> ${pages}/phoned.8)
    add_docs_check(man.options.phonectl check_options.py $<TARGET_FILE:phonectl> ${pages}/phonectl.8)
  endif()
  if(TARGET userlib-digitmap)
    add_docs_check(man.options.userlib-digitmap check_options.py $<TARGET_FILE:userlib-digitmap>
                   ${pages}/userlib-digitmap.1)
    add_docs_check(man.options.userlib-flow check_options.py $<TARGET_FILE:userlib-flow> ${pages}/userlib-flow.1)
    add_docs_check(man.options.userlib-new check_options.py ${PROJECT_BINARY_DIR}/tools/userlib-new/userlib-new
                   ${pages}/userlib-new.1)
  endif()
endif()

find_program(MANDOC mandoc)
if(MANDOC AND Python3_FOUND)
  add_test(NAME docs.man.lint COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/tools/lint_man.sh ${MANDOC} ${USERLIB_MAN_TREE})
  set_tests_properties(docs.man.lint PROPERTIES FIXTURES_REQUIRED man)
endif()

# The porting page lists the C library calls of each family. Instrumented objects, and those of other compilers, have
# other undefined symbols.
if(Python3_FOUND AND USERLIB_CERT AND CMAKE_BUILD_TYPE STREQUAL RelWithDebInfo AND CMAKE_CXX_COMPILER_ID STREQUAL GNU
   AND NOT USERLIB_SANITIZE AND NOT CMAKE_INTERPROCEDURAL_OPTIMIZATION)
  set(porting ${CMAKE_CURRENT_SOURCE_DIR}/porting.md)
  add_docs_check(calls calls.py ${porting} ${CMAKE_NM} $<TARGET_OBJECTS:userlib_objects>)
  add_custom_target(
    docs_calls
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/tools/calls.py --update ${porting} ${CMAKE_NM}
            $<TARGET_OBJECTS:userlib_objects>
    DEPENDS userlib_objects
    COMMENT "Writing the calls of each family to ${porting}"
    COMMAND_EXPAND_LISTS VERBATIM)
  # The check must find a call that is missing on the page, and one that is not made.
  file(READ ${porting} page)
  string(REPLACE "| `nuv_pipe` | `close`," "| `nuv_pipe` | `fsync`," page "${page}")
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/porting.md "${page}")
  foreach(case "missing;nuv_pipe: calls close, which is not on the page"
               "left_over;nuv_pipe: does not call fsync, which is on the page")
    list(GET case 0 name)
    list(GET case 1 complaint)
    add_docs_check(calls.notices_${name} calls.py ${CMAKE_CURRENT_BINARY_DIR}/porting.md ${CMAKE_NM}
                   $<TARGET_OBJECTS:userlib_objects>)
    set_tests_properties(docs.calls.notices_${name} PROPERTIES PASS_REGULAR_EXPRESSION ${complaint})
  endforeach()
endif()
