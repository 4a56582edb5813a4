// Calls of the products with a vector or a constant operand (the matrix-vector and
// constant members of Mul) and of Gaxpy: every operand placed by its stored shape, sources
// filled with random values, destinations left as sentinel bytes.
//
// Matrix-vector: A is used as height x width (stored width x height when transposed), x
// has `width` elements (the number of terms, which a transposed member reads whatever
// src2Len says), y has `height`; src2Len is passed as the member's size test requires.
// Constant: the result is height x width (vectors: `width` elements), as element-wise.
// Gaxpy: A is height x width, x has `width` elements, y and dst `height`.
#pragma once

#include "operands.h"

namespace olvmtest {

// The Mul members with a vector operand, and those with a constant.
bool is_vector_product(const MemberInfo& m);
bool is_constant_product(const MemberInfo& m);

// Sizes default to width 3, height 2 (fixed-size members: their order).
Call make_matvec_call(const MemberInfo& m, Rng& rng, unsigned count, Placement how = {},
                      unsigned width = 3, unsigned height = 2);
Call make_gaxpy_call(const MemberInfo& m, Rng& rng, unsigned count, Placement how = {},
                     unsigned width = 3, unsigned height = 2);

}  // namespace olvmtest
