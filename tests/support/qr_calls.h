// Calls of the QR families with their operands placed by the harness: the matrix (or
// packed factors), the scratch buffer, the right-hand sides and the destination.
#pragma once

#include "operands.h"

namespace olvmtest {

// Generic members take `width` x `height` (0: the defaults, 2 columns by 3 rows);
// fixed-size members their order. A decomposition's sources are random matrices with a
// dominant diagonal; a back substitution's factors are random reflector entries below
// the diagonal over an R with a dominant diagonal, so that every call succeeds. The
// buffer is `height` contiguous elements; destinations are left as sentinel bytes.
Call make_qr_call(const MemberInfo& m, Rng& rng, unsigned count, Placement how = {},
                  unsigned width = 0, unsigned height = 0);

}  // namespace olvmtest
