// A valid call of any member, built from its catalogue operands: every operand
// (destinations, index vectors and buffers included) placed by the harness, sources filled
// with random values (conditioned where the family needs solvable inputs), destinations
// left as sentinel bytes. The same seed gives the same values, so two calls built alike
// are twins.
#pragma once

#include "operands.h"

namespace olvmtest {

// Sizes of a generic member's call; 0 takes the family's default (fixed-size members
// always use their order). `width` x `height` is the result, or the source where the
// result is a scalar, a solution or a transposition; `depth` is the number of terms of a
// matrix product (K in M x K times K x N).
struct Sizes {
    unsigned width = 0, height = 0, depth = 0;
};

// `count` objects for array members (single-object members ignore it); count 0 still
// places one object, so that tables are real.
Call make_call(const MemberInfo& m, Rng& rng, unsigned count, Sizes sizes = {}, Placement how = {});

// Random sizes of a generic member's call, within what its addressing allows: non-square
// where the family allows it; a LoadIdentity row wide enough for the 1 of every object.
Sizes random_sizes(const MemberInfo& m, Rng& rng, unsigned count);

// Whether any operand of the member is an array.
bool is_array_member(const MemberInfo& m);

// Bytes of scratch a generic determinant of order n needs: n*n elements, n 32-bit indices.
inline std::size_t det_buffer_bytes(unsigned n, std::size_t esize) { return (std::size_t(n) * n) * esize + 4u * n; }

}  // namespace olvmtest
