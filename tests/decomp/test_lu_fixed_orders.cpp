// Fixed-order decompositions whose destination rows are distinct memory eliminate in a
// local copy and write it back; the generic members always eliminate in the destination.
// On the same operands both must leave exactly the same memory, index vector and result,
// also when a pivot fails part-way, and NaNs in the same places (which NaN payload
// survives an operation depends on the order the compiler gives its operands).
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "lu_calls.h"

namespace olvmtest {
namespace {

bool same_value(double a, double b, std::size_t esize) {
    return std::isnan(a) ? std::isnan(b) : same_bits(a, b, esize);
}

std::string generic_sibling(const std::string& name, unsigned order) {
    const std::string size = "_" + std::to_string(order) + "x" + std::to_string(order);
    const std::size_t at = name.find(size);
    return name.substr(0, at) + name.substr(at + size.size());
}

// 0: as generated; 1: object `count / 2` singular in column 1; 2: NaNs in its first row.
void spoil(DecompCall& c, int variant) {
    const unsigned n = c.array ? c.count / 2 : 0;
    for (unsigned k = 0; k < c.size; ++k) {
        if (variant == 1) c.src->set(n, k, 1, 0.0);
        if (variant == 2) c.src->set(n, 0, k, std::numeric_limits<double>::quiet_NaN());
    }
}

TEST(LUFixedOrders, SameMemoryAsTheGenericMembers) {
    int compared = 0;
    for (const auto& m : members()) {
        const std::string layout = m.layout;
        if (std::string(m.family) != "LUDecomp" || m.size == 0) continue;
        if (layout == "P" || layout == "PS2") continue;  // tables always eliminate in place
        const MemberInfo& g = member(generic_sibling(m.name, unsigned(m.size)));
        for (int variant = 0; variant < 3; ++variant) {
            const auto seed = std::hash<std::string>{}(m.name) + unsigned(variant);
            Rng r1(seed), r2(seed);
            DecompCall fixed = make_decomp_call(m, unsigned(m.size), 5, r1);
            DecompCall plain = make_decomp_call(g, unsigned(m.size), 5, r2);
            spoil(fixed, variant);
            spoil(plain, variant);
            const OlvResult want = plain.run();
            ASSERT_EQ(fixed.run(), want) << m.name << " variant " << variant;
            for (unsigned n = 0; n < fixed.count; ++n)
                for (unsigned i = 0; i < fixed.size; ++i)
                    for (unsigned j = 0; j < fixed.size; ++j)
                        ASSERT_TRUE(same_value(fixed.dst->get(n, i, j), plain.dst->get(n, i, j), m.elem_size()))
                            << m.name << " variant " << variant << " object " << n << " (" << i << ", " << j << ")";
            for (std::size_t k = 0; k < fixed.index.size(); ++k)
                ASSERT_EQ(fixed.index[k], plain.index[k]) << m.name << " index entry " << k;
            ++compared;
        }
    }
    EXPECT_EQ(compared, 3 * 2 * 4 * (2 + 4));  // variants, types, orders, m and ma layouts
}

}  // namespace
}  // namespace olvmtest
