# Compiler settings shared by the library, its tests, examples and benchmarks.
#
# Results must be bit-exact on every build: never fast-math, never contract a multiply
# and an add into one fused operation, and on 32-bit x86 use SSE2 rather than x87
# (whose extended precision would round every result twice).

if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^([iI].86|x86|x86_64|AMD64|amd64)$")
  set(OLVM_X86_32 ON)
else()
  set(OLVM_X86_32 OFF)
endif()

# Options for the library's own objects only (see src/CMakeLists.txt).
set(OLVM_LIBRARY_COMPILE_OPTIONS)

if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  add_compile_options(-ffp-contract=off -fno-fast-math -Wall -Wextra -Wpedantic -Wshadow)
  if(OLVM_X86_32)
    add_compile_options(-msse2 -mfpmath=sse)
    # Callers on 32-bit Windows guarantee only a 4-byte aligned stack on entry, while GCC
    # assumes 16 there: the library realigns its frame wherever it spills SSE values.
    list(APPEND OLVM_LIBRARY_COMPILE_OPTIONS -mincoming-stack-boundary=2)
  endif()
endif()

if(OLVM_WARNINGS_AS_ERRORS)
  add_compile_options(-Werror)
endif()

if(OLVM_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # As with GCC, no function-type check: its type records would be symbols shared by
    # the instruction-set paths.
    add_compile_options(-fno-sanitize=function)
  endif()
endif()

if(OLVM_FUZZ)
  # Coverage for the fuzzer's guidance, in the library as in the harness.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(OLVM_TSAN)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
