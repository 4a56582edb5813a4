// Trace, FrobNorm and Det beyond the common results sweep: every Det member against a
// model of the pivoted elimination (generic members, bit for bit) or an extended-precision
// cofactor expansion (fixed sizes, within the tolerance its grouping allows), with random
// strides and offsets, then negative strides; then hand-worked cases: the threshold's
// asymmetry, row-exchange signs, the negative zero only arrays produce, and what the P
// members leave in their results when a table entry is null.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "calls.h"
#include "elimination.h"

namespace olvmtest {
namespace {

Rows matrix_of(const Call& c, unsigned n) {
    Rows a(c.height, std::vector<double>(c.width));
    for (unsigned i = 0; i < c.height; ++i)
        for (unsigned j = 0; j < c.width; ++j) a[i][j] = c.used("src", n, i, j);
    return a;
}

// A generic determinant: the result variable holds each partial product of the pivots
// rounded; arrays whose elimination stops early still multiply 0 by the last value.
double eliminated_det(const Rows& a, bool array, std::size_t es) {
    const Elimination e = eliminate(a, es);
    if (e.failed_step && !array) return 0.0;
    double held = 1, product = 1;
    for (double p : e.pivots) product = held * p, held = round_to(product, es);
    if (e.failed_step) product = 0.0;
    return e.last_fails(es) ? 0.0 : round_to(product * (e.last * e.sign), es);
}

// Determinant and permanent of |a| over the rows from `row` down and the columns in
// `cols`, by cofactors in long double.
std::pair<long double, long double> expansion(const Rows& a, std::size_t row, unsigned cols) {
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
        const Rows a = matrix_of(c, obj);
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

// A call of member `m` whose objects all hold the order-n matrix `a` (row-major).
Call with_matrix(const MemberInfo& m, const std::vector<double>& a, unsigned n, unsigned count = 1) {
    Rng rng(std::hash<std::string>{}(m.name));
    Call c = make_call(m, rng, count, {n, n});
    for (unsigned obj = 0; obj < c.count; ++obj)
        for (unsigned i = 0; i < n; ++i)
            for (unsigned j = 0; j < n; ++j) c.op("src").set(obj, i, j, a[i * n + j]);
    c.snapshot_all();
    return c;
}

Placed& result(Call& c) { return c.op(is_array_member(*c.m) ? "dst" : "dstVal"); }

double determinant(const MemberInfo& m, const std::vector<double>& a, unsigned n) {
    Call c = with_matrix(m, a, n);
    EXPECT_EQ(c.run(), olvResultOk) << m.name;
    return result(c).get(0, 0, 0);
}

std::vector<double> identity(unsigned n) {
    std::vector<double> a(n * n, 0.0);
    for (unsigned i = 0; i < n; ++i) a[i * n + i] = 1;
    return a;
}

// Pivots of columns 0 .. n-2 pass at the threshold; the last pivot fails there.
TEST(DetBehaviour, ThresholdPassesEarlyPivotsButFailsTheLast) {
    for (const MemberInfo* m : members_of("Det", true)) {
        const double t = m->elem_size() == 4 ? 0x1p-23 : 0x1p-52;
        const double above = m->elem_size() == 4 ? 0x1.000002p-23 : 0x1.0000000000001p-52;
        EXPECT_EQ(determinant(*m, {t, 0, 0, 3}, 2), 3 * t) << m->name;
        EXPECT_EQ(determinant(*m, {3, 0, 0, t}, 2), 0.0) << m->name;
        EXPECT_EQ(determinant(*m, {3, 0, 0, above}, 2), round_to(3 * above, m->elem_size())) << m->name;
        EXPECT_EQ(determinant(*m, {t / 2, 1, 0, 1}, 2), 0.0) << m->name;
        // Order 1: the only element is tested as a last pivot.
        EXPECT_EQ(determinant(*m, {-t}, 1), 0.0) << m->name;
        EXPECT_EQ(determinant(*m, {-above}, 1), -above) << m->name;
    }
}

// Each row exchange negates the result, in every size; an identity gives 1.
TEST(DetBehaviour, RowExchangesFlipTheSign) {
    for (const MemberInfo* m : members_of("Det"))
        for (unsigned n : m->size ? std::vector<unsigned>{unsigned(m->size)} : std::vector<unsigned>{2, 3, 5}) {
            std::vector<double> a = identity(n);
            EXPECT_EQ(determinant(*m, a, n), 1.0) << m->name;
            std::swap(a[0], a[n]), std::swap(a[1], a[n + 1]);  // rows 0 and 1 exchanged
            EXPECT_EQ(determinant(*m, a, n), -1.0) << m->name;
            if (n < 3) continue;
            // A cycle of three rows is two exchanges.
            std::vector<double> cycle(n * n, 0.0);
            for (unsigned i = 0; i < n; ++i) cycle[i * n + (i < 3 ? (i + 1) % 3 : i)] = 2;
            EXPECT_EQ(determinant(*m, cycle, n), std::ldexp(1.0, int(n))) << m->name;
        }
}

// A zero first pivot with a large negative last pivot: arrays store 0 * (q * sign), a
// negative zero, single matrices +0.
TEST(DetBehaviour, OnlyArraysCarryTheSignOfTheLastPivotIntoAZero) {
    for (const MemberInfo* m : members_of("Det", true)) {
        Call c = with_matrix(*m, {0, 1, 0, -5}, 2, 3);
        ASSERT_EQ(c.run(), olvResultOk) << m->name;
        for (unsigned obj = 0; obj < c.count; ++obj) {
            const double d = result(c).get(obj, 0, 0);
            EXPECT_EQ(d, 0.0) << m->name;
            EXPECT_EQ(std::signbit(d), is_array_member(*m)) << m->name << " object " << obj;
        }
    }
}

// The result variable of a generic P determinant is set to 1 before the entries are
// tested while the matrix is copied.
TEST(DetBehaviour, GenericPTestsEntriesAfterStoringOne) {
    for (const MemberInfo* m : members_of("Det", true, "*", "P")) {
        Call c = with_matrix(*m, identity(3), 3, 2);
        c.op("src").table()[5] = nullptr;
        EXPECT_EQ(c.run(), olvResultNullPointer) << m->name;
        EXPECT_EQ(result(c).get(0, 0, 0), 1.0) << m->name;
        if (is_array_member(*m)) {
            EXPECT_FALSE(result(c).element_changed(1, 0, 0)) << m->name;
        }
    }
}

// Trace P members read only the diagonal entries, each tested just before it is added:
// the result holds the sum before a null diagonal entry; a null off-diagonal entry is
// never looked at. FrobNorm P members store nothing before the end.
TEST(TraceAndFrobNormBehaviour, PartialResultsOfNullPEntries) {
    for (const std::string family : {"Trace", "FrobNorm"})
        for (const MemberInfo* m : members_of(family, false, "*", "P")) {
            const unsigned n = m->size ? m->size : 4;
            std::vector<double> a(n * n, 0.25);
            for (unsigned i = 0; i < n; ++i) a[i * n + i] = 1 + i;
            {
                Call c = with_matrix(*m, a, n, 2);
                c.op("src").table()[2 * n + 2] = nullptr;
                EXPECT_EQ(c.run(), olvResultNullPointer) << m->name;
                if (family == "Trace") {
                    EXPECT_EQ(result(c).get(0, 0, 0), 3.0) << m->name;
                } else {
                    EXPECT_FALSE(result(c).any_changed()) << m->name;
                }
            }
            if (family == "Trace") {
                Call c = with_matrix(*m, a, n, 2);
                c.op("src").table()[1] = nullptr;
                EXPECT_EQ(c.run(), olvResultOk) << m->name;
                EXPECT_EQ(result(c).get(0, 0, 0), n * (n + 1) / 2.0) << m->name;
            }
        }
}

}  // namespace
}  // namespace olvmtest
