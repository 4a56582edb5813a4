// Every member of the families whose results are fixed element by element (Add, Sub, Mul,
// Gaxpy, the vector algebra, Trace, FrobNorm and the data movements), called through its
// exported symbol, against the references of reference.h: each result element bit for bit,
// nothing else written. Operands are placed with random strides, offsets and table orders,
// generic members get random non-square shapes, and a second pass steps backwards through
// memory.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "calls.h"
#include "reference.h"

namespace olvmtest {
namespace {

// The source element a data movement copies into destination element (i, j) of object n.
const unsigned char* moved_from(Call& c, unsigned n, unsigned i, unsigned j) {
    Placed& src = c.op("src");
    const unsigned obj = src.array ? n : 0;
    if (c.m->is("Extract") && std::string(c.m->layout) == "PS2") {  // entry by entry, transposed or not
        const unsigned k = i * c.op("dst").cols() + j;
        return src.address(obj, k / src.cols(), k % src.cols());
    }
    const bool swapped = c.m->is("Transpose") || (c.m->is("Extract") && is_transposed_kind(c.kind_of("src").kind));
    return swapped ? src.address(obj, j, i) : src.address(obj, i, j);
}

// Every third source element of a movement becomes a signalling NaN of random payload and
// sign, so that a move through arithmetic shows.
void plant_signalling_nans(Placed& p, Rng& rng) {
    for (unsigned n = 0; n < p.count(); ++n)
        for (unsigned i = 0; i < p.rows(); ++i)
            for (unsigned j = (n + i) % 3; j < p.cols(); j += 3) {
                const std::uint64_t bits = p.esize == 4 ? 0x7f800001u | (std::uint32_t(rng()) & 0x803ffffeu)
                                                        : 0x7ff0000000000001ull | (rng() & 0x8007fffffffffffeull);
                std::memcpy(p.address(n, i, j), &bits, p.esize);  // little-endian: the low bytes
            }
}

void check_member(const MemberInfo& m, bool negative) {
    Rng rng(std::hash<std::string>{}(m.name) + negative);
    const unsigned count = 3;
    Call c = make_call(m, rng, count, random_sizes(m, rng, count), Placement{negative, true});
    const bool movement = c.m->is("Copy") || c.m->is("Extract") || c.m->is("Transpose");
    if (movement) plant_signalling_nans(c.op("src"), rng);
    c.snapshot_all();
    ASSERT_EQ(c.run(), olvResultOk) << m.name;
    const std::string what = std::string(m.name) + (negative ? " (negative strides) " : " ");
    for (const auto& o : c.info) {
        Placed& p = c.op(o.role);
        if (o.access == 'r') {
            EXPECT_FALSE(p.any_changed()) << what << "wrote into " << o.role;
            continue;
        }
        EXPECT_FALSE(p.changed_outside_elements()) << what << "wrote outside " << o.role;
        for (unsigned n = 0; n < p.count(); ++n)
            for (unsigned i = 0; i < p.rows(); ++i)
                for (unsigned j = 0; j < p.cols(); ++j) {
                    const std::string at = what + "object " + std::to_string(n) + " element (" + std::to_string(i) +
                                           ", " + std::to_string(j) + ")";
                    if (movement) {
                        ASSERT_EQ(std::memcmp(p.address(n, i, j), moved_from(c, n, i, j), p.esize), 0) << at;
                        continue;
                    }
                    const double w = reference(c, n, i, j);
                    ASSERT_TRUE(same_bits(p.get(n, i, j), w, p.esize)) << at << ": got " << p.get(n, i, j) << ", want " << w;
                }
    }
}

TEST(ResultsSweep, EveryMemberMatchesItsReference) {
    const std::string families = " Add Sub Mul Gaxpy DotProduct L2Norm CrossProduct Saxpy LComb Trace FrobNorm "
                                 "Copy Extract LoadIdentity Transpose ";
    int checked = 0;
    for (const auto& m : members()) {
        if (families.find(" " + std::string(m.family) + " ") == std::string::npos) continue;
        check_member(m, false);
        check_member(m, true);
        ++checked;
    }
    EXPECT_EQ(checked, 840 + 1230 + 1530 + 90 + 642 + 180 + 159);
}

}  // namespace
}  // namespace olvmtest
