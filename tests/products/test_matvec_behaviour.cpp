// Matrix-vector and Gaxpy behaviour on hand-picked cases: the transposed members' size
// rule, the mirrored entry test of the transposed single-object P members, and Gaxpy adding y
// after the whole sum.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "calls.h"
#include "product_call.h"

namespace olvmtest {
namespace {

bool is_gaxpy(const MemberInfo& m) { return std::string(m.family) == "Gaxpy"; }

// src2Len must equal src1Width untransposed but src1Height transposed (the sweep shows the
// transposed members then read src1Width elements); the other rule's length and 0 fail.
TEST(MatVec, TransposedMembersTakeTheVectorLengthFromTheHeight) {
    int checked = 0;
    for (const auto& m : members()) {
        if (!is_vector_product(m) || m.size) continue;
        const bool trans = std::string(m.codes).find('T') != std::string::npos;
        for (unsigned len : {trans ? 3u : 2u, 0u}) {
            Rng rng(std::hash<std::string>{}(m.name));
            Call c = make_call(m, rng, 2, {3, 2});
            c.args.src2Len = len;
            c.snapshot_all();
            EXPECT_EQ(c.run(), olvResultBadSize) << m.name << " src2Len " << len;
            EXPECT_TRUE(c.nothing_written()) << m.name;
        }
        ++checked;
    }
    EXPECT_EQ(checked, 2 * 2 * 3 + 6 * 2 * 6);  // 2 single codes in 3 layouts, 6 array codes in 6
}

// Transposed single-object P members test the entry of term (i, k) at i * height + k but
// read it from k * height + i. A null stored (r, c) with r < c is tested at row r, term c,
// before it is read (at row c): rows before r are done, row r holds the sum of c terms.
TEST(MatVec, TransposedPTestsTheMirroredEntry) {
    int checked = 0;
    for (const auto& m : members()) {
        if (!is_vector_product(m) || std::string(m.codes) != "mTv" || std::string(m.layout) != "P")
            continue;
        const unsigned order = m.size ? unsigned(m.size) : 3;
        const unsigned r = order == 3 ? 0 : 1, col = order - 1;
        Rng rng(std::hash<std::string>{}(m.name));
        Call c = make_call(m, rng, 1, {order, order});
        c.op("src1").table()[r * order + col] = nullptr;
        c.snapshot_all();
        ASSERT_EQ(c.run(), olvResultNullPointer) << m.name;
        const std::size_t es = m.elem_size();
        Placed& y = c.op("dst");
        for (unsigned i = 0; i <= r; ++i) {
            double sum = 0.0;
            for (unsigned k = 0; k < (i < r ? order : col); ++k)
                sum = round_to(sum + c.used("src1", 0, i, k) * c.used("src2", 0, 0, k), es);
            EXPECT_TRUE(same_bits(y.get(0, 0, i), sum, es)) << m.name << " row " << i;
        }
        for (unsigned i = r + 1; i < order; ++i) EXPECT_FALSE(y.element_changed(0, 0, i)) << m.name;
        EXPECT_FALSE(y.changed_outside_elements()) << m.name;
        ++checked;
    }
    EXPECT_EQ(checked, 10);
}

// One row of A times x = 1 plus y; 32f results as the layout's discipline gives:
// `once` where the sum is rounded once, `through` where it is rounded after every term.
struct Row {
    const char* what;
    std::vector<double> a;
    double y;
    double once, through;
};

void expect_row(const MemberInfo& m, const Row& row) {
    Rng rng(std::hash<std::string>{}(m.name));
    const unsigned width = unsigned(row.a.size());
    Call c = make_call(m, rng, 2, {width, 1});
    for (unsigned n = 0; n < c.count; ++n) {
        for (unsigned k = 0; k < width; ++k) {
            set_used(c, "src1", n, 0, k, row.a[k]);
            c.op("src2").set(is_array_kind(c.kind_of("src2").kind) ? n : 0, 0, k, 1.0);
        }
        c.op("src3").set(n, 0, 0, row.y);
    }
    ASSERT_EQ(c.run(), olvResultOk) << m.name;
    const bool rounds = m.elem_size() == 4 && accumulates_through_element(m);
    for (unsigned n = 0; n < c.count; ++n)
        EXPECT_EQ(c.op("dst").get(n, 0, 0), rounds ? row.through : row.once) << m.name << ": " << row.what;
}

// y(i) is added after the whole sum: to the unrounded double sum (1e8 + 1 - 1e8 gives 1 in
// 32f standard layouts) and never as the starting value (-2^53 + 1 + 2^53 would give 1,
// while 1 + 2^53 rounds to 2^53 and then -2^53 gives 0, in every layout and type).
TEST(Gaxpy, AddsYAfterTheWholeSum) {
    const double big = std::ldexp(1.0, 53);
    const Row rows[] = {{"1e8, 1 then -1e8", {1e8, 1}, -1e8, 1, 0},
                        {"1, 2^53 then -2^53", {1, big}, -big, 0, 0}};
    int checked = 0;
    for (const auto& m : members()) {
        if (!is_gaxpy(m) || m.size) continue;
        for (const Row& row : rows) expect_row(m, row);
        ++checked;
    }
    EXPECT_EQ(checked, 18);
}

}  // namespace
}  // namespace olvmtest
