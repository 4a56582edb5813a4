// Every Det member, through its exported symbol, against references computed here: a
// model of the pivoted elimination for generic determinants, and an extended-precision
// cofactor expansion (with the tolerance its grouping allows) for the fixed sizes. Each member runs with
// random strides and offsets, then again with negative strides.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "calls.h"

namespace olvmtest {
namespace {

using Matrix = std::vector<std::vector<double>>;

Matrix matrix_of(const Call& c, unsigned n) {
    Matrix a(c.height, std::vector<double>(c.width));
    for (unsigned i = 0; i < c.height; ++i)
        for (unsigned j = 0; j < c.width; ++j) a[i][j] = c.used("src", n, i, j);
    return a;
}

// Elimination with row pivoting through an index vector, the product of the pivots kept
// as the rounded value the library's result variable holds.
double eliminated_det(Matrix w, bool array, std::size_t es) {
    const double eps = es == 4 ? 0x1p-23 : 0x1p-52;
    const std::size_t n = w.size();
    std::vector<std::size_t> r(n);
    for (std::size_t i = 0; i < n; ++i) r[i] = i;
    double sign = 1, held = 1, product = 1;
    bool singular = false;
    for (std::size_t k = 0; k + 1 < n && !singular; ++k) {
        std::size_t best = k;
        for (std::size_t j = k + 1; j < n; ++j)
            if (std::fabs(w[r[j]][k]) > std::fabs(w[r[best]][k])) best = j;
        if (best != k) std::swap(r[k], r[best]), sign = -sign;
        const double p = w[r[k]][k];
        if (std::fabs(p) < eps) {
            if (!array) return 0.0;
            singular = true;
            break;
        }
        for (std::size_t j = k + 1; j < n; ++j) {
            const double f = w[r[j]][k] / p;
            for (std::size_t c = k + 1; c < n; ++c) w[r[j]][c] = round_to(w[r[j]][c] - f * w[r[k]][c], es);
        }
        product = held * p;
        held = round_to(product, es);
    }
    if (singular) product = 0.0;
    const double q = w[r[n - 1]][n - 1];
    return std::fabs(q) <= eps ? 0.0 : round_to(product * (q * sign), es);
}

// Determinant and permanent of |a| over the rows from `row` down and the columns in
// `cols`, by cofactors in long double.
std::pair<long double, long double> expansion(const Matrix& a, std::size_t row, unsigned cols) {
    if (row == a.size()) return {1.0L, 1.0L};
    long double d = 0, p = 0, s = 1;
    for (std::size_t c = 0; c < a.size(); ++c) {
        if (!(cols & (1u << c))) continue;
        const auto [md, mp] = expansion(a, row + 1, cols & ~(1u << c));
        d += s * a[row][c] * md;
        p += std::fabs(a[row][c]) * mp;
        s = -s;
    }
    return {d, p};
}

void check(const MemberInfo& m, unsigned order, Placement how, unsigned salt) {
    const std::size_t es = m.elem_size();
    Rng rng(std::hash<std::string>{}(m.name) + salt);
    Call c = make_call(m, rng, 3, {order}, how);
    const bool array = c.count > 1;
    const unsigned n = c.width;
    // Generic determinants also meet equal rows, which end the elimination early, and a
    // tie for the first pivot (the earlier row must win).
    const bool generic_det = !m.size;
    Placed& src = c.op("src");
    for (unsigned obj = 0; generic_det && n > 1 && obj < c.count; ++obj) {
        if (obj == 1 || how.negative) {
            for (unsigned j = 0; j < n; ++j) src.set(obj, n - 1, j, src.get(obj, 0, j));
        } else if (obj == c.count - 1) {
            src.set(obj, 0, 0, 128), src.set(obj, n - 1, 0, -128);
        }
    }
    c.snapshot_all();
    const std::string what = std::string(m.name) + " " + std::to_string(c.height) + "x" + std::to_string(n);
    ASSERT_EQ(c.run(), olvResultOk) << what;

    const std::string out = array ? "dst" : "dstVal";
    Placed& result = c.op(out);
    for (unsigned obj = 0; obj < c.count; ++obj) {
        const Matrix a = matrix_of(c, obj);
        const double got = result.get(obj, 0, 0);
        if (m.size) {
            const auto [d, perm] = expansion(a, 0, (1u << n) - 1);
            const long double tol = 64 * 0x1p-53L * perm + (es == 4 ? 0x1p-24L * std::fabs(d) : 0);
            EXPECT_LE(std::fabs(got - d), tol) << what << " object " << obj;
            continue;
        }
        const double want = eliminated_det(a, array, es);
        EXPECT_TRUE(same_bits(got, want, es)) << what << " object " << obj << ": got " << got << ", want " << want;
    }
    EXPECT_FALSE(result.changed_outside_elements()) << what << " wrote past its results";
    EXPECT_FALSE(c.op("src").any_changed()) << what << " wrote into its source";
    if (generic_det) {
        EXPECT_FALSE(c.op("buffer").changed_outside_elements()) << what << " wrote past its buffer";
    }
}

TEST(DetSweep, EveryMemberAgainstItsReference) {
    int members_checked = 0;
    for (const auto& m : members()) {
        if (std::string(m.family) != "Det") continue;
        // Generic orders: 1, a middle order and one beyond the fixed sizes.
        unsigned salt = 0;
        for (unsigned n : m.size ? std::vector<unsigned>{0} : std::vector<unsigned>{1, 2, 4, 7})
            for (bool negative : {false, true}) check(m, n, Placement{negative, true}, ++salt);
        ++members_checked;
    }
    EXPECT_EQ(members_checked, 90);
}

}  // namespace
}  // namespace olvmtest
