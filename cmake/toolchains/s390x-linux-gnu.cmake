# Cross build for s390x Linux with Debian's cross compiler (g++-s390x-linux-gnu); programs
# and tests run under qemu-user (qemu-s390x) with the target's libraries from /usr/s390x-linux-gnu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)
set(CMAKE_FIND_ROOT_PATH /usr/s390x-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x -L /usr/s390x-linux-gnu)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Packages come from the target's root first, then from the host: the header-only packages the
# tool uses (CLI11, nlohmann-json) are installed once for every architecture. GoogleTest is built
# from source for the target (VELMORA_GTEST_SOURCE_DIR), never taken from the host.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
# pkg-config looks at the target's libraries only: the host's .pc files (GStreamer, libavformat)
# describe x86-64 libraries, which a cross build can't link. The optional parts they enable
# (GStreamer interop tests, clips) are left out of a cross build.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/s390x-linux-gnu/pkgconfig:/usr/s390x-linux-gnu/lib/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
