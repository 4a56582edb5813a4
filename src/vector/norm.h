// Euclidean norm of a vector, or of each vector of an array: the square root of the sum
// of squares, summed in ascending order from 0.0 like a dot product, taken in double and
// stored once, rounded to the element type; results go to pDstVal or next to each other
// from pDst, as for dot products.
//
// The sum of squares behaves as double arithmetic with an unbounded exponent: no finite
// input overflows or underflows before the stored result. Squares of 32f elements and
// their sums never leave the range of double, so 32f norms are plain double arithmetic.
// 64f norms are summed in plain double first; only when that overflowed, or a square
// underflowed early enough to change the sum, is the object summed again, exactly as with
// a wider exponent (wide::Sum). Wherever plain double neither overflows nor underflows
// the two agree bit for bit, so ordinary inputs pay one look at their leading element.
#pragma once

#include <cfloat>
#include <cmath>
#include <type_traits>

#include "vector/steps.h"

namespace olvm::vector {

namespace wide {

// 2^k, exactly, for -1022 <= k <= 1023.
inline double pow2(int k) { return std::ldexp(1.0, k); }

// x * 2^k rounded once, for x in [0.5, 2) and |k| up to 2000: the first half of the
// scaling cannot leave the normal range, so only the second rounds.
inline double scaled(double x, int k) {
    const int h = k / 2;
    return x * pow2(h) * pow2(k - h);
}

// A non-negative sum p * 2^e, p = 0 or in [0.5, 1), e any int: double significands with an
// unbounded exponent. Each addition is one double addition of the two terms brought to a
// common scale by exact powers of two; a term too small to be brought there lies below
// half an ulp of the other and cannot change the rounded sum, so it is dropped.
struct Sum {
    double p = 0.0;
    int e = 0;

    // Adds m * 2^k, m in [0.25, 1).
    void add(double m, int k) {
        if (p == 0.0) {
            p = m;
            e = k;
        } else if (k <= e) {
            if (k - e >= -1020) p += m * pow2(k - e);
        } else {
            p = (e - k >= -1020 ? p * pow2(e - k) : 0.0) + m;
            e = k;
        }
        int x;
        p = std::frexp(p, &x);
        e += x;
    }

    // The square root, taken with double significand and rounded once into double.
    double root() const {
        if (p == 0.0) return 0.0;
        const bool odd = (e & 1) != 0;
        return scaled(std::sqrt(odd ? 2.0 * p : p), (odd ? e - 1 : e) / 2);
    }
};

// The norm of object n with the sum of squares kept in a Sum; the plain result `plain`
// where an element is infinite or NaN, which pass through the plain arithmetic.
template <class X, class Shape>
double root_of_squares(const X& x, unsigned n, const Shape& sh, double plain) {
    Sum s;
    for (unsigned i = 0; i < sh.w; ++i) {
        const double a = element(x, n, i, sh);
        if (!std::isfinite(a)) return plain;
        if (a == 0.0) continue;
        int k;
        const double f = std::frexp(a, &k);  // a = f * 2^k, f in [0.5, 1)
        s.add(f * f, 2 * k);
    }
    return s.root();
}

// Whether a square that underflowed went into the sum while the sum was small enough for
// it to matter. A square below the smallest normal double added to a sum of at least
// 2^-968 lies below half an ulp of that sum and leaves it unchanged, in plain double and
// with a wider exponent alike; so only the squares before the first one of 2^-968 or
// more can make a difference (for ordinary inputs: none, the first square is that large).
template <class X, class Shape>
bool early_underflow(const X& x, unsigned n, const Shape& sh) {
    for (unsigned i = 0; i < sh.w; ++i) {
        const double a = element(x, n, i, sh);
        const double sq = a * a;
        if (sq >= 0x1p-968) return false;
        if (sq <= DBL_MIN && a != 0.0) return true;
    }
    return false;
}

}  // namespace wide

template <class Mode, class Shape, class T, class A>
OLVM_INLINE OlvResult l2_norm(Mode mode, Shape sh, T* out, A a) {
    constexpr bool may_leave_range = std::is_same_v<T, double>;
    if (const OlvResult rc = before_objects(mode, sh, a, out); rc != proceed) return rc;
    for (unsigned n = 0; n < mode.count; ++n) {
        if (frame::objects_null(n, a)) return olvResultNullPointer;
        double sum = 0.0;
        for (unsigned i = 0; i < sh.w; ++i) {
            // Single P vectors test their entries while summing; nothing is stored yet.
            if constexpr (!Mode::array) {
                if (frame::entry_null(a, i)) return olvResultNullPointer;
            }
            const double x = element(a, n, i, sh);
            sum += x * x;
        }
        double root = std::sqrt(sum);
        if constexpr (may_leave_range) {
            if (sum == HUGE_VAL || wide::early_underflow(a, n, sh))
                root = wide::root_of_squares(a, n, sh, root);
        }
        out[n] = static_cast<T>(root);
    }
    return olvResultOk;
}

}  // namespace olvm::vector
