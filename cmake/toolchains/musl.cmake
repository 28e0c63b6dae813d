# The C library musl on x86-64. What is built runs on the machine that builds it, without an emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# Debian's compiler for C; and that for C++ with the library that scripts/cross-libstdc++ has built.
cmake_path(SET USERLIB_CROSS NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/cross)
set(CMAKE_C_COMPILER musl-gcc)
set(CMAKE_CXX_COMPILER ${USERLIB_CROSS}/musl-c++/bin/musl-g++)

# OpenSSL, where scripts/cross-openssl has put it. Nothing else comes from elsewhere: the machine's own libraries belong to
# another C library.
set(OPENSSL_ROOT_DIR ${USERLIB_CROSS}/musl)
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${OPENSSL_ROOT_DIR}/lib)
set(CMAKE_FIND_ROOT_PATH ${OPENSSL_ROOT_DIR})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
