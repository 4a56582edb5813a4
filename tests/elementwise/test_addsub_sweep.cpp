// Every Add and Sub member, called through its exported symbol, against a dense
// reference computed here: each result element is the double sum or difference of the
// widened operands, rounded once to the element type. Operands are placed with random
// strides, offsets and table orders; a second pass steps backwards through memory.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "operands.h"

namespace olvmtest {
namespace {

double reference(Call& c, unsigned n, unsigned i, unsigned j) {
    const std::string codes = c.m->codes;
    const bool add = std::string(c.m->family) == "Add";
    double x, y;
    if (codes[0] == 'c') {  // val - a
        x = round_to(c.args.val, c.m->elem_size());
        y = c.used("src", n, i, j);
    } else if (codes.back() == 'c') {  // a +- val
        x = c.used("src", n, i, j);
        y = round_to(c.args.val, c.m->elem_size());
    } else {
        x = c.used("src1", n, i, j);
        y = c.used("src2", n, i, j);
    }
    return round_to(add ? x + y : x - y, c.m->elem_size());
}

void check_member(const MemberInfo& m, bool negative) {
    Rng rng(std::hash<std::string>{}(m.name) + negative);
    const bool vector = m.codes[0] == 'v' || m.codes[0] == 'c';
    unsigned width = m.size, height = vector ? 1 : m.size;
    if (m.size == 0) {  // generic: deliberately non-square so transposition matters
        width = 2 + static_cast<unsigned>(rng() % 4);
        height = vector ? 1 : width + 1 + static_cast<unsigned>(rng() % 2);
    }
    Placement how;
    how.negative = negative;
    Call c = make_elementwise_call(m, width, height, 3, rng, how);
    c.snapshot_all();
    ASSERT_EQ(c.run(), olvResultOk) << m.name;
    expect_result(c, [&](unsigned n, unsigned i, unsigned j) { return reference(c, n, i, j); });
}

TEST(AddSubSweep, EveryMemberMatchesDenseReference) {
    int checked = 0;
    for (const auto& m : members()) {
        const std::string family = m.family;
        if (family != "Add" && family != "Sub") continue;
        check_member(m, false);
        check_member(m, true);
        ++checked;
    }
    EXPECT_EQ(checked, 840 + 1230);
}

}  // namespace
}  // namespace olvmtest
