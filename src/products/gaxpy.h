// Generalised matrix-vector update dst = A * x + y: one matrix A (height x width), and x, y
// and dst each one vector or an array of `count` of them.
//
// dst(i) sums the terms a(i, k) * x(k) in ascending k as the matrix-vector product does
// (running_sum.h), and y(i) is added only after the whole sum, never as its starting value.
#pragma once

#include "frame/checks.h"
#include "frame/layout.h"
#include "products/running_sum.h"

namespace olvm::products {

template <class Mode, class Shape, class D, class A, class X, class Y>
OLVM_INLINE OlvResult gaxpy(Mode mode, Shape sh, D dst, A a, X x, Y y) {
    using T = typename D::Value;
    using DD = typename D::Desc;
    // Single-object P members test table entries while computing.
    constexpr bool checking = !Mode::array && frame::is_table<DD>;

    if (frame::any_null(a, x, y, dst)) return olvResultNullPointer;
    if (sh.empty()) return olvResultBadSize;
    const unsigned W = sh.w, H = sh.h;
    if constexpr (Mode::array) {
        // A's entries, then x's, then row by row the entries of y(i) and dst(i).
        if (frame::table_null(a, W * H) || frame::table_null(x, W)) return olvResultNullPointer;
        for (unsigned i = 0; i < H; ++i)
            if (frame::entry_null(y, i) || frame::entry_null(dst, i)) return olvResultNullPointer;
        if (mode.count == 0) return olvResultOk;
    }

    for (unsigned n = 0; n < mode.count; ++n) {
        if (frame::objects_null(n, x, y, dst)) return olvResultNullPointer;
        for (unsigned i = 0; i < H; ++i) {
            if constexpr (checking) {
                if (frame::entry_null(y, i) || frame::entry_null(dst, i)) return olvResultNullPointer;
            }
            RunningSum<T, through_element<DD>> sum(dst.at(n, 0, i, H));
            for (unsigned k = 0; k < W; ++k) {
                if constexpr (checking) {
                    if (frame::entry_null(x, k) || frame::entry_null(a, i * W + k))
                        return olvResultNullPointer;
                }
                sum.add(frame::widen(*a.at(n, i, k, W)) * frame::widen(*x.at(n, 0, k, W)));
            }
            sum.add_after(frame::widen(*y.at(n, 0, i, H)));
        }
    }
    return olvResultOk;
}

}  // namespace olvm::products
