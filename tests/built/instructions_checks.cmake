# Tests that scripts/instructions fails if an operation takes more instructions. .ci/run compares the shipped libraries
# with the stored figures; this tests the script with the everyday build.
find_package(Python3 3.11 COMPONENTS Interpreter)
if(USERLIB_SANITIZE OR CMAKE_CROSSCOMPILING OR CMAKE_INTERPROCEDURAL_OPTIMIZATION
   OR CMAKE_BUILD_TYPE STREQUAL Debug OR NOT BUILD_SHARED_LIBS OR NOT USERLIB_CERT OR NOT Python3_FOUND)
  return()
endif()
add_executable(counted ${PROJECT_SOURCE_DIR}/benchmarks/instructions/counted.cpp)
target_link_libraries(counted PRIVATE userlib_options userlib)
add_test(NAME instructions.gate COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/instructions_gate.sh ${PROJECT_SOURCE_DIR}
                                        $<TARGET_FILE:userlib> $<TARGET_FILE:userlib_static> $<TARGET_FILE:counted>)
set_tests_properties(instructions.gate PROPERTIES SKIP_RETURN_CODE 77 COST 100)
