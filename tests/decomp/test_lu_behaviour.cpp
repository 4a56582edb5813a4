// Behaviour of the LU families on hand-worked cases: the pivot rule (ties keep the
// earliest row, a NaN replaces), the zero threshold of both types, the state a failing
// decomposition leaves, size 1, the displaced last-pivot test of every array member,
// and the read/write order of back substitution in place.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "lu_calls.h"

namespace olvmtest {
namespace {

constexpr double threshold = 1.1920928955078125e-07;
const double nan = std::numeric_limits<double>::quiet_NaN();

std::vector<const MemberInfo*> select(const std::string& family, const std::string& codes,
                                      bool generic_only) {
    std::vector<const MemberInfo*> out;
    for (const auto& m : members())
        if (family == m.family && codes == m.codes && (!generic_only || m.size == 0)) out.push_back(&m);
    return out;
}

struct Outcome {
    OlvResult code;
    std::vector<unsigned> index;
    Dense d;  // stored rows, as written
};

// One decomposition of `a` (row-major, order n) by member `m`, object 0 of the call.
Outcome decompose(const MemberInfo& m, unsigned n, const std::vector<double>& a) {
    Rng rng(std::hash<std::string>{}(m.name));
    DecompCall c = make_decomp_call(m, n, 1, rng);
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j) c.src->set(0, i, j, a[i * n + j]);
    Outcome o{c.run(), {}, c.factors(0)};
    o.index.assign(c.rows(0), c.rows(0) + n);
    return o;
}

void expect_rows(const Outcome& o, const std::vector<double>& want, const std::string& name) {
    for (unsigned i = 0; i < o.d.n; ++i)
        for (unsigned j = 0; j < o.d.n; ++j)
            EXPECT_EQ(o.d(i, j), want[i * o.d.n + j]) << name << " stored (" << i << ", " << j << ")";
}

TEST(LUDecompBehaviour, TiesKeepTheEarliestRow) {
    for (const MemberInfo* m : select("LUDecomp", "m", true)) {
        const Outcome o = decompose(*m, 2, {1, 2, -1, 3});
        EXPECT_EQ(o.code, olvResultOk) << m->name;
        EXPECT_EQ(o.index, (std::vector<unsigned>{0, 1})) << m->name;
        expect_rows(o, {1, 2, -1, 5}, m->name);
    }
}

TEST(LUDecompBehaviour, LargestMagnitudeIsPivotAndRowsStayInPlace) {
    // Column 0 peaks in row 1; after that step column 1 peaks in stored row 2.
    for (const MemberInfo* m : select("LUDecomp", "m", true)) {
        const Outcome o = decompose(*m, 3, {2, 1, 1, -4, 2, 2, 1, 3, 1});
        EXPECT_EQ(o.code, olvResultOk) << m->name;
        EXPECT_EQ(o.index, (std::vector<unsigned>{1, 2, 0})) << m->name;
        // l = 2/-4 = -0.5 (row 0), 1/-4 = -0.25 (row 2); row 0 -> (2, 2), row 2 -> (3.5, 1.5);
        // then l = 2/3.5 = 4/7 for row 0: 2 - 4/7 * 1.5.
        const double l = m->elem_size() == 4 ? double(float(2.0 / 3.5)) : 2.0 / 3.5;
        const double u = round_to(2.0 + -l * 1.5, m->elem_size());
        expect_rows(o, {-0.5, l, u, -4, 2, 2, -0.25, 3.5, 1.5}, m->name);
    }
}

// The multiplier is rounded to the element type and stored, and that stored value drives
// the update: with l = 1/3 the update 1048576 - l * 3145728 is -2^-5 when l is the single
// 1/3 and (with the double 1/3) rounds to exactly 0.
TEST(LUDecompBehaviour, UpdatesUseTheStoredMultiplier) {
    for (const MemberInfo* m : select("LUDecomp", "m", true)) {
        const Outcome o = decompose(*m, 2, {3, 3145728, 1, 1048576});
        const bool single = m->elem_size() == 4;
        EXPECT_EQ(o.d(1, 0), single ? double(1.0f / 3.0f) : 1.0 / 3.0) << m->name;
        EXPECT_EQ(o.d(1, 1), single ? -0.03125 : 0.0) << m->name;
        EXPECT_EQ(o.code, single ? olvResultOk : olvResultZeroDivisor) << m->name;
    }
}

TEST(LUDecompBehaviour, NaNCandidateReplacesAndNaNPivotPasses) {
    for (const MemberInfo* m : select("LUDecomp", "m", true)) {
        // Column 0: 2, NaN, 1. NaN replaces 2 (unordered), then 1 replaces NaN.
        const Outcome o = decompose(*m, 3, {2, 1, 0, nan, 1, 0, 1, 0, 1});
        EXPECT_EQ(o.code, olvResultOk) << m->name;
        EXPECT_EQ(o.index[0], 2u) << m->name;
        // Column 1 then holds NaN (stored row 1) and 1 (stored row 0): 1 replaces NaN.
        EXPECT_EQ(o.index, (std::vector<unsigned>{2, 0, 1})) << m->name;

        const Outcome all_nan = decompose(*m, 2, {nan, 1, nan, 2});
        EXPECT_EQ(all_nan.code, olvResultOk) << m->name;
        EXPECT_EQ(all_nan.index, (std::vector<unsigned>{1, 0})) << m->name;
        EXPECT_EQ(decompose(*m, 1, {nan}).code, olvResultOk) << m->name;
    }
}

TEST(LUDecompBehaviour, ZeroThresholdIsSinglePrecisionEpsilonInBothTypes) {
    for (const std::string codes : {"m", "ma"}) {
        for (const MemberInfo* m : select("LUDecomp", codes, true)) {
            // Final test (size 1) and an elimination step (size 2), both signs.
            for (const double s : {1.0, -1.0}) {
                EXPECT_EQ(decompose(*m, 1, {s * threshold}).code, olvResultOk) << m->name;
                EXPECT_EQ(decompose(*m, 1, {s * 1e-7}).code, olvResultZeroDivisor) << m->name;
                EXPECT_EQ(decompose(*m, 2, {s * threshold, 1, 0, 1}).code, olvResultOk) << m->name;
                EXPECT_EQ(decompose(*m, 2, {s * 1e-7, 1, 0, 1}).code, olvResultZeroDivisor) << m->name;
            }
        }
    }
}

TEST(LUDecompBehaviour, SizeOneWritesBeforeItsOnlyTest) {
    for (const std::string codes : {"m", "ma"}) {
        for (const MemberInfo* m : select("LUDecomp", codes, true)) {
            const Outcome o = decompose(*m, 1, {1e-8});
            EXPECT_EQ(o.code, olvResultZeroDivisor) << m->name;
            EXPECT_EQ(o.index, (std::vector<unsigned>{0})) << m->name;
            EXPECT_EQ(o.d(0, 0), round_to(1e-8, m->elem_size())) << m->name;
        }
    }
}

TEST(LUDecompBehaviour, FailingStepLeavesEarlierStepsAndItsExchange) {
    // Step 0 pivots on row 1 and leaves a zero column 1 (a tie of zeros at step 1).
    for (const MemberInfo* m : select("LUDecomp", "m", true)) {
        const Outcome o = decompose(*m, 3, {2, 1, 1, 4, 2, 3, 1, 0.5, 5});
        EXPECT_EQ(o.code, olvResultZeroDivisor) << m->name;
        EXPECT_EQ(o.index, (std::vector<unsigned>{1, 0, 2})) << m->name;
        expect_rows(o, {0.5, 0, -0.5, 4, 2, 3, 0.25, 0, 4.25}, m->name);
    }
}

TEST(LUDecompBehaviour, ArrayStopsAtTheFirstFailingObject) {
    for (const MemberInfo* m : select("LUDecomp", "ma", false)) {
        Rng rng(std::hash<std::string>{}(m->name));
        const unsigned size = m->size ? m->size : 4;
        DecompCall c = make_decomp_call(*m, size, 3, rng);
        for (unsigned i = 0; i < size; ++i) c.src->set(1, i, 0, 0.0);  // object 1: zero column
        c.snapshot();
        ASSERT_EQ(c.run(), olvResultZeroDivisor) << m->name;
        for (unsigned i = 0; i < size; ++i) {
            EXPECT_EQ(c.rows(0)[i], c.systems[0].rows[i]) << m->name;
            EXPECT_EQ(c.rows(1)[i], i) << m->name << ": zero ties keep the order";
            EXPECT_FALSE(c.index.changed(2 * size + i)) << m->name;
            for (unsigned j = 0; j < size; ++j) {
                EXPECT_EQ(c.dst->get(1, i, j), c.src->get(1, i, j)) << m->name << ": copy kept";
                EXPECT_FALSE(c.dst->element_changed(2, i, j)) << m->name;
            }
        }
        EXPECT_LE(factor_error(c.systems[0].a, c.factors(0), c.rows(0), m->elem_size()), 1.0);
    }
}

// Array members test, for object n, the element at column (size - 1) + n * size of the
// last stored row: a chosen value there decides the result, not the true last pivot.
TEST(LUDecompBehaviour, ArrayLastPivotTestReadsTheDisplacedElement) {
    for (const MemberInfo* m : select("LUDecomp", "ma", false)) {
        const unsigned size = m->size ? m->size : 3;
        const unsigned count = size + 2, probe = size;  // probe's entry lies past any P table
        Rng rng(std::hash<std::string>{}(m->name));

        // A good matrix everywhere; a tiny displaced element fails object `probe`.
        DecompCall bad = make_decomp_call(*m, size, count, rng);
        const unsigned r = bad.systems[probe].rows[size - 1];
        ASSERT_TRUE(bad.displaced_is_spare(probe, r)) << m->name;
        bad.set_displaced(probe, r, 1e-8);
        bad.snapshot();
        EXPECT_EQ(bad.run(), olvResultZeroDivisor) << m->name;
        EXPECT_LE(factor_error(bad.systems[probe].a, bad.factors(probe), bad.rows(probe),
                               m->elem_size()), 1.0) << m->name << ": object was completed";
        EXPECT_FALSE(bad.index.changed((probe + 1) * size)) << m->name << ": next object untouched";

        // A matrix whose true last pivot is zero passes as object `probe` (the displaced
        // element is large) but fails as object 0, where the test reads the true pivot.
        DecompCall singular = make_decomp_call(*m, size, count, rng);
        for (unsigned n : {0u, probe})
            for (unsigned i = 0; i < size; ++i)
                for (unsigned j = 0; j < size; ++j)
                    singular.src->set(n, i, j, i == j && i + 1 < size ? 1.0 : 0.0);
        singular.set_displaced(probe, size - 1, 1.0);
        EXPECT_EQ(singular.run(), olvResultZeroDivisor) << m->name;
        EXPECT_FALSE(singular.index.changed(size)) << m->name << ": stopped at object 0";
        for (unsigned i = 0; i < size; ++i)
            for (unsigned j = 0; j < size; ++j) singular.src->set(0, i, j, singular.systems[0].a(i, j));
        EXPECT_EQ(singular.run(), olvResultOk) << m->name;
        EXPECT_EQ(singular.dst->get(probe, size - 1, size - 1), 0.0) << m->name;
    }
}

// Back substitution of one vector with given packed factors, through member `m`.
std::vector<double> solve(const MemberInfo& m, const std::vector<unsigned>& index,
                          const std::vector<double>& stored, const std::vector<double>& b,
                          bool in_place = false, OlvResult* code = nullptr) {
    const unsigned n = static_cast<unsigned>(index.size());
    Rng rng(std::hash<std::string>{}(m.name));
    SolveCall c = make_solve_call(m, n, 1, rng);
    for (unsigned i = 0; i < n; ++i) {
        c.index.data()[i] = index[i];
        c.rhs->set(0, 0, i, b[i]);
        for (unsigned j = 0; j < n; ++j) c.mat->set(0, i, j, stored[i * n + j]);
    }
    if (in_place) c.rhs->describe(c.args, "dst");
    const OlvResult r = c.run();
    if (code) *code = r;
    else EXPECT_EQ(r, olvResultOk) << m.name;
    return c.vector_of(in_place ? *c.rhs : *c.dst, 0);
}

TEST(LUBackSubstBehaviour, WorkedSystems) {
    for (const MemberInfo* m : select("LUBackSubst", "mv", true)) {
        // Factors of rows (1, 2), (-1, 3): forward gives (3, 5), backward (1, 1).
        EXPECT_EQ(solve(*m, {0, 1}, {1, 2, -1, 5}, {3, 2}), (std::vector<double>{1, 1})) << m->name;
        // Index {1, 0}: U's first row is stored row 1; A = ((2, 4), (4, 2)), x = (1, 2).
        EXPECT_EQ(solve(*m, {1, 0}, {0.5, 3, 4, 2}, {10, 8}), (std::vector<double>{1, 2})) << m->name;
        // Sums are formed in double: 2^24 + 1 survives, so x[2] = 2^24 - (2^24 + 1).
        EXPECT_EQ(solve(*m, {0, 1, 2}, {1, 0, 0, 0, 1, 0, 1, 1, 1}, {0x1p24, 1, 0x1p24}),
                  (std::vector<double>{0x1p24, 1, -1})) << m->name;
        // Size 1: x = b[r(0)] / D(r(0), 0).
        EXPECT_EQ(solve(*m, {0}, {4}, {2}), (std::vector<double>{0.5})) << m->name;
    }
}

TEST(LUBackSubstBehaviour, ZeroOnTheDiagonalDividesAsItStands) {
    for (const MemberInfo* m : select("LUBackSubst", "mv", true)) {
        OlvResult code = olvResultBadSize;
        const auto x = solve(*m, {0, 1}, {1, 2, 0, 0}, {3, 2}, false, &code);
        EXPECT_EQ(code, olvResultOk) << m->name;
        EXPECT_EQ(x[1], HUGE_VAL) << m->name;
        EXPECT_EQ(x[0], -HUGE_VAL) << m->name;
    }
}

TEST(LUBackSubstBehaviour, InPlaceOverwritesTheRightHandSideAsItGoes) {
    for (const MemberInfo* m : select("LUBackSubst", "mv", true)) {
        // Identity index: in place gives the solution.
        EXPECT_EQ(solve(*m, {0, 1}, {1, 2, -1, 5}, {3, 2}, true), (std::vector<double>{1, 1}))
            << m->name;
        // Index {1, 0}: x[0] = b[1] = 8 overwrites b[0] before it is read, so the forward
        // pass gives (8, 8 - 0.5 * 8) instead of (8, 6).
        const double x1 = round_to(4.0 / 3.0, m->elem_size());
        const double x0 = round_to((8.0 - 2.0 * x1) / 4.0, m->elem_size());
        EXPECT_EQ(solve(*m, {1, 0}, {0.5, 3, 4, 2}, {10, 8}, true), (std::vector<double>{x0, x1}))
            << m->name;
    }
}

}  // namespace
}  // namespace olvmtest
