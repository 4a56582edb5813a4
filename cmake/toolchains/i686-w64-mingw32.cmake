# 32-bit Windows, cross-built with the i686 MinGW-w64 toolchain (Debian g++-mingw-w64-i686).
# Produces olvmpx.dll and its import library, and the test suite as a Windows program that
# loads the DLL; the tests run it under wine (Debian wine, wine32:i386).
#
#   cmake -S . -B build-win32 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/i686-w64-mingw32.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(OLVM_MINGW_PREFIX i686-w64-mingw32)
set(CMAKE_C_COMPILER ${OLVM_MINGW_PREFIX}-gcc)
set(CMAKE_CXX_COMPILER ${OLVM_MINGW_PREFIX}-g++)
set(CMAKE_RC_COMPILER ${OLVM_MINGW_PREFIX}-windres)
set(CMAKE_OBJDUMP ${OLVM_MINGW_PREFIX}-objdump)
set(CMAKE_NM ${OLVM_MINGW_PREFIX}-nm)
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
# Only the cross toolchain's own libraries and headers; programs (Python) from the host.
set(CMAKE_FIND_ROOT_PATH /usr/${OLVM_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
