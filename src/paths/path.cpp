// One instruction-set path of every batch kernel; compiled once per path with that
// path's flags, OLVM_PATH naming the namespace.
#include "paths/kernels.h"
#include "decomp/lu_batch.h"
#include "elementwise/combine_batch.h"
#include "products/matmul_batch.h"

namespace olvm::paths::OLVM_PATH {

unsigned combine_batch_32f(const elementwise::CombineJob* job) {
    return elementwise::OLVM_PATH::combine_batch<float>(*job);
}
unsigned combine_batch_64f(const elementwise::CombineJob* job) {
    return elementwise::OLVM_PATH::combine_batch<double>(*job);
}
unsigned mul_batch_32f(const products::MulJob* job) {
    return products::OLVM_PATH::mul_batch<float>(*job);
}
unsigned mul_batch_64f(const products::MulJob* job) {
    return products::OLVM_PATH::mul_batch<double>(*job);
}
unsigned lu_batch_32f(const decomp::LUJob* job) { return decomp::OLVM_PATH::lu_batch<float>(*job); }
unsigned lu_batch_64f(const decomp::LUJob* job) { return decomp::OLVM_PATH::lu_batch<double>(*job); }
unsigned solve_batch_32f(const decomp::SolveJob* job) {
    return decomp::OLVM_PATH::solve_batch<float>(*job);
}
unsigned solve_batch_64f(const decomp::SolveJob* job) {
    return decomp::OLVM_PATH::solve_batch<double>(*job);
}

}  // namespace olvm::paths::OLVM_PATH
