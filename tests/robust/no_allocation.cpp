// No member calls the allocator: this program replaces malloc, calloc, realloc, free and
// the global operator new and delete (the library's references resolve to them), and
// counts their calls inside a window around each member call. Calls are built outside
// the window. Not built under sanitizers, whose runtimes own the allocator.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "calls.h"

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void __libc_free(void*);
}

namespace {
bool counting = false;  // only the test's thread calls while the window is open
long allocator_calls = 0;

void count() { allocator_calls += counting; }
}  // namespace

extern "C" {
void* malloc(std::size_t n) { return count(), __libc_malloc(n); }
void* calloc(std::size_t n, std::size_t size) { return count(), __libc_calloc(n, size); }
void* realloc(void* p, std::size_t n) { return count(), __libc_realloc(p, n); }
void free(void* p) { count(), __libc_free(p); }
}

void* operator new(std::size_t n) {
    count();
    if (void* p = __libc_malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) { return operator new(n); }
void operator delete(void* p) noexcept { count(), __libc_free(p); }
void operator delete[](void* p) noexcept { operator delete(p); }
void operator delete(void* p, std::size_t) noexcept { operator delete(p); }
void operator delete[](void* p, std::size_t) noexcept { operator delete(p); }

namespace olvmtest {
namespace {

// Calls of `m` in the window: a valid one, and one refused for a null pointer (with zero
// sizes and count, which members that test no pointer return on at once).
long allocator_calls_in(const MemberInfo& m, std::size_t seed) {
    Rng rng(seed);
    Call c = make_call(m, rng, 3), refused = make_call(m, rng, 3);
    null_base(refused.args, refused.info.front().role);
    for (const auto& s : m.size_args()) *refused.args.unsigned_field(s) = 0;
    refused.args.count = 0;
    void* fn = symbol(m.name);
    allocator_calls = 0;
    counting = true;
    m.thunk(fn, c.args);
    m.thunk(fn, refused.args);
    counting = false;
    return allocator_calls;
}

TEST(NoAllocation, TheWindowCountsAllocatorCalls) {
    counting = true;
    allocator_calls = 0;
    delete new int(1);
    std::free(std::malloc(8));
    counting = false;
    EXPECT_EQ(allocator_calls, 4);
}

TEST(NoAllocation, NoMemberCallsTheAllocator) {
    for (std::size_t i = 0; i < members().size(); ++i)
        EXPECT_EQ(allocator_calls_in(members()[i], i), 0) << members()[i].name;
}

}  // namespace
}  // namespace olvmtest
