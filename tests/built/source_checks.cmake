# Checks of the sources and of the scripts.

# No shipped code copies without a bound. The check must find each of these calls, and only calls.
set(check_calls ${CMAKE_CURRENT_SOURCE_DIR}/check_calls.sh)
add_test(NAME sources.bounded_copies COMMAND ${check_calls} ${PROJECT_SOURCE_DIR}/userlib ${PROJECT_SOURCE_DIR}/examples)
foreach(call strcpy stpcpy strcat sprintf vsprintf gets atoi atol atoll atof)
  set(place ${CMAKE_CURRENT_BINARY_DIR}/calls/${call})
  file(WRITE ${place}/good.cpp "// ${call}() is bad\nint my_${call}(int);\nint i = my_${call}(0);\n")
  file(WRITE ${place}/bad/bad.c "int f(void) { return ${call} (0); }\n")
  add_test(NAME sources.bounded_copies.notices_${call} COMMAND ${check_calls} ${place})
  set_tests_properties(sources.bounded_copies.notices_${call} PROPERTIES
                       PASS_REGULAR_EXPRESSION "bad.c: unbounded call" FAIL_REGULAR_EXPRESSION "good.cpp")
endforeach()

# For an unknown subsystem, scripts/test lists the known ones.
add_test(NAME scripts.test.refuses COMMAND ${PROJECT_SOURCE_DIR}/scripts/test nonsense)
set_tests_properties(scripts.test.refuses PROPERTIES PASS_REGULAR_EXPRESSION "unknown subsystem 'nonsense'.* core .* phoned ")

# Each source includes what it uses. The check must find one that does not, and accept includes through a header of the
# project.
find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
  set(check_includes ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/check_includes.py)
  set(roots ${PROJECT_SOURCE_DIR}/examples ${PROJECT_SOURCE_DIR}/tools ${PROJECT_SOURCE_DIR}/userlib/include)
  foreach(folder tests examples tools)
    add_test(NAME sources.includes.${folder} COMMAND ${check_includes} ${PROJECT_SOURCE_DIR}/${folder} ${roots} --
                                                     gtest/gtest.h ${USERLIB_PRECOMPILED_HEADERS})
  endforeach()
  set(place ${CMAKE_CURRENT_BINARY_DIR}/includes)
  file(WRITE ${place}/own.h "#include <string>\nstd::string text();\n")
  file(WRITE ${place}/good.cpp "#include \"own.h\"\n// not a std::vector\nstd::string text() { return \"std::array\"; }\n")
  file(WRITE ${place}/bad.cpp "#include \"own.h\"\nstd::string text() { return std::to_string(std::vector{1}[0]); }\n")
  add_test(NAME sources.includes.notices COMMAND ${check_includes} ${place} -- ${USERLIB_PRECOMPILED_HEADERS})
  set_tests_properties(sources.includes.notices PROPERTIES PASS_REGULAR_EXPRESSION "bad.cpp: uses std::vector without"
                                                           FAIL_REGULAR_EXPRESSION "good.cpp;without <string>")
endif()

# The reports of scripts/bench and of the device's tests. Reading TOML needs Python 3.11.
find_package(Python3 3.11 COMPONENTS Interpreter)
if(Python3_FOUND)
  foreach(test bench/report bench/surroundings device/page device/verdict)
    string(REPLACE / . name ${test})
    add_test(NAME scripts.${name} COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/tools/${test}_test.py)
  endforeach()
endif()
