// Every matrix-vector, constant and Gaxpy member, called through its exported symbol,
// against a dense reference computed here: y(i) sums a(i, k) * x(k) in ascending k,
// rounded once (standard, S2) or after every term (P, PS2, L, LS2), Gaxpy then adds y(i)
// to that sum; a constant member gives each element times val, rounded once. Generic
// members get random non-square shapes; operands are placed with random strides, offsets
// and table orders, and a second pass steps backwards through memory.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "matvec_calls.h"
#include "product_call.h"

namespace olvmtest {
namespace {

// Element i of object n's result of a matrix-vector or Gaxpy call.
double reference(const Call& c, unsigned n, unsigned i) {
    const std::size_t es = c.m->elem_size();
    const bool through = accumulates_through_element(*c.m);
    double sum = 0.0;
    for (unsigned k = 0; k < c.width; ++k) {
        const double term = c.used("src1", n, i, k) * c.used("src2", n, 0, k);
        sum = through ? round_to(sum + term, es) : sum + term;
    }
    if (std::string(c.m->family) == "Gaxpy") sum += c.used("src3", n, 0, i);
    return round_to(sum, es);
}

void check_member(const MemberInfo& m, bool negative) {
    Rng rng(std::hash<std::string>{}(m.name) + negative);
    const unsigned width = 2 + unsigned(rng() % 4), height = 2 + unsigned(rng() % 4);
    Placement how;
    how.negative = negative;
    const bool gaxpy = std::string(m.family) == "Gaxpy";
    Call c = gaxpy ? make_gaxpy_call(m, rng, 3, how, width, height)
                   : make_matvec_call(m, rng, 3, how, width, height);
    c.snapshot_all();
    ASSERT_EQ(c.run(), olvResultOk) << m.name;
    if (is_constant_product(m)) {
        expect_result(c, [&](unsigned n, unsigned i, unsigned j) {
            return round_to(c.used("src", n, i, j) * c.args.val, m.elem_size());
        });
    } else {
        expect_result(c, [&](unsigned n, unsigned, unsigned i) { return reference(c, n, i); });
    }
}

TEST(MatVecSweep, EveryMemberMatchesDenseReference) {
    int checked = 0;
    for (const auto& m : members()) {
        if (!is_vector_product(m) && !is_constant_product(m) && std::string(m.family) != "Gaxpy")
            continue;
        check_member(m, false);
        check_member(m, true);
        ++checked;
    }
    EXPECT_EQ(checked, 690 + 90);
}

}  // namespace
}  // namespace olvmtest
