// Calls of the Invert family: source and destination matrices of order `size` in the
// member's layout, and for generic members the scratch buffer (size*size elements, then
// size 32-bit row indices) as 4-byte words between guard bytes.
#pragma once

#include "operands.h"

namespace olvmtest {

// Each source matrix is random with a dominant diagonal, so it is well conditioned.
Call make_invert_call(const MemberInfo& m, unsigned size, unsigned count, Rng& rng, Placement how = {});

}  // namespace olvmtest
