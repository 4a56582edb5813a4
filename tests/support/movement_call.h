// Builds the operands of one call of a data-movement member (Copy, Extract, LoadIdentity,
// Transpose). `width` and `height` are the columns and rows of the source (Transpose), of
// the result (Extract, whose transposed sources are stored `width` rows by `height`), or of
// the arrays (Copy, LoadIdentity); vectors take `width` as their length. Sources are filled
// with random values, destinations left as sentinel bytes; Extract's destination is dense.
#pragma once

#include "operands.h"

namespace olvmtest {

Call make_movement_call(const MemberInfo& m, unsigned width, unsigned height, unsigned count,
                        Rng& rng, Placement how = {});

// Small default sizes: non-square where the addressing allows it; LoadIdentity's arrays
// are wide enough (height * count + 1 columns) that the 1 of every row stays in its row.
Call make_movement_call(const MemberInfo& m, Rng& rng, unsigned count);

}  // namespace olvmtest
