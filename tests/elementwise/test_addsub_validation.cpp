// Validation order and partial writes, swept over every Add and Sub member:
// null pointers before sizes, sizes before table entries, table entries of P/PS2 arrays
// before count, count = 0, and the per-object and per-element checks while computing.
// Every failing call must leave exactly the writes its layout allows.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "operands.h"

namespace olvmtest {
namespace {

bool is_elementwise(const MemberInfo& m) {
    const std::string f = m.family;
    return f == "Add" || f == "Sub";
}

Call make(const MemberInfo& m, Rng& rng, unsigned count = 3) {
    const bool vector = m.codes[0] == 'v' || m.codes[0] == 'c';
    const unsigned w = m.size ? m.size : 3;
    const unsigned h = vector ? 1 : (m.size ? m.size : 2);
    Call c = make_elementwise_call(m, w, h, count, rng);
    c.snapshot_all();
    return c;
}

// Number of destination elements (flat, object-major) that were written.
unsigned written_prefix(Call& c, bool& contiguous) {
    Placed& d = c.op("dst");
    unsigned written = 0;
    contiguous = true;
    bool gap = false;
    for (unsigned n = 0; n < d.count(); ++n)
        for (unsigned i = 0; i < d.rows(); ++i)
            for (unsigned j = 0; j < d.cols(); ++j) {
                if (d.element_changed(n, i, j)) {
                    if (gap) contiguous = false;
                    ++written;
                } else {
                    gap = true;
                }
            }
    return written;
}

template <class F>
void for_each_member(F f) {
    for (const auto& m : members())
        if (is_elementwise(m)) f(m);
}

TEST(AddSubValidation, NullBaseComesFirst) {
    for_each_member([](const MemberInfo& m) {
        Rng rng(std::hash<std::string>{}(m.name));
        for (const auto& o : m.operand_list()) {
            Call c = make(m, rng);
            null_base(c.args, o.role);
            c.args.width = c.args.height = c.args.len = 0;  // also a size error
            EXPECT_EQ(c.run(), olvResultNullPointer) << m.name << " null " << o.role;
            EXPECT_TRUE(c.nothing_written()) << m.name;
        }
    });
}

TEST(AddSubValidation, ZeroSizesOfGenericMembers) {
    for_each_member([](const MemberInfo& m) {
        if (m.size) return;  // fixed-size members take no size at all
        Rng rng(std::hash<std::string>{}(m.name));
        const bool vector = m.codes[0] == 'v' || m.codes[0] == 'c';
        for (int which = 0; which < (vector ? 1 : 2); ++which) {
            Call c = make(m, rng);
            if (vector) c.args.len = 0;
            else if (which == 0) c.args.width = 0;
            else c.args.height = 0;
            c.args.count = 0;  // the size test comes before count
            EXPECT_EQ(c.run(), olvResultBadSize) << m.name;
            EXPECT_TRUE(c.nothing_written()) << m.name;
        }
    });
}

TEST(AddSubValidation, CountZeroWritesNothing) {
    for_each_member([](const MemberInfo& m) {
        if (std::string(m.operands).find(":va") == std::string::npos &&
            std::string(m.operands).find(":ma") == std::string::npos)
            return;
        Rng rng(std::hash<std::string>{}(m.name));
        Call c = make(m, rng);
        c.args.count = 0;
        EXPECT_EQ(c.run(), olvResultOk) << m.name;
        EXPECT_TRUE(c.nothing_written()) << m.name;
    });
}

// P and PS2 arrays test every table entry before count; L and LS2 arrays test object
// entries only while processing, so with count = 0 a null entry goes unnoticed.
TEST(AddSubValidation, NullTableEntryWithCountZero) {
    for_each_member([](const MemberInfo& m) {
        const std::string layout = m.layout;
        if (layout != "P" && layout != "PS2" && layout != "L" && layout != "LS2") return;
        if (std::string(m.operands).find(":" + std::string("ma")) == std::string::npos &&
            std::string(m.operands).find(":va") == std::string::npos)
            return;
        Rng rng(std::hash<std::string>{}(m.name));
        for (const auto& o : m.operand_list()) {
            Call c = make(m, rng);
            Placed& p = c.op(o.role);
            if (p.table().empty()) continue;
            const unsigned entries = (o.layout == "L" || o.layout == "LS2")
                                         ? p.count() : p.rows() * p.cols();
            p.table()[rng() % entries] = nullptr;
            c.args.count = 0;
            const bool tables = layout == "P" || layout == "PS2";
            EXPECT_EQ(c.run(), tables ? olvResultNullPointer : olvResultOk) << m.name << " " << o.role;
            EXPECT_TRUE(c.nothing_written()) << m.name;
        }
    });
}

TEST(AddSubValidation, NullTableEntryInArrayWritesNothingOrEarlierObjects) {
    for_each_member([](const MemberInfo& m) {
        const std::string layout = m.layout;
        if (layout.empty() || layout == "S2") return;
        const bool array = std::string(m.operands).find(":va") != std::string::npos ||
                           std::string(m.operands).find(":ma") != std::string::npos;
        if (!array) return;
        Rng rng(std::hash<std::string>{}(m.name));
        for (const auto& o : m.operand_list()) {
            Call c = make(m, rng, 4);
            Placed& p = c.op(o.role);
            if (p.table().empty()) continue;
            const bool listed = o.layout == "L" || o.layout == "LS2";
            if (listed) {
                p.table()[2] = nullptr;  // objects 0 and 1 complete, nothing after
            } else {
                p.table()[rng() % (p.rows() * p.cols())] = nullptr;
            }
            EXPECT_EQ(c.run(), olvResultNullPointer) << m.name << " " << o.role;
            bool contiguous = false;
            const unsigned written = written_prefix(c, contiguous);
            Placed& d = c.op("dst");
            const unsigned per_object = d.rows() * d.cols();
            // (The sentinel bytes are not a value any of these sums can produce.)
            EXPECT_EQ(written, listed ? 2 * per_object : 0u) << m.name << " " << o.role;
            EXPECT_TRUE(contiguous) << m.name;
            EXPECT_FALSE(d.changed_outside_elements()) << m.name;
        }
    });
}

// Single-object P members test the entries of element k just before computing it.
TEST(AddSubValidation, SingleObjectTableStopsAtTheNullElement) {
    for_each_member([](const MemberInfo& m) {
        if (std::string(m.layout) != "P") return;
        if (std::string(m.operands).find(":va") != std::string::npos ||
            std::string(m.operands).find(":ma") != std::string::npos)
            return;
        Rng rng(std::hash<std::string>{}(m.name));
        for (const auto& o : m.operand_list()) {
            if (is_transposed_kind(o.kind)) continue;  // its tested entry is mirrored
            Call c = make(m, rng);
            Placed& p = c.op(o.role);
            const unsigned k = static_cast<unsigned>(rng() % (p.rows() * p.cols()));
            p.table()[k] = nullptr;
            EXPECT_EQ(c.run(), olvResultNullPointer) << m.name << " " << o.role;
            bool contiguous = false;
            const unsigned written = written_prefix(c, contiguous);
            EXPECT_EQ(written, k) << m.name << " " << o.role;
            EXPECT_TRUE(contiguous) << m.name;
        }
    });
}

}  // namespace
}  // namespace olvmtest
