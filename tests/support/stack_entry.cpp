#include "stack_entry.h"

namespace olvmtest {

#if OLVMTEST_SHIFTED_ENTRY

namespace {
struct EntryState {
    void* target;
    unsigned shift;
};
thread_local EntryState state;
}  // namespace

extern "C" OLVMTEST_ASM_CALLED EntryState* olvmtest_entry_state() {
    return &state;
}

// olvmtest_shifted_entry stands in for the primitive the thunk calls. It copies the
// caller's argument words (64 of them: more than any primitive takes) to a new place on
// the stack, placed so that the call leaves the stack pointer `shift` bytes below its
// usual alignment, calls the primitive, and returns popping exactly as many bytes as the
// callee-clean primitive popped. Registers the caller relies on are preserved.
asm(".text\n.p2align 4\n" OLVMTEST_ASM_FUNCTION(olvmtest_shifted_entry) R"(
    pushl %ebp
    movl %esp, %ebp
    pushl %ebx
    pushl %esi
    pushl %edi
    andl $-16, %esp
    call )" OLVMTEST_ASM_NAME(olvmtest_entry_state) R"(
    movl (%eax), %edx
    movl 4(%eax), %ecx
    subl $256, %esp
    subl %ecx, %esp
    leal 8(%ebp), %esi
    movl %esp, %edi
    movl $64, %ecx
    cld
    rep movsl
    movl %esp, %ebx
    call *%edx
    movl %esp, %ecx
    subl %ebx, %ecx
    leal -12(%ebp), %esp
    popl %edi
    popl %esi
    popl %ebx
    popl %ebp
    popl %edx
    addl %ecx, %esp
    jmp *%edx
)" OLVMTEST_ASM_END(olvmtest_shifted_entry));

extern "C" void olvmtest_shifted_entry();

OlvResult call_with_entry_shift(Thunk thunk, void* fn, const Args& a, unsigned shift) {
    state = EntryState{fn, (shift % 16) & ~3u};
    return thunk(reinterpret_cast<void*>(&olvmtest_shifted_entry), a);
}

#else

OlvResult call_with_entry_shift(Thunk thunk, void* fn, const Args& a, unsigned) {
    return thunk(fn, a);
}

#endif

}  // namespace olvmtest
