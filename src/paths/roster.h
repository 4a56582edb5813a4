// Every compiled instruction-set path by name, with its batch kernels, for the tests and
// benchmarks that run each path directly; and a batch policy that hands a kernel
// template's batches to one of them. Not part of the library itself.
#pragma once

#include <vector>

#include "paths/kernels.h"

namespace olvm::paths {

struct PathKernels {
    const char* name;
    bool supported;  // by this processor
#define OLVM_PATH_MEMBER(kernel, Job, T) unsigned (*kernel)(const Job*);
    OLVM_BATCH_KERNELS(OLVM_PATH_MEMBER)
#undef OLVM_PATH_MEMBER
};

// In the order the loader prefers them, narrowest first.
const std::vector<PathKernels>& roster();

// Runs the path `current` points to; `finished` keeps what its last batch finished.
struct Chosen {
    static inline const PathKernels* current = nullptr;
    static inline unsigned finished = 0;
#define OLVM_CHOSEN_RUN(kernel, Job, T) \
    static unsigned run(const Job& job, T) { return finished = current->kernel(&job); }
    OLVM_BATCH_KERNELS(OLVM_CHOSEN_RUN)
#undef OLVM_CHOSEN_RUN
};

}  // namespace olvm::paths
