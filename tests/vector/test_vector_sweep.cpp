// Every DotProduct, L2Norm, CrossProduct, Saxpy and LComb member, called through its
// exported symbol, against a reference computed here in double and rounded once; operands
// placed with random strides, offsets and table orders, then stepping backwards through
// memory; generic members with lengths 1 to 7. Scalar results must fill exactly `count`
// contiguous elements, whatever the layout.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <set>
#include <string>

#include "vector_call.h"

namespace olvmtest {
namespace {

// Element i of object n of the result, before rounding to the element type.
double reference(Call& c, unsigned n, unsigned i) {
    const std::string f = c.m->family;
    const std::size_t es = c.m->elem_size();
    auto a = [&](unsigned k) { return c.used(f == "L2Norm" ? "src" : "src1", n, 0, k); };
    auto b = [&](unsigned k) { return f == "L2Norm" ? a(k) : c.used("src2", n, 0, k); };
    double sum = 0.0;
    for (unsigned k = 0; k < c.width; ++k) sum += a(k) * b(k);
    if (f == "DotProduct") return sum;
    if (f == "L2Norm") return std::sqrt(sum);
    const unsigned j = (i + 1) % 3, k = (i + 2) % 3;
    if (f == "CrossProduct") return a(j) * b(k) - a(k) * b(j);
    if (f == "Saxpy") return a(i) * round_to(c.args.val, es) + b(i);
    return a(i) * round_to(c.args.val1, es) + b(i) * round_to(c.args.val2, es);
}

void check_member(const MemberInfo& m, bool negative) {
    Rng rng(std::hash<std::string>{}(m.name) + negative);
    const unsigned len = m.size ? 0 : 1 + static_cast<unsigned>(rng() % 7);
    Call c = make_vector_call(m, rng, 3, Placement{negative, true}, len);
    c.snapshot_all();
    ASSERT_EQ(c.run(), olvResultOk) << m.name;
    const std::string out = c.info.back().role;  // dst, or dstVal for one scalar
    Placed& d = c.op(out);
    for (unsigned n = 0; n < d.count(); ++n)
        for (unsigned i = 0; i < d.cols(); ++i) {
            const double want = round_to(reference(c, n, i), m.elem_size());
            ASSERT_TRUE(same_bits(d.get(n, 0, i), want, m.elem_size()))
                << m.name << (negative ? " (negative strides)" : "") << " object " << n
                << " element " << i << ": got " << d.get(n, 0, i) << ", want " << want;
        }
    EXPECT_FALSE(d.changed_outside_elements()) << m.name << " wrote outside its results";
    for (auto& [role, p] : c.ops) {
        if (role == out) continue;
        EXPECT_FALSE(p->any_changed()) << m.name << " wrote into " << role;
    }
}

TEST(VectorSweep, EveryMemberMatchesReference) {
    const std::set<std::string> families = {"DotProduct", "L2Norm", "CrossProduct", "Saxpy", "LComb"};
    int checked = 0;
    for (const auto& m : members()) {
        if (!families.count(m.family)) continue;
        check_member(m, false);
        check_member(m, true);
        ++checked;
    }
    EXPECT_EQ(checked, 642);
}

}  // namespace
}  // namespace olvmtest
