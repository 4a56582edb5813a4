// Peers of the matrix-matrix products: Eigen, built twice (with the library's own flags as
// `eigen`, and for this machine at its best as `eigen_native`), from one source. One
// function per element type and order; each works on any of the three layouts.
#pragma once

#include "support/view.h"

#define OLVM_BENCH_PRODUCT_PEER(T, t, n)                                                       \
    void mul_##t##_##n(const ArrayView<T>& a, const ArrayView<T>& b, const ArrayView<T>& d);

#define OLVM_BENCH_PRODUCT_PEERS(ns)                                                           \
    namespace ns {                                                                             \
    OLVM_BENCH_PRODUCT_PEER(float, 32f, 3)                                                     \
    OLVM_BENCH_PRODUCT_PEER(float, 32f, 4)                                                     \
    OLVM_BENCH_PRODUCT_PEER(float, 32f, 6)                                                     \
    OLVM_BENCH_PRODUCT_PEER(double, 64f, 3)                                                    \
    OLVM_BENCH_PRODUCT_PEER(double, 64f, 4)                                                    \
    OLVM_BENCH_PRODUCT_PEER(double, 64f, 6)                                                    \
    }

namespace olvm_bench {
OLVM_BENCH_PRODUCT_PEERS(eigen)
OLVM_BENCH_PRODUCT_PEERS(eigen_native)
}  // namespace olvm_bench
