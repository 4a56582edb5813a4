// Determinant of a square matrix, or of every matrix of an array.
//
// Generic sizes eliminate in the caller's scratch buffer (eliminate.h). The result
// variable itself holds the running product: it is set to 1, and after each pivot of
// columns 0 .. n-2 it receives its previous value times the pivot, rounded to the element
// type; the last of these products goes on unrounded into the final step, result =
// product * (last pivot * sign). A pivot below the threshold makes the determinant 0 with
// olvResultOk. Arrays do not stop there: the product becomes 0 and the last-pivot step
// still runs on W as it stands, so a zero carrying the sign of (last pivot * sign) can
// result.
//
// Fixed sizes expand by cofactors in double from the elements, rounded once on store,
// with no threshold: the 2x2 minors of the last two rows first, then one row above at a
// time, each minor expanded along its top row, the full determinant along row 0.
#pragma once

#include <array>
#include <cstddef>

#include "characteristics/eliminate.h"
#include "frame/checks.h"
#include "frame/layout.h"

namespace olvm::characteristics {

namespace detail {

// The column sets of the minors of the bottom rows of an order-N matrix, as bit masks,
// grouped by size: masks of `size` columns in increasing order of value.
template <unsigned N>
struct ColumnSets {
    static constexpr unsigned all = (1u << N) - 1;
    static constexpr unsigned bits(unsigned m) {
        unsigned c = 0;
        for (; m; m &= m - 1) ++c;
        return c;
    }
    static constexpr unsigned how_many(unsigned size) {
        unsigned c = 0;
        for (unsigned m = 0; m <= all; ++m) c += bits(m) == size;
        return c;
    }
    template <unsigned Size>
    static constexpr std::array<unsigned, how_many(Size)> of_size() {
        std::array<unsigned, how_many(Size)> out{};
        unsigned k = 0;
        for (unsigned m = 0; m <= all; ++m)
            if (bits(m) == Size) out[k++] = m;
        return out;
    }
};

// minor[S]: determinant of rows N-|S| .. N-1 over the columns in S. Each minor of size
// s > 2 is expanded along its top row: the sum, in increasing column order, of
// +-a(r, c) * minor[S without c], started from its first term.
template <unsigned N, unsigned Size>
OLVM_INLINE void expand_row(const double (&a)[N][N], double (&minor)[1u << N]) {
    constexpr unsigned r = N - Size;
    for (unsigned S : ColumnSets<N>::template of_size<Size>()) {
        double sum = 0.0;
        bool first = true, negative = false;
        for (unsigned c = 0; c < N; ++c) {
            if (!(S & (1u << c))) continue;
            const double term = minor[S & ~(1u << c)] * a[r][c];
            sum = first ? (negative ? -term : term) : (negative ? sum - term : sum + term);
            first = false;
            negative = !negative;
        }
        minor[S] = sum;
    }
    if constexpr (Size < N) expand_row<N, Size + 1>(a, minor);
}

template <unsigned N>
OLVM_INLINE double laplace(const double (&a)[N][N]) {
    double minor[1u << N];
    for (unsigned c1 = 0; c1 < N; ++c1)
        for (unsigned c2 = c1 + 1; c2 < N; ++c2)
            minor[(1u << c1) | (1u << c2)] = a[N - 2][c1] * a[N - 1][c2] - a[N - 1][c1] * a[N - 2][c2];
    expand_row<N, 3>(a, minor);
    return minor[ColumnSets<N>::all];
}

}  // namespace detail

// Fixed sizes. Every table entry (P and PS2 alike) is tested before anything is computed;
// arrays test them before `count`.
template <bool entries_while_reading, class Mode, unsigned N, class Src, class T>
OLVM_INLINE OlvResult det(Mode mode, frame::Fixed<N, N>, Src src, T* result) {
    static_assert(!entries_while_reading, "fixed-size determinants test all table entries first");
    if (frame::any_null(src) || result == nullptr) return olvResultNullPointer;
    if (frame::tables_null(N * N, src)) return olvResultNullPointer;
    for (unsigned obj = 0; obj < mode.count; ++obj) {
        if (frame::objects_null(obj, src)) return olvResultNullPointer;
        double a[N][N];
        for (unsigned i = 0; i < N; ++i)
            for (unsigned j = 0; j < N; ++j) a[i][j] = frame::widen(*src.at(obj, i, j, N));
        result[obj] = static_cast<T>(detail::laplace<N>(a));
    }
    return olvResultOk;
}

// Generic size n: `buffer` holds scratch_bytes<T>(n) bytes (W, then the row indices).
// `entries_while_reading`: the P members test each source table entry while the matrix
// is copied into W, after its result has been set to 1. PS2 members test every entry
// before `count`.
template <bool entries_while_reading, class Mode, class Src, class T>
OLVM_INLINE OlvResult det(Mode mode, frame::Dims sh, Src src, T* buffer, T* result) {
    if (frame::any_null(src) || result == nullptr || buffer == nullptr) return olvResultNullPointer;
    if (sh.empty()) return olvResultBadSize;
    const unsigned n = sh.w;
    if constexpr (!entries_while_reading) {
        if (frame::tables_null(n * n, src)) return olvResultNullPointer;
    }
    const Scratch<T> s = Scratch<T>::over(buffer, n);
    for (unsigned obj = 0; obj < mode.count; ++obj) {
        if (frame::objects_null(obj, src)) return olvResultNullPointer;
        T* out = result + obj;
        *out = T(1);
        for (unsigned i = 0; i < n; ++i)
            for (unsigned j = 0; j < n; ++j) {
                if constexpr (entries_while_reading) {
                    if (frame::held_entry_null(src, i, j, n)) return olvResultNullPointer;
                }
                s.at(i, j) = *src.at(obj, i, j, n);
            }
        s.reset_index(n);

        double sign = 1.0;
        double product = 1.0;  // the last value stored in *out, before its rounding
        const unsigned stop = eliminate(s, n, sign, [&](T p) {
            product = frame::widen(*out) * frame::widen(p);
            *out = static_cast<T>(product);
        });
        if (stop != n - 1) {
            *out = T(0);
            if constexpr (!Mode::array) return olvResultOk;
            product = 0.0;
        }
        const T q = s.logical(n - 1, n - 1);
        *out = last_pivot_fails(q) ? T(0) : static_cast<T>(product * (frame::widen(q) * sign));
    }
    return olvResultOk;
}

}  // namespace olvm::characteristics
