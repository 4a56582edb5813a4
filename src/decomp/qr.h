// QR decomposition by Householder reflections, of one matrix or of each matrix of an
// array: A = Q R with Q = H_0 H_1 ... H_{p-1}, H_k = I + beta_k v_k v_k^T.
//
// The source is copied into the destination and reduced there. The destination ends up
// packed: R on and above the diagonal, and below the diagonal of column k the entries
// v_k[k+1..h-1] of reflector k (its leading 1 and beta_k are implied; the solver
// recomputes beta_k from the stored entries). A square matrix gets width - 1 reflectors,
// any other shape width; a matrix wider than tall therefore runs out of rows and fails
// on the first column past its height. The caller's buffer (height elements) holds the
// current reflector.
//
// The zero test compares the squared column sum, not the norm, with the threshold.
//
// 32f: S, sigma, 1/t, N and beta are formed in double; the reflector entries are rounded
// to single in the buffer while N sums the squares of the unrounded products; the column
// updates read the rounded buffer and the stored matrix and round each result on store.
#pragma once

#include <cmath>
#include <cstddef>

#include "frame/checks.h"
#include "frame/layout.h"

namespace olvm::decomp {

inline constexpr double qr_zero_threshold = 1.1920928955078125e-07;

// Number of reflectors of a height x width matrix.
OLVM_INLINE unsigned qr_reflectors(unsigned w, unsigned h) { return w == h ? w - 1 : w; }

// Reduction of object n in place in `dst`. Returns at the first column whose squared sum
// from the diagonal down is below the threshold, with the earlier reflectors applied and
// stored.
template <class Dst, class T>
OLVM_INLINE OlvResult qr_reduce(const Dst& dst, unsigned n, T* v, unsigned w, unsigned h) {
    auto D = [&](unsigned i, unsigned j) { return dst.at(n, i, j, w); };
    const unsigned p = qr_reflectors(w, h);
    for (unsigned k = 0; k < p; ++k) {
        double sum = 0.0;
        for (unsigned i = k; i < h; ++i) {
            const double d = static_cast<double>(*D(i, k));
            sum += d * d;
        }
        if (qr_zero_threshold > std::fabs(sum)) return olvResultZeroDivisor;

        // The sign that adds magnitudes; a zero diagonal takes -sigma.
        const double sigma = std::sqrt(sum);
        const double diag = static_cast<double>(*D(k, k));
        const double c = 1.0 / (0.0 >= diag ? diag - sigma : diag + sigma);
        v[k] = T(1);
        double norm = 1.0;
        for (unsigned i = k + 1; i < h; ++i) {
            const double e = static_cast<double>(*D(i, k)) * c;
            v[i] = static_cast<T>(e);
            norm += e * e;
        }
        const double beta = -2.0 / norm;

        // Column k itself is updated too; its entries below the diagonal are then
        // replaced by the reflector.
        for (unsigned j = k; j < w; ++j) {
            double s = 0.0;
            for (unsigned i = k; i < h; ++i) s += static_cast<double>(*D(i, j)) * static_cast<double>(v[i]);
            s *= beta;
            for (unsigned i = k; i < h; ++i) {
                T* e = D(i, j);
                *e = static_cast<T>(static_cast<double>(v[i]) * s + static_cast<double>(*e));
            }
        }
        for (unsigned i = k + 1; i < h; ++i) *D(i, k) = v[i];
    }
    return olvResultOk;
}

template <class Mode, class Shape, class Src, class T, class Dst>
OLVM_INLINE OlvResult qr_decomp(Mode mode, Shape sh, Src src, T* buffer, Dst dst) {
    if (frame::any_null(src, dst) || buffer == nullptr) return olvResultNullPointer;
    if (sh.empty()) return olvResultBadSize;
    const unsigned w = sh.w, h = sh.h;
    // Table entries pairwise in row-major order: source entry, then destination entry.
    for (unsigned k = 0; k < w * h; ++k)
        if (frame::entry_null(src, k) || frame::entry_null(dst, k)) return olvResultNullPointer;
    if constexpr (Mode::array) {
        if (mode.count == 0) return olvResultOk;
    }
    for (unsigned n = 0; n < mode.count; ++n) {
        if (frame::objects_null(n, src, dst)) return olvResultNullPointer;
        for (unsigned i = 0; i < h; ++i)
            for (unsigned j = 0; j < w; ++j) *dst.at(n, i, j, w) = *src.at(n, i, j, w);
        const OlvResult reduced = qr_reduce(dst, n, buffer, w, h);
        if (reduced != olvResultOk) return reduced;
    }
    return olvResultOk;
}

}  // namespace olvm::decomp
