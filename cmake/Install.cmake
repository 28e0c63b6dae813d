# Installation, in components:
#
#     Runtime        the shared object
#     Development    headers, static library, and the files for pkg-config and CMake
#     Documentation  pages, and the sources of the examples
#     Tools          tools for dial plans, traces and new services
#     Examples       phoned and phonectl
include(CMakePackageConfigHelpers)

set(USERLIB_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/userlib)

# ---- Runtime and Development ----

set(USERLIB_INSTALLED_TARGETS userlib_static)
if(BUILD_SHARED_LIBS)
  list(APPEND USERLIB_INSTALLED_TARGETS userlib)
endif()
install(
  TARGETS ${USERLIB_INSTALLED_TARGETS}
  EXPORT userlibTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          COMPONENT Runtime
          NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
if(BUILD_SHARED_LIBS)
  # Without the shared object, the linker would silently take the static library.
  set(directory ${CMAKE_INSTALL_LIBDIR})
  if(NOT IS_ABSOLUTE "${directory}")
    string(PREPEND directory "\${CMAKE_INSTALL_PREFIX}/")
  endif()
  install(
    CODE "
      if(CMAKE_INSTALL_COMPONENT STREQUAL Development AND
         NOT EXISTS \"\$ENV{DESTDIR}${directory}/$<TARGET_SONAME_FILE_NAME:userlib>\")
        message(WARNING \"There is no shared object: -luserlib links the static library until the component \"
                        \"Runtime is installed as well.\")
      endif()"
    COMPONENT Development)
endif()
file(GLOB USERLIB_INSTALLED_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/userlib/include/*.h
                                               ${PROJECT_SOURCE_DIR}/userlib/include/*.hpp)
install(FILES ${USERLIB_INSTALLED_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)

install(
  EXPORT userlibTargets
  NAMESPACE userlib::
  DESTINATION ${USERLIB_CMAKE_DIR}
  COMPONENT Development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/userlibConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/cmake/userlibConfig.cmake INSTALL_DESTINATION ${USERLIB_CMAKE_DIR})
# A program runs, and builds, with every later library of the same major version.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/userlibConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(
  FILES ${PROJECT_BINARY_DIR}/cmake/userlibConfig.cmake ${PROJECT_BINARY_DIR}/cmake/userlibConfigVersion.cmake
  DESTINATION ${USERLIB_CMAKE_DIR}
  COMPONENT Development)

# The file for pkg-config is written during the installation, as "cmake --install" may get another prefix than cmake.
set(USERLIB_PC_REQUIRES)
if(USERLIB_CERT)
  # The shared object pulls in OpenSSL; a program with the static library must link it.
  set(USERLIB_PC_REQUIRES libcrypto)
endif()
foreach(directory LIBDIR INCLUDEDIR)
  set(USERLIB_PC_${directory} ${CMAKE_INSTALL_${directory}})
  if(NOT IS_ABSOLUTE "${USERLIB_PC_${directory}}")
    string(PREPEND USERLIB_PC_${directory} "\${prefix}/")
  endif()
endforeach()
set(USERLIB_PC_PREFIX "@USERLIB_PC_PREFIX@")
configure_file(${PROJECT_SOURCE_DIR}/cmake/userlib.pc.in ${PROJECT_BINARY_DIR}/cmake/userlib.pc.in @ONLY)
install(
  CODE "
    set(USERLIB_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    configure_file(\"${PROJECT_BINARY_DIR}/cmake/userlib.pc.in\" \"${PROJECT_BINARY_DIR}/cmake/userlib.pc\" @ONLY)"
  COMPONENT Development)
install(
  FILES ${PROJECT_BINARY_DIR}/cmake/userlib.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT Development)

# ---- Examples ----

function(install_program target directory)
  if(BUILD_SHARED_LIBS AND NOT CMAKE_INSTALL_FULL_LIBDIR IN_LIST CMAKE_C_IMPLICIT_LINK_DIRECTORIES)
    # The loader does not search a directory of our own for the shared object.
    file(RELATIVE_PATH way ${CMAKE_INSTALL_FULL_${directory}} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "\$ORIGIN/${way}")
  endif()
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_${directory}} COMPONENT Examples)
endfunction()

if(USERLIB_BUILD_EXAMPLES)
  install_program(phoned SBINDIR)
  install_program(phonectl BINDIR)
endif()

# ---- Documentation ----

# Pages and the targets of their links keep their layout, so that all links work.
install(
  FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/CONTRIBUTING.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT Documentation)
install(
  DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples
  DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT Documentation
  FILES_MATCHING
  REGEX "\\.(md|svg|c|cpp|h|py|rs|out|in|first|phonectl)$"
  PATTERN docs/man EXCLUDE
  PATTERN docs/tools EXCLUDE
  PATTERN docs/html EXCLUDE # what the reference is made by
  PATTERN docs/Doxyfile.in EXCLUDE
  PATTERN docs/mainpage.md EXCLUDE) # the first page of the HTML
# The reference is there if the target "docs" was built.
install(
  DIRECTORY ${PROJECT_BINARY_DIR}/docs/html
  DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT Documentation
  OPTIONAL)
# Manual pages go into the component that they describe. Tools install their own; docs/ManPages.cmake writes section 3.
file(GLOB USERLIB_MAN_PAGES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.[2-8])
foreach(page IN LISTS USERLIB_MAN_PAGES)
  get_filename_component(section ${page} LAST_EXT)
  string(SUBSTRING ${section} 1 1 section)
  if(page MATCHES "/phone[^/]*$")
    set(component Examples)
  else()
    set(component Development)
  endif()
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endforeach()
