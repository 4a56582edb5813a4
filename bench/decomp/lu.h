// Rows of LU decomposition followed by back substitution (olvmLUDecomp_ma, then
// olvmLUBackSubst_mava, on arrays of square systems).
#pragma once

namespace olvm_bench {
void register_decomp();
}
