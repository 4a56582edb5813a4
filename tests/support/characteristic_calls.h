// Calls of the scalar-characteristic families (Trace, FrobNorm, Det): the source placed in
// the member's layout and filled with random values, the results (one, or one per object)
// contiguous, and a generic determinant's scratch buffer exactly as large as documented.
#pragma once

#include "operands.h"

namespace olvmtest {

// Bytes of scratch a generic determinant of order n needs: n*n elements, n 32-bit indices.
inline std::size_t det_buffer_bytes(unsigned n, std::size_t esize) { return (std::size_t(n) * n) * esize + 4u * n; }

// Sizes of 0 take the defaults: order 4 (Trace, Det), 3 columns by 2 rows (FrobNorm);
// fixed-size members always use their own order. For Trace and Det `height` is ignored.
Call make_characteristics_call(const MemberInfo& m, Rng& rng, unsigned count, Placement how = {},
                               unsigned width = 0, unsigned height = 0);

}  // namespace olvmtest
