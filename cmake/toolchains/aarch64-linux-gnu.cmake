# Cross build for aarch64 Linux with Debian's cross compiler (g++-aarch64-linux-gnu); programs
# and tests run under qemu-user (qemu-aarch64) with the target's libraries from /usr/aarch64-linux-gnu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Packages come from the target's root first, then from the host: the header-only packages the
# tool uses (CLI11, nlohmann-json) are installed once for every architecture. GoogleTest is built
# from source for the target (VELMORA_GTEST_SOURCE_DIR), never taken from the host.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
