// Every Invert member, called through its exported symbol on matrices placed with random
// strides, offsets and table orders (a second pass steps backwards through memory):
//   - generic orders 1..6 on random matrices, bit for bit against a model of the
//     elimination design written here (and a pass whose first column is all ties);
//   - 3x3 and 4x4 bit for bit against their cofactor formulas, the 4x4 adjugate included
//     when the band test fails;
//   - 5x5 and 6x6 (well-conditioned matrices) by inv(A)·A = I within a tolerance.
// Objects after the first singular one, and the scratch buffer's guard bytes, must be
// untouched. Then the edge cases of thresholds, bands, ties and zero minors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <functional>
#include <string>
#include <vector>

#include "calls.h"
#include "elimination.h"

namespace olvmtest {
namespace {

using Dense = std::vector<double>;  // row-major, values of the element type

double band(std::size_t es) { return es == 4 ? 1e-07 : 1e-15; }
bool inside_band(double d, std::size_t es) { return -band(es) < d && d < band(es); }

// Generic design: the determinant from the shared elimination (the product of the pivots
// unrounded), then each cofactor from the determinant of its minor, 0 where that fails.
bool model_det(const Rows& a, std::size_t es, double& det) {
    const Elimination e = eliminate(a, es);
    if (e.failed_step || e.last_fails(es)) return false;
    double product = 1.0;
    for (double p : e.pivots) product *= p;
    det = product * (e.last * e.sign);
    return true;
}

bool model_generic(const Dense& a, unsigned n, std::size_t es, Dense& x) {
    auto rows = [&](unsigned skip_r, unsigned skip_c) {
        Rows m;
        for (unsigned r = 0; r < n; ++r) {
            if (r == skip_r) continue;
            m.emplace_back();
            for (unsigned c = 0; c < n; ++c)
                if (c != skip_c) m.back().push_back(a[r * n + c]);
        }
        return m;
    };
    double det = 0.0;
    if (!model_det(rows(n, n), es, det)) return false;
    const double inv_det = 1.0 / det;
    x.assign(std::size_t(n) * n, 0.0);
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j) {
            double m = 1.0;
            if (n > 1 && !model_det(rows(i, j), es, m)) m = 0.0;
            x[j * n + i] = round_to((m * inv_det) * ((i + j) % 2 ? -1.0 : 1.0), es);
        }
    return true;
}

bool model3(const Dense& a, std::size_t es, Dense& x) {
    auto A = [&](int i, int j) { return a[i * 3 + j]; };
    const double d = A(0, 0) * (A(1, 1) * A(2, 2) - A(1, 2) * A(2, 1)) + (A(1, 2) * A(2, 0) - A(2, 2) * A(1, 0)) * A(0, 1) +
                     (A(1, 0) * A(2, 1) - A(1, 1) * A(2, 0)) * A(0, 2);
    if (inside_band(d, es)) return false;
    const double r = 1.0 / d;
    x = {A(1, 1) * A(2, 2) - A(1, 2) * A(2, 1), A(0, 2) * A(2, 1) - A(0, 1) * A(2, 2), A(0, 1) * A(1, 2) - A(0, 2) * A(1, 1),
         A(1, 2) * A(2, 0) - A(1, 0) * A(2, 2), A(0, 0) * A(2, 2) - A(0, 2) * A(2, 0), A(0, 2) * A(1, 0) - A(0, 0) * A(1, 2),
         A(1, 0) * A(2, 1) - A(1, 1) * A(2, 0), A(0, 1) * A(2, 0) - A(0, 0) * A(2, 1), A(0, 0) * A(1, 1) - A(0, 1) * A(1, 0)};
    for (double& v : x) v = round_to(v * r, es);
    return true;
}

// x: the scaled adjugate, or the stored adjugate itself when the band test fails.
bool model4(const Dense& a, std::size_t es, Dense& x) {
    x.assign(16, 0.0);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) {
            double b[9];
            int k = 0;
            for (int i = 0; i < 4; ++i)
                for (int j = 0; j < 4; ++j)
                    if (i != c && j != r) b[k++] = a[i * 4 + j];
            const double minor = b[0] * (b[4] * b[8] - b[5] * b[7]) - b[3] * (b[1] * b[8] - b[2] * b[7]) +
                                 b[6] * (b[1] * b[5] - b[2] * b[4]);
            x[r * 4 + c] = round_to((r + c) % 2 ? -minor : minor, es);
        }
    const double d = a[4] * x[1] + a[8] * x[2] + a[12] * x[3] + a[0] * x[0];
    if (inside_band(d, es)) return false;
    for (double& v : x) v = round_to(v * (1.0 / d), es);
    return true;
}

// max |(X A - I)_ij| relative to |X| |A| (infinity norms).
double residual(const Dense& a, const Dense& x, unsigned n) {
    double worst = 0.0, na = 0.0, nx = 0.0;
    for (unsigned i = 0; i < n; ++i) {
        double ra = 0.0, rx = 0.0;
        for (unsigned j = 0; j < n; ++j) {
            ra += std::fabs(a[i * n + j]);
            rx += std::fabs(x[i * n + j]);
            double s = i == j ? -1.0 : 0.0;
            for (unsigned k = 0; k < n; ++k) s += x[i * n + k] * a[k * n + j];
            worst = std::max(worst, std::fabs(s));
        }
        na = std::max(na, ra);
        nx = std::max(nx, rx);
    }
    return worst / (na * nx);
}

Dense object(const Placed& p, unsigned n) {
    Dense d;
    for (unsigned i = 0; i < p.rows(); ++i)
        for (unsigned j = 0; j < p.cols(); ++j) d.push_back(p.get(n, i, j));
    return d;
}

// Runs the call and checks it against the models; returns the number of objects inverted.
unsigned check(Call& c) {
    const MemberInfo& m = *c.m;
    const std::size_t es = m.elem_size();
    const unsigned size = c.width;
    Placed &src = c.op("src"), &dst = c.op("dst");
    c.snapshot_all();
    const OlvResult got = c.run();
    unsigned done = 0;
    bool failed = false;
    for (; done < c.count && !failed; ++done) {
        const Dense a = object(src, done);
        Dense x;
        bool exact = true;  // compared bit for bit
        if (!m.size) {
            failed = !model_generic(a, size, es, x);
        } else if (size == 3) {
            failed = !model3(a, es, x);
        } else if (size == 4) {
            failed = !model4(a, es, x);
        } else {
            exact = false;
            if (got == olvResultOk) {
                EXPECT_LE(residual(a, object(dst, done), size), 8.0 * size * std::ldexp(1.0, es == 4 ? -24 : -53))
                    << m.name << " object " << done;
            }
        }
        if (exact && (!failed || size == 4)) {
            for (unsigned e = 0; e < size * size; ++e)
                if (!same_bits(dst.get(done, e / size, e % size), x[e], es)) {
                    ADD_FAILURE() << m.name << " object " << done << " element " << e << ": got "
                                  << dst.get(done, e / size, e % size) << ", want " << x[e];
                    break;
                }
        }
    }
    EXPECT_EQ(got, failed ? olvResultZeroDivisor : olvResultOk) << m.name << " size " << size;
    const unsigned untouched = failed && size != 4 ? done - 1 : done;
    for (unsigned n = untouched; n < c.count; ++n)
        for (unsigned e = 0; e < size * size; ++e)
            EXPECT_FALSE(dst.element_changed(n, e / size, e % size)) << m.name << " object " << n;
    EXPECT_FALSE(src.any_changed()) << m.name << " wrote into its source";
    EXPECT_FALSE(dst.changed_outside_elements()) << m.name << " wrote outside its destination";
    if (c.ops.count("buffer")) {
        EXPECT_FALSE(c.op("buffer").changed_outside_elements()) << m.name << " wrote past its buffer";
    }
    return failed ? done - 1 : done;
}

// `ties`: every object's first column holds one magnitude with random signs.
void sweep_member(const MemberInfo& m, bool negative, bool ties) {
    Rng rng(std::hash<std::string>{}(m.name) + negative + 2 * ties);
    const unsigned size = m.size ? unsigned(m.size) : 1 + unsigned(rng() % 6);
    Placement how;
    how.negative = negative;
    Call c = make_call(m, rng, 1 + unsigned(rng() % 4), {ties ? 4 : size}, how);
    Placed& src = c.op("src");
    if (!m.size || m.size < 5) {
        src.randomize(rng);  // the models decide any matrix
    } else {
        // Columns shuffled, so that the dominant diagonal is not where pivoting starts.
        for (unsigned n = 0; n < c.count; ++n) {
            const Dense a = object(src, n);
            std::vector<unsigned> perm(size);
            std::iota(perm.begin(), perm.end(), 0u);
            std::shuffle(perm.begin(), perm.end(), rng);
            for (unsigned e = 0; e < size * size; ++e) src.set(n, e / size, perm[e % size], a[e]);
        }
    }
    if (ties)
        for (unsigned n = 0; n < c.count; ++n)
            for (unsigned i = 0; i < src.rows(); ++i)
                src.set(n, i, 0, (rng() & 1 ? -1 : 1) * std::fabs(src.get(n, 0, 0)));
    check(c);
}

TEST(InvertSweep, EveryMemberAgainstItsDesign) {
    int checked = 0;
    for (const auto& m : members()) {
        if (std::string(m.family) != "Invert") continue;
        sweep_member(m, false, false);
        sweep_member(m, true, false);
        if (!m.size) sweep_member(m, false, true);
        ++checked;
    }
    EXPECT_EQ(checked, 90);
}

// One matrix through a standard single member (src and dst of the member's order).
Call single(const std::string& name, const Dense& a) {
    const MemberInfo& m = member(name);
    Rng rng(1);
    const unsigned n = unsigned(std::lround(std::sqrt(double(a.size()))));
    Call c = make_call(m, rng, 1, {n});
    for (unsigned e = 0; e < a.size(); ++e) c.op("src").set(0, e / n, e % n, a[e]);
    return c;
}

// A determinant exactly at the band limit inverts, 0.99 of it fails (3x3: nothing
// written; 4x4: the adjugate stays). The float limit is the double 1e-07, reached as the
// exact sum h + m + l of three floats.
TEST(InvertBehaviour, BandLimitsOfTheFixedFormulas) {
    for (const char* type : {"32f", "64f"})
        for (double scale : {1.0, 0.99}) {
            const std::size_t es = std::string(type) == "32f" ? 4 : 8;
            const double d = band(es) * scale;
            const double h = round_to(d, es), m = round_to(d - h, es), l = round_to(d - h - m, es);
            ASSERT_EQ(h + m + l, d);
            for (const auto& [order, a] : {std::pair<int, Dense>{3, {h, 1, 1, -m, 1, 0, -l, 0, 1}},
                                           {4, {h, -1, -1, 0, m, 1, 0, 0, l, 0, 1, 0, 0, 0, 0, 1}}}) {
                const std::string name = std::string("olvmInvert_m_") + type + "_" + std::to_string(order) + "x" +
                                         std::to_string(order);
                Call c = single(name, a);
                EXPECT_EQ(check(c), scale == 1.0 ? 1u : 0u) << name << " scale " << scale;
            }
        }
}

// Generic order: a pivot equal to the threshold passes before the last column and fails
// there; at order 2 each one-element minor is tested as a last pivot, so a minor equal
// to the threshold gives a zero cofactor.
TEST(InvertBehaviour, GenericPivotThresholds) {
    for (const char* name : {"olvmInvert_m_32f", "olvmInvert_m_64f"}) {
        const double t = pivot_epsilon(member(name).elem_size());
        Call first = single(name, {t, 0, 0, 1}), last = single(name, {1, 0, 0, t}), minor = single(name, {1, t, 0, 1});
        EXPECT_EQ(check(first), 1u) << name;
        EXPECT_EQ(check(last), 0u) << name;
        EXPECT_EQ(check(minor), 1u) << name;
        EXPECT_TRUE(same_bits(minor.op("dst").get(0, 0, 1), -0.0, member(name).elem_size())) << name;
    }
}

// Zero minors of a regular matrix count as 0; the cofactor sign makes some of them -0.
TEST(InvertBehaviour, GenericZeroMinors) {
    const Dense a = {2, 0, 0, 0, 3, 1, 0, 1, 1};
    const Dense want = {0.5, -0.0, 0.0, -0.0, 0.5, -0.5, 0.0, -0.5, 1.5};
    for (const auto& m : members()) {
        if (std::string(m.family) != "Invert" || m.size) continue;
        Rng rng(2);
        Call c = make_call(m, rng, 2, {3});
        for (unsigned n = 0; n < c.count; ++n)
            for (unsigned e = 0; e < 9; ++e) c.op("src").set(n, e / 3, e % 3, a[e]);
        ASSERT_EQ(check(c), c.count) << m.name;
        for (unsigned n = 0; n < c.count; ++n)
            for (unsigned e = 0; e < 9; ++e)
                EXPECT_TRUE(same_bits(c.op("dst").get(n, e / 3, e % 3), want[e], m.elem_size())) << m.name << " " << e;
    }
}

// 5x5 and 6x6: row 0 ties between columns 0 and 1; the lower column must be the first
// pivot. With it, the leading block has determinant 5 and the Schur complement
// determinant e = 0.8 band, which fails; the later column would give a leading block of
// 3.5 and a complement of 5e/3.5, which passes.
TEST(InvertBehaviour, BlockPivotTiesKeepTheLowerColumn) {
    for (const char* type : {"32f", "64f"})
        for (unsigned n : {5u, 6u}) {
            const std::size_t es = std::string(type) == "32f" ? 4 : 8;
            const unsigned k = n - 3;
            Dense a(n * n, 0.0);
            auto A = [&](unsigned i, unsigned j) -> double& { return a[i * n + j]; };
            A(0, 0) = A(0, 1) = 1, A(0, 2) = 0.5, A(1, 1) = 3, A(1, 2) = 5;
            if (n == 6) A(2, 3) = 1;
            A(k, 1) = round_to(0.8 * band(es), es);
            for (unsigned r = k + 1; r < n; ++r) A(r, r) = 1;
            const std::string name =
                std::string("olvmInvert_m_") + type + "_" + std::to_string(n) + "x" + std::to_string(n);
            Call c = single(name, a);
            c.snapshot_all();
            EXPECT_EQ(c.run(), olvResultZeroDivisor) << name;
            EXPECT_TRUE(c.nothing_written()) << name;
        }
}

}  // namespace
}  // namespace olvmtest
