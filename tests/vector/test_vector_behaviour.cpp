// Vector-algebra cases that random operands do not reach: cancellation in dot products,
// norms whose squares leave the range of double, a cross product written over a source,
// and the contiguous scalar results of array members in table layouts.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "vector_call.h"

namespace olvmtest {
namespace {

// Sets every object of source `role` to `v`, padded with zeros to the call's length.
void fill(Call& c, const std::string& role, const std::vector<double>& v) {
    Placed& p = c.op(role);
    for (unsigned n = 0; n < p.count(); ++n)
        for (unsigned i = 0; i < p.cols(); ++i) p.set(n, 0, i, i < v.size() ? v[i] : 0.0);
}

// Runs the call and checks that every scalar result equals `want` bit for bit.
void expect_results(Call& c, double want, const std::string& what) {
    ASSERT_EQ(c.run(), olvResultOk) << c.m->name;
    Placed& d = c.op(c.info.back().role);
    for (unsigned n = 0; n < d.count(); ++n)
        EXPECT_TRUE(same_bits(d.get(n, 0, 0), want, c.m->elem_size()))
            << c.m->name << " " << what << ", object " << n << ": got " << d.get(n, 0, 0) << ", want " << want;
}

bool is(const MemberInfo& m, const char* family, const char* type) {
    return std::string(m.family) == family && std::string(m.type) == type;
}

TEST(VectorBehaviour, DotProductSumIsNeverRoundedToSingle) {
    for (const auto& m : members()) {
        if (!is(m, "DotProduct", "32f") || m.size > 3) continue;
        Rng rng(1);
        Call c = make_vector_call(m, rng, 2, {}, 3);
        fill(c, "src1", {1e8, 1, -1e8});
        fill(c, "src2", {1, 1, 1});
        expect_results(c, 1.0, "(1e8, 1, -1e8) . (1, 1, 1)");
    }
}

TEST(VectorBehaviour, NormsKeepSquaresOutsideTheRangeOfDouble) {
    // References scaled by powers of two, so that their own squares stay in range.
    auto scaled_norm = [](double x, int k) {
        const double s = std::ldexp(x, k);
        return std::ldexp(std::sqrt(s * s + s * s), -k);
    };
    const double tiny = std::ldexp(1.0, -1074);
    const struct { std::vector<double> v; double want; } cases[] = {
        {{1e200, 1e200}, scaled_norm(1e200, -664)},
        {{1e-200, -1e-200}, scaled_norm(1e-200, 664)},
        {{1e-300, 1e300, 1e-310}, 1e300},
        {{3 * tiny, 4 * tiny}, 5 * tiny},
        {{1e-300, 3, 4}, 5},
        {{1.5e308, 1.5e308}, HUGE_VAL},
    };
    for (const auto& m : members()) {
        if (!is(m, "L2Norm", "64f")) continue;
        for (const auto& k : cases) {
            Rng rng(2);
            Call c = make_vector_call(m, rng, 2, {}, unsigned(k.v.size()));
            fill(c, "src", k.v);
            expect_results(c, k.want, "of extreme elements");
        }
    }
}

TEST(VectorBehaviour, NormsOfVectorsScaledByPowersOfTwoScaleExactly) {
    // Where the squares of v * 2^k overflow or underflow, the norm is still the plain
    // double norm of v times 2^k; with k = 0 a subnormal element is added, which changes
    // nothing but takes the same way as an underflowing square.
    Rng rng(3);
    for (const char* name : {"olvmL2Norm_v_64f", "olvmL2Norm_va_64f_PS2"})
        for (int k : {-1000, -600, 0, 600, 900})
            for (int trial = 0; trial < 40; ++trial) {
                const unsigned len = 2 + static_cast<unsigned>(rng() % 6);
                const unsigned subnormal = k == 0 ? static_cast<unsigned>(rng() % len) : len;
                Call c = make_vector_call(member(name), rng, 2, {}, len);
                Placed& src = c.op("src");
                double sum = 0.0;
                std::vector<double> v;
                for (unsigned i = 0; i < len; ++i) {
                    const double x = i == subnormal ? 0.0 : src.get(0, 0, i);
                    sum += x * x;
                    v.push_back(i == subnormal ? 1e-310 : std::ldexp(x, k));
                }
                const double plain = std::sqrt(sum);
                fill(c, "src", v);
                expect_results(c, std::ldexp(plain, k), "scaled by 2^" + std::to_string(k));
            }
}

template <class T>
void cross_over_source(const char* name) {
    SCOPED_TRACE(name);
    const T a0[3] = {1, 2, 3}, b0[3] = {4, 5, 6};
    const T apart[3] = {-3, 6, -3}, over_a[3] = {-3, 30, -135}, over_b[3] = {-3, -15, -9};
    for (int over = 0; over < 3; ++over) {
        T a[3] = {a0[0], a0[1], a0[2]}, b[3] = {b0[0], b0[1], b0[2]}, d[3] = {};
        Args args;
        args.pSrc1 = a;
        args.pSrc2 = b;
        args.pDst = over == 1 ? a : over == 2 ? b : d;
        ASSERT_EQ(call(member(name), args), olvResultOk);
        const T* want = over == 1 ? over_a : over == 2 ? over_b : apart;
        const T* got = static_cast<const T*>(args.pDst);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(got[i], want[i]) << "over source " << over << ", component " << i;
    }
}

TEST(VectorBehaviour, CrossProductOverASourceSeesTheComponentsAlreadyStored) {
    cross_over_source<float>("olvmCrossProduct_vv_32f_3x1");
    cross_over_source<double>("olvmCrossProduct_vv_64f_3x1");
}

TEST(VectorBehaviour, ArrayScalarResultsLieNextToEachOtherInTableLayouts) {
    // Norms of (3, 4), (6, 8), (5, 12) stored interleaved element by element (P).
    float xs[3] = {3, 6, 5}, ys[3] = {4, 8, 12}, norms[4] = {-1, -1, -1, -1};
    float* columns[2] = {xs, ys};
    Args p;
    p.ppSrc = columns;
    p.pDst = norms;
    p.len = 2;
    p.count = 3;
    ASSERT_EQ(call(member("olvmL2Norm_va_32f_P"), p), olvResultOk);
    EXPECT_EQ(std::vector<float>(norms, norms + 4), (std::vector<float>{5, 10, 13, -1}));
    // The same vectors one pointer per object (L), each dotted with itself.
    double v0[2] = {3, 4}, v1[2] = {6, 8}, v2[2] = {5, 12}, dots[4] = {-1, -1, -1, -1};
    double* objects[3] = {v0, v1, v2};
    Args l;
    l.ppSrc1 = l.ppSrc2 = objects;
    l.pDst = dots;
    l.len = 2;
    l.count = 3;
    ASSERT_EQ(call(member("olvmDotProduct_vava_64f_L"), l), olvResultOk);
    EXPECT_EQ(std::vector<double>(dots, dots + 4), (std::vector<double>{25, 100, 169, -1}));
}

}  // namespace
}  // namespace olvmtest
