# Headers of the C++ library take most of the time to compile a test or program, so they are precompiled for all. A
# compiler cache does not work well with that, and saves more. The tests sources.includes.* find sources that forget to
# include one of them, as they compile anyway.
set(USERLIB_PRECOMPILED_HEADERS algorithm array cerrno cstdio cstdlib cstring functional optional string utility vector)

# Precompiles these headers and those above, with the options of the folder and of the libraries.
function(add_precompiled_headers name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;LIBRARIES")
  if(NOT USERLIB_PRECOMPILE_HEADERS OR CMAKE_CXX_COMPILER_LAUNCHER)
    return()
  endif()
  # The objects of these files are not used. One test program also has C sources, and needs a precompiled C header.
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
