// Eigen's products of arrays of small square matrices, on the objects the library members
// use, each layout in the way Eigen does it best:
//   Standard, L  one fixed-size product per object (`D.noalias() = A * B` on Eigen::Maps of
//                row-major fixed-size matrices), which Eigen unrolls into whole-object
//                vector code;
//   P            element (i, j) of all objects is one contiguous run, so each result run
//                is a sum of n products of source runs, as Eigen array expressions over
//                blocks of objects small enough that a block's runs stay in L2 while
//                the block's sums reread them.
// Eigen computes in the element type (float products and sums rounded at each step), so
// its results are close to the library's, not equal; the rows compare them within a
// tolerance.
//
// This file is compiled twice; OLVM_BENCH_PEER names the build (eigen or eigen_native).
// Only the record's fields are read, never its member functions, so that no inline function
// of the shared headers is compiled here with this build's flags.
#include <Eigen/Core>

#include <algorithm>

#include "peers/products.h"

namespace olvm_bench::OLVM_BENCH_PEER {
namespace {

// Objects per block of the P layout: the 108 runs of three 6x6 64f operands take 216 KiB.
constexpr std::size_t kBlock = 256;

template <class T, int N>
void products(const ArrayView<T>& a, const ArrayView<T>& b, const ArrayView<T>& d) {
    using Matrix = Eigen::Matrix<T, N, N, Eigen::RowMajor>;
    using Object = Eigen::Map<Matrix>;
    using Source = Eigen::Map<const Matrix>;
    using Run = Eigen::Map<Eigen::Array<T, Eigen::Dynamic, 1>>;
    using SourceRun = Eigen::Map<const Eigen::Array<T, Eigen::Dynamic, 1>>;
    constexpr std::size_t size = std::size_t(N) * N;
    const std::size_t count = d.count;
    switch (d.layout) {
        case Layout::Standard:
            for (std::size_t n = 0; n < count; ++n)
                Object(d.base + size * n).noalias() =
                    Source(a.base + size * n) * Source(b.base + size * n);
            break;
        case Layout::L:
            for (std::size_t n = 0; n < count; ++n)
                Object(d.table[n]).noalias() = Source(a.table[n]) * Source(b.table[n]);
            break;
        case Layout::P:
            for (std::size_t s = 0; s < count; s += kBlock) {
                const auto len = Eigen::Index(std::min(kBlock, count - s));
                for (int i = 0; i < N; ++i)
                    for (int j = 0; j < N; ++j) {
                        Run c(d.table[i * N + j] + s, len);
                        c = SourceRun(a.table[i * N] + s, len) * SourceRun(b.table[j] + s, len);
                        for (int k = 1; k < N; ++k)
                            c += SourceRun(a.table[i * N + k] + s, len) *
                                 SourceRun(b.table[k * N + j] + s, len);
                    }
            }
            break;
    }
}

}  // namespace

#define OLVM_BENCH_PRODUCT_DEFINITION(T, t, n)                                                 \
    void mul_##t##_##n(const ArrayView<T>& a, const ArrayView<T>& b, const ArrayView<T>& d) {  \
        products<T, n>(a, b, d);                                                               \
    }
OLVM_BENCH_PRODUCT_DEFINITION(float, 32f, 3)
OLVM_BENCH_PRODUCT_DEFINITION(float, 32f, 4)
OLVM_BENCH_PRODUCT_DEFINITION(float, 32f, 6)
OLVM_BENCH_PRODUCT_DEFINITION(double, 64f, 3)
OLVM_BENCH_PRODUCT_DEFINITION(double, 64f, 4)
OLVM_BENCH_PRODUCT_DEFINITION(double, 64f, 6)

}  // namespace olvm_bench::OLVM_BENCH_PEER
