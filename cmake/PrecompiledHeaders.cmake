# Headers of the C++ library take most of the time that a test or a program takes to compile, so that they are compiled
# once for many. A compiler cache has its difficulties with that, and gains more. A source that forgets to include one of
# them compiles all the same: the tests sources.includes.* find it.
set(USERLIB_PRECOMPILED_HEADERS algorithm array cerrno cstdio cstdlib cstring functional optional string utility vector)

# Compiles these headers and those above, with the options of the folder and what the libraries ask for.
function(add_precompiled_headers name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;LIBRARIES")
  if(NOT USERLIB_PRECOMPILE_HEADERS OR CMAKE_CXX_COMPILER_LAUNCHER)
    return()
  endif()
  # What these files are compiled to is not used. One of the test programs has sources in C, too, and so needs a header for C.
  foreach(suffix c cpp)
    file(CONFIGURE OUTPUT ${name}.${suffix} CONTENT "typedef int nothing_else;\n")
  endforeach()
  add_library(${name} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${name}.c ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  set_target_properties(${name} PROPERTIES C_EXTENSIONS OFF)
  target_link_libraries(${name} PRIVATE userlib_options ${arg_LIBRARIES})
  list(TRANSFORM USERLIB_PRECOMPILED_HEADERS REPLACE "(.+)" "$<$<COMPILE_LANGUAGE:CXX>:<\\1$<ANGLE-R>>"
       OUTPUT_VARIABLE headers)
  list(TRANSFORM arg_HEADERS REPLACE "(.+)" "$<$<COMPILE_LANGUAGE:CXX>:<\\1$<ANGLE-R>>")
  target_precompile_headers(${name} PRIVATE ${arg_HEADERS} ${headers} "$<$<COMPILE_LANGUAGE:C>:<stddef.h$<ANGLE-R>>")
endfunction()

function(precompile_headers target name)
  if(TARGET ${name})
    target_precompile_headers(${target} REUSE_FROM ${name})
  endif()
endfunction()
