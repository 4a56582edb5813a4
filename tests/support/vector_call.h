// Builds one call of a vector-algebra member (DotProduct, L2Norm, CrossProduct, Saxpy,
// LComb): vector operands placed in their layouts and sources filled with random values;
// a scalar result is a contiguous run of one element per object (one for pDstVal).
#pragma once

#include "operands.h"

namespace olvmtest {

// `len`: the length of a generic member's vectors (0: 5); fixed-size members keep theirs.
Call make_vector_call(const MemberInfo& m, Rng& rng, unsigned count, Placement how = {},
                      unsigned len = 0);

}  // namespace olvmtest
