# Warning flags shared by every target of the project.
function(velmora_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ 12 at -O2 reports the move of a std::variant member of a vector element as "may be used
    # uninitialized" (a known false positive of its flow analysis); clang checks the same code.
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
  endif()
  if(VELMORA_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
