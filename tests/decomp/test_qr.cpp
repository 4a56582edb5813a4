// The QR families: every member against the model (tests/support/models.h), then
// hand-worked cases through the generic single-object members that pin the model itself
// down: the 2x2 worked example, 1x1, the squared column sum against the threshold, the
// sign taken at a zero diagonal, a matrix wider than tall, tall matrices solved in the
// least-squares sense, and a zero on R's diagonal.
#include <cmath>
#include <limits>
#include <tuple>

#include "models.h"

namespace olvmtest {
namespace {

TEST(QRSweep, EveryMemberFollowsTheModel) {
    EXPECT_EQ(sweep("QRDecomp"), 90);
    EXPECT_EQ(sweep("QRBackSubst"), 150);
}

const double r2 = std::sqrt(2.0), inf = HUGE_VAL;
using V = std::vector<double>;

// Width, height, the source, the result, the destination (empty: left to the model) and
// the scale of its tolerance (negative: bit for bit).
TEST(QRDecompBehaviour, WorkedDecompositions) {
    const double e = 0x1p-12, tiny = float(1e-4), nan = std::numeric_limits<double>::quiet_NaN();
    const std::tuple<unsigned, unsigned, V, OlvResult, V, double> cases[] = {
        // S = 25, sigma = 5, t = 8, v = (1, 0.5), N = 1.25, beta = -1.6.
        {2, 2, {3, 1, 4, 2}, olvResultOk, {-5, -2.2, 0.5, 0.4}, 8},
        // 1x1 is copied without a test.
        {1, 1, {0x1p-27}, olvResultOk, {0x1p-27}, -1},
        // The threshold is compared with the squared sum: two entries 1e-4 (norm 1.4e-4)
        // fail and leave the copy; two entries 2^-12 square to exactly the threshold and
        // pass; a NaN passes.
        {2, 2, {tiny, 1, tiny, 2}, olvResultZeroDivisor, {tiny, 1, tiny, 2}, -1},
        {2, 2, {e, 1, e, 0}, olvResultOk, {}, -1},
        {2, 2, {nan, 1, 1, 1}, olvResultOk, {}, -1},
        // D(0,0) = 0 takes t = -sigma: v = (1, -1), beta = -1, R = I (the other sign: -I).
        {2, 2, {0, 1, 1, 0}, olvResultOk, {1, 0, -1, 1}, -1},
        {2, 2, {-0.0, 1, 1, 0}, olvResultOk, {1, 0, -1, 1}, -1},
        // Two rows, three columns: both rows get their reflector (the second negates its
        // row), then the empty column sum below row 2 fails.
        {3, 2, {1, 2, 3, 0, 4, 5}, olvResultZeroDivisor, {-1, -2, -3, 0, -4, -5}, -1},
        // A 3x2 matrix gets two reflectors, the last column's stored below it.
        {2, 3, {1, 0, 0, 1, 0, 1}, olvResultOk, {-1, 0, 0, -r2, 0, r2 - 1}, 0},
    };
    for (const MemberInfo* m : members_of("QRDecomp", true, "m"))
        for (const auto& [w, h, a, code, d, scale] : cases) {
            const Worked r = run_on(*m, {{"src", Mat(h, w, a)}});
            EXPECT_EQ(r.code, code) << m->name << " on " << ::testing::PrintToString(a);
            EXPECT_TRUE(holds(read(r.c, "dst"), d, m->elem_size(), scale)) << m->name << " on " << ::testing::PrintToString(a);
        }
}

// Width, height, packed factors, b, then x and the buffer's Q^T b, and the tolerance.
TEST(QRBackSubstBehaviour, WorkedSystems) {
    const std::tuple<unsigned, unsigned, V, V, V, V, double> cases[] = {
        // s = 7, t = -11.2, y = (-7.2, 0.4); x[1] = 1, x[0] = (-7.2 + 2.2) / -5.
        {2, 2, {-5, -2.2, 0.5, 0.4}, {4, 6}, {1, 1}, {-7.2, 0.4}, 12},
        // The factors of the 3x2 case above: the least-squares fit x = (1, 2) for
        // b = (1, 1, 3), whose residual (0, -1, 1) has the norm of y[2].
        {2, 3, {-1, 0, 0, -r2, 0, r2 - 1}, {1, 1, 3}, {1, 2}, {-1, -2 * r2, r2}, 4},
        // No test of R's diagonal: y = (-1, 1), x[1] = 1/0, x[0] = (-1 - inf) / 1.
        {2, 2, {1, 1, 0, 0}, {1, 1}, {-inf, inf}, {-1, 1}, -1},
    };
    for (const MemberInfo* m : members_of("QRBackSubst", true, "mv"))
        for (const auto& [w, h, d, b, x, y, scale] : cases) {
            const Worked r = run_on(*m, {{"src", Mat(h, w, d)}, {"src2", Mat(1, h, b)}});
            EXPECT_EQ(r.code, olvResultOk) << m->name;
            EXPECT_TRUE(holds(read(r.c, "dst"), x, m->elem_size(), scale)) << m->name << " x";
            EXPECT_TRUE(holds(read(r.c, "buffer"), y, m->elem_size(), scale)) << m->name << " y";
        }
}

}  // namespace
}  // namespace olvmtest
