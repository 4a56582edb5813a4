// Linear systems for testing the LU families, built so that the expected outcome is
// known independently of the library: matrices whose partial pivoting order is fixed by
// construction, factors written directly in the packed format, and backward-error
// measures of a factorisation and of a solution.
#pragma once

#include <cstddef>
#include <vector>

#include "harness.h"

namespace olvmtest {

struct Dense {
    unsigned n = 0;
    std::vector<double> v;
    explicit Dense(unsigned order = 0) : n(order), v(std::size_t(order) * order, 0.0) {}
    double& operator()(unsigned i, unsigned j) { return v[std::size_t(i) * n + j]; }
    double operator()(unsigned i, unsigned j) const { return v[std::size_t(i) * n + j]; }
};

// A matrix whose rows are those of a strictly column-diagonally-dominant matrix M,
// shuffled: row rows[i] holds row i of M. Elimination keeps M's diagonal the strict
// column maximum, so partial pivoting must produce exactly `rows` as its index vector.
// Entries are multiples of 1/256, exact in both element types.
struct PivotedMatrix {
    Dense a;
    std::vector<unsigned> rows;
};
PivotedMatrix random_pivoted_matrix(unsigned size, Rng& rng);

// Packed LU factors chosen directly (unit L with |L(i,j)| <= 1, U with a dominant
// diagonal, a random index vector), and the matrix A they factor: A(r(i), j) is
// sum_k L(i,k) U(k,j), computed exactly in double.
struct PackedFactors {
    Dense stored;                 // stored row r(i) holds L(i, j<i) and U(i, j>=i)
    std::vector<unsigned> index;  // r
    Dense a;
};
PackedFactors random_factors(unsigned size, Rng& rng);

// Unit roundoff of the element type.
double unit_roundoff(std::size_t esize);

// Largest |A(r(i), j) - (LU)(i, j)| relative to 4 n u (|L||U|)(i, j), for packed factors
// `stored` with index vector r; at most 1 for a backward-stable factorisation.
double factor_error(const Dense& a, const Dense& stored, const unsigned* r, std::size_t esize);

// Largest |b - A x| component relative to 4 n u ((|L||U||x|) + |b|) over the packed factors
// of A; at most 1 for a backward-stable solve.
double solve_error(const PackedFactors& f, const std::vector<double>& x,
                   const std::vector<double>& b, std::size_t esize);

bool is_permutation(const unsigned* r, unsigned n);

}  // namespace olvmtest
