# Tests that other projects find the library: installed, by pkg-config and by CMake, and as a subfolder. Not with
# sanitizers, as the projects would need to be instrumented as well.
if(USERLIB_SANITIZE OR NOT USERLIB_INSTALL)
  return()
endif()

# For another processor: the emulator, and the places of OpenSSL for programs, the linker and pkg-config.
set(USERLIB_CONSUMER_TARGET)
if(CMAKE_CROSSCOMPILING)
  set(USERLIB_CONSUMER_TARGET
      "TOOLCHAIN=${CMAKE_TOOLCHAIN_FILE}" "EMULATOR=${USERLIB_EMULATION}" "LINK_FLAGS=${CMAKE_EXE_LINKER_FLAGS}"
      "SHARED_OBJECTS=${OPENSSL_ROOT_DIR}/lib" "PKG_CONFIG_LIBDIR=${OPENSSL_ROOT_DIR}/lib/pkgconfig")
endif()

# The word is the argument of check.sh. The first test installs the library for the others.
function(add_consumer_test word)
  add_test(NAME consumer.${word} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/consumer/check.sh ${word})
  set(environment
      "CMAKE=${CMAKE_COMMAND}"
      "GENERATOR=${CMAKE_GENERATOR}"
      "CC=${CMAKE_C_COMPILER}"
      "CXX=${CMAKE_CXX_COMPILER}"
      "CFLAGS=${CMAKE_C_FLAGS}"
      "CXXFLAGS=${CMAKE_CXX_FLAGS}"
      "LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER}"
      "READELF=${CMAKE_READELF}"
      "SOURCE=${PROJECT_SOURCE_DIR}"
      "BUILD=${PROJECT_BINARY_DIR}"
      "WORK=${CMAKE_CURRENT_BINARY_DIR}/consumer"
      "CERT=$<BOOL:${USERLIB_CERT}>"
      "SHARED=$<BOOL:${BUILD_SHARED_LIBS}>"
      "EXAMPLES=$<BOOL:${USERLIB_BUILD_EXAMPLES}>"
      "VERSION=${PROJECT_VERSION}"
      ${USERLIB_CONSUMER_TARGET})
  set_tests_properties(consumer.${word} PROPERTIES LABELS consumer TIMEOUT 300 ENVIRONMENT "${environment}"
                                                             COST 100)
  if(word STREQUAL install)
    set_tests_properties(consumer.${word} PROPERTIES FIXTURES_SETUP installed_library)
  else()
    set_tests_properties(consumer.${word} PROPERTIES FIXTURES_REQUIRED installed_library)
  endif()
endfunction()

add_consumer_test(install)
add_consumer_test(components)
add_consumer_test(destdir)
if(BUILD_SHARED_LIBS)
  add_consumer_test(pkg_config_shared)
endif()
add_consumer_test(pkg_config_static)
add_consumer_test(find_package)
add_consumer_test(find_package_c)
add_consumer_test(version_rule)
add_consumer_test(add_subdirectory)
add_consumer_test(bare)

# An installation also writes to the build tree.
set_tests_properties(consumer.install consumer.components consumer.destdir PROPERTIES RESOURCE_LOCK install)
