// Element-wise sum and difference of two operands (matrices, vectors, arrays of them,
// or a vector and a constant). Each result element depends only on the source elements
// at its own position: sources are read before the element is written, so a
// destination identical to a source works in place.
//
// 32f elements are widened to double, combined in double and rounded once on store.
#pragma once

#include "elementwise/combine_job.h"
#include "frame/checks.h"
#include "frame/layout.h"
#include "paths/dispatch.h"

namespace olvm::elementwise {

struct Add {
    static double apply(double a, double b) { return a + b; }
};
struct Sub {
    static double apply(double a, double b) { return a - b; }
};

template <class X, class Shape>
OLVM_INLINE double load(const X& x, unsigned n, unsigned i, unsigned j, const Shape& sh) {
    if constexpr (std::is_same_v<X, frame::Const>) {
        (void)n, (void)i, (void)j, (void)sh;
        return x.value;
    } else {
        return frame::widen(*x.at(n, i, j, sh));
    }
}

template <class Op, class Batch = paths::Default, class Mode, class Shape, class Dst, class A, class B>
OLVM_INLINE OlvResult combine(Mode mode, Shape sh, Dst dst, A a, B b) {
    using T = typename Dst::Value;
    if (frame::any_null(a, b, dst)) return olvResultNullPointer;
    if (sh.empty()) return olvResultBadSize;
    if constexpr (Mode::array) {
        if (frame::tables_null(sh.w * sh.h, a, b, dst)) return olvResultNullPointer;
        if (mode.count == 0) return olvResultOk;
    }
    unsigned first = 0;  // objects finished by a batch kernel (sums and differences only)
    if constexpr (Mode::array && (std::is_same_v<Op, Add> || std::is_same_v<Op, Sub>)) {
        const CombineJob job{std::is_same_v<Op, Sub>, sh.w, sh.h, mode.count,
                             frame::place_of(a), frame::place_of(b), frame::place_of(dst)};
        first = Batch::run(job, T());
    }
    for (unsigned n = first; n < mode.count; ++n) {
        if (frame::objects_null(n, dst, a, b)) return olvResultNullPointer;
        for (unsigned i = 0; i < sh.h; ++i) {
            for (unsigned j = 0; j < sh.w; ++j) {
                if constexpr (!Mode::array) {
                    if (frame::element_null(i, j, sh, dst, a, b)) return olvResultNullPointer;
                }
                const double r = Op::apply(load(a, n, i, j, sh), load(b, n, i, j, sh));
                *dst.at(n, i, j, sh) = static_cast<T>(r);
            }
        }
    }
    return olvResultOk;
}

}  // namespace olvm::elementwise
