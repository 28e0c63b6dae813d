# What the toolchain files of Debian's cross compilers share. They set USERLIB_TARGET, USERLIB_TRIPLET and USERLIB_QEMU
# first.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${USERLIB_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${USERLIB_TRIPLET}-g++)

# OpenSSL, where scripts/cross-openssl has put it. The library asks for its shared objects; whoever links the library
# has to find them, too.
cmake_path(SET OPENSSL_ROOT_DIR NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/cross/${USERLIB_TARGET})
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${OPENSSL_ROOT_DIR}/lib)

# Libraries come from the cross compiler's own root or from packages of the foreign architecture, never from the
# machine that builds.
set(CMAKE_LIBRARY_ARCHITECTURE ${USERLIB_TRIPLET})
set(CMAKE_FIND_ROOT_PATH /usr/${USERLIB_TRIPLET} ${OPENSSL_ROOT_DIR})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

# Tests run under the emulator of the user mode, where it is installed. By its whole name: some tests have a PATH of
# their own.
find_program(USERLIB_EMULATOR ${USERLIB_QEMU})
if(USERLIB_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${USERLIB_EMULATOR} -L /usr/${USERLIB_TRIPLET})
endif()
