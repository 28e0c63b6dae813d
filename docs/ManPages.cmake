# The man pages as a tree that man can search. The build writes section 3 from the headers: a page for each family, and
# for each function a link to it, so that both "man nuv_frame" and "man NUV_Frame_swap" work. Without Python, section 3
# is left out.
set(USERLIB_MAN_TREE ${CMAKE_CURRENT_BINARY_DIR}/man)
file(GLOB pages CONFIGURE_DEPENDS man/*.[1-8])
foreach(page IN LISTS pages)
  string(REGEX MATCH "[1-8]$" section ${page})
  get_filename_component(file ${page} NAME)
  configure_file(${page} ${USERLIB_MAN_TREE}/man${section}/${file} COPYONLY)
endforeach()

find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
  # -B: write no bytecode into the source tree.
  set(USERLIB_MAN_COMMAND ${Python3_EXECUTABLE} -B ${CMAKE_CURRENT_SOURCE_DIR}/tools/man_pages.py --output
                          ${USERLIB_MAN_TREE}/man3 ${PROJECT_SOURCE_DIR})
  file(GLOB read CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/userlib/include/*.h families/*.md examples/*.c examples/*.out examples/*.in
       tools/*.py)
  add_custom_command(
    OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/man3.stamp
    COMMAND ${USERLIB_MAN_COMMAND}
    COMMAND ${CMAKE_COMMAND} -E touch ${CMAKE_CURRENT_BINARY_DIR}/man3.stamp
    DEPENDS ${read} contracts.md
    COMMENT "Writing the man pages of section 3"
    VERBATIM)
  add_custom_target(man ALL DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/man3.stamp)
  set(USERLIB_MAN_HINT "the target \\\"man\\\" was not built")
else()
  message(STATUS "Python 3 not found: the man pages of section 3 are left out")
  set(USERLIB_MAN_HINT "writing them needs Python 3, which was not found when the build was configured")
endif()

if(USERLIB_INSTALL)
  install(
    DIRECTORY ${USERLIB_MAN_TREE}/man3
    DESTINATION ${CMAKE_INSTALL_MANDIR}
    COMPONENT Development
    OPTIONAL)
  install(
    CODE "
    if(NOT EXISTS \"${USERLIB_MAN_TREE}/man3/nuv_assert.3\")
      message(STATUS \"Not installed: the man pages of section 3; ${USERLIB_MAN_HINT}\")
    endif()"
    COMPONENT Development)
endif()
