// Dot product of two vectors, or of the vectors of arrays (a single vector is reused for
// every object). Each product is formed in double (exact for 32f elements), the terms are
// summed in ascending order from 0.0 without rounding in between, and the sum is stored
// once, rounded to the element type. Results are scalars: one through pDstVal, or `count`
// of them next to each other from pDst, whatever the layout of the sources.
#pragma once

#include "vector/steps.h"

namespace olvm::vector {

template <class Mode, class Shape, class T, class A, class B>
OLVM_INLINE OlvResult dot(Mode mode, Shape sh, T* out, A a, B b) {
    if (const OlvResult rc = before_objects(mode, sh, a, b, out); rc != proceed) return rc;
    for (unsigned n = 0; n < mode.count; ++n) {
        if (frame::objects_null(n, a, b)) return olvResultNullPointer;
        double sum = 0.0;
        for (unsigned i = 0; i < sh.w; ++i) {
            // Single P vectors test their entries while summing; nothing is stored yet.
            if constexpr (!Mode::array) {
                if (frame::entry_null(a, i) || frame::entry_null(b, i)) return olvResultNullPointer;
            }
            sum += element(a, n, i, sh) * element(b, n, i, sh);
        }
        out[n] = static_cast<T>(sum);
    }
    return olvResultOk;
}

}  // namespace olvm::vector
