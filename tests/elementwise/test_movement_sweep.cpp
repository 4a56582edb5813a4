// Every Copy, Extract, LoadIdentity and Transpose member, called through its exported
// symbol, against the harness's own addressing: each destination element must hold the
// bytes of the source element it is moved from (sources carry signalling NaNs, so a move
// through arithmetic shows), or LoadIdentity's 0 or 1. Operands are placed with random
// strides, offsets and table orders; a second pass steps backwards through memory.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "movement_call.h"

namespace olvmtest {
namespace {

// Overwrites every third source element with a signalling NaN of random payload and sign.
void plant_signalling_nans(Placed& p, Rng& rng) {
    for (unsigned n = 0; n < p.count(); ++n)
        for (unsigned i = 0; i < p.rows(); ++i)
            for (unsigned j = 0; j < p.cols(); ++j) {
                if ((n + i + j) % 3) continue;
                if (p.esize == 4) {
                    const std::uint32_t bits = 0x7f800001u | (std::uint32_t(rng()) & 0x803ffffeu);
                    std::memcpy(p.address(n, i, j), &bits, 4);
                } else {
                    const std::uint64_t bits = 0x7ff0000000000001ull | (rng() & 0x8007fffffffffffeull);
                    std::memcpy(p.address(n, i, j), &bits, 8);
                }
            }
}

// The source element that destination element (i, j) of object n comes from.
const unsigned char* source_of(Call& c, unsigned n, unsigned i, unsigned j) {
    const std::string family = c.m->family, layout = c.m->layout;
    Placed& src = c.op("src");
    const unsigned obj = src.array ? n : 0;
    if (family == "Transpose") return src.address(obj, j, i);
    if (family == "Extract" && layout == "PS2") {  // entry by entry, transposed or not
        const unsigned k = i * c.op("dst").cols() + j;
        return src.address(obj, k / src.cols(), k % src.cols());
    }
    if (family == "Extract" && is_transposed_kind(c.kind_of("src").kind)) return src.address(obj, j, i);
    return src.address(obj, i, j);
}

void check_member(const MemberInfo& m, bool negative) {
    Rng rng(std::hash<std::string>{}(m.name) + negative);
    const std::string family = m.family, layout = m.layout;
    const unsigned count = 3;
    unsigned w = m.size, h = m.size;
    if (m.size == 0) {
        w = 2 + static_cast<unsigned>(rng() % 4);
        h = w + 1 + static_cast<unsigned>(rng() % 2);
        if (family == "Transpose" && (layout == "P" || layout == "PS2")) h = w;
        if (family == "LoadIdentity") w = h * count + 1 + static_cast<unsigned>(rng() % 2);
        if (m.codes[0] == 'v') h = 1;
    }
    Placement how;
    how.negative = negative;
    Call c = make_movement_call(m, w, h, count, rng, how);
    if (family != "LoadIdentity") plant_signalling_nans(c.op("src"), rng);
    c.snapshot_all();
    ASSERT_EQ(c.run(), olvResultOk) << m.name;
    Placed& dst = c.op("dst");
    for (unsigned n = 0; n < dst.count(); ++n)
        for (unsigned i = 0; i < dst.rows(); ++i)
            for (unsigned j = 0; j < dst.cols(); ++j) {
                const unsigned char* got = dst.address(n, i, j);
                if (family == "LoadIdentity") {
                    ASSERT_TRUE(same_bits(dst.get(n, i, j), j == n * h + i ? 1.0 : 0.0, dst.esize))
                        << m.name << " object " << n << " (" << i << ", " << j << ")";
                } else {
                    ASSERT_EQ(std::memcmp(got, source_of(c, n, i, j), dst.esize), 0)
                        << m.name << " object " << n << " (" << i << ", " << j << ")";
                }
            }
    EXPECT_FALSE(dst.changed_outside_elements()) << m.name << " wrote outside its destination";
    if (family != "LoadIdentity") {
        EXPECT_FALSE(c.op("src").any_changed()) << m.name << " wrote into its source";
    }
}

TEST(MovementSweep, EveryMemberMovesEachElementBitForBit) {
    int checked = 0;
    for (const auto& m : members()) {
        const std::string family = m.family;
        if (family != "Copy" && family != "Extract" && family != "LoadIdentity" && family != "Transpose")
            continue;
        check_member(m, false);
        check_member(m, true);
        ++checked;
    }
    EXPECT_EQ(checked, 36 + 27 + 6 + 90);
}

// A second name of a routine is the same function: one address for both names.
TEST(MovementSweep, AliasesResolveToTheirRoutinesAddress) {
    int aliases = 0;
    for (const auto& m : members()) {
        if (!*m.alias_of) continue;
        ASSERT_NE(symbol(m.name), nullptr) << m.name;
        EXPECT_EQ(symbol(m.name), symbol(m.alias_of)) << m.name << " and " << m.alias_of;
        ++aliases;
    }
    EXPECT_EQ(aliases, 4);
}

}  // namespace
}  // namespace olvmtest
