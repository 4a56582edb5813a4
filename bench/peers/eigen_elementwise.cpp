// Eigen's sum and difference of arrays of 4x4 float matrices, on the objects the library
// members use, each layout in the way Eigen does it best:
//   Standard, L  one fixed-size 4x4 matrix expression per object (Eigen::Map of a row-major
//                Matrix4f on the object), which Eigen compiles to whole-object vector code;
//   P            sixteen dynamic-size array expressions, one per element position, since in
//                this layout element k of all objects is one contiguous run.
// Eigen computes in float: for a single sum or difference that gives the same bits as the
// library's double arithmetic rounded once.
//
// This file is compiled twice; OLVM_BENCH_PEER names the build (eigen or eigen_native).
// Only the record's fields are read, never its member functions, so that no inline function
// of the shared headers is compiled here with this build's flags.
#include <Eigen/Core>

#include "peers/elementwise.h"

namespace olvm_bench::OLVM_BENCH_PEER {
namespace {

using Matrix = Eigen::Matrix<float, 4, 4, Eigen::RowMajor>;
using Object = Eigen::Map<Matrix, Eigen::Aligned16>;
using Source = Eigen::Map<const Matrix, Eigen::Aligned16>;
using Run = Eigen::Map<Eigen::ArrayXf>;
using SourceRun = Eigen::Map<const Eigen::ArrayXf>;

template <bool Difference, class X, class Y>
auto combine(const X& x, const Y& y) {
    if constexpr (Difference)
        return x - y;
    else
        return x + y;
}

template <bool Difference>
void arrays(const ArrayView<float>& a, const ArrayView<float>& b, const ArrayView<float>& d) {
    const std::size_t count = d.count;
    const auto n_elems = Eigen::Index(count);
    switch (d.layout) {
        case Layout::Standard:
            for (std::size_t n = 0; n < count; ++n)
                Object(d.base + 16 * n) =
                    combine<Difference>(Source(a.base + 16 * n), Source(b.base + 16 * n));
            break;
        case Layout::L:
            for (std::size_t n = 0; n < count; ++n)
                Object(d.table[n]) = combine<Difference>(Source(a.table[n]), Source(b.table[n]));
            break;
        case Layout::P:
            for (int k = 0; k < 16; ++k)
                Run(d.table[k], n_elems) =
                    combine<Difference>(SourceRun(a.table[k], n_elems), SourceRun(b.table[k], n_elems));
            break;
    }
}

}  // namespace

void add_4x4_32f(const ArrayView<float>& a, const ArrayView<float>& b, const ArrayView<float>& d) {
    arrays<false>(a, b, d);
}
void sub_4x4_32f(const ArrayView<float>& a, const ArrayView<float>& b, const ArrayView<float>& d) {
    arrays<true>(a, b, d);
}

}  // namespace olvm_bench::OLVM_BENCH_PEER
