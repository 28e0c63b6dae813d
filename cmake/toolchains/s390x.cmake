# 64-bit and big-endian, unlike mips and the build machine.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(USERLIB_TARGET s390x)
set(USERLIB_TRIPLET s390x-linux-gnu)
set(USERLIB_QEMU qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
