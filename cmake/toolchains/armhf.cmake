# 32-bit, little-endian ARM.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(USERLIB_TARGET armhf)
set(USERLIB_TRIPLET arm-linux-gnueabihf)
set(USERLIB_QEMU qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
