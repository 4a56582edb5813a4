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
    expect_result(c, [&](unsigned n, unsigned i, unsigned j) {
        return expected_element(c, n, i, j);
    });
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
