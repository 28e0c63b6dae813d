# Common part of the toolchain files for Debian's cross compilers, which set USERLIB_TARGET, USERLIB_TRIPLET and
# USERLIB_QEMU first.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${USERLIB_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${USERLIB_TRIPLET}-g++)

# OpenSSL from scripts/cross-openssl. The library needs its shared objects, so programs that link the library must find
# them.
cmake_path(SET OPENSSL_ROOT_DIR NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/cross/${USERLIB_TARGET})
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${OPENSSL_ROOT_DIR}/lib)

# Libraries come from the cross compiler's root or from packages of the target's architecture, never from the build
# machine.
set(CMAKE_LIBRARY_ARCHITECTURE ${USERLIB_TRIPLET})
set(CMAKE_FIND_ROOT_PATH /usr/${USERLIB_TRIPLET} ${OPENSSL_ROOT_DIR})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

# Tests run under the user-mode emulator, if it is installed. Its full path is needed, as some tests change PATH.
find_program(USERLIB_EMULATOR ${USERLIB_QEMU})
if(USERLIB_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${USERLIB_EMULATOR} -L /usr/${USERLIB_TRIPLET})
endif()
