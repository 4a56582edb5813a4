// Scaled sums of vectors, element by element: Saxpy (d = a * val + b) and LComb
// (d = a * val1 + b * val2), for single vectors or arrays (a single vector is reused for
// every object). The constants are widened to double once at entry; each product and
// the sum are formed in double and the element is rounded once on store. Element i of
// the sources is read before element i of the destination is written, so a destination
// identical to a source works in place.
#pragma once

#include "vector/steps.h"

namespace olvm::vector {

struct Saxpy {
    double val;
    OLVM_INLINE double operator()(double a, double b) const { return a * val + b; }
};

struct LComb {
    double val1, val2;
    OLVM_INLINE double operator()(double a, double b) const { return a * val1 + b * val2; }
};

template <class Mode, class Shape, class D, class A, class B, class Op>
OLVM_INLINE OlvResult scaled_sum(Mode mode, Shape sh, D d, A a, B b, Op op) {
    using T = typename D::Value;
    if (const OlvResult rc = before_objects(mode, sh, a, b, d); rc != proceed) return rc;
    for (unsigned n = 0; n < mode.count; ++n) {
        if (frame::objects_null(n, a, b, d)) return olvResultNullPointer;
        for (unsigned i = 0; i < sh.w; ++i) {
            // Single P vectors test element i's entries just before computing it.
            if constexpr (!Mode::array) {
                if (frame::entry_null(a, i) || frame::entry_null(b, i) || frame::entry_null(d, i))
                    return olvResultNullPointer;
            }
            *d.at(n, 0, i, sh) = static_cast<T>(op(element(a, n, i, sh), element(b, n, i, sh)));
        }
    }
    return olvResultOk;
}

}  // namespace olvm::vector
