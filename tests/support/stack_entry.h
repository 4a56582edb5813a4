// Calls a member with the stack pointer at a chosen alignment on entry.
//
// 32-bit Windows callers guarantee only 4-byte stack alignment when they call a primitive,
// while GCC on i386 assumes 16; the library is built to realign where it needs to. On
// 32-bit x86 the harness enters primitives at every 4-byte offset from the 16-byte
// boundary in turn, so every test also exercises the misaligned entries. Elsewhere the
// call is made directly.
#pragma once

#include "harness.h"

namespace olvmtest {

// Calls thunk(fn, a); on 32-bit x86 the primitive is entered with its stack pointer
// `shift` bytes (0, 4, 8 or 12) below where the ABI would have it.
OlvResult call_with_entry_shift(Thunk thunk, void* fn, const Args& a, unsigned shift);

// True where call_with_entry_shift really moves the stack.
bool entry_shift_supported();

}  // namespace olvmtest
