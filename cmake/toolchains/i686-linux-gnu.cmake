# 32-bit x86 Linux, built on an x86-64 host with the multilib compiler (Debian g++-multilib).
# The host runs the results natively, so the whole test suite runs on this build.
#
#   cmake -S . -B build-i386 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/i686-linux-gnu.cmake
#
# SSE2 arithmetic rather than x87, whose extended precision would round results twice.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
