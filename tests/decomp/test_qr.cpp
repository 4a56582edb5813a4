// The QR families: every member, called through its exported symbol with operands placed
// with random strides, offsets and table orders (a second pass steps backwards through
// memory), tall and square shapes, against a model of the Householder steps written here
// in double with the element type's rounding: results, result codes and the solver's
// buffer (Q^T b) bit for bit, nothing written but the destination and the buffer. Then
// hand-worked cases through the generic single-object members: the 2x2 worked example,
// 1x1, the squared column sum against the threshold, the sign taken at a zero diagonal,
// tall and wide matrices, a zero on R's diagonal, and what a failing array call leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <functional>
#include <string>
#include <vector>

#include "calls.h"

namespace olvmtest {
namespace {

constexpr double threshold = 1.1920928955078125e-07;

struct Mat {
    unsigned h = 0, w = 0;
    std::vector<double> v;
    Mat(unsigned rows, unsigned cols) : h(rows), w(cols), v(std::size_t(rows) * cols, 0.0) {}
    double& operator()(unsigned i, unsigned j) { return v[std::size_t(i) * w + j]; }
    double operator()(unsigned i, unsigned j) const { return v[std::size_t(i) * w + j]; }
};

unsigned reflectors(unsigned w, unsigned h) { return w == h ? w - 1 : w; }

// The decomposition, in place on d, rounding every stored value to the element type.
OlvResult model_decomp(Mat& d, std::size_t es) {
    std::vector<double> v(d.h);
    for (unsigned k = 0; k < reflectors(d.w, d.h); ++k) {
        double sum = 0.0;
        for (unsigned i = k; i < d.h; ++i) sum += d(i, k) * d(i, k);
        if (threshold > std::fabs(sum)) return olvResultZeroDivisor;
        const double sigma = std::sqrt(sum);
        const double c = 1.0 / (0.0 >= d(k, k) ? d(k, k) - sigma : d(k, k) + sigma);
        double norm = 1.0;
        v[k] = 1.0;
        for (unsigned i = k + 1; i < d.h; ++i) {
            v[i] = round_to(d(i, k) * c, es);
            norm += (d(i, k) * c) * (d(i, k) * c);
        }
        const double beta = -2.0 / norm;
        for (unsigned j = k; j < d.w; ++j) {
            double s = 0.0;
            for (unsigned i = k; i < d.h; ++i) s += d(i, j) * v[i];
            s *= beta;
            for (unsigned i = k; i < d.h; ++i) d(i, j) = round_to(v[i] * s + d(i, j), es);
        }
        for (unsigned i = k + 1; i < d.h; ++i) d(i, k) = v[i];
    }
    return olvResultOk;
}

// The solve from packed factors d: y (on entry b) becomes Q^T b, x the solution.
void model_solve(const Mat& d, std::vector<double>& y, std::vector<double>& x, std::size_t es) {
    for (unsigned k = 0; k < reflectors(d.w, d.h); ++k) {
        double norm = 1.0, s = y[k];
        for (unsigned i = k + 1; i < d.h; ++i) norm += d(i, k) * d(i, k);
        for (unsigned i = k + 1; i < d.h; ++i) s += d(i, k) * y[i];
        const double t = s * (-2.0 / norm);
        y[k] = round_to(y[k] + t, es);
        for (unsigned i = k + 1; i < d.h; ++i) y[i] = round_to(d(i, k) * t + y[i], es);
    }
    x.assign(d.w, 0.0);
    for (unsigned i = d.w; i-- > 0;) {
        double s = 0.0;
        for (unsigned j = i + 1; j < d.w; ++j) s += d(i, j) * x[j];
        x[i] = round_to((y[i] - s) / d(i, i), es);
    }
}

Mat object_of(const Call& c, const std::string& role, unsigned n) {
    Mat m(c.height, c.width);
    for (unsigned i = 0; i < c.height; ++i)
        for (unsigned j = 0; j < c.width; ++j) m(i, j) = c.used(role, n, i, j);
    return m;
}

std::vector<double> vector_of(const Placed& p, unsigned n) {
    std::vector<double> v(p.cols());
    for (unsigned k = 0; k < p.cols(); ++k) v[k] = p.get(n, 0, k);
    return v;
}

// Generic members: a random tall or square shape.
Call sized_call(const MemberInfo& m, bool negative) {
    Rng rng(std::hash<std::string>{}(m.name) + negative);
    const unsigned h = 1 + static_cast<unsigned>(rng() % 7), w = 1 + static_cast<unsigned>(rng() % h);
    Placement how;
    how.negative = negative;
    Call c = make_call(m, rng, 1 + static_cast<unsigned>(rng() % 4), {w, h}, how);
    c.snapshot_all();
    return c;
}

void check_decomp(const MemberInfo& m, bool negative) {
    Call c = sized_call(m, negative);
    const std::size_t es = m.elem_size();
    const OlvResult got = c.run();
    OlvResult want = olvResultOk;
    for (unsigned n = 0; n < c.count; ++n) {
        Mat d = object_of(c, "src", n);
        if (want == olvResultOk) want = model_decomp(d, es);
        for (unsigned i = 0; i < c.height; ++i)
            for (unsigned j = 0; j < c.width; ++j)
                ASSERT_TRUE(same_bits(c.op("dst").get(n, i, j), d(i, j), es))
                    << m.name << " " << c.height << "x" << c.width << " object " << n << " (" << i << ", " << j
                    << "): got " << c.op("dst").get(n, i, j) << ", want " << d(i, j);
    }
    EXPECT_EQ(got, want) << m.name;
    EXPECT_FALSE(c.op("src").any_changed()) << m.name << " wrote into its source";
    EXPECT_FALSE(c.op("dst").changed_outside_elements()) << m.name << " wrote outside its destination";
    EXPECT_FALSE(c.op("buffer").changed_outside_elements()) << m.name << " wrote outside its buffer";
}

void check_solve(const MemberInfo& m, bool negative) {
    Call c = sized_call(m, negative);
    const std::size_t es = m.elem_size();
    ASSERT_EQ(c.run(), olvResultOk) << m.name;
    std::vector<double> y, x;
    for (unsigned n = 0; n < c.count; ++n) {
        const Mat d = object_of(c, "src", n);
        const std::vector<double> b = vector_of(c.op("src2"), n);
        y = b;
        model_solve(d, y, x, es);
        const std::vector<double> got = vector_of(c.op("dst"), n);
        for (unsigned j = 0; j < c.width; ++j)
            ASSERT_TRUE(same_bits(got[j], x[j], es))
                << m.name << " " << c.height << "x" << c.width << " object " << n << " x[" << j << "]: got "
                << got[j] << ", want " << x[j];

    }
    // The one buffer holds Q^T b of the last object.
    for (unsigned i = 0; i < c.height; ++i)
        ASSERT_TRUE(same_bits(c.op("buffer").get(0, 0, i), y[i], es)) << m.name << " buffer[" << i << "]";
    for (const char* role : {"src", "src2"})
        EXPECT_FALSE(c.op(role).any_changed()) << m.name << " wrote into " << role;
    EXPECT_FALSE(c.op("dst").changed_outside_elements()) << m.name << " wrote outside its destination";
    EXPECT_FALSE(c.op("buffer").changed_outside_elements()) << m.name << " wrote outside its buffer";
}

void sweep(const std::string& family, void (*check)(const MemberInfo&, bool), int published) {
    int checked = 0;
    for (const auto& m : members()) {
        if (family != m.family) continue;
        check(m, false);
        check(m, true);
        ++checked;
    }
    EXPECT_EQ(checked, published);
}

TEST(QRSweep, EveryDecompositionMatchesTheModel) { sweep("QRDecomp", check_decomp, 90); }

TEST(QRSweep, EveryBackSubstitutionMatchesTheModel) {
    sweep("QRBackSubst", check_solve, 150);
}

const double inf = std::numeric_limits<double>::infinity();

struct Outcome {
    OlvResult code;
    std::vector<double> d;  // decomposition: the destination, row-major; solve: x
    std::vector<double> y;  // solve: the buffer (Q^T b)
};

// A decomposition of the row-major h x w matrix `a` by member m.
Outcome decompose(const MemberInfo& m, unsigned w, unsigned h, const std::vector<double>& a) {
    Rng rng(std::hash<std::string>{}(m.name));
    Call c = make_call(m, rng, 1, {w, h});
    for (unsigned i = 0; i < h; ++i)
        for (unsigned j = 0; j < w; ++j) c.op("src").set(0, i, j, a[i * w + j]);
    Outcome o{c.run(), {}, {}};
    for (unsigned i = 0; i < h; ++i)
        for (unsigned j = 0; j < w; ++j) o.d.push_back(c.op("dst").get(0, i, j));
    return o;
}

// A solve from the row-major packed factors `d` by member m.
Outcome solve(const MemberInfo& m, unsigned w, unsigned h, const std::vector<double>& d,
              const std::vector<double>& b) {
    Rng rng(std::hash<std::string>{}(m.name));
    Call c = make_call(m, rng, 1, {w, h});
    for (unsigned i = 0; i < h; ++i) {
        c.op("src2").set(0, 0, i, b[i]);
        for (unsigned j = 0; j < w; ++j) c.op("src").set(0, i, j, d[i * w + j]);
    }
    Outcome o{c.run(), {}, {}};
    for (unsigned j = 0; j < w; ++j) o.d.push_back(c.op("dst").get(0, 0, j));
    for (unsigned i = 0; i < h; ++i) o.y.push_back(c.op("buffer").get(0, 0, i));
    return o;
}

// Values within a few roundings of the hand-worked ones, of themselves or of the largest
// intermediate `scale` they cancelled from (exact zeros must match exactly).
void expect_near(const std::vector<double>& got, const std::vector<double>& want, const MemberInfo& m,
                 const char* what, double scale = 0) {
    ASSERT_EQ(got.size(), want.size());
    const double u = unit_roundoff(m.elem_size());
    for (std::size_t k = 0; k < want.size(); ++k)
        EXPECT_LE(std::fabs(got[k] - want[k]), 8 * u * (want[k] == 0 ? 0 : std::max(std::fabs(want[k]), scale)))
            << m.name << " " << what << "[" << k << "]";
}

TEST(QRBehaviour, WorkedTwoByTwo) {
    // S = 25, sigma = 5, t = 8, v = (1, 0.5), N = 1.25, beta = -1.6.
    for (const MemberInfo* m : members_of("QRDecomp", true, "m")) {
        const Outcome o = decompose(*m, 2, 2, {3, 1, 4, 2});
        EXPECT_EQ(o.code, olvResultOk) << m->name;
        expect_near(o.d, {-5, -2.2, 0.5, 0.4}, *m, "D", 8);
    }
    // s = 7, t = -11.2, y = (-7.2, 0.4); x[1] = 1, x[0] = (-7.2 + 2.2) / -5.
    for (const MemberInfo* m : members_of("QRBackSubst", true, "mv")) {
        const Outcome o = solve(*m, 2, 2, {-5, -2.2, 0.5, 0.4}, {4, 6});
        EXPECT_EQ(o.code, olvResultOk) << m->name;
        expect_near(o.y, {-7.2, 0.4}, *m, "y", 12);
        expect_near(o.d, {1, 1}, *m, "x", 12);
    }
}

TEST(QRBehaviour, OneByOneIsCopiedAndDividedWithoutATest) {
    for (const MemberInfo* m : members_of("QRDecomp", true, "m")) {
        const Outcome o = decompose(*m, 1, 1, {float(1e-8)});
        EXPECT_EQ(o.code, olvResultOk) << m->name;
        EXPECT_EQ(o.d, std::vector<double>{float(1e-8)}) << m->name;
    }
    for (const MemberInfo* m : members_of("QRBackSubst", true, "mv")) {
        const Outcome o = solve(*m, 1, 1, {4}, {6});
        EXPECT_EQ(o.code, olvResultOk) << m->name;
        EXPECT_EQ(o.y, std::vector<double>{6}) << m->name;
        EXPECT_EQ(o.d, std::vector<double>{1.5}) << m->name;
    }
}

// The threshold is compared with the squared sum: two entries 1e-4 (norm 1.4e-4) fail and
// leave the copy; two entries 2^-12 square to exactly the threshold and pass; a NaN passes.
TEST(QRBehaviour, SquaredColumnSumAgainstTheThreshold) {
    const double e = std::ldexp(1.0, -12), nan = std::numeric_limits<double>::quiet_NaN();
    for (const MemberInfo* m : members_of("QRDecomp", true, "m")) {
        const std::vector<double> tiny = {float(1e-4), 1, float(1e-4), 2};
        Outcome o = decompose(*m, 2, 2, tiny);
        EXPECT_EQ(o.code, olvResultZeroDivisor) << m->name;
        EXPECT_EQ(o.d, tiny) << m->name << " the copy stays as it was";
        EXPECT_EQ(decompose(*m, 2, 2, {e, 1, e, 0}).code, olvResultOk) << m->name;
        o = decompose(*m, 2, 2, {nan, 1, 1, 1});
        EXPECT_EQ(o.code, olvResultOk) << m->name;
        EXPECT_TRUE(std::isnan(o.d[0])) << m->name;
    }
}

// D(0,0) = 0 takes t = -sigma: v = (1, -1), beta = -1, R = I (the other sign gives -I).
TEST(QRBehaviour, ZeroDiagonalTakesMinusSigma) {
    for (const MemberInfo* m : members_of("QRDecomp", true, "m"))
        for (double zero : {0.0, -0.0}) {
            const Outcome o = decompose(*m, 2, 2, {zero, 1, 1, 0});
            EXPECT_EQ(o.code, olvResultOk) << m->name;
            EXPECT_EQ(o.d, (std::vector<double>{1, 0, -1, 1})) << m->name;
        }
}

// A 3x2 matrix gets two reflectors, the last column's stored below it; its solve is the
// least-squares fit, x = (1, 2) for b = (1, 1, 3), whose residual (0, -1, 1) has the norm of
// the buffer's last entry.
TEST(QRBehaviour, TallMatricesReflectEveryColumnAndSolveLeastSquares) {
    const double r2 = std::sqrt(2.0);
    const auto solvers = members_of("QRBackSubst", true, "mv");
    for (const MemberInfo* m : members_of("QRDecomp", true, "m")) {
        const Outcome o = decompose(*m, 2, 3, {1, 0, 0, 1, 0, 1});
        EXPECT_EQ(o.code, olvResultOk) << m->name;
        expect_near(o.d, {-1, 0, 0, -r2, 0, r2 - 1}, *m, "D");
        for (const MemberInfo* s : solvers) {
            if (std::string(s->type) != m->type) continue;
            const Outcome x = solve(*s, 2, 3, o.d, {1, 1, 3});
            EXPECT_EQ(x.code, olvResultOk) << s->name;
            expect_near(x.d, {1, 2}, *s, "x");
            expect_near({std::fabs(x.y[2])}, {r2}, *s, "|y[2]|");
        }
    }
}

// Two rows, three columns: both rows get their reflector (the second negates its row),
// then the empty column sum below row 2 fails.
TEST(QRBehaviour, WidthAboveHeightFailsAfterHeightReflectors) {
    for (const MemberInfo* m : members_of("QRDecomp", true, "m")) {
        const Outcome o = decompose(*m, 3, 2, {1, 2, 3, 0, 4, 5});
        EXPECT_EQ(o.code, olvResultZeroDivisor) << m->name;
        EXPECT_EQ(o.d, (std::vector<double>{-1, -2, -3, 0, -4, -5})) << m->name;
    }
}

// No test of R's diagonal: y = (-1, 1), x[1] = 1/0, x[0] = (-1 - inf) / 1.
TEST(QRBehaviour, ZeroOnRsDiagonalGivesInfinities) {
    for (const MemberInfo* m : members_of("QRBackSubst", true, "mv")) {
        const Outcome o = solve(*m, 2, 2, {1, 1, 0, 0}, {1, 1});
        EXPECT_EQ(o.code, olvResultOk) << m->name;
        EXPECT_EQ(o.d, (std::vector<double>{-inf, inf})) << m->name;
    }
}

// Array decompositions: a zero object 1 fails at its first column with its copy written;
// object 0 is complete (as when decomposed alone) and object 2 untouched.
TEST(QRBehaviour, FailingArrayObjectEndsTheCall) {
    int checked = 0;
    for (const auto& m : members()) {
        if (std::string(m.family) != "QRDecomp" || std::string(m.codes) != "ma") continue;
        Rng rng(std::hash<std::string>{}(m.name)), twin_rng = rng;
        Call c = make_call(m, rng, 3), alone = make_call(m, twin_rng, 3);
        Placed& src = c.op("src");
        for (unsigned i = 0; i < src.rows(); ++i)
            for (unsigned j = 0; j < src.cols(); ++j) src.set(1, i, j, 0.0);
        c.snapshot_all();
        alone.args.count = 1;
        ASSERT_EQ(c.run(), olvResultZeroDivisor) << m.name;
        ASSERT_EQ(alone.run(), olvResultOk) << m.name;
        const Placed &d = c.op("dst"), &want = alone.op("dst");
        for (unsigned i = 0; i < d.rows(); ++i)
            for (unsigned j = 0; j < d.cols(); ++j) {
                EXPECT_TRUE(same_bits(d.get(0, i, j), want.get(0, i, j), m.elem_size())) << m.name;
                EXPECT_EQ(d.get(1, i, j), 0.0) << m.name;
                EXPECT_FALSE(d.element_changed(2, i, j)) << m.name;
            }
        ++checked;
    }
    EXPECT_EQ(checked, 60);
}

}  // namespace
}  // namespace olvmtest
