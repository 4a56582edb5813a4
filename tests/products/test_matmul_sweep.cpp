// Every matrix-matrix Mul member, called through its exported symbol, against a dense
// reference computed here: each element sums a(i, k) * b(k, j) in ascending k, rounded
// once (standard, S2) or after every term (P, PS2, L, LS2). Generic members get
// non-square shapes wherever their size tests allow; operands are placed with random
// strides, offsets and table orders, and a second pass steps backwards through memory.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "product_call.h"

namespace olvmtest {
namespace {

void check_member(const MemberInfo& m, bool negative) {
    Rng rng(std::hash<std::string>{}(m.name) + negative);
    auto pick = [&] { return 2 + static_cast<unsigned>(rng() % 4); };
    const unsigned M = pick(), N = pick(), K = pick();
    Placement how;
    how.negative = negative;
    Call c = make_product_call(m, default_sizes(m, M, N, K), 3, rng, how);
    c.snapshot_all();
    ASSERT_EQ(c.run(), olvResultOk) << m.name;

    Placed& dst = c.op("dst");
    for (unsigned n = 0; n < c.count; ++n)
        for (unsigned i = 0; i < dst.rows(); ++i)
            for (unsigned j = 0; j < dst.cols(); ++j) {
                const double want = expected_element(c, n, i, j);
                ASSERT_TRUE(same_bits(dst.get(n, i, j), want, m.elem_size()))
                    << m.name << " object " << n << " element (" << i << ", " << j << "): got "
                    << dst.get(n, i, j) << ", want " << want;
            }
    EXPECT_FALSE(dst.changed_outside_elements()) << m.name << " wrote outside its destination";
    for (auto& [role, p] : c.ops) {
        if (role != "dst") {
            EXPECT_FALSE(p->any_changed()) << m.name << " wrote into " << role;
        }
    }
}

TEST(MatMulSweep, EveryMemberMatchesDenseReference) {
    int checked = 0;
    for (const auto& m : members()) {
        if (!is_matrix_product(m)) continue;
        check_member(m, false);
        check_member(m, true);
        ++checked;
    }
    EXPECT_EQ(checked, 840);
}

}  // namespace
}  // namespace olvmtest
