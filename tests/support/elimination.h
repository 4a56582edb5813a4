// A model of the pivoted elimination that Det and Invert share, written independently of
// the library: rows reached through an index vector (ties keep the earlier row), working
// values rounded to the element type on store, pivots before the last failing below the
// type's epsilon and the last one also at it.
#pragma once

#include <cmath>
#include <utility>
#include <vector>

#include "harness.h"

namespace olvmtest {

using Rows = std::vector<std::vector<double>>;

inline double pivot_epsilon(std::size_t esize) { return esize == 4 ? 0x1p-23 : 0x1p-52; }

struct Elimination {
    bool failed_step = false;    // a pivot before the last one failed (elimination stopped)
    std::vector<double> pivots;  // the pivots that passed, in order
    double last = 0, sign = 1;   // the last diagonal value as it then stands; exchanges' sign
    bool last_fails(std::size_t esize) const { return std::fabs(last) <= pivot_epsilon(esize); }
};

inline Elimination eliminate(Rows w, std::size_t esize) {
    const std::size_t n = w.size();
    std::vector<std::size_t> r(n);
    for (std::size_t i = 0; i < n; ++i) r[i] = i;
    Elimination e;
    for (std::size_t k = 0; k + 1 < n && !e.failed_step; ++k) {
        std::size_t best = k;
        for (std::size_t j = k + 1; j < n; ++j)
            if (std::fabs(w[r[j]][k]) > std::fabs(w[r[best]][k])) best = j;
        if (best != k) std::swap(r[k], r[best]), e.sign = -e.sign;
        const double p = w[r[k]][k];
        e.failed_step = std::fabs(p) < pivot_epsilon(esize);
        for (std::size_t j = k + 1; j < n && !e.failed_step; ++j) {
            const double f = w[r[j]][k] / p;
            for (std::size_t c = k + 1; c < n; ++c) w[r[j]][c] = round_to(w[r[j]][c] - f * w[r[k]][c], esize);
        }
        if (!e.failed_step) e.pivots.push_back(p);
    }
    e.last = w[r[n - 1]][n - 1];
    return e;
}

}  // namespace olvmtest
