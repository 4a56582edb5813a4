// The batch kernels that exist once per instruction set, all of one shape: they take a
// job and return how many objects they finished.
//
// src/paths/path.cpp is compiled once per path (OLVM_PATH names its namespace); the
// loader picks one path per kernel when the library is loaded (resolve.cpp). Tests call
// every path's kernels directly.
#pragma once

#include "decomp/lu_job.h"
#include "elementwise/combine_job.h"
#include "products/matmul_job.h"

#define OLVM_PATHS(X) X(sse2) X(avx2) X(avx512)

// name, job type, element type
#define OLVM_BATCH_KERNELS(X)                                  \
    X(combine_batch_32f, olvm::elementwise::CombineJob, float)  \
    X(combine_batch_64f, olvm::elementwise::CombineJob, double) \
    X(mul_batch_32f, olvm::products::MulJob, float)             \
    X(mul_batch_64f, olvm::products::MulJob, double)            \
    X(lu_batch_32f, olvm::decomp::LUJob, float)                 \
    X(lu_batch_64f, olvm::decomp::LUJob, double)                \
    X(solve_batch_32f, olvm::decomp::SolveJob, float)           \
    X(solve_batch_64f, olvm::decomp::SolveJob, double)

#define OLVM_DECLARE_KERNEL(name, Job, T) unsigned name(const Job* job);
#define OLVM_DECLARE_PATH(path) \
    namespace olvm::paths::path { OLVM_BATCH_KERNELS(OLVM_DECLARE_KERNEL) }
OLVM_PATHS(OLVM_DECLARE_PATH)
#undef OLVM_DECLARE_PATH

// The loader-chosen kernels that the primitives call.
#define OLVM_DECLARE_CHOSEN(name, Job, T) \
    extern "C" __attribute__((visibility("hidden"))) unsigned olvm_##name(const Job* job);
OLVM_BATCH_KERNELS(OLVM_DECLARE_CHOSEN)
#undef OLVM_DECLARE_CHOSEN
#undef OLVM_DECLARE_KERNEL
