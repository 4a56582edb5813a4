// Pieces shared by the vector kernels: element access and the validation steps that come
// before the first object.
#pragma once

#include "frame/checks.h"
#include "frame/layout.h"

namespace olvm::vector {

// Element i of vector operand `x` for object n, widened to double.
template <class X, class Shape>
OLVM_INLINE double element(const X& x, unsigned n, unsigned i, const Shape& sh) {
    return frame::widen(*x.at(n, 0, i, sh));
}

// Not a result code: the steps before the first object passed and processing goes on.
inline constexpr OlvResult proceed = 1;

// Null base pointers and tables (constants are not tested), a zero length (generic
// members only: a fixed shape is never empty), then for P/PS2 arrays every table entry of
// the `sh.w` elements, and count = 0.
template <class Mode, class Shape, class... X>
OLVM_INLINE OlvResult before_objects(const Mode& mode, const Shape& sh, const X&... x) {
    if (frame::any_null(x...)) return olvResultNullPointer;
    if (sh.empty()) return olvResultBadSize;
    if constexpr (Mode::array) {
        if (frame::tables_null(sh.w, x...)) return olvResultNullPointer;
        if (mode.count == 0) return olvResultOk;
    }
    return proceed;
}

}  // namespace olvm::vector
