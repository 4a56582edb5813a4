// Cross product d = a x b of 3-element vectors, or of the vectors of arrays (a single
// vector is reused for every object). Each component is formed in double, both products
// and their difference, and rounded once when stored; components are stored in order and
// the sources are read again for each, so a destination overlapping a source sees the
// components already written (callers pass distinct destinations).
//
// There is no size argument and so no size test. A single P member tests all nine table
// entries (for each index: a, b, d) before computing anything.
#pragma once

#include "vector/steps.h"

namespace olvm::vector {

template <class Mode, class Shape, class D, class A, class B>
OLVM_INLINE OlvResult cross(Mode mode, Shape sh, D d, A a, B b) {
    using T = typename D::Value;
    if (const OlvResult rc = before_objects(mode, sh, a, b, d); rc != proceed) return rc;
    if constexpr (!Mode::array) {
        for (unsigned i = 0; i < 3; ++i)
            if (frame::entry_null(a, i) || frame::entry_null(b, i) || frame::entry_null(d, i))
                return olvResultNullPointer;
    }
    for (unsigned n = 0; n < mode.count; ++n) {
        if (frame::objects_null(n, a, b, d)) return olvResultNullPointer;
        auto x = [&](unsigned i) { return element(a, n, i, sh); };
        auto y = [&](unsigned i) { return element(b, n, i, sh); };
        *d.at(n, 0, 0, sh) = static_cast<T>(x(1) * y(2) - x(2) * y(1));
        *d.at(n, 0, 1, sh) = static_cast<T>(x(2) * y(0) - x(0) * y(2));
        *d.at(n, 0, 2, sh) = static_cast<T>(x(0) * y(1) - x(1) * y(0));
    }
    return olvResultOk;
}

}  // namespace olvm::vector
