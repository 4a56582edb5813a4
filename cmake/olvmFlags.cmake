# Compiler settings shared by the library, its tests, examples and benchmarks.
#
# Results must be bit-exact on every build: never fast-math, never contract a multiply
# and an add into one fused operation, and on 32-bit x86 use SSE2 rather than x87
# (whose extended precision would round every result twice).

if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  add_compile_options(-ffp-contract=off -fno-fast-math -Wall -Wextra -Wpedantic -Wshadow)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "i.86|x86$" OR CMAKE_SIZEOF_VOID_P EQUAL 4)
    add_compile_options(-msse2 -mfpmath=sse)
  endif()
endif()

if(OLVM_WARNINGS_AS_ERRORS)
  add_compile_options(-Werror)
endif()

if(OLVM_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
