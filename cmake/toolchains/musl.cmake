# The C library musl on x86-64. Programs run on the build machine without an emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# Debian's compilers for C, and for C++ with the library from scripts/cross-libstdc++.
cmake_path(SET USERLIB_CROSS NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/cross)
set(CMAKE_C_COMPILER musl-gcc)
set(CMAKE_CXX_COMPILER ${USERLIB_CROSS}/musl-c++/bin/musl-g++)

# OpenSSL from scripts/cross-openssl. The machine's own libraries are not used, as they need another C library.
set(OPENSSL_ROOT_DIR ${USERLIB_CROSS}/musl)
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${OPENSSL_ROOT_DIR}/lib)
set(CMAKE_FIND_ROOT_PATH ${OPENSSL_ROOT_DIR})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
