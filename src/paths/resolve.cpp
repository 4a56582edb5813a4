// Loader-chosen paths: each batch kernel is an indirect function with a resolver of its
// own, which picks the widest path the processor supports: on the processors measured
// (the per-path rows of docs/performance.md) that is, kernel by kernel, the fastest path
// or one within the measurements' spread of it. Resolvers run while the library is being
// relocated, so this file calls nothing outside itself but the compiler's own CPU probe
// and is built without sanitizers or stack protection.
#include "paths/kernels.h"

#define OLVM_RESOLVER(name, Job, T)                                                      \
    extern "C" __attribute__((visibility("hidden"))) auto olvm_##name##_resolve()       \
        ->unsigned (*)(const Job*) {                                                    \
        __builtin_cpu_init();                                                           \
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl"))    \
            return olvm::paths::avx512::name;                                           \
        if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))            \
            return olvm::paths::avx2::name;                                             \
        return olvm::paths::sse2::name;                                                 \
    }                                                                                   \
    extern "C" unsigned olvm_##name(const Job*)                                         \
        __attribute__((ifunc("olvm_" #name "_resolve")));
OLVM_BATCH_KERNELS(OLVM_RESOLVER)
