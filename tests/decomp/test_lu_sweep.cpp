// Every LUDecomp and LUBackSubst member, called through its exported symbol on random
// well-conditioned systems placed with random strides, offsets and table orders (a second
// pass steps backwards through memory):
//   - a decomposition must pick exactly the pivot rows the construction forces, satisfy
//     P A = L U to a backward-stable tolerance, return what its last-pivot test on the
//     displaced element gives, and write nothing but its factors and index entries;
//   - a back substitution, fed factors chosen directly in the packed format, must solve
//     A x = b to a backward-stable tolerance and write nothing but the solutions.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "lu_calls.h"

namespace olvmtest {
namespace {

constexpr double threshold = 1.1920928955078125e-07;

unsigned pick_size(const MemberInfo& m, Rng& rng) {
    return m.size ? static_cast<unsigned>(m.size) : 1 + static_cast<unsigned>(rng() % 7);
}

void check_decomp(const MemberInfo& m, bool negative) {
    Rng rng(std::hash<std::string>{}(m.name) + negative);
    const unsigned size = pick_size(m, rng);
    Placement how;
    how.negative = negative;
    DecompCall c = make_decomp_call(m, size, 1 + static_cast<unsigned>(rng() % 4), rng, how);
    c.snapshot();
    const std::vector<unsigned char> spill = c.spill;
    const OlvResult got = c.run();

    // Objects are processed whole and in order; the first whose last-pivot test fails
    // ends the call. (Pivots of these systems never fail during elimination.)
    OlvResult want = olvResultOk;
    unsigned done = 0;
    for (; done < c.count; ++done) {
        const unsigned r_last = c.systems[done].rows[size - 1];
        if (threshold > std::fabs(c.displaced(done, r_last))) {
            want = olvResultZeroDivisor;
            ++done;
            break;
        }
    }
    ASSERT_EQ(got, want) << m.name << " size " << size << " count " << c.count;

    for (unsigned n = 0; n < c.count; ++n) {
        for (unsigned i = 0; i < size; ++i) {
            if (n < done) {
                ASSERT_EQ(c.rows(n)[i], c.systems[n].rows[i]) << m.name << " object " << n << " index " << i;
            } else {
                EXPECT_FALSE(c.index.changed(std::size_t(n) * size + i)) << m.name << " object " << n;
            }
            for (unsigned j = 0; j < c.dst->cols(); ++j) {
                if (n >= done || j >= size) {
                    ASSERT_FALSE(c.dst->element_changed(n, i, j)) << m.name << " object " << n;
                }
            }
        }
        if (n < done) {
            EXPECT_LE(factor_error(c.systems[n].a, c.factors(n), c.rows(n), m.elem_size()), 1.0)
                << m.name << " object " << n << " size " << size;
        }
    }
    EXPECT_TRUE(c.index.guards_intact()) << m.name;
    EXPECT_FALSE(c.src->any_changed()) << m.name << " wrote into its source";
    EXPECT_FALSE(c.dst->changed_outside_elements()) << m.name << " wrote outside its destination";
    EXPECT_EQ(c.spill, spill) << m.name << " wrote through a table entry past its matrix";
}

void check_solve(const MemberInfo& m, bool negative) {
    Rng rng(std::hash<std::string>{}(m.name) + negative);
    const unsigned size = pick_size(m, rng);
    Placement how;
    how.negative = negative;
    SolveCall c = make_solve_call(m, size, 1 + static_cast<unsigned>(rng() % 4), rng, how);
    c.snapshot();
    ASSERT_EQ(c.run(), olvResultOk) << m.name;
    for (unsigned n = 0; n < c.count; ++n) {
        const auto x = c.vector_of(*c.dst, n), b = c.vector_of(*c.rhs, n);
        EXPECT_LE(solve_error(c.system(n), x, b, m.elem_size()), 1.0)
            << m.name << " object " << n << " size " << size;
    }
    EXPECT_FALSE(c.index.any_changed()) << m.name << " wrote into its index vector";
    EXPECT_FALSE(c.mat->any_changed()) << m.name << " wrote into its factors";
    EXPECT_FALSE(c.rhs->any_changed()) << m.name << " wrote into its right-hand side";
    EXPECT_FALSE(c.dst->changed_outside_elements()) << m.name << " wrote outside its destination";
}

TEST(LUSweep, EveryDecompositionFactorsPivotedSystems) {
    int checked = 0;
    for (const auto& m : members()) {
        if (std::string(m.family) != "LUDecomp") continue;
        check_decomp(m, false);
        check_decomp(m, true);
        ++checked;
    }
    EXPECT_EQ(checked, 90);
}

TEST(LUSweep, EveryBackSubstitutionSolvesFromPackedFactors) {
    int checked = 0;
    for (const auto& m : members()) {
        if (std::string(m.family) != "LUBackSubst") continue;
        check_solve(m, false);
        check_solve(m, true);
        ++checked;
    }
    EXPECT_EQ(checked, 150);
}

}  // namespace
}  // namespace olvmtest
