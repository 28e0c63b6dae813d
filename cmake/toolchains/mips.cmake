# 32-bit, big-endian MIPS, as in the first devices.
set(CMAKE_SYSTEM_PROCESSOR mips)
set(USERLIB_TARGET mips)
set(USERLIB_TRIPLET mips-linux-gnu)
set(USERLIB_QEMU qemu-mips)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
