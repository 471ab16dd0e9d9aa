# Cross build for Windows x86-64 with Debian's MinGW-w64 (g++-mingw-w64-x86-64, the POSIX-threads
# variant, whose std::thread and std::mutex work); programs and tests run under Wine (wine64).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(VELMORA_CROSS_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${VELMORA_CROSS_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VELMORA_CROSS_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${VELMORA_CROSS_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${VELMORA_CROSS_TRIPLE})

# The runtime (libstdc++, libgcc, winpthread) is linked in, so a program or DLL runs with no
# MinGW DLL beside it, under Wine as on a Windows machine.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static-libstdc++ -static-libgcc -Wl,-Bstatic,--whole-archive -lwinpthread -Wl,--no-whole-archive,-Bdynamic")

# Wine runs the programs; its console output is the program's, with no debug chatter.
set(CMAKE_CROSSCOMPILING_EMULATOR env WINEDEBUG=-all wine)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# The header-only packages (CLI11, nlohmann-json) come from the host, but their imported targets
# put /usr/include on the include path, where the host's C library headers would shadow MinGW's.
# So each is found through a staged prefix holding its package files and only its own headers.
set(_velmora_stage ${CMAKE_BINARY_DIR}/mingw-host-packages)
foreach(_package CLI11:CLI nlohmann_json:nlohmann)
  string(REPLACE ":" ";" _package ${_package})
  list(GET _package 0 _name)
  list(GET _package 1 _headers)
  if(EXISTS /usr/share/cmake/${_name} AND NOT EXISTS ${_velmora_stage}/include/${_headers})
    file(MAKE_DIRECTORY ${_velmora_stage}/share/cmake ${_velmora_stage}/include)
    file(CREATE_LINK /usr/share/cmake/${_name} ${_velmora_stage}/share/cmake/${_name} SYMBOLIC)
    file(CREATE_LINK /usr/include/${_headers} ${_velmora_stage}/include/${_headers} SYMBOLIC)
  endif()
  set(${_name}_DIR ${_velmora_stage}/share/cmake/${_name} CACHE PATH "")
endforeach()
# GoogleTest is built from source (VELMORA_GTEST_SOURCE_DIR). pkg-config finds nothing: Debian
# packages no MinGW libavformat, GStreamer or Python, so clips, the GStreamer interop tests and
# the module are left out.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(ENV{PKG_CONFIG_LIBDIR} "/usr/${VELMORA_CROSS_TRIPLE}/lib/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
