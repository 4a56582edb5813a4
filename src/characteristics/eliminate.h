// Gaussian elimination with row pivoting through an index vector, in a caller's scratch
// buffer: the working step of the generic-size determinant (and of the generic inverse,
// which runs it on the matrix and on each of its minors).
//
// The buffer holds a working matrix W of `stride` rows of `stride` elements (row r at
// element r * stride) followed directly by `stride` row indices, 32-bit unsigned. An
// elimination of order n <= stride uses rows and columns 0 .. n-1 of W; rows of W never
// move, logical row i is W row index[i].
//
// Unlike the LU decomposition, the pivot search keeps the current row unless a later one
// is strictly larger (a NaN never wins), the multipliers are neither rounded nor stored,
// and the threshold depends on the element type, so the two are kept apart.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "frame/layout.h"

namespace olvm::characteristics {

// Pivot threshold of the generic sizes: the machine epsilon of the element type.
template <class T>
inline constexpr double pivot_threshold = sizeof(T) == 4 ? 1.1920928955078125e-07 : 2.220446049250313e-16;

// Pivots of columns 0 .. n-2 fail below the threshold, the last pivot also on equality.
// A NaN passes both.
template <class T>
OLVM_INLINE bool pivot_fails(T p) {
    return static_cast<double>(std::fabs(p)) < pivot_threshold<T>;
}
template <class T>
OLVM_INLINE bool last_pivot_fails(T q) {
    return static_cast<double>(std::fabs(q)) <= pivot_threshold<T>;
}

// Bytes of scratch buffer for order n: n * n elements, then n 32-bit row indices.
template <class T>
constexpr std::size_t scratch_bytes(unsigned n) {
    return std::size_t(n) * n * sizeof(T) + std::size_t(n) * sizeof(std::uint32_t);
}

template <class T>
struct Scratch {
    T* w;
    std::uint32_t* index;
    unsigned stride;

    static OLVM_INLINE Scratch over(T* buffer, unsigned n) {
        return {buffer, reinterpret_cast<std::uint32_t*>(buffer + std::size_t(n) * n), n};
    }
    OLVM_INLINE T& at(unsigned row, unsigned col) const { return w[std::size_t(row) * stride + col]; }
    // Element (i, col) of logical row i.
    OLVM_INLINE T& logical(unsigned i, unsigned col) const { return at(index[i], col); }
    OLVM_INLINE void reset_index(unsigned n) const {
        for (unsigned i = 0; i < n; ++i) index[i] = i;
    }
};

// Eliminates columns 0 .. n-2 of the order-n matrix in `s` (index vector set by the
// caller), negating `sign` at every row exchange and handing each pivot to `on_pivot`
// once its column is eliminated. Returns the column whose pivot failed the threshold
// (that column's exchange done, its rows not updated), or n - 1 when every pivot passed;
// the last pivot, s.logical(n - 1, n - 1), is then left to the caller.
//
// 32f: multipliers and updates are formed in double; each update is rounded to single
// when it is stored into W.
template <class T, class OnPivot>
OLVM_INLINE unsigned eliminate(const Scratch<T>& s, unsigned n, double& sign, OnPivot on_pivot) {
    for (unsigned k = 0; k + 1 < n; ++k) {
        unsigned best = k;
        T largest = std::fabs(s.logical(k, k));
        for (unsigned j = k + 1; j < n; ++j) {
            const T m = std::fabs(s.logical(j, k));
            if (m > largest) {
                largest = m;
                best = j;
            }
        }
        if (best != k) {
            const std::uint32_t r = s.index[k];
            s.index[k] = s.index[best];
            s.index[best] = r;
            sign = -sign;
        }
        const T p = s.logical(k, k);
        if (pivot_fails(p)) return k;
        const T* pivot_row = &s.at(s.index[k], 0);
        for (unsigned j = k + 1; j < n; ++j) {
            T* row = &s.at(s.index[j], 0);
            const double minus_f = -(static_cast<double>(row[k]) / static_cast<double>(p));
            for (unsigned c = k + 1; c < n; ++c)
                row[c] = static_cast<T>(static_cast<double>(row[c]) + minus_f * static_cast<double>(pivot_row[c]));
        }
        on_pivot(p);
    }
    return n - 1;
}

}  // namespace olvm::characteristics
