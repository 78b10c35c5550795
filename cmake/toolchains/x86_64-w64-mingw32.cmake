# Cross build for 64-bit Windows with the Debian mingw-w64 compilers. The posix thread
# model gives the tests std::thread; everything links statically, so the programs need
# no runtime DLLs and run under Wine as they are.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(VX_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${VX_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VX_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${VX_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${VX_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# zlib as a static archive, not its import library.
set(ZLIB_USE_STATIC_LIBS ON)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")

# GoogleTest is built from the Debian sources inside the cross build.
set(VX_GTEST_SOURCE_DIR /usr/src/googletest CACHE PATH "GoogleTest sources for the cross build")

find_program(VX_WINE NAMES wine64 wine PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(VX_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VX_WINE})
endif()
