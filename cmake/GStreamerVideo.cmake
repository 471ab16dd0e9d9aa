# Finds GStreamer's video library through pkg-config as PkgConfig::GST_VIDEO (GST_VIDEO_FOUND).
#
# gstreamer-1.0.pc requires libunwind.pc privately, and pkg-config wants every required file even
# for --cflags. On Debian, libunwind-16-dev (which libc++-16-dev needs) replaces libunwind-dev and
# ships no libunwind.pc, so GStreamer would go unfound on a machine that also has libc++ 16. Where
# that file alone is missing, a stand-in without flags is put on the search path: it is only
# named by the private requirements, which a shared link doesn't use.
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND AND NOT TARGET PkgConfig::GST_VIDEO)
  execute_process(COMMAND ${PKG_CONFIG_EXECUTABLE} --exists libunwind RESULT_VARIABLE no_libunwind)
  execute_process(COMMAND ${PKG_CONFIG_EXECUTABLE} --exists gstreamer-video-1.0
                  RESULT_VARIABLE no_gst ERROR_QUIET)
  if(NOT no_libunwind EQUAL 0 AND NOT no_gst EQUAL 0)
    set(stand_in ${CMAKE_BINARY_DIR}/pkgconfig-stand-ins)
    file(WRITE ${stand_in}/libunwind.pc
         "Name: libunwind\nDescription: stand-in for a private requirement\nVersion: 1.6\n")
    set(ENV{PKG_CONFIG_PATH} "${stand_in}:$ENV{PKG_CONFIG_PATH}")
  endif()
  pkg_check_modules(GST_VIDEO QUIET IMPORTED_TARGET gstreamer-video-1.0)
endif()
