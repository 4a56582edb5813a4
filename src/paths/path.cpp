// One instruction-set path of every batch kernel; compiled once per path with that
// path's flags, OLVM_PATH naming the namespace.
#include "paths/kernels.h"
#include "products/matmul_batch.h"

namespace olvm::paths::OLVM_PATH {

unsigned mul_batch_32f(const products::MulJob* job) {
    return products::OLVM_PATH::mul_batch<float>(*job);
}
unsigned mul_batch_64f(const products::MulJob* job) {
    return products::OLVM_PATH::mul_batch<double>(*job);
}

}  // namespace olvm::paths::OLVM_PATH
