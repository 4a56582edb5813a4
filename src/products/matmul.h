// Matrix-matrix product C = A * B, either source possibly transposed and either possibly
// an array (multiplied object by object; a single source is reused for every object).
//
// Whatever the transposition, C has M = src1Height rows and N = src2Width columns, and
// each element sums K = src2Height terms; src1Width only takes part in the size tests and
// in the number of table entries checked. Every element is zeroed before its sum and then
// receives the running sum after every term, the way its layout does (running_sum.h).
#pragma once

#include "frame/checks.h"
#include "frame/layout.h"
#include "products/matmul_job.h"
#include "products/running_sum.h"
#include "paths/dispatch.h"

namespace olvm::products {

enum class Size { src1Width, src1Height, src2Width, src2Height };

// The size arguments of a generic member, with its size-test row: Z1..Z3 must not be zero
// and E1 must equal E2. The rows differ per operand code and are not all the pattern one
// would derive from the shapes; they are applied exactly as given.
template <Size Z1, Size Z2, Size Z3, Size E1, Size E2>
struct Generic {
    unsigned src1Width, src1Height, src2Width, src2Height;

    unsigned get(Size s) const {
        switch (s) {
            case Size::src1Width: return src1Width;
            case Size::src1Height: return src1Height;
            case Size::src2Width: return src2Width;
            default: return src2Height;
        }
    }
    bool bad() const {
        return get(Z1) == 0 || get(Z2) == 0 || get(Z3) == 0 || get(E1) != get(E2);
    }
};

// Fixed-size members: all three matrices square of order O, no size test.
template <unsigned O>
struct Square {
    static constexpr unsigned src1Width = O, src1Height = O, src2Width = O, src2Height = O;
    static constexpr bool bad() { return false; }
};

template <class Sizes>
inline constexpr unsigned fixed_order = 0;
template <unsigned O>
inline constexpr unsigned fixed_order<Square<O>> = O;

template <class Batch = paths::Default, class Mode, class Sizes, class C, class A, class B>
OLVM_INLINE OlvResult matmul(Mode mode, Sizes sz, C c, A a, B b) {
    using T = typename C::Value;
    using CD = typename C::Desc;
    // Single-object P members test table entries while computing.
    constexpr bool checking = !Mode::array && frame::is_table<CD>;
    constexpr bool through = through_element<CD>;

    if (frame::any_null(a, b, c)) return olvResultNullPointer;
    if (sz.bad()) return olvResultBadSize;
    if constexpr (Mode::array) {
        // The destination count is src1Width * src2Height, not M * N: kept as it stands.
        if (frame::table_null(a, sz.src1Width * sz.src1Height) ||
            frame::table_null(b, sz.src2Width * sz.src2Height) ||
            frame::table_null(c, sz.src1Width * sz.src2Height))
            return olvResultNullPointer;
        if (mode.count == 0) return olvResultOk;
    }

    const unsigned M = sz.src1Height, N = sz.src2Width, K = sz.src2Height;
    // Row lengths of the matrices as stored, which fix their table entries: an untransposed
    // A keeps its own width, a transposed one is stored with M entries a row.
    const unsigned a_row = A::transposed ? M : sz.src1Width;
    const unsigned b_row = B::transposed ? K : N;

    unsigned first = 0;  // objects finished by a batch kernel
    if constexpr (Mode::array && fixed_order<Sizes> != 0) {
        const MulJob job{fixed_order<Sizes>, mode.count, through,
                         frame::place_of(a), frame::place_of(b), frame::place_of(c)};
        first = Batch::run(job, T());
    }
    for (unsigned n = first; n < mode.count; ++n) {
        if (frame::objects_null(n, a, b, c)) return olvResultNullPointer;
        for (unsigned i = 0; i < M; ++i) {
            for (unsigned j = 0; j < N; ++j) {
                if constexpr (checking) {
                    if (frame::held_entry_null(c, i, j, N)) return olvResultNullPointer;
                }
                RunningSum<T, through> sum(c.at(n, i, j, N));
                for (unsigned k = 0; k < K; ++k) {
                    if constexpr (checking) {
                        if (frame::held_entry_null(a, i, k, a_row) ||
                            frame::held_entry_null(b, k, j, b_row))
                            return olvResultNullPointer;
                    }
                    sum.add(frame::widen(*a.at(n, i, k, a_row)) * frame::widen(*b.at(n, k, j, b_row)));
                }
            }
        }
    }
    return olvResultOk;
}

}  // namespace olvm::products
