// Inverse of one square matrix or of each matrix of an array.
//
// Two designs share the family:
//   - generic order n: the adjugate divided by the determinant, every determinant (the
//     matrix's and the n*n minors') found by the generic determinant's elimination with
//     row pivoting (eliminate.h) in the caller's buffer;
//   - fixed orders: closed cofactor formulas for 3x3 and 4x4, a column-pivoted block
//     inversion for 5x5 and 6x6.
// The generic, 3x3 and 4x4 designs read the source again after they have begun writing,
// so source and destination must not overlap. Array objects are inverted in order; the
// first singular one ends the call.
//
// 32f: every product and sum is formed in double from the widened elements; the working
// matrix of the generic order is stored in single precision (each elimination update is
// rounded), determinants and scales stay in double, and each destination element is
// rounded once on store (4x4: the stored, rounded adjugate is what gets scaled).
#pragma once

#include <cmath>
#include <cstddef>
#include <utility>

#include "characteristics/eliminate.h"
#include "frame/checks.h"
#include "frame/layout.h"

namespace olvm::characteristics {

// A fixed-order determinant inside the open band (-band, band) is singular; a band limit
// itself and a NaN pass.
template <class T>
inline constexpr double singular_band = sizeof(T) == 4 ? 1e-07 : 1e-15;

OLVM_INLINE bool in_band(double d, double band) { return -band < d && d < band; }

// ---------------------------------------------------------------------------------------
// Generic order: the elimination of eliminate.h on the matrix and on each minor

// Determinant of the order-`order` matrix held in the scratch rows: the product of the
// pivots (kept in double), times (last pivot * sign). False when a pivot fails its test.
template <class T>
OLVM_INLINE bool eliminated_det(const Scratch<T>& s, unsigned order, double& det) {
    s.reset_index(order);
    double product = 1.0, sign = 1.0;
    if (eliminate(s, order, sign, [&](T p) { product = product * frame::widen(p); }) != order - 1) return false;
    const T q = s.logical(order - 1, order - 1);
    if (last_pivot_fails(q)) return false;
    det = product * (frame::widen(q) * sign);
    return true;
}

// Object `obj` of the generic order n. `EntriesWhileCopying`: a P source tests each table
// entry as it is copied into the working matrix.
template <bool EntriesWhileCopying, class Src, class Dst>
OLVM_INLINE OlvResult invert_generic_object(const Src& src, unsigned obj, unsigned n,
                                            const Scratch<typename Dst::Value>& s, const Dst& dst) {
    using T = typename Dst::Value;
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j) {
            if constexpr (EntriesWhileCopying) {
                if (frame::held_entry_null(src, i, j, n)) return olvResultNullPointer;
            }
            s.at(i, j) = *src.at(obj, i, j, n);
        }
    double det = 0.0;
    if (!eliminated_det(s, n, det)) return olvResultZeroDivisor;
    const double inv_det = 1.0 / det;

    // Cofactors of source row i fill destination column i. Each minor is built from the
    // source into the first n-1 columns of the working rows; a singular minor counts as 0.
    // Order 1 has an empty minor, taken as 1, so its inverse is 1/a.
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j) {
            double minor = 1.0;
            if (n > 1) {
                for (unsigned r = 0; r + 1 < n; ++r)
                    for (unsigned c = 0; c + 1 < n; ++c)
                        s.at(r, c) = *src.at(obj, r < i ? r : r + 1, c < j ? c : c + 1, n);
                if (!eliminated_det(s, n - 1, minor)) minor = 0.0;
            }
            const double sign = (i + j) % 2 ? -1.0 : 1.0;
            *dst.at(obj, j, i, n) = static_cast<T>((minor * inv_det) * sign);
        }
    return olvResultOk;
}

// Generic order: `buffer` holds scratch_bytes<T>(size) bytes (W, then the row indices).
// `EntriesWhileCopying` (P members): the destination table's entries are tested after
// `count`, before the first object, and the source's while each object is copied; the
// other table layouts test every entry before `count`.
template <bool EntriesWhileCopying, class Mode, class Src, class Dst>
OLVM_INLINE OlvResult invert(Mode mode, unsigned size, Src src, typename Dst::Value* buffer, Dst dst) {
    if (frame::any_null(src, dst) || buffer == nullptr) return olvResultNullPointer;
    if (size == 0) return olvResultBadSize;
    const unsigned entries = size * size;
    if constexpr (!EntriesWhileCopying) {
        if (frame::tables_null(entries, src, dst)) return olvResultNullPointer;
    }
    if constexpr (Mode::array) {
        if (mode.count == 0) return olvResultOk;
    }
    if constexpr (EntriesWhileCopying) {
        if (frame::table_null(dst, entries)) return olvResultNullPointer;
    }
    const auto s = Scratch<typename Dst::Value>::over(buffer, size);
    for (unsigned n = 0; n < mode.count; ++n) {
        if (frame::objects_null(n, src, dst)) return olvResultNullPointer;
        const OlvResult r = invert_generic_object<EntriesWhileCopying>(src, n, size, s, dst);
        if (r != olvResultOk) return r;
    }
    return olvResultOk;
}

// ---------------------------------------------------------------------------------------
// Fixed orders

// A 3x3 determinant expanded along its first column, from any element accessor.
template <class B>
OLVM_INLINE double det3_first_column(B b) {
    return b(0, 0) * (b(1, 1) * b(2, 2) - b(1, 2) * b(2, 1)) - b(1, 0) * (b(0, 1) * b(2, 2) - b(0, 2) * b(2, 1)) +
           b(2, 0) * (b(0, 1) * b(1, 2) - b(0, 2) * b(1, 1));
}

// 3x3: the determinant, the band test, then the destination row by row, reading the
// source again for each element.
template <class Src, class Dst>
OLVM_INLINE OlvResult invert3(const Src& src, unsigned n, const Dst& dst) {
    using T = typename Dst::Value;
    auto a = [&](unsigned i, unsigned j) { return static_cast<double>(*src.at(n, i, j, 3u)); };
    const double d = a(0, 0) * (a(1, 1) * a(2, 2) - a(1, 2) * a(2, 1)) +
                     (a(1, 2) * a(2, 0) - a(2, 2) * a(1, 0)) * a(0, 1) +
                     (a(1, 0) * a(2, 1) - a(1, 1) * a(2, 0)) * a(0, 2);
    if (in_band(d, singular_band<T>)) return olvResultZeroDivisor;
    const double r = 1.0 / d;
    auto put = [&](unsigned i, unsigned j, double v) { *dst.at(n, i, j, 3u) = static_cast<T>(v * r); };
    put(0, 0, a(1, 1) * a(2, 2) - a(1, 2) * a(2, 1));
    put(0, 1, a(0, 2) * a(2, 1) - a(0, 1) * a(2, 2));
    put(0, 2, a(0, 1) * a(1, 2) - a(0, 2) * a(1, 1));
    put(1, 0, a(1, 2) * a(2, 0) - a(1, 0) * a(2, 2));
    put(1, 1, a(0, 0) * a(2, 2) - a(0, 2) * a(2, 0));
    put(1, 2, a(0, 2) * a(1, 0) - a(0, 0) * a(1, 2));
    put(2, 0, a(1, 0) * a(2, 1) - a(1, 1) * a(2, 0));
    put(2, 1, a(0, 1) * a(2, 0) - a(0, 0) * a(2, 1));
    put(2, 2, a(0, 0) * a(1, 1) - a(0, 1) * a(1, 0));
    return olvResultOk;
}

// 4x4: the adjugate goes straight into the destination (and stays there when the
// determinant fails the band test); the determinant is formed from its stored, rounded
// first row, and every element is then read back and scaled.
template <class Src, class Dst>
OLVM_INLINE OlvResult invert4(const Src& src, unsigned n, const Dst& dst) {
    using T = typename Dst::Value;
    auto a = [&](unsigned i, unsigned j) { return static_cast<double>(*src.at(n, i, j, 4u)); };
    auto D = [&](unsigned i, unsigned j) { return dst.at(n, i, j, 4u); };
    for (unsigned r = 0; r < 4; ++r)
        for (unsigned c = 0; c < 4; ++c) {
            // Cofactor of source element (c, r): the minor without row c and column r.
            const double minor = det3_first_column(
                [&](unsigned x, unsigned y) { return a(x < c ? x : x + 1, y < r ? y : y + 1); });
            *D(r, c) = static_cast<T>((r + c) % 2 ? -minor : minor);
        }
    auto adj = [&](unsigned j) { return static_cast<double>(*D(0, j)); };
    const double d = a(1, 0) * adj(1) + a(2, 0) * adj(2) + a(3, 0) * adj(3) + a(0, 0) * adj(0);
    if (in_band(d, singular_band<T>)) return olvResultZeroDivisor;
    const double r = 1.0 / d;
    for (unsigned i = 0; i < 4; ++i)
        for (unsigned j = 0; j < 4; ++j) *D(i, j) = static_cast<T>(static_cast<double>(*D(i, j)) * r);
    return olvResultOk;
}

// 5x5 (leading block K = 2) and 6x6 (K = 3): with the columns reordered by pivoting,
// A P = [B B'; C D], inv(A P) = [B^-1 + E S^-1 F, -E S^-1; -S^-1 F, S^-1] where
// E = B^-1 B', F = C B^-1 and S = D - C E is the 3x3 Schur complement. Row i of inv(A P)
// is row col[i] of inv(A). Everything is computed in double before the first write.
template <unsigned N, class Src, class Dst>
OLVM_INLINE OlvResult invert_blocks(const Src& src, unsigned n, const Dst& dst) {
    using T = typename Dst::Value;
    constexpr unsigned K = N - 3, M = 3;
    constexpr double band = singular_band<T>;
    double a[N][N];
    for (unsigned i = 0; i < N; ++i)
        for (unsigned j = 0; j < N; ++j) a[i][j] = static_cast<double>(*src.at(n, i, j, N));

    // Pivot columns: position p takes the remaining column that maximises the magnitude
    // of the leading p+1 order determinant over rows 0..p; a later candidate must be
    // strictly larger.
    unsigned col[N];
    for (unsigned j = 0; j < N; ++j) col[j] = j;
    auto lead_det = [&](unsigned order, unsigned last) {
        auto b = [&](unsigned x, unsigned y) { return a[x][y + 1 < order ? col[y] : last]; };
        if (order == 1) return b(0, 0);
        if (order == 2) return b(0, 0) * b(1, 1) - b(1, 0) * b(0, 1);
        return det3_first_column(b);
    };
    for (unsigned p = 0; p < K; ++p) {
        unsigned best = p;
        double largest = std::fabs(lead_det(p + 1, col[p]));
        for (unsigned j = p + 1; j < N; ++j) {
            const double m = std::fabs(lead_det(p + 1, col[j]));
            if (m > largest) {
                largest = m;
                best = j;
            }
        }
        std::swap(col[p], col[best]);
    }

    // Leading block and its inverse by cofactors.
    double B[K][K], Bi[K][K];
    for (unsigned i = 0; i < K; ++i)
        for (unsigned j = 0; j < K; ++j) B[i][j] = a[i][col[j]];
    const double det_b = lead_det(K, col[K - 1]);
    if (in_band(det_b, band)) return olvResultZeroDivisor;
    const double rb = 1.0 / det_b;
    if constexpr (K == 2) {
        Bi[0][0] = B[1][1] * rb;
        Bi[0][1] = -B[0][1] * rb;
        Bi[1][0] = -B[1][0] * rb;
        Bi[1][1] = B[0][0] * rb;
    } else {
        for (unsigned i = 0; i < 3; ++i)
            for (unsigned j = 0; j < 3; ++j) {
                const unsigned r0 = (j + 1) % 3, r1 = (j + 2) % 3, c0 = (i + 1) % 3, c1 = (i + 2) % 3;
                Bi[i][j] = (B[r0][c0] * B[r1][c1] - B[r0][c1] * B[r1][c0]) * rb;
            }
    }

    // E = B^-1 B' (K x 3), F = C B^-1 (3 x K), S = D - C E.
    double E[K][M], F[M][K], S[M][M];
    for (unsigned i = 0; i < K; ++i)
        for (unsigned j = 0; j < M; ++j) {
            double s = 0.0;
            for (unsigned k = 0; k < K; ++k) s += Bi[i][k] * a[k][col[K + j]];
            E[i][j] = s;
        }
    for (unsigned i = 0; i < M; ++i)
        for (unsigned j = 0; j < K; ++j) {
            double s = 0.0;
            for (unsigned k = 0; k < K; ++k) s += a[K + i][col[k]] * Bi[k][j];
            F[i][j] = s;
        }
    for (unsigned i = 0; i < M; ++i)
        for (unsigned j = 0; j < M; ++j) {
            double s = a[K + i][col[K + j]];
            for (unsigned k = 0; k < K; ++k) s -= a[K + i][col[k]] * E[k][j];
            S[i][j] = s;
        }
    const double det_s = det3_first_column([&](unsigned x, unsigned y) { return S[x][y]; });
    if (in_band(det_s, band)) return olvResultZeroDivisor;
    const double rs = 1.0 / det_s;
    double Si[M][M];
    for (unsigned i = 0; i < 3; ++i)
        for (unsigned j = 0; j < 3; ++j) {
            const unsigned r0 = (j + 1) % 3, r1 = (j + 2) % 3, c0 = (i + 1) % 3, c1 = (i + 2) % 3;
            Si[i][j] = (S[r0][c0] * S[r1][c1] - S[r0][c1] * S[r1][c0]) * rs;
        }

    // The four blocks: X = [Bi + G F, -G; -Si F, Si] with G = E Si.
    double X[N][N], G[K][M];
    for (unsigned i = 0; i < K; ++i)
        for (unsigned j = 0; j < M; ++j) {
            double s = 0.0;
            for (unsigned k = 0; k < M; ++k) s += E[i][k] * Si[k][j];
            G[i][j] = s;
            X[i][K + j] = -s;
        }
    for (unsigned i = 0; i < K; ++i)
        for (unsigned j = 0; j < K; ++j) {
            double s = Bi[i][j];
            for (unsigned k = 0; k < M; ++k) s += G[i][k] * F[k][j];
            X[i][j] = s;
        }
    for (unsigned i = 0; i < M; ++i) {
        for (unsigned j = 0; j < K; ++j) {
            double s = 0.0;
            for (unsigned k = 0; k < M; ++k) s += Si[i][k] * F[k][j];
            X[K + i][j] = -s;
        }
        for (unsigned j = 0; j < M; ++j) X[K + i][K + j] = Si[i][j];
    }
    for (unsigned i = 0; i < N; ++i)
        for (unsigned j = 0; j < N; ++j) *dst.at(n, col[i], j, N) = static_cast<T>(X[i][j]);
    return olvResultOk;
}

template <unsigned N, class Src, class Dst>
OLVM_INLINE OlvResult invert_fixed_object(const Src& src, unsigned n, const Dst& dst) {
    if constexpr (N == 3) return invert3(src, n, dst);
    else if constexpr (N == 4) return invert4(src, n, dst);
    else return invert_blocks<N>(src, n, dst);
}

// Fixed order N: no size, no buffer.
template <unsigned N, class Mode, class Src, class Dst>
OLVM_INLINE OlvResult invert(Mode mode, Src src, Dst dst) {
    if (frame::any_null(src, dst)) return olvResultNullPointer;
    if constexpr (Mode::array) {
        if (frame::tables_null(N * N, src, dst)) return olvResultNullPointer;
        if (mode.count == 0) return olvResultOk;
    } else {
        // A single P matrix: source and destination entries in pairs, before any arithmetic.
        for (unsigned k = 0; k < N * N; ++k)
            if (frame::entry_null(src, k) || frame::entry_null(dst, k)) return olvResultNullPointer;
    }
    for (unsigned n = 0; n < mode.count; ++n) {
        if (frame::objects_null(n, src, dst)) return olvResultNullPointer;
        const OlvResult r = invert_fixed_object<N>(src, n, dst);
        if (r != olvResultOk) return r;
    }
    return olvResultOk;
}

}  // namespace olvm::characteristics
