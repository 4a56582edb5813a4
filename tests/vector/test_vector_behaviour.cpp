// Vector-algebra cases that random operands do not reach: norms whose squares leave the
// range of double, a cross product written over a source.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "calls.h"

namespace olvmtest {
namespace {

// Calls `m` with every object of each source set to its row of `v` (padded with zeros;
// generic members get the longest row's length) and expects every scalar result `want`.
void expect_scalars(const MemberInfo& m, const std::vector<std::vector<double>>& v, double want) {
    Rng rng(1);
    Call c = make_call(m, rng, 2, {unsigned(std::max(v[0].size(), v.back().size()))});
    for (std::size_t s = 0; s < v.size(); ++s) {
        Placed& p = c.op(v.size() == 1 ? "src" : "src" + std::to_string(s + 1));
        for (unsigned n = 0; n < p.count(); ++n)
            for (unsigned i = 0; i < p.cols(); ++i) p.set(n, 0, i, i < v[s].size() ? v[s][i] : 0.0);
    }
    ASSERT_EQ(c.run(), olvResultOk) << m.name;
    Placed& d = c.op(c.info.back().role);
    for (unsigned n = 0; n < d.count(); ++n)
        EXPECT_TRUE(same_bits(d.get(n, 0, 0), want, m.elem_size()))
            << m.name << " object " << n << " of " << v[0][0] << ", ...: got " << d.get(n, 0, 0) << ", want " << want;
}

bool is(const MemberInfo& m, const char* family, const char* type) {
    return std::string(m.family) == family && std::string(m.type) == type;
}

TEST(VectorBehaviour, NormsKeepSquaresOutsideTheRangeOfDouble) {
    // References scaled by powers of two, so that their own squares stay in range.
    auto norm2 = [](double x, int k) { const double s = std::ldexp(x, k); return std::ldexp(std::sqrt(s * s + s * s), -k); };
    const double least = std::ldexp(1.0, -1074);
    const struct { std::vector<double> v; double want; } cases[] = {
        {{1e200, 1e200}, norm2(1e200, -664)},  {{1e-200, -1e-200}, norm2(1e-200, 664)},
        {{1e-300, 1e300, 1e-310}, 1e300},      {{3 * least, 4 * least}, 5 * least},
        {{1e-300, 3, 4}, 5},                   {{1.5e308, 1.5e308}, HUGE_VAL},
    };
    for (const auto& m : members())
        if (is(m, "L2Norm", "64f"))
            for (const auto& k : cases) expect_scalars(m, {k.v}, k.want);
}

TEST(VectorBehaviour, NormsOfVectorsScaledByPowersOfTwoScaleExactly) {
    // Where the squares of v * 2^k overflow or underflow, the norm is still the plain
    // double norm of v times 2^k; with k = 0 a subnormal element takes the place of a zero.
    Rng rng(3);
    for (const char* name : {"olvmL2Norm_v_64f", "olvmL2Norm_va_64f_PS2"})
        for (int k : {-1000, -600, 0, 600, 900})
            for (int trial = 0; trial < 40; ++trial) {
                const unsigned len = 2 + static_cast<unsigned>(rng() % 6), zero = unsigned(rng() % len);
                std::vector<double> v;
                double sum = 0.0;
                for (unsigned i = 0; i < len; ++i) {
                    const double x = k == 0 && i == zero ? 0.0 : random_value(rng, 8);
                    sum += x * x;
                    v.push_back(k == 0 && i == zero ? 1e-310 : std::ldexp(x, k));
                }
                expect_scalars(member(name), {v}, std::ldexp(std::sqrt(sum), k));
            }
}

template <class T>
void cross_over_source(const char* name) {
    const T want[3][3] = {{-3, 6, -3}, {-3, 30, -135}, {-3, -15, -9}};  // apart, over a, over b
    for (int over = 0; over < 3; ++over) {
        T a[3] = {1, 2, 3}, b[3] = {4, 5, 6}, d[3] = {};
        T* dst = over == 1 ? a : over == 2 ? b : d;
        Args args;
        args.pSrc1 = a, args.pSrc2 = b, args.pDst = dst;
        ASSERT_EQ(call(member(name), args), olvResultOk);
        EXPECT_EQ(std::vector<T>(dst, dst + 3), std::vector<T>(want[over], want[over] + 3)) << name << ", case " << over;
    }
}

TEST(VectorBehaviour, CrossProductOverASourceSeesTheComponentsAlreadyStored) {
    cross_over_source<float>("olvmCrossProduct_vv_32f_3x1");
    cross_over_source<double>("olvmCrossProduct_vv_64f_3x1");
}

}  // namespace
}  // namespace olvmtest
