// Calls a member with the stack pointer at a chosen alignment on entry.
//
// 32-bit Windows callers guarantee only 4-byte stack alignment when they call a primitive,
// while GCC on i386 assumes 16; the library is built to realign where it needs to. On
// 32-bit x86 the harness enters primitives at every 4-byte offset from the 16-byte
// boundary in turn, so every test also exercises the misaligned entries. Elsewhere the
// call is made directly.
#pragma once

#include "harness.h"

// The shifted entry is written in 32-bit x86 assembly; these spell a file-local function
// for it in the object format at hand (ELF on Linux, PE/COFF, whose C names carry a
// leading underscore, on Windows).
#if defined(__i386__) && defined(__ELF__)
#define OLVMTEST_SHIFTED_ENTRY 1
#define OLVMTEST_ASM_NAME(n) #n
#define OLVMTEST_ASM_FUNCTION(n) ".local " #n "\n.type " #n ", @function\n" #n ":\n"
#define OLVMTEST_ASM_END(n) ".size " #n ", .-" #n "\n"
#define OLVMTEST_ASM_CALLED __attribute__((visibility("hidden"), used))
#elif defined(__i386__) && defined(_WIN32)
#define OLVMTEST_SHIFTED_ENTRY 1
#define OLVMTEST_ASM_NAME(n) "_" #n
#define OLVMTEST_ASM_FUNCTION(n) ".def _" #n "; .scl 3; .type 32; .endef\n_" #n ":\n"
#define OLVMTEST_ASM_END(n) "\n"
#define OLVMTEST_ASM_CALLED __attribute__((used))
#else
#define OLVMTEST_SHIFTED_ENTRY 0
#endif

namespace olvmtest {

// Calls thunk(fn, a); on 32-bit x86 the primitive is entered with its stack pointer
// `shift` bytes (0, 4, 8 or 12) below where the ABI would have it.
OlvResult call_with_entry_shift(Thunk thunk, void* fn, const Args& a, unsigned shift);

}  // namespace olvmtest
