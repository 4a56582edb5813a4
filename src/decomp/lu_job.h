// Batches of fixed-order LU decompositions and solves handed to the kernels of one
// instruction set. Both cover objects from 0 and report how many they finished.
#pragma once

#include "frame/place.h"

namespace olvm::decomp {

// The zero test of both element types: a pivot fails when this exceeds its magnitude.
// A pivot of exactly this magnitude passes, and so does a NaN (the comparison is false).
inline constexpr double lu_zero_threshold = 1.1920928955078125e-07;

struct LUJob {
    unsigned order;   // every matrix is square of this order
    unsigned count;   // objects of the array
    frame::Place src, dst;
    unsigned* index;  // order entries per object
};

struct SolveJob {
    unsigned order;
    unsigned count;        // vectors to solve
    bool per_object;       // one factor matrix and index vector per vector, or one for all
    frame::Place mat, rhs, dst;
    const unsigned* index;
};

}  // namespace olvm::decomp
