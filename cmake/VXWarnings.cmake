# Warnings for every target of this project; a target opts in with vx_warnings().
function(vx_warnings target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow
                                             -Wnon-virtual-dtor)
  endif()
endfunction()
