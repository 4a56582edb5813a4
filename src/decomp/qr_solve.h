// Solution of A x = b from the packed QR factors that the decomposition writes: the
// stored reflectors are applied to a copy of b in the caller's buffer (forming Q^T b),
// then R x = (Q^T b) is solved on the leading width x width triangle. For a matrix
// taller than wide that is the least-squares solution, and the buffer keeps Q^T b, its
// entries from `width` on being the residual's components.
//
// Each reflector's beta is recomputed from its stored entries. There is no test of R's
// diagonal; a zero divides as it stands.
//
// Where matrix n pairs with vector n (mava) the matrix descriptor steps with n; where one
// matrix serves every vector (mv, mva) it is a single-object descriptor.
//
// 32f: sums, N and t are formed in double; each y[i] and x[i] is rounded once, when it is
// stored, and later steps read the stored value.
#pragma once

#include "decomp/qr.h"
#include "frame/checks.h"
#include "frame/layout.h"

namespace olvm::decomp {

template <class Mat, class T, class Rhs, class Dst>
OLVM_INLINE void qr_solve_one(const Mat& a, T* y, const Rhs& b, const Dst& x, unsigned n,
                              unsigned w, unsigned h) {
    auto D = [&](unsigned i, unsigned j) { return static_cast<double>(*a.at(n, i, j, w)); };
    auto X = [&](unsigned k) { return x.at(n, 0, k, w); };

    for (unsigned i = 0; i < h; ++i) y[i] = *b.at(n, 0, i, h);

    const unsigned p = qr_reflectors(w, h);
    for (unsigned k = 0; k < p; ++k) {
        double norm = 1.0;
        for (unsigned i = k + 1; i < h; ++i) {
            const double d = D(i, k);
            norm += d * d;
        }
        double s = static_cast<double>(y[k]);
        for (unsigned i = k + 1; i < h; ++i) s += D(i, k) * static_cast<double>(y[i]);
        const double t = s * (-2.0 / norm);
        y[k] = static_cast<T>(static_cast<double>(y[k]) + t);
        for (unsigned i = k + 1; i < h; ++i) y[i] = static_cast<T>(D(i, k) * t + static_cast<double>(y[i]));
    }

    const unsigned last = w - 1;
    *X(last) = static_cast<T>(static_cast<double>(y[last]) / D(last, last));
    for (unsigned i = last; i-- > 0;) {
        double s = 0.0;
        for (unsigned j = i + 1; j < w; ++j) s += D(i, j) * static_cast<double>(*X(j));
        *X(i) = static_cast<T>((static_cast<double>(y[i]) - s) / D(i, i));
    }
}

template <class Mode, class Shape, class Mat, class T, class Rhs, class Dst>
OLVM_INLINE OlvResult qr_back_subst(Mode mode, Shape sh, Mat a, T* buffer, Rhs b, Dst x) {
    if (frame::any_null(a, b, x) || buffer == nullptr) return olvResultNullPointer;
    if (sh.empty()) return olvResultBadSize;
    const unsigned w = sh.w, h = sh.h;
    // Table entries: the whole matrix table, then right-hand side and destination entry
    // by entry over the first `width` entries only; the right-hand side's entries from
    // `width` on are read unchecked.
    if (frame::table_null(a, w * h)) return olvResultNullPointer;
    for (unsigned k = 0; k < w; ++k)
        if (frame::entry_null(b, k) || frame::entry_null(x, k)) return olvResultNullPointer;
    if constexpr (Mode::array) {
        if (mode.count == 0) return olvResultOk;
    }
    for (unsigned n = 0; n < mode.count; ++n) {
        if (frame::objects_null(n, a, b, x)) return olvResultNullPointer;
        qr_solve_one(a, buffer, b, x, n, w, h);
    }
    return olvResultOk;
}

}  // namespace olvm::decomp
