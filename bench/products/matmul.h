// Rows of the matrix-matrix products (olvmMul_mama of arrays of square matrices).
#pragma once

namespace olvm_bench {
void register_products();
}
