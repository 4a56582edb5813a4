// Peers of LU decomposition followed by back substitution: Eigen, built twice (with the
// library's own flags as `eigen`, and for this machine at its best as `eigen_native`), from
// one source. One function per element type and order; each factors every matrix of `a`
// and solves with the vector of `b` at the same position into `x`, in the standard or the
// L layout.
#pragma once

#include "support/view.h"

namespace olvm_bench {

// The operands of one factor-and-solve row: systems a x = b, the factors f and their index
// vectors (`size` entries per matrix, packed), and the solutions x. Peers that keep their
// factors to themselves leave f and index alone.
template <class T>
struct Systems {
    ArrayView<T> a, f, b, x;
    unsigned* index;
};

}  // namespace olvm_bench

#define OLVM_BENCH_DECOMP_PEER(T, t, n) bool lu_solve_##t##_##n(const Systems<T>& s);

#define OLVM_BENCH_DECOMP_PEERS(ns)                                                            \
    namespace ns {                                                                             \
    OLVM_BENCH_DECOMP_PEER(float, 32f, 4)                                                      \
    OLVM_BENCH_DECOMP_PEER(float, 32f, 6)                                                      \
    OLVM_BENCH_DECOMP_PEER(double, 64f, 4)                                                     \
    OLVM_BENCH_DECOMP_PEER(double, 64f, 6)                                                     \
    }

namespace olvm_bench {
OLVM_BENCH_DECOMP_PEERS(eigen)
OLVM_BENCH_DECOMP_PEERS(eigen_native)
}  // namespace olvm_bench
