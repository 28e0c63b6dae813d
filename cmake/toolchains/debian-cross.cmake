# What the toolchain files of Debian's cross compilers share. They set USERLIB_TARGET, USERLIB_TRIPLET and USERLIB_QEMU
# first.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${USERLIB_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${USERLIB_TRIPLET}-g++)

# Libraries come from the cross compiler's own root or from packages of the foreign architecture, never from the
# machine that builds.
set(CMAKE_LIBRARY_ARCHITECTURE ${USERLIB_TRIPLET})
set(CMAKE_FIND_ROOT_PATH /usr/${USERLIB_TRIPLET} ${CMAKE_CURRENT_LIST_DIR}/../../build/cross/${USERLIB_TARGET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

# Tests run under the emulator of the user mode.
set(CMAKE_CROSSCOMPILING_EMULATOR ${USERLIB_QEMU} -L /usr/${USERLIB_TRIPLET})

# OpenSSL, where scripts/cross-openssl has put it.
set(OPENSSL_ROOT_DIR ${CMAKE_CURRENT_LIST_DIR}/../../build/cross/${USERLIB_TARGET})
