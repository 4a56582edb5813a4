// The LU families: every member against the model (tests/support/models.h), then
// hand-worked cases that pin the model itself down: the pivot rule (ties, NaN), the
// threshold at its limits in a step and in the last test, the stored rounded multiplier,
// what failing calls leave, the displaced last-pivot test of array decompositions, and
// solving through a permutation, in double sums, over a zero diagonal and in place.
#include <cmath>
#include <limits>
#include <tuple>

#include "models.h"

namespace olvmtest {
namespace {

TEST(LUSweep, EveryMemberFollowsTheModel) {
    EXPECT_EQ(sweep("LUDecomp"), 90);
    EXPECT_EQ(sweep("LUBackSubst"), 150);
}

const OlvResult ok = olvResultOk, fails = olvResultZeroDivisor;

// A decomposition by every generic member of the types named: its result, index vector
// and factors (empty: left to the model).
TEST(LUDecompBehaviour, WorkedDecompositions) {
    const double t = 1.1920928955078125e-07, below = 0x1.fffffep-24, third = round_to(1.0 / 3, 4);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    using V = std::vector<double>;
    const std::tuple<std::string, V, OlvResult, V, V> cases[] = {
        // Ties keep the earlier row; stored row 1 becomes (-1, 3 - (-1) * 2).
        {"32f 64f", {1, 2, -1, 3}, ok, {0, 1}, {1, 2, -1, 5}},
        // Column 0 holds 2, NaN, 1: NaN replaces 2 (unordered), then 1 replaces NaN; a NaN
        // pivot passes.
        {"32f 64f", {2, 1, 0, nan, 1, 0, 1, 0, 1}, ok, {2, 0, 1}, {}},
        {"32f 64f", {nan, 1, nan, 2}, ok, {1, 0}, {}},
        // The stored (rounded) multiplier drives the update: with the single 1/3,
        // 1048576 - l * 3145728 is -2^-5; with the double 1/3 it is 0, which then fails.
        {"32f", {3, 3145728, 1, 1048576}, ok, {0, 1}, {3, 3145728, third, -0x1p-5}},
        {"64f", {3, 3145728, 1, 1048576}, fails, {0, 1}, {3, 3145728, 1.0 / 3, 0}},
        // The single-precision epsilon in both types, at the last test and in a step, of
        // either sign; a failing call keeps what it wrote.
        {"32f 64f", {t}, ok, {0}, {t}},
        {"32f 64f", {-below}, fails, {0}, {-below}},
        {"32f 64f", {-t, 1, 0, 1}, ok, {0, 1}, {-t, 1, -0.0, 1}},
        {"32f 64f", {below, 1, 0, 1}, fails, {0, 1}, {below, 1, 0, 1}},
        // Step 0 pivots on row 1 and leaves a zero column 1: step 1 fails with step 0 and
        // its own exchange done.
        {"32f 64f", {2, 1, 1, 4, 2, 3, 1, 0.5, 5}, fails, {1, 0, 2}, {0.5, 0, -0.5, 4, 2, 3, 0.25, 0, 4.25}},
    };
    for (const MemberInfo* m : members_of("LUDecomp", true))
        for (const auto& [types, a, code, index, d] : cases) {
            if (types.find(m->type) == std::string::npos) continue;
            const unsigned n = unsigned(std::lround(std::sqrt(a.size())));
            const Worked r = run_on(*m, {{"src", Mat(n, n, a)}});
            const std::string what = std::string(m->name) + " on " + ::testing::PrintToString(a);
            EXPECT_EQ(r.code, code) << what;
            EXPECT_TRUE(holds(read(r.c, "index", 0, 1, n), index, 8)) << what;
            EXPECT_TRUE(holds(read(r.c, "dst", 0, n, n), d, m->elem_size())) << what;
        }
}

// Array members test, for object n, the element at column (size - 1) + n * size of the
// last stored row (tables: row (size - 1) + n), not the true last pivot. On identities:
// a tiny element there fails object `size`, past any table; large ones let zero true last
// pivots pass.
TEST(LUDecompBehaviour, ArrayObjectsTestTheDisplacedLastPivot) {
    for (const MemberInfo* m : members_of("LUDecomp", false, "ma"))
        for (const bool tiny : {true, false}) {
            const unsigned size = m->size ? m->size : 3, count = size + 2;
            const bool table = std::string(m->layout).find('P') != std::string::npos;
            Rng rng(std::hash<std::string>{}(m->name) + tiny);
            Call c = make_call(*m, rng, count, {size});
            for (unsigned n = 0; n < count; ++n) {
                Mat a(size, size);
                for (unsigned i = 0; i < size; ++i) a(i, i) = tiny || n == 0 || i + 1 < size;
                place(c, "src", n, a);
                const unsigned i = size - 1 + (table ? n : 0), j = size - 1 + (table ? 0 : n * size);
                if (tiny ? n == size : n > 0) c.op("dst").set(n, i, j, tiny ? 1e-8 : 1);
            }
            EXPECT_EQ(check_call(c, m->name), tiny ? fails : ok) << m->name;
        }
}

// Back substitution by every generic single-matrix member: index, factors, b, x.
TEST(LUBackSubstBehaviour, WorkedSystems) {
    using V = std::vector<double>;
    const std::tuple<V, V, V, V> cases[] = {
        // Index {1, 0}: U's first row is stored row 1; A = ((2, 4), (4, 2)), x = (1, 2).
        {{1, 0}, {0.5, 3, 4, 2}, {10, 8}, {1, 2}},
        // Sums are formed in double: 2^24 + 1 survives, so x[2] = 2^24 - (2^24 + 1).
        {{0, 1, 2}, {1, 0, 0, 0, 1, 0, 1, 1, 1}, {0x1p24, 1, 0x1p24}, {0x1p24, 1, -1}},
        // No test of the diagonal: a zero divides as it stands.
        {{0, 1}, {1, 2, 0, 0}, {3, 2}, {-HUGE_VAL, HUGE_VAL}},
    };
    for (const MemberInfo* m : members_of("LUBackSubst", true, "mv")) {
        for (const auto& [index, f, b, x] : cases) {
            const unsigned n = unsigned(index.size());
            const Worked r = run_on(*m, {{"src", Mat(n, n, f)}, {"index", Mat(1, n, index)}, {"src2", Mat(1, n, b)}});
            EXPECT_EQ(r.code, ok) << m->name;
            EXPECT_TRUE(holds(read(r.c, "dst"), x, m->elem_size())) << m->name;
        }
        // In place with index {1, 0}: x[0] = b[1] = 8 overwrites b[0] before it is read, so
        // the forward pass gives (8, 8 - 0.5 * 8) instead of (8, 6).
        const Worked r = run_on(*m, {{"src", Mat(2, 2, {0.5, 3, 4, 2})}, {"index", Mat(1, 2, {1, 0})}, {"src2", Mat(1, 2, {10, 8})}},
                                1, [](Call& c) { c.op("src2").describe(c.args, "dst"); });
        const double x1 = round_to(4.0 / 3.0, m->elem_size()), x0 = round_to((8.0 - 2.0 * x1) / 4.0, m->elem_size());
        EXPECT_EQ(r.code, ok) << m->name;
        EXPECT_TRUE(holds(read(r.c, "src2"), {x0, x1}, m->elem_size())) << m->name << " in place";
    }
}

}  // namespace
}  // namespace olvmtest
