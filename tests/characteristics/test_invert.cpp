// Invert: every member against its design's model (tests/support/models.h: generic orders,
// 3x3 and 4x4 bit for bit, 5x5 and 6x6 within a tolerance), then hand-worked cases of the
// band limits, the generic epsilon at the last pivot and in minors, zero minors, and the
// block inversion's pivot ties.
#include "models.h"

namespace olvmtest {
namespace {

TEST(InvertSweep, EveryMemberFollowsItsDesign) { EXPECT_EQ(sweep("Invert"), 90); }

double band(std::size_t es) { return es == 4 ? 1e-07 : 1e-15; }

// A determinant exactly at the band limit inverts, 0.99 of it fails (3x3: nothing
// written; 4x4: the adjugate stays, as the model has it). The float limit is the double
// 1e-07, reached as the exact sum h + m + l of three floats.
TEST(InvertBehaviour, BandLimitsOfTheFixedFormulas) {
    for (const MemberInfo* m : members_of("Invert", false, "m"))
        for (const double scale : {1.0, 0.99}) {
            if (m->size != 3 && m->size != 4) continue;
            const std::size_t es = m->elem_size();
            const double d = band(es) * scale, h = round_to(d, es), mid = round_to(d - h, es), l = round_to(d - h - mid, es);
            ASSERT_EQ(h + mid + l, d);
            const Mat a = m->size == 3 ? Mat(3, 3, {h, 1, 1, -mid, 1, 0, -l, 0, 1})
                                       : Mat(4, 4, {h, -1, -1, 0, mid, 1, 0, 0, l, 0, 1, 0, 0, 0, 0, 1});
            EXPECT_EQ(run_on(*m, {{"src", a}}).code, scale == 1.0 ? olvResultOk : olvResultZeroDivisor)
                << m->name << " scale " << scale;
        }
}

// Generic orders: a pivot equal to the epsilon passes before the last column and fails
// there; a one-element minor is a last pivot, so one equal to the epsilon counts as 0, as
// zero minors of a regular matrix do (the cofactor sign makes some of them -0).
TEST(InvertBehaviour, GenericEpsilonAndZeroMinors) {
    for (const MemberInfo* m : members_of("Invert", true)) {
        const double t = m->elem_size() == 4 ? 0x1p-23 : 0x1p-52;
        const std::pair<Mat, std::vector<double>> cases[] = {
            {Mat(2, 2, {t, 0, 0, 1}), {1 / t, -0.0, -0.0, 0}},
            {Mat(2, 2, {1, 0, 0, t}), {}},
            {Mat(2, 2, {1, t, 0, 1}), {1, -0.0, -0.0, 1}},
            {Mat(3, 3, {2, 0, 0, 0, 3, 1, 0, 1, 1}), {0.5, -0.0, 0, -0.0, 0.5, -0.5, 0, -0.5, 1.5}},
        };
        for (const auto& [a, x] : cases) {
            const Worked r = run_on(*m, {{"src", a}}, 2);
            EXPECT_EQ(r.code, x.empty() ? olvResultZeroDivisor : olvResultOk) << m->name;
            EXPECT_TRUE(holds(read(r.c, "dst"), x, m->elem_size())) << m->name << " on " << ::testing::PrintToString(a.v);
        }
    }
}

// 5x5 and 6x6: row 0 ties between columns 0 and 1; the lower column must be the first
// pivot. With it, the leading block has determinant 5 and the Schur complement
// determinant e = 0.8 band, which fails; the later column would give a leading block of
// 3.5 and a complement of 5e/3.5, which passes.
TEST(InvertBehaviour, BlockPivotTiesKeepTheLowerColumn) {
    for (const MemberInfo* m : members_of("Invert", false, "m")) {
        const unsigned n = unsigned(m->size), k = n - 3;
        if (n < 5) continue;
        Mat a(n, n);
        a(0, 0) = a(0, 1) = 1, a(0, 2) = 0.5, a(1, 1) = 3, a(1, 2) = 5, a(k, 1) = round_to(0.8 * band(m->elem_size()), m->elem_size());
        if (n == 6) a(2, 3) = 1;
        for (unsigned r = k + 1; r < n; ++r) a(r, r) = 1;
        const Worked r = run_on(*m, {{"src", a}}, 1, [](Call&) {});
        EXPECT_EQ(r.code, olvResultZeroDivisor) << m->name;
        EXPECT_TRUE(r.c.nothing_written()) << m->name;
    }
}

}  // namespace
}  // namespace olvmtest
