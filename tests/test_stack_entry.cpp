// The harness's misaligned entries really move the stack: a probe entered through them
// reports its stack pointer, receives its argument words and pops them itself.
#include <gtest/gtest.h>

#include <cstdint>

#include "harness.h"
#include "stack_entry.h"

#if OLVMTEST_SHIFTED_ENTRY
// Callee-clean, two argument words: stores the second through the first and returns the
// stack pointer it was entered with.
asm(".text\n" OLVMTEST_ASM_FUNCTION(olvmtest_entry_probe) R"(
    movl 4(%esp), %eax
    movl 8(%esp), %ecx
    movl %ecx, (%eax)
    movl %esp, %eax
    ret $8
)" OLVMTEST_ASM_END(olvmtest_entry_probe));
extern "C" void olvmtest_entry_probe();
using Probe = std::int32_t(__attribute__((stdcall))*)(void*, unsigned);
#endif

namespace olvmtest {
namespace {

TEST(StackEntry, EachShiftEntersAtItsOffsetWithTheArgumentsIntact) {
    if (!entry_shift_supported()) GTEST_SKIP() << "only 32-bit x86 moves the stack";
#if OLVMTEST_SHIFTED_ENTRY
    const Thunk thunk = [](void* fn, const Args& a) -> OlvResult {
        return reinterpret_cast<Probe>(fn)(a.pDst, a.count);
    };
    for (unsigned shift : {0u, 4u, 8u, 12u, 0u}) {
        unsigned stored = 0;
        Args a;
        a.pDst = &stored;
        a.count = 0x5eed0000u + shift;
        auto entry = static_cast<std::uint32_t>(
            call_with_entry_shift(thunk, reinterpret_cast<void*>(&olvmtest_entry_probe), a, shift));
        // The ABI's entry: the return address just below a 16-byte boundary.
        EXPECT_EQ((entry + 4 + shift) % 16, 0u) << "shift " << shift;
        EXPECT_EQ(stored, a.count) << "shift " << shift;
    }
#endif
}

}  // namespace
}  // namespace olvmtest
