// Rows of the element-wise family (Add and Sub of arrays of matrices).
#pragma once

namespace olvm_bench {
void register_elementwise();
}
