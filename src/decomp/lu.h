// LU decomposition with partial pivoting, of one matrix or of each matrix of an array.
//
// The source is copied into the destination and eliminated there. Rows are never
// moved: the row permutation lives only in the index vector, whose entry i names the
// stored row that holds logical row i. Stored row r(i) ends up holding the multipliers
// L(i, j) for j < i (unit diagonal implied) and U(i, j) for j >= i. Since the source is
// read only while it is copied, the destination may be the source itself.
//
// 32f: pivot magnitudes are compared in single precision; each multiplier is formed in
// double, rounded once and stored, and that rounded value (negated) drives the row
// updates, each formed in double and rounded on store.
#pragma once

#include <cmath>
#include <cstddef>
#include <utility>

#include "decomp/lu_job.h"
#include "frame/checks.h"
#include "frame/layout.h"
#include "frame/place.h"
#include "paths/dispatch.h"

namespace olvm::decomp {

template <class T>
OLVM_INLINE bool lu_too_small(T v) {
    return lu_zero_threshold > static_cast<double>(std::fabs(v));
}

// Elimination of object n in place in `dst`, with `r` its index vector (0..size-1 on
// entry). Returns at the first pivot that fails, leaving the completed steps and every
// index exchange up to that step in place.
template <class Dst>
OLVM_INLINE OlvResult lu_eliminate(const Dst& dst, unsigned n, unsigned* r, unsigned size) {
    using T = typename Dst::Value;
    auto D = [&](unsigned row, unsigned col) { return dst.at(n, row, col, size); };
    for (unsigned k = 0; k + 1 < size; ++k) {
        // A later candidate replaces the current one only when the current is not at
        // least as large: ties keep the earliest, an unordered (NaN) comparison replaces.
        unsigned p = k;
        T m = std::fabs(*D(r[k], k));
        for (unsigned i = k + 1; i < size; ++i) {
            const T c = std::fabs(*D(r[i], k));
            if (!(m >= c)) {
                m = c;
                p = i;
            }
        }
        std::swap(r[k], r[p]);

        const T v = *D(r[k], k);
        if (lu_too_small(v)) return olvResultZeroDivisor;
        const double pivot = static_cast<double>(v);
        for (unsigned i = k + 1; i < size; ++i) {
            T* lp = D(r[i], k);
            const T l = static_cast<T>(static_cast<double>(*lp) / pivot);
            *lp = l;
            const double minus_l = -static_cast<double>(l);
            for (unsigned j = k + 1; j < size; ++j) {
                T* e = D(r[i], j);
                *e = static_cast<T>(static_cast<double>(*e) + minus_l * static_cast<double>(*D(r[k], j)));
            }
        }
    }
    return olvResultOk;
}

// The last-pivot test of object n, once its elimination is complete. It addresses column
// (size - 1) + n * size of stored row r(size - 1): for object 0 that is the last pivot
// itself, for later objects an element further along through the layout's own
// addressing. Array callers rely on exactly this test, so it is kept as it is.
template <class Dst>
OLVM_INLINE bool lu_last_pivot_fails(const Dst& dst, unsigned n, const unsigned* r, unsigned size) {
    return lu_too_small(*dst.at(n, r[size - 1], (size - 1) + n * size, size));
}

template <class Batch = paths::Default, class Mode, class Shape, class Src, class Dst>
OLVM_INLINE OlvResult lu_decomp(Mode mode, Shape sh, Src src, unsigned* index, Dst dst) {
    if (frame::any_null(src, dst) || index == nullptr) return olvResultNullPointer;
    if (sh.empty()) return olvResultBadSize;
    const unsigned size = sh.w;
    if (frame::tables_null(size * size, src, dst)) return olvResultNullPointer;
    if constexpr (Mode::array) {
        if (mode.count == 0) return olvResultOk;
    }
    unsigned first = 0;  // objects finished by a batch kernel
    if constexpr (Mode::array && frame::fixed_width<Shape> != 0) {
        using T = typename Dst::Value;
        const LUJob job{size, mode.count, frame::place_of(src), frame::place_of(dst), index};
        first = Batch::run(job, T());
        // The kernel stops right after an object whose test fails; the test is repeated
        // here on the same memory, since nothing has been written since.
        if (first != 0 && lu_last_pivot_fails(dst, first - 1, index + std::size_t(first - 1) * size, size))
            return olvResultZeroDivisor;
    }
    for (unsigned n = first; n < mode.count; ++n) {
        if (frame::objects_null(n, src, dst)) return olvResultNullPointer;
        unsigned* r = index + std::size_t(n) * size;
        for (unsigned i = 0; i < size; ++i)
            for (unsigned j = 0; j < size; ++j) *dst.at(n, i, j, size) = *src.at(n, i, j, size);
        for (unsigned i = 0; i < size; ++i) r[i] = i;

        const OlvResult eliminated = lu_eliminate(dst, n, r, size);
        if (eliminated != olvResultOk) return eliminated;
        if (lu_last_pivot_fails(dst, n, r, size)) return olvResultZeroDivisor;
    }
    return olvResultOk;
}

}  // namespace olvm::decomp
