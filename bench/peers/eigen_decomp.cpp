// Eigen's LU factorisation with partial pivoting and solve, one system at a time:
// `PartialPivLU<Matrix<T, n, n>>` of an Eigen::Map of the row-major object, then
// `solve` of the object's right-hand side into its solution. The factors stay inside the
// decomposition object, so Eigen writes only the solutions.
//
// This file is compiled twice; OLVM_BENCH_PEER names the build (eigen or eigen_native).
// Only the record's fields are read, never its member functions, so that no inline function
// of the shared headers is compiled here with this build's flags.
#include <Eigen/Core>
#include <Eigen/LU>

#include "peers/decomp.h"

namespace olvm_bench::OLVM_BENCH_PEER {
namespace {

template <class T, int N>
bool factor_and_solve(const Systems<T>& s) {
    using Matrix = Eigen::Matrix<T, N, N>;
    using Source = Eigen::Map<const Eigen::Matrix<T, N, N, Eigen::RowMajor>>;
    using Vector = Eigen::Matrix<T, N, 1>;
    constexpr std::size_t size = std::size_t(N) * N;
    const bool listed = s.x.layout == Layout::L;
    for (std::size_t n = 0; n < s.x.count; ++n) {
        const T* a = listed ? s.a.table[n] : s.a.base + size * n;
        const T* b = listed ? s.b.table[n] : s.b.base + N * n;
        T* x = listed ? s.x.table[n] : s.x.base + N * n;
        const Eigen::PartialPivLU<Matrix> lu(Source{a});
        Eigen::Map<Vector>{x} = lu.solve(Eigen::Map<const Vector>{b});
    }
    return true;
}

}  // namespace

#define OLVM_BENCH_DECOMP_DEFINITION(T, t, n) \
    bool lu_solve_##t##_##n(const Systems<T>& s) { return factor_and_solve<T, n>(s); }
OLVM_BENCH_DECOMP_DEFINITION(float, 32f, 4)
OLVM_BENCH_DECOMP_DEFINITION(float, 32f, 6)
OLVM_BENCH_DECOMP_DEFINITION(double, 64f, 4)
OLVM_BENCH_DECOMP_DEFINITION(double, 64f, 6)

}  // namespace olvm_bench::OLVM_BENCH_PEER
