// Solution of A x = b from the LU factors and index vector that the decomposition
// writes: forward substitution through the permutation (unit L, never divided by), then
// backward substitution through U. The destination is the working vector of both passes:
// each x[i] is stored as soon as it is formed and later steps read the stored value.
// There is no test of U's diagonal; a zero divides as it stands.
//
// PerObject: matrix n and index vector n pair with vector n (mava); otherwise one matrix
// and one index vector serve every vector of the array (mv, mva).
//
// 32f: products and sums are formed in double from the single operands; each x[i] is
// rounded once, when it is stored.
#pragma once

#include <cstddef>

#include "decomp/lu_job.h"
#include "frame/checks.h"
#include "frame/layout.h"
#include "frame/place.h"
#include "paths/dispatch.h"

namespace olvm::decomp {

template <class Mat, class Rhs, class Dst>
OLVM_INLINE void lu_solve_one(const Mat& a, const unsigned* r, const Rhs& b, const Dst& x,
                              unsigned n, unsigned size) {
    using T = typename Dst::Value;
    auto D = [&](unsigned row, unsigned col) { return static_cast<double>(*a.at(n, row, col, size)); };
    auto B = [&](unsigned k) { return b.at(n, 0, k, size); };
    auto X = [&](unsigned k) { return x.at(n, 0, k, size); };

    *X(0) = *B(r[0]);
    for (unsigned i = 1; i < size; ++i) {
        double s = 0.0;
        for (unsigned j = 0; j < i; ++j) s += D(r[i], j) * static_cast<double>(*X(j));
        *X(i) = static_cast<T>(static_cast<double>(*B(r[i])) - s);
    }

    const unsigned last = size - 1;
    *X(last) = static_cast<T>(static_cast<double>(*X(last)) / D(r[last], last));
    for (unsigned i = last; i-- > 0;) {
        double s = 0.0;
        for (unsigned j = i + 1; j < size; ++j) s += D(r[i], j) * static_cast<double>(*X(j));
        *X(i) = static_cast<T>((static_cast<double>(*X(i)) - s) / D(r[i], i));
    }
}

template <bool PerObject, class Batch = paths::Default, class Mode, class Shape, class Mat, class Rhs, class Dst>
OLVM_INLINE OlvResult lu_back_subst(Mode mode, Shape sh, Mat a, const unsigned* index, Rhs b,
                                    Dst x) {
    if (frame::any_null(a, b, x) || index == nullptr) return olvResultNullPointer;
    if (sh.empty()) return olvResultBadSize;
    const unsigned size = sh.w;
    // Table entries: the whole matrix table first, then right-hand side and destination
    // entry by entry.
    if (frame::table_null(a, size * size)) return olvResultNullPointer;
    for (unsigned k = 0; k < size; ++k)
        if (frame::entry_null(b, k) || frame::entry_null(x, k)) return olvResultNullPointer;
    if constexpr (Mode::array) {
        if (mode.count == 0) return olvResultOk;
    }
    unsigned first = 0;  // objects finished by a batch kernel
    if constexpr (Mode::array && frame::fixed_width<Shape> != 0) {
        using T = typename Dst::Value;
        const SolveJob job{size, mode.count, PerObject, frame::place_of(a), frame::place_of(b),
                           frame::place_of(x), index};
        first = Batch::run(job, T());
    }
    for (unsigned n = first; n < mode.count; ++n) {
        if (frame::objects_null(n, a, b, x)) return olvResultNullPointer;
        const unsigned* r = PerObject ? index + std::size_t(n) * size : index;
        lu_solve_one(a, r, b, x, n, size);
    }
    return olvResultOk;
}

}  // namespace olvm::decomp
