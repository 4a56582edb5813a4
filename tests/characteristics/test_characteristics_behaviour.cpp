// Hand-worked cases of Trace, FrobNorm and Det: the determinant's threshold asymmetry and
// row-exchange signs, the negative zero only arrays produce, and what the P members leave
// in their results when a table entry is null.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "calls.h"

namespace olvmtest {
namespace {

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

bool is_array(const MemberInfo& m) { return std::string(m.codes) == "ma"; }

Placed& result(Call& c) { return c.op(is_array(*c.m) ? "dst" : "dstVal"); }

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
            EXPECT_EQ(std::signbit(d), is_array(*m)) << m->name << " object " << obj;
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
        if (is_array(*m)) {
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
