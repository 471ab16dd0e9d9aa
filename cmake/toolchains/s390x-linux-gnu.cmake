# Cross build for s390x Linux (g++-s390x-linux-gnu), run under qemu-s390x.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(VELMORA_CROSS_TRIPLE s390x-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
