// Access to every compiled instruction-set path's batch kernels, for tests that run each
// path directly against the reference values, and the operands as a kernel sees them.
#pragma once
#if defined(OLVM_FAST_PATHS)

#include <string>
#include <vector>

#include "operands.h"
#include "paths/roster.h"

namespace olvmtest {

using Path = olvm::paths::PathKernels;
inline const std::vector<Path>& paths() { return olvm::paths::roster(); }


// Operand `role` of a call as a batch kernel sees it, from the harness's own placement.
olvm::frame::Place place(Call& c, const std::string& role);

// NaN, infinities, signed zeros or subnormals of the element type.
double special_value(Rng& rng, std::size_t esize);

// Bitwise equality, except that any NaN matches any NaN: which NaN payload survives an
// operation depends on operand order, which not even the plain kernels fix.
bool same_value(double got, double want, std::size_t esize);

}  // namespace olvmtest

#endif  // OLVM_FAST_PATHS
