// A batch of fixed-order matrix products handed to the kernels of one instruction set.
#pragma once

#include "frame/place.h"

namespace olvm::products {

struct MulJob {
    unsigned order;  // all three matrices are square of this order
    unsigned count;  // objects to multiply, from object 0
    bool through;    // accumulate through the destination element, rounding every term
    frame::Place a, b, c;
};

}  // namespace olvm::products
