# Cross build with Debian's cross compiler for VELMORA_CROSS_TRIPLE (set by the toolchain file
# that includes this one) and its processor; programs and tests run under qemu-user with the
# target's libraries from /usr/<triple>.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${VELMORA_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${VELMORA_CROSS_TRIPLE}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${VELMORA_CROSS_TRIPLE})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR} -L /usr/${VELMORA_CROSS_TRIPLE})

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
set(ENV{PKG_CONFIG_LIBDIR}
    "/usr/lib/${VELMORA_CROSS_TRIPLE}/pkgconfig:/usr/${VELMORA_CROSS_TRIPLE}/lib/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
