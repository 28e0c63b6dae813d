# What keeps the documentation true: contract tables, declarations, options and code are compared with what they are about.
# The examples themselves are tests of their own.
find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
  set(examples ${CMAKE_CURRENT_SOURCE_DIR}/examples)
  set(headers ${PROJECT_SOURCE_DIR}/userlib/include)
  set(pages ${CMAKE_CURRENT_SOURCE_DIR}/man)
  function(add_docs_check name)
    list(POP_FRONT ARGN script)
    add_test(NAME docs.${name} COMMAND Python3::Interpreter ${CMAKE_CURRENT_SOURCE_DIR}/tools/${script} ${ARGN})
  endfunction()

  add_docs_check(contracts check_contracts.py ${PROJECT_SOURCE_DIR}/userlib/source ${CMAKE_CURRENT_SOURCE_DIR}/families)
  add_docs_check(code_in_headers check_headers.py ${headers} ${examples})
  add_docs_check(code_in_readme check_readme.py ${PROJECT_SOURCE_DIR}/README.md ${examples})
  add_docs_check(man.up_to_date man_pages.py --check ${PROJECT_SOURCE_DIR})
  add_docs_check(man.declarations check_man.py ${PROJECT_SOURCE_DIR}/userlib/userlib.map ${pages}
                 ${CMAKE_CURRENT_BINARY_DIR}/check_man ${CMAKE_C_COMPILER} -std=c99 -pedantic -I${headers})
  if(TARGET phoned)
    add_docs_check(man.options.phoned check_options.py $<TARGET_FILE:phoned> ${pages}/phoned.8)
    add_docs_check(man.options.phonectl check_options.py $<TARGET_FILE:phonectl> ${pages}/phonectl.8)
  endif()
  if(TARGET userlib-digitmap)
    add_docs_check(man.options.userlib-digitmap check_options.py $<TARGET_FILE:userlib-digitmap>
                   ${pages}/userlib-digitmap.1)
  endif()
endif()

find_program(MANDOC mandoc)
if(MANDOC)
  add_test(NAME docs.man.lint COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/tools/lint_man.sh ${MANDOC} ${USERLIB_MAN_TREE}
                                      ${USERLIB_MAN_PAGES})
endif()
