#include "paths/roster.h"

namespace olvm::paths {

const std::vector<PathKernels>& roster() {
#define OLVM_KERNEL_OF(path) OLVM_BATCH_KERNELS(OLVM_KERNEL_OF_##path)
#define OLVM_KERNEL_OF_sse2(kernel, Job, T) sse2::kernel,
#define OLVM_KERNEL_OF_avx2(kernel, Job, T) avx2::kernel,
#define OLVM_KERNEL_OF_avx512(kernel, Job, T) avx512::kernel,
    static const std::vector<PathKernels> all = [] {
        __builtin_cpu_init();
        return std::vector<PathKernels>{
            {"sse2", true, OLVM_KERNEL_OF(sse2)},
            {"avx2", __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"), OLVM_KERNEL_OF(avx2)},
            {"avx512", __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl"),
             OLVM_KERNEL_OF(avx512)},
        };
    }();
    return all;
}

}  // namespace olvm::paths
