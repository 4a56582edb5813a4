// Reference results of the families whose results are fixed element by element (Add,
// Sub, Mul, Gaxpy, the vector algebra, Trace, FrobNorm, LoadIdentity), computed here from
// the operands as placed, independently of the library.
#pragma once

#include "operands.h"

namespace olvmtest {

// Result element (i, j) as stored, of object n, of a call that ran to the end.
double reference(const Call& c, unsigned n, unsigned i, unsigned j);

}  // namespace olvmtest
