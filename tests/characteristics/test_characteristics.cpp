// Det beyond the common results sweep: every member against the model
// (tests/support/models.h: the pivoted elimination bit for bit for generic orders, an
// extended-precision expansion for fixed ones), then hand-worked cases: the threshold's
// asymmetry, row-exchange signs, the negative zero only arrays produce; and what the P
// members of Det, Trace and FrobNorm leave in their results when a table entry is null.
#include "models.h"

namespace olvmtest {
namespace {

TEST(DetSweep, EveryMemberFollowsTheModel) { EXPECT_EQ(sweep("Det"), 90); }

const char* result(const MemberInfo& m) { return is_array_member(m) ? "dst" : "dstVal"; }

// Generic orders, single and array: pivots before the last pass at the epsilon, the last
// fails there (order 1 has only a last pivot); a row exchange negates, a cycle of three
// rows is two exchanges; a zero first pivot before a large negative last one gives arrays
// 0 * (q * sign), a negative zero, and single matrices +0.
TEST(DetBehaviour, ThresholdsAndSigns) {
    for (const MemberInfo* m : members_of("Det", true)) {
        const std::size_t es = m->elem_size();
        const double t = es == 4 ? 0x1p-23 : 0x1p-52, above = es == 4 ? 0x1.000002p-23 : 0x1.0000000000001p-52;
        const std::pair<Mat, double> cases[] = {
            {Mat(2, 2, {t, 0, 0, 3}), 3 * t},
            {Mat(2, 2, {3, 0, 0, t}), 0},
            {Mat(2, 2, {3, 0, 0, above}), round_to(3 * above, es)},
            {Mat(2, 2, {t / 2, 1, 0, 1}), 0},
            {Mat(1, 1, {-t}), 0},
            {Mat(1, 1, {-above}), -above},
            {Mat(3, 3, {0, 1, 0, 1, 0, 0, 0, 0, 1}), -1},
            {Mat(3, 3, {0, 2, 0, 0, 0, 2, 2, 0, 0}), 8},
            {Mat(2, 2, {0, 1, 0, -5}), is_array_member(*m) ? -0.0 : 0.0},
        };
        for (const auto& [a, want] : cases)
            EXPECT_TRUE(holds(read(run_on(*m, {{"src", a}}).c, result(*m)), {want}, es))
                << m->name << " on " << ::testing::PrintToString(a.v);
    }
}

// The result of a generic P determinant is set to 1 before the entries are tested, while
// the matrix is copied; a later object's result stays as it was.
TEST(DetBehaviour, GenericPTestsEntriesAfterStoringOne) {
    for (const MemberInfo* m : members_of("Det", true, "*", "P")) {
        Worked r = run_on(*m, {{"src", Mat(3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1})}}, 2,
                          [](Call& c) { c.op("src").table()[5] = nullptr; });
        EXPECT_EQ(r.code, olvResultNullPointer) << m->name;
        EXPECT_EQ(read(r.c, result(*m)).v[0], 1.0) << m->name;
        EXPECT_FALSE(r.c.op(result(*m)).count() > 1 && r.c.op(result(*m)).element_changed(1, 0, 0)) << m->name;
    }
}

// Trace P members read only the diagonal entries, each tested just before it is added:
// the result holds the sum before a null diagonal entry; a null off-diagonal entry is
// never looked at. FrobNorm P members test every entry and store nothing before the end.
TEST(TraceAndFrobNormBehaviour, PartialResultsOfNullPEntries) {
    for (const std::string family : {"Trace", "FrobNorm"})
        for (const MemberInfo* m : members_of(family, false, "*", "P")) {
            const unsigned n = m->size ? m->size : 4;
            Mat a(n, n, std::vector<double>(n * n, 0.25));
            for (unsigned i = 0; i < n; ++i) a(i, i) = 1 + i;
            for (const unsigned entry : {2 * n + 2, 1u}) {
                const bool trace = family == "Trace", tested = !trace || entry != 1;
                Worked r = run_on(*m, {{"src", a}}, 2, [&](Call& c) { c.op("src").table()[entry] = nullptr; });
                EXPECT_EQ(r.code, tested ? olvResultNullPointer : olvResultOk) << m->name << " entry " << entry;
                const double sum = entry == 1 ? n * (n + 1) / 2.0 : 3.0;
                EXPECT_TRUE(trace ? read(r.c, result(*m)).v[0] == sum : !r.c.op(result(*m)).any_changed())
                    << m->name << " entry " << entry;
            }
        }
}

}  // namespace
}  // namespace olvmtest
