// Matrix-vector product y = A * x, A possibly transposed, A and x each possibly an array
// (multiplied object by object; a single operand is reused for every object).
//
// y has M = src1Height elements, each the sum of K = src1Width terms a(i, k) * x(k) in
// ascending k, received by y(i) the way its layout does (running_sum.h). A transposed A
// is stored as K rows of M elements and read column by column.
#pragma once

#include "frame/checks.h"
#include "frame/layout.h"
#include "products/running_sum.h"

namespace olvm::products {

// The size arguments of a generic member. The vector's length must equal src1Width for an
// untransposed matrix but src1Height for a transposed one, although a transposed member
// still reads src1Width elements of the vector: the two rules agree only for square
// matrices, and the transposed one is kept as it stands. src2Len is never tested for zero
// itself; it must equal a size that is.
struct VectorSizes {
    unsigned src1Width, src1Height, src2Len;

    template <bool Transposed>
    bool bad() const {
        return src1Width == 0 || src1Height == 0 ||
               src2Len != (Transposed ? src1Height : src1Width);
    }
};

// Fixed-size members: a square matrix of order O and a vector of O elements; no size test.
template <unsigned O>
struct SquareVector {
    static constexpr unsigned src1Width = O, src1Height = O;
    template <bool>
    static constexpr bool bad() { return false; }
};

template <class Mode, class Sizes, class Y, class A, class X>
OLVM_INLINE OlvResult matvec(Mode mode, Sizes sz, Y y, A a, X x) {
    using T = typename Y::Value;
    using YD = typename Y::Desc;
    // Single-object P members test table entries while computing.
    constexpr bool checking = !Mode::array && frame::is_table<YD>;

    if (frame::any_null(a, x, y)) return olvResultNullPointer;
    if (sz.template bad<A::transposed>()) return olvResultBadSize;
    const unsigned M = sz.src1Height, K = sz.src1Width;
    if constexpr (Mode::array) {
        if (frame::table_null(a, K * M) || frame::table_null(x, K) || frame::table_null(y, M))
            return olvResultNullPointer;
        if (mode.count == 0) return olvResultOk;
    }

    // Row length of A as stored, which fixes its table entries.
    const unsigned a_row = A::transposed ? M : K;
    for (unsigned n = 0; n < mode.count; ++n) {
        if (frame::objects_null(n, a, x, y)) return olvResultNullPointer;
        for (unsigned i = 0; i < M; ++i) {
            if constexpr (checking) {
                if (frame::entry_null(y, i)) return olvResultNullPointer;
            }
            RunningSum<T, through_element<YD>> sum(y.at(n, 0, i, M));
            for (unsigned k = 0; k < K; ++k) {
                if constexpr (checking) {
                    // A's entry is tested at the row-major index of (i, k) with the stored
                    // row length; for a transposed A that mirrors the entry read, (k, i).
                    // Kept that way on purpose: the two agree only on the diagonal.
                    if (frame::entry_null(a, i * a_row + k) || frame::entry_null(x, k))
                        return olvResultNullPointer;
                }
                sum.add(frame::widen(*a.at(n, i, k, a_row)) * frame::widen(*x.at(n, 0, k, K)));
            }
        }
    }
    return olvResultOk;
}

}  // namespace olvm::products
