// Validation order and partial writes of the matrix-matrix products, swept over the
// members of each layout family: null pointers before sizes, the size-test row of every
// operand code, table entries of P/PS2 arrays (by the members' own entry counts) before
// count, count = 0, object checks of L/LS2 arrays and the term-by-term entry checks of
// single-object P members. Every failing call must leave exactly the writes it allows.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "product_call.h"

namespace olvmtest {
namespace {

template <class F>
void for_each_product(F f) {
    for (const auto& m : members())
        if (is_matrix_product(m)) f(m);
}

Call make(const MemberInfo& m, Rng& rng, unsigned count = 3) {
    Call c = make_product_call(m, default_sizes(m, 2, 3, 4), count, rng);
    c.snapshot_all();
    return c;
}

bool is_table_layout(const std::string& l) { return l == "P" || l == "PS2"; }

// Destination elements of objects [0, objects) hold the full result, the rest are untouched.
void expect_objects_written(Call& c, unsigned objects, const std::string& what) {
    Placed& d = c.op("dst");
    for (unsigned n = 0; n < d.count(); ++n)
        for (unsigned i = 0; i < d.rows(); ++i)
            for (unsigned j = 0; j < d.cols(); ++j) {
                if (n < objects) {
                    ASSERT_TRUE(same_bits(d.get(n, i, j), expected_element(c, n, i, j),
                                          c.m->elem_size()))
                        << what << " object " << n << " (" << i << ", " << j << ")";
                } else {
                    ASSERT_FALSE(d.element_changed(n, i, j)) << what << " object " << n;
                }
            }
    EXPECT_FALSE(d.changed_outside_elements()) << what;
}

TEST(MatMulValidation, NullBaseComesFirst) {
    for_each_product([](const MemberInfo& m) {
        Rng rng(std::hash<std::string>{}(m.name));
        for (const auto& o : m.operand_list()) {
            Call c = make(m, rng);
            null_base(c.args, o.role);
            for (SizeArg s : {W1, H1, W2, H2}) size_arg(c.args, s) = 0;  // also size errors
            EXPECT_EQ(c.run(), olvResultNullPointer) << m.name << " null " << o.role;
            EXPECT_TRUE(c.nothing_written()) << m.name;
        }
    });
}

// Each size argument set to zero fails exactly when the code's row tests it for zero or
// names it in its equality (mam alone never looks at src2Width: N = 0, nothing to do).
// Size tests come before count and before any table entry.
TEST(MatMulValidation, ZeroSizeFollowsTheCodesRow) {
    for_each_product([](const MemberInfo& m) {
        if (m.size) return;  // fixed-size members take no size at all
        const SizeRule& rule = size_rule(m.codes);
        Rng rng(std::hash<std::string>{}(m.name));
        for (SizeArg s : {W1, H1, W2, H2}) {
            const bool tested = std::count(rule.zero.begin(), rule.zero.end(), s) ||
                                rule.equal[0] == s || rule.equal[1] == s;
            for (unsigned count : {3u, 0u}) {
                if (count == 0 && !has_array(m)) continue;
                Call c = make(m, rng, count);
                size_arg(c.args, s) = 0;
                const OlvResult want = tested ? olvResultBadSize : olvResultOk;
                EXPECT_EQ(c.run(), want) << m.name << " size " << s << " = 0, count " << count;
                EXPECT_TRUE(c.nothing_written()) << m.name << " size " << s;
            }
        }
    });
}

// Growing one size argument by one breaks exactly the equality its row names: the inner
// dimensions of mma and mama are never compared, and src1Width only matters there.
TEST(MatMulValidation, EqualityFollowsTheCodesRow) {
    for_each_product([](const MemberInfo& m) {
        if (m.size) return;
        const SizeRule& rule = size_rule(m.codes);
        Rng rng(std::hash<std::string>{}(m.name));
        for (SizeArg s : {W1, H1, W2, H2}) {
            ProductSizes sz = default_sizes(m, 2, 3, 4);
            Args probe;
            size_arg(probe, W1) = sz.src1Width, size_arg(probe, H1) = sz.src1Height;
            size_arg(probe, W2) = sz.src2Width, size_arg(probe, H2) = sz.src2Height;
            ++size_arg(probe, s);
            sz = {probe.src1Width, probe.src1Height, probe.src2Width, probe.src2Height};
            Call c = make_product_call(m, sz, 2, rng);
            c.snapshot_all();
            const bool breaks = rule.equal[0] == s || rule.equal[1] == s;
            EXPECT_EQ(c.run(), breaks ? olvResultBadSize : olvResultOk) << m.name << " size " << s;
            if (breaks) {
                EXPECT_TRUE(c.nothing_written()) << m.name;
            }
            EXPECT_FALSE(c.op("dst").changed_outside_elements()) << m.name;
        }
    });
}

TEST(MatMulValidation, CountZeroWritesNothing) {
    for_each_product([](const MemberInfo& m) {
        if (!has_array(m)) return;
        Rng rng(std::hash<std::string>{}(m.name));
        Call c = make(m, rng, 0);
        EXPECT_EQ(c.run(), olvResultOk) << m.name;
        EXPECT_TRUE(c.nothing_written()) << m.name;
    });
}

// P and PS2 arrays test src1Width*src1Height entries of source 1, src2Width*src2Height of
// source 2 and src1Width*src2Height of the destination before count; L and LS2 arrays test
// object entries only while processing, so with count = 0 a null goes unnoticed.
TEST(MatMulValidation, NullTableEntryBeforeCount) {
    for_each_product([](const MemberInfo& m) {
        const std::string layout = m.layout;
        if (!has_array(m) || layout.empty() || layout == "S2") return;
        Rng rng(std::hash<std::string>{}(m.name));
        for (const auto& o : m.operand_list()) {
            for (unsigned count : {0u, 3u}) {
                Call c = make(m, rng, count);
                Placed& p = c.op(o.role);
                if (p.table().empty()) continue;
                const Args& a = c.args;
                unsigned entries = o.role == "src1"   ? a.src1Width * a.src1Height
                                   : o.role == "src2" ? a.src2Width * a.src2Height
                                                      : a.src1Width * a.src2Height;
                if (!is_table_layout(o.layout)) entries = p.count();
                p.table()[rng() % entries] = nullptr;
                const bool fails = is_table_layout(layout) || count > 0;
                EXPECT_EQ(c.run(), fails ? olvResultNullPointer : olvResultOk)
                    << m.name << " " << o.role << " count " << count;
                if (is_table_layout(layout)) {
                    EXPECT_TRUE(c.nothing_written()) << m.name;
                }
            }
        }
    });
}

// The destination table of a P/PS2 array is tested over src1Width*src2Height entries, even
// where that is more than the M*N elements the product has.
TEST(MatMulValidation, DestinationEntriesCountedBySourceSizes) {
    for_each_product([](const MemberInfo& m) {
        if (m.size || !has_array(m) || !is_table_layout(m.layout)) return;
        Rng rng(std::hash<std::string>{}(m.name));
        // K = 3 against M, N = 2, or where the row ties K to M or N, the other one smaller.
        ProductSizes s{};
        for (unsigned mn : {22u, 32u, 23u}) {
            s = consistent_sizes(m.codes, mn / 10, mn % 10, 3);
            if (s.src1Width * s.src2Height > s.src1Height * s.src2Width) break;
        }
        ASSERT_GT(s.src1Width * s.src2Height, s.src1Height * s.src2Width) << m.name;
        Call c = make_product_call(m, s, 2, rng);
        c.snapshot_all();
        c.op("dst").table()[s.src1Width * s.src2Height - 1] = nullptr;
        EXPECT_EQ(c.run(), olvResultNullPointer) << m.name;
        EXPECT_TRUE(c.nothing_written()) << m.name;
    });
}

// L and LS2 arrays test the object pointers of the array sources and the destination just
// before each object: a null for object 2 leaves objects 0 and 1 complete.
TEST(MatMulValidation, NullObjectEntryKeepsEarlierObjects) {
    for_each_product([](const MemberInfo& m) {
        const std::string layout = m.layout;
        if (layout != "L" && layout != "LS2") return;
        Rng rng(std::hash<std::string>{}(m.name));
        for (const auto& o : m.operand_list()) {
            if (!is_array_kind(o.kind)) continue;
            Call c = make(m, rng, 4);
            c.op(o.role).table()[2] = nullptr;
            EXPECT_EQ(c.run(), olvResultNullPointer) << m.name << " " << o.role;
            expect_objects_written(c, 2, std::string(m.name) + " null " + o.role);
        }
    });
}

// Single-object P members test entries while computing: for element (i, j) the destination
// entry before the element is zeroed, then for each term the entries of a(i, k) and b(k, j).
// Elements before the failing one are complete; the failing one holds the terms summed so
// far (or is untouched when its own entry failed); later ones are untouched.
void expect_stopped_at(Call& c, unsigned fi, unsigned fj, int terms, const std::string& what) {
    Placed& d = c.op("dst");
    for (unsigned i = 0; i < d.rows(); ++i)
        for (unsigned j = 0; j < d.cols(); ++j) {
            const unsigned e = i * d.cols() + j, failing = fi * d.cols() + fj;
            if (e < failing) {
                ASSERT_TRUE(same_bits(d.get(0, i, j), expected_element(c, 0, i, j),
                                      c.m->elem_size()))
                    << what << " (" << i << ", " << j << ")";
            } else if (e == failing && terms >= 0) {
                ASSERT_TRUE(same_bits(d.get(0, i, j), expected_element(c, 0, i, j, terms),
                                      c.m->elem_size()))
                    << what << " partial (" << i << ", " << j << ")";
            } else {
                ASSERT_FALSE(d.element_changed(0, i, j)) << what << " (" << i << ", " << j << ")";
            }
        }
    EXPECT_FALSE(d.changed_outside_elements()) << what;
}

TEST(MatMulValidation, SingleObjectTableChecksWhileComputing) {
    for_each_product([](const MemberInfo& m) {
        if (has_array(m) || std::string(m.layout) != "P") return;
        Rng rng(std::hash<std::string>{}(m.name));
        auto below = [&](unsigned n) { return static_cast<unsigned>(rng() % n); };
        const std::string name = m.name;
        for (int round = 0; round < 3; ++round) {
            {
                Call c = make(m, rng);
                const unsigned i = below(c.height), j = below(c.width);
                c.op("dst").table()[held_entry(c, "dst", i, j)] = nullptr;
                EXPECT_EQ(c.run(), olvResultNullPointer) << name;
                expect_stopped_at(c, i, j, -1, name + " null dst");
            }
            {
                Call c = make(m, rng);
                const unsigned i = below(c.height), k = below(c.args.src2Height);
                c.op("src1").table()[held_entry(c, "src1", i, k)] = nullptr;
                EXPECT_EQ(c.run(), olvResultNullPointer) << name;
                expect_stopped_at(c, i, 0, int(k), name + " null a(i, k)");
            }
            {
                Call c = make(m, rng);
                const unsigned k = below(c.args.src2Height), j = below(c.width);
                c.op("src2").table()[held_entry(c, "src2", k, j)] = nullptr;
                EXPECT_EQ(c.run(), olvResultNullPointer) << name;
                expect_stopped_at(c, 0, j, int(k), name + " null b(k, j)");
            }
        }
    });
}

}  // namespace
}  // namespace olvmtest
