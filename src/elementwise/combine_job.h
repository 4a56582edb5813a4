// A batch of element-wise sums or differences handed to the kernels of one instruction set.
#pragma once

#include "frame/place.h"

namespace olvm::elementwise {

struct CombineJob {
    bool subtract;
    unsigned width, height;  // of the result; a vector is one row
    unsigned count;          // objects, from object 0
    frame::Place a, b, c;    // a or b may be a constant
};

}  // namespace olvm::elementwise
