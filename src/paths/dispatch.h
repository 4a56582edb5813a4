// How a primitive hands the objects of an array to a batch kernel: not at all, or to the
// instruction-set path the loader chose (x86-64 ELF builds). Kernels take their policy as
// a template argument, so tests can also run them on the plain path alone.
#pragma once

#include "decomp/lu_job.h"
#include "elementwise/combine_job.h"
#include "products/matmul_job.h"
#if defined(OLVM_FAST_PATHS)
#include "paths/kernels.h"
#endif

namespace olvm::paths {

// Finishes nothing: the plain loop does every object.
struct PlainOnly {
    template <class Job, class T>
    static unsigned run(const Job&, T) {
        return 0;
    }
};

#if defined(OLVM_FAST_PATHS)
struct LoaderChosen {
#define OLVM_CHOSEN_RUN(name, Job, T) \
    static unsigned run(const Job& job, T) { return olvm_##name(&job); }
    OLVM_BATCH_KERNELS(OLVM_CHOSEN_RUN)
#undef OLVM_CHOSEN_RUN
};
using Default = LoaderChosen;
#else
using Default = PlainOnly;
#endif

}  // namespace olvm::paths
