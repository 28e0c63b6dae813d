# Checks of the build's results: each header by itself, the shared object's names, and a daemon in plain C.

separate_arguments(USERLIB_C_OPTIONS NATIVE_COMMAND "${CMAKE_C_FLAGS}")
separate_arguments(USERLIB_CXX_OPTIONS NATIVE_COMMAND "${CMAKE_CXX_FLAGS}")
set(USERLIB_INCLUDE_DIR ${PROJECT_SOURCE_DIR}/userlib/include)

# Every header compiles alone, twice in a row, in both languages.
file(GLOB USERLIB_PUBLIC_HEADERS CONFIGURE_DEPENDS ${USERLIB_INCLUDE_DIR}/*.h)
foreach(header IN LISTS USERLIB_PUBLIC_HEADERS)
  get_filename_component(name ${header} NAME)
  # The last line is for headers without declarations, as C requires at least one.
  set(content "#include <${name}>\n#include <${name}>\ntypedef int nothing_else;\n")
  foreach(suffix c cpp)
    file(CONFIGURE OUTPUT headers/${name}.${suffix} CONTENT "${content}" @ONLY)
  endforeach()
  set(strict -pedantic -Wall -Wextra -Werror -fsyntax-only -I${USERLIB_INCLUDE_DIR})
  add_test(NAME header.c99.${name} COMMAND ${CMAKE_C_COMPILER} ${USERLIB_C_OPTIONS} -std=c99 ${strict}
                                           ${CMAKE_CURRENT_BINARY_DIR}/headers/${name}.c)
  add_test(NAME header.cxx20.${name} COMMAND ${CMAKE_CXX_COMPILER} ${USERLIB_CXX_OPTIONS} -std=c++20 ${strict}
                                             ${CMAKE_CURRENT_BINARY_DIR}/headers/${name}.cpp)
endforeach()

# The trace macros accept a format without arguments in strict C99. This file's functions are not called here.
set(calls -pedantic-errors -Wno-unused-function -I${PROJECT_SOURCE_DIR}/tests
          ${PROJECT_SOURCE_DIR}/tests/tracing/log_macro_calls.h)
add_test(NAME log_macros.c99 COMMAND ${CMAKE_C_COMPILER} ${USERLIB_C_OPTIONS} -std=c99 ${strict} -x c ${calls})
add_test(NAME log_macros.cxx20 COMMAND ${CMAKE_CXX_COMPILER} ${USERLIB_CXX_OPTIONS} -std=c++20 ${strict} -x c++ ${calls})

# Every C++ header compiles alone as well, in all supported standards, with all warnings and without the run time.
file(GLOB USERLIB_CXX_HEADERS CONFIGURE_DEPENDS ${USERLIB_INCLUDE_DIR}/*.hpp)
foreach(header IN LISTS USERLIB_CXX_HEADERS)
  get_filename_component(name ${header} NAME)
  file(CONFIGURE OUTPUT headers/${name}.cpp CONTENT "#include <${name}>\n#include <${name}>\n" @ONLY)
  foreach(standard 17 20)
    add_test(NAME header.cxx${standard}.${name}
             COMMAND ${CMAKE_CXX_COMPILER} ${USERLIB_CXX_OPTIONS} -std=c++${standard} -fno-exceptions -fno-rtti -pedantic
                     -Wall -Wextra -Wshadow -Wconversion -Werror -fsyntax-only -I${USERLIB_INCLUDE_DIR}
                     ${CMAKE_CURRENT_BINARY_DIR}/headers/${name}.cpp)
  endforeach()
endforeach()

# The layout of records stays compatible with existing daemons. The check must find a moved field and a grown record.
set(check_layout ${CMAKE_C_COMPILER} ${USERLIB_C_OPTIONS} -std=c99 ${strict})
set(records ${PROJECT_SOURCE_DIR}/userlib/records)
add_test(NAME records.layout COMMAND ${check_layout} -I${records} ${CMAKE_CURRENT_SOURCE_DIR}/record_layout.c)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_test(NAME records.layout.time_of_64_bits COMMAND ${check_layout} -I${records} -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64
                                                       ${CMAKE_CURRENT_SOURCE_DIR}/record_layout.c)
endif()
file(READ ${records}/records.inc USERLIB_LAYOUT)
foreach(case "moved;FIELD(Frame, m_pEnd, 16, 32);FIELD(Frame, m_pEnd, 20, 40);offset_in_Frame_of_m_pEnd"
             "grown;RECORD(Message, 96, 176);RECORD(Message, 92, 168);size_of_Message")
  list(GET case 0 name)
  list(GET case 1 right)
  list(GET case 2 wrong)
  list(GET case 3 complaint)
  string(REPLACE "${right}" "${wrong}" USERLIB_WRONG_LAYOUT "${USERLIB_LAYOUT}")
  file(CONFIGURE OUTPUT layout/${name}/records.inc CONTENT "${USERLIB_WRONG_LAYOUT}" @ONLY)
  add_test(NAME records.layout.notices_${name} COMMAND ${check_layout} -I${CMAKE_CURRENT_BINARY_DIR}/layout/${name}
                                                       ${CMAKE_CURRENT_SOURCE_DIR}/record_layout.c)
  set_tests_properties(records.layout.notices_${name} PROPERTIES PASS_REGULAR_EXPRESSION ${complaint})
endforeach()

# records.json, for programs in other languages, matches the output of a C program.
find_package(Python3 COMPONENTS Interpreter)
if(USERLIB_RECORDS AND Python3_FOUND)
  add_executable(print_records print_records.c)
  target_include_directories(print_records PRIVATE ${USERLIB_INCLUDE_DIR} ${records})
  target_link_libraries(print_records PRIVATE userlib_options)
  add_test(NAME records.json.notices COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/check_records_test.py)
  add_test(NAME records.json COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/check_records.py ${USERLIB_RECORDS}
                                     ${USERLIB_INCLUDE_DIR} ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:print_records>)
endif()

# A daemon written in C, with either library. CMake would add the C++ run time to a C program that links C++ objects;
# here it must not. Links the whole static library, to cover all its objects.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
function(add_c_daemon name library)
  add_executable(${name} c_daemon.c)
  set_target_properties(${name} PROPERTIES C_STANDARD 99 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF
                                           LINKER_LANGUAGE C)
  target_link_libraries(${name} PRIVATE userlib_options ${library})
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 60)
endfunction()
add_c_daemon(c_daemon_static $<LINK_LIBRARY:WHOLE_ARCHIVE,userlib_static>)
if(BUILD_SHARED_LIBS)
  add_c_daemon(c_daemon_shared userlib)
endif()

# The same in C++17: the C++ header needs no run time, which a check of the object file confirms.
add_library(cxx_daemon_object OBJECT cxx_daemon.cpp)
set_target_properties(cxx_daemon_object PROPERTIES CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF)
target_include_directories(cxx_daemon_object PRIVATE ${USERLIB_INCLUDE_DIR})
target_compile_options(cxx_daemon_object PRIVATE -fno-exceptions -fno-rtti)
target_link_libraries(cxx_daemon_object PRIVATE userlib_options)
add_executable(cxx_daemon $<TARGET_OBJECTS:cxx_daemon_object>)
set_target_properties(cxx_daemon PROPERTIES LINKER_LANGUAGE C)
target_link_libraries(cxx_daemon PRIVATE userlib_options userlib)
add_test(NAME cxx_daemon COMMAND cxx_daemon)
set_tests_properties(cxx_daemon PROPERTIES TIMEOUT 60)

# And without optimisation, which would remove what can throw.
add_executable(cxx_resident cxx_resident.cpp)
set_target_properties(cxx_resident PROPERTIES CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF LINKER_LANGUAGE C)
target_link_libraries(cxx_resident PRIVATE userlib_options userlib)
target_compile_options(cxx_resident PRIVATE -O0 -U_FORTIFY_SOURCE -fno-exceptions -fno-rtti)
add_test(NAME cxx_resident COMMAND cxx_resident)
set_tests_properties(cxx_resident PROPERTIES TIMEOUT 60)

# Every source is compiled with warnings about untrusted formats.
set(check_flags ${CMAKE_CURRENT_SOURCE_DIR}/check_flags.sh)
add_test(NAME flags.format COMMAND ${check_flags} ${CMAKE_BINARY_DIR}/compile_commands.json)
set(good_flags "c++ -Wformat=2 -Werror=format-security -c")
foreach(case "missing;c++ -Wformat=2 -c" "weakened;${good_flags} -Wno-format-security -o")
  list(GET case 0 name)
  list(GET case 1 command)
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/flags/${name}.json
       "\"command\": \"${good_flags} good.cpp\"\n\"command\": \"${command} bad.cpp\"\n")
  add_test(NAME flags.format.notices_${name} COMMAND ${check_flags} ${CMAKE_CURRENT_BINARY_DIR}/flags/${name}.json)
  set_tests_properties(flags.format.notices_${name} PROPERTIES PASS_REGULAR_EXPRESSION "not checked: .*bad.cpp"
                                                               FAIL_REGULAR_EXPRESSION "good.cpp")
endforeach()

# The other checks need the library as shipped, without the symbols and libraries that sanitizers add.
if(USERLIB_SANITIZE)
  return()
endif()

add_test(NAME c_daemon_static.needs_no_cxx COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_needed.sh ${CMAKE_READELF}
                                                   $<TARGET_FILE:c_daemon_static> "libc" "libssl libcrypto")

add_test(NAME cxx_daemon.asks_for_no_cxx COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_undefined.sh ${CMAKE_NM}
                                                 $<TARGET_OBJECTS:cxx_daemon_object>)

if(NOT BUILD_SHARED_LIBS)
  return()
endif()

# Without certificate matching the library needs no OpenSSL, and its header is skipped by defining its guard.
if(USERLIB_CERT)
  set(USERLIB_NEEDED "libc libssl libcrypto")
  set(USERLIB_LEFT_OUT)
else()
  set(USERLIB_NEEDED "libc")
  set(USERLIB_LEFT_OUT -DNUV_CERT_VERIFY_H)
endif()
add_test(NAME library.needed COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_needed.sh ${CMAKE_READELF}
                                     $<TARGET_FILE:userlib> ${USERLIB_NEEDED} "")
# A syslog() of the daemon's own takes the place of the C library's, in fortified builds, too.
add_test(NAME library.calls_syslog COMMAND ${CMAKE_NM} --dynamic --undefined-only $<TARGET_FILE:userlib>)
set_tests_properties(library.calls_syslog PROPERTIES PASS_REGULAR_EXPRESSION " syslog[@\n]" FAIL_REGULAR_EXPRESSION
                                                     "syslog_chk")
add_test(NAME library.soname COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_soname.sh ${CMAKE_READELF}
                                     $<TARGET_FILE:userlib> libuserlib.so.${PROJECT_VERSION}
                                     libuserlib.so.${PROJECT_VERSION_MAJOR})

# Nothing runs when the library is loaded. A program has start files, which the check must find.
set(check_initialisers ${CMAKE_CURRENT_SOURCE_DIR}/check_initialisers.sh ${CMAKE_READELF})
add_test(NAME library.initialisers COMMAND ${check_initialisers} $<TARGET_FILE:userlib>)
add_test(NAME library.initialisers.notices COMMAND ${check_initialisers} $<TARGET_FILE:c_daemon_shared>)
set_tests_properties(library.initialisers.notices PROPERTIES PASS_REGULAR_EXPRESSION "runs at load time: ")

function(add_symbol_check name header)
  add_test(NAME ${name} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_symbols.sh $<TARGET_FILE:userlib> USERLIB_1.4
                                ${CMAKE_READELF} ${header} ${CMAKE_C_COMPILER} ${USERLIB_C_OPTIONS} -std=c99
                                ${USERLIB_LEFT_OUT} -I${USERLIB_INCLUDE_DIR})
endfunction()
add_symbol_check(library.symbols ${USERLIB_INCLUDE_DIR}/userlib.h)

# The check must find an extra symbol on either side, and a declaration without NUV_API.
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/symbols/more.h
     "#include <userlib.h>\nNUV_API int NUV_more(const char* a_text);\n")
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/symbols/fewer.h "#include <nuv_assert.h>\n")
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/symbols/variable.h
     "#include <userlib.h>\nNUV_API extern struct timeval NUV_more[3];\n")
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/symbols/unmarked.h "#include <userlib.h>\nvoid is_null_too(void);\n")
foreach(case "more;declared but not exported: NUV_more" "variable;declared but not exported: NUV_more"
             "fewer;exported but not declared: NUV_timeval_cmp" "unmarked;not marked NUV_API: is_null_too")
  list(GET case 0 name)
  list(GET case 1 complaint)
  add_symbol_check(library.symbols.notices_${name} ${CMAKE_CURRENT_BINARY_DIR}/symbols/${name}.h)
  set_tests_properties(library.symbols.notices_${name} PROPERTIES PASS_REGULAR_EXPRESSION ${complaint})
endforeach()
