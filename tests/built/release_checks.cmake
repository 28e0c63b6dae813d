# Checks of steps that are easily forgotten in a release.

# All places that name the version agree.
add_test(NAME release.version COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_version.sh ${PROJECT_SOURCE_DIR}
                                      ${PROJECT_VERSION})
# The check must find a new version that only the build has.
math(EXPR next_minor "${PROJECT_VERSION_MINOR} + 1")
math(EXPR next_major "${PROJECT_VERSION_MAJOR} + 1")
foreach(case "next_minor;${PROJECT_VERSION_MAJOR}.${next_minor}.0;5 places disagree" #
             "next_major;${next_major}.0.0;6 places disagree")
  list(GET case 0 name)
  list(GET case 1 version)
  list(GET case 2 complaint)
  add_test(NAME release.version.notices_${name} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_version.sh
                                                        ${PROJECT_SOURCE_DIR} ${version})
  set_tests_properties(release.version.notices_${name} PROPERTIES PASS_REGULAR_EXPRESSION ${complaint})
endforeach()

# Debian's symbols file lists all exports.
set(USERLIB_DEBIAN ${PROJECT_SOURCE_DIR}/packaging/debian)
set(map ${PROJECT_SOURCE_DIR}/userlib/userlib.map)
add_test(NAME release.debian_symbols COMMAND ${USERLIB_DEBIAN}/check-symbols ${map}
                                             ${USERLIB_DEBIAN}/libuserlib1.symbols)
file(READ ${map} more)
string(REPLACE "    is_null;" "    is_null;\n    NUV_more;" more "${more}")
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/symbols/more.map "${more}")
file(READ ${map} fewer)
string(REPLACE "    is_null;\n" "" fewer "${fewer}")
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/symbols/fewer.map "${fewer}")
foreach(case "more;exported but not listed: NUV_more@USERLIB_1.4" "fewer;listed but not exported: is_null@USERLIB_1.4")
  list(GET case 0 name)
  list(GET case 1 complaint)
  add_test(NAME release.debian_symbols.notices_${name}
           COMMAND ${USERLIB_DEBIAN}/check-symbols ${CMAKE_CURRENT_BINARY_DIR}/symbols/${name}.map
                   ${USERLIB_DEBIAN}/libuserlib1.symbols)
  set_tests_properties(release.debian_symbols.notices_${name} PROPERTIES PASS_REGULAR_EXPRESSION ${complaint})
endforeach()
