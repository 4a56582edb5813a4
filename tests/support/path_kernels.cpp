#include "path_kernels.h"
#if defined(OLVM_FAST_PATHS)

#include <cmath>
#include <limits>

namespace olvmtest {

const std::vector<Path>& paths() {
    namespace p = olvm::paths;
    static const std::vector<Path> all = [] {
        __builtin_cpu_init();
#define OLVM_KERNEL_OF(path) OLVM_BATCH_KERNELS(OLVM_KERNEL_OF_##path)
#define OLVM_KERNEL_OF_sse2(kernel, Job, T) p::sse2::kernel,
#define OLVM_KERNEL_OF_avx2(kernel, Job, T) p::avx2::kernel,
#define OLVM_KERNEL_OF_avx512(kernel, Job, T) p::avx512::kernel,
        return std::vector<Path>{
            {"sse2", true, OLVM_KERNEL_OF(sse2)},
            {"avx2", __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"),
             OLVM_KERNEL_OF(avx2)},
            {"avx512", __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl"),
             OLVM_KERNEL_OF(avx512)},
        };
    }();
    return all;
}

olvm::frame::Place place(Call& c, const std::string& role) {
    const OperandInfo& o = c.kind_of(role);
    Placed& p = c.op(role);
    olvm::frame::Place x{};
    x.transposed = is_transposed_kind(o.kind);
    x.offset = p.offset;
    x.row = p.row;
    x.elem = p.elem;
    x.obj = is_array_kind(o.kind) ? p.obj : 0;
    if (o.layout.empty() || o.layout == "S2") {
        x.kind = olvm::frame::Place::Rows;
        x.ptr = p.base;
    } else if (o.layout == "L" || o.layout == "LS2") {
        x.kind = olvm::frame::Place::Objects;
        x.ptr = p.table().data();
    } else {
        x.kind = olvm::frame::Place::Entries;
        x.ptr = p.table().data();
    }
    return x;
}

double special_value(Rng& rng, std::size_t esize) {
    const double tiny = esize == 4 ? double(std::numeric_limits<float>::denorm_min())
                                   : std::numeric_limits<double>::denorm_min();
    const double values[] = {std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity(),
                             0.0, -0.0, tiny * 3, -tiny * 5};
    return values[rng() % (sizeof values / sizeof values[0])];
}

bool same_value(double got, double want, std::size_t esize) {
    if (std::isnan(want)) return std::isnan(got);
    return same_bits(got, want, esize);
}

}  // namespace olvmtest

#endif  // OLVM_FAST_PATHS
