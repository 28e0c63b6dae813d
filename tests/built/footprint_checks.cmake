# The size of the library on a device, and its binary interface for existing daemons. These need release-like builds.
if(USERLIB_SANITIZE OR CMAKE_BUILD_TYPE STREQUAL Debug OR NOT CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  return()
endif()

# A daemon that uses only the reactor takes at most 12 KiB of the static library.
add_executable(reactor_daemon reactor_daemon.c)
set_target_properties(reactor_daemon PROPERTIES C_STANDARD 99 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF
                                                LINKER_LANGUAGE C INTERPROCEDURAL_OPTIMIZATION OFF)
set(reactor_map ${CMAKE_CURRENT_BINARY_DIR}/reactor_daemon.map)
target_link_libraries(reactor_daemon PRIVATE userlib_options userlib_static)
target_link_options(reactor_daemon PRIVATE LINKER:--gc-sections LINKER:-Map=${reactor_map})
add_test(NAME reactor_daemon COMMAND reactor_daemon)
set_tests_properties(reactor_daemon PROPERTIES TIMEOUT 60)

find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
  set(footprint ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/footprint)
  add_test(NAME footprint.reactor_daemon COMMAND ${footprint} --map ${reactor_map} 12288)
  add_test(NAME footprint.reactor_daemon.notices_more COMMAND ${footprint} --map ${reactor_map} 2000)
  set_tests_properties(footprint.reactor_daemon.notices_more PROPERTIES PASS_REGULAR_EXPRESSION
                                                                        "more than the 2000 bytes")
endif()

# The other checks need the shared object for this machine.
if(NOT BUILD_SHARED_LIBS OR CMAKE_CROSSCOMPILING)
  return()
endif()
if(Python3_FOUND)
  # .ci/run compares the shipped libraries with the budget.
  add_test(NAME footprint.budget.notices_growth COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/footprint_budget.sh
                                                        ${PROJECT_SOURCE_DIR} $<TARGET_FILE:userlib>)
endif()
find_program(ABIDIFF abidiff)
if(ABIDIFF AND USERLIB_CERT AND CMAKE_BUILD_TYPE STREQUAL RelWithDebInfo)
  add_test(NAME library.abi COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/abi/check.sh ${PROJECT_SOURCE_DIR}
                                    $<TARGET_FILE:userlib>)
  set_tests_properties(library.abi PROPERTIES SKIP_RETURN_CODE 77)
endif()
