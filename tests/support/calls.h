// A valid call of any member, built by its family's factory with small default sizes:
// every operand of the catalogue entry (destinations, index vectors and buffers included)
// placed by the harness, sources filled, destinations left as sentinel bytes. The same
// seed gives the same values, so two calls built alike are twins.
#pragma once

#include "operands.h"

namespace olvmtest {

// `count` objects for array members (at least 1; single-object members ignore it).
Call make_call(const MemberInfo& m, Rng& rng, unsigned count);

// Whether any operand of the member is an array.
bool is_array_member(const MemberInfo& m);

}  // namespace olvmtest
