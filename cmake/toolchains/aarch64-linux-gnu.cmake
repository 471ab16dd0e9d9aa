# Cross build for aarch64 Linux (g++-aarch64-linux-gnu), run under qemu-aarch64.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(VELMORA_CROSS_TRIPLE aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
