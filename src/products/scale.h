// Matrix, transposed matrix or vector (or an array of them) times a constant: each
// element src(i, j) * val formed in double and rounded once to the element type, in the
// element-wise order and with the element-wise checks; a transposed source gives element
// (i, j) from element i of its stored row j. Each element is read before its own position
// is written, so an untransposed destination may be the source itself.
#pragma once

#include "elementwise/combine.h"

namespace olvm::products {

struct Scale {
    static double apply(double element, double val) { return element * val; }
};

template <class Mode, class Shape, class Dst, class Src>
OLVM_INLINE OlvResult scale(Mode mode, Shape sh, Dst dst, Src src, frame::Const val) {
    return elementwise::combine<Scale>(mode, sh, dst, src, val);
}

}  // namespace olvm::products
