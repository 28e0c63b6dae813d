# Compiler options for all targets of the project.
add_library(userlib_options INTERFACE)
target_compile_options(userlib_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2
                                                 -Werror=format-security)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # Bounded prints cut texts that do not fit on purpose.
  target_compile_options(userlib_options INTERFACE -Wno-format-truncation)
endif()
if(USERLIB_WARNINGS_AS_ERRORS)
  target_compile_options(userlib_options INTERFACE -Werror)
endif()

# Hardening costs next to nothing: the library copies little, and only with bounds.
target_compile_options(userlib_options INTERFACE -fstack-protector-strong)
if(USERLIB_SANITIZE)
  # Fortified functions hide accesses from the address sanitizer.
  set(USERLIB_SANITIZER_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # This check needs the C++ run time, which neither the library nor a daemon in C has.
    list(APPEND USERLIB_SANITIZER_FLAGS -fno-sanitize=function)
  endif()
  target_compile_options(userlib_options INTERFACE ${USERLIB_SANITIZER_FLAGS})
  target_link_options(userlib_options INTERFACE ${USERLIB_SANITIZER_FLAGS})
elseif(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_options(userlib_options INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()

if(USERLIB_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES Clang)
    message(FATAL_ERROR "USERLIB_BUILD_FUZZERS needs clang: use the preset 'fuzz'")
  endif()
  # Shows libFuzzer the branches that an input reaches.
  target_compile_options(userlib_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
