// Peers of the element-wise members: Eigen, built twice (with the library's own flags as
// `eigen`, and for this machine at its best as `eigen_native`), from one source.
#pragma once

#include "support/view.h"

#define OLVM_BENCH_ELEMENTWISE_PEER(ns)                                                        \
    namespace ns {                                                                             \
    void add_4x4_32f(const ArrayView<float>& a, const ArrayView<float>& b,                     \
                     const ArrayView<float>& d);                                               \
    void sub_4x4_32f(const ArrayView<float>& a, const ArrayView<float>& b,                     \
                     const ArrayView<float>& d);                                               \
    }

namespace olvm_bench {
OLVM_BENCH_ELEMENTWISE_PEER(eigen)
OLVM_BENCH_ELEMENTWISE_PEER(eigen_native)
}  // namespace olvm_bench
