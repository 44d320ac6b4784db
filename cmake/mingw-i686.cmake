# Cross-builds the Windows DLLs with mingw-w64.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
# SVODB_MINGW_THREADS picks the compilers' thread model: posix (the
# default: the library serialises its exports with std::recursive_mutex,
# which the win32 model lacks) or win32. Either links statically: the DLLs
# need no runtime DLL.
set(SVODB_MINGW_THREADS "posix" CACHE STRING "mingw-w64 thread model: win32 or posix")
set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-${SVODB_MINGW_THREADS})
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-${SVODB_MINGW_THREADS})
# Doubles round as on every other build: SSE arithmetic, not the x87 stack.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/i686-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
