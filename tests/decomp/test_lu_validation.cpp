// Validation order and partial writes of every LUDecomp and LUBackSubst member: null
// pointers (pIndex included) before sizes, sizes before pointer-table entries, table
// entries of the P and PS2 members before count, count = 0, and the object entries of
// the L and LS2 members just before each object, with earlier objects complete.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "lu_calls.h"

namespace olvmtest {
namespace {

// Either family's call behind one interface: its operands by role and its index vector.
struct LuCall {
    std::unique_ptr<DecompCall> d;
    std::unique_ptr<SolveCall> s;

    Args& args() { return d ? d->args : s->args; }
    IndexVector& index() { return d ? d->index : s->index; }
    OlvResult run() { return d ? d->run() : s->run(); }
    unsigned size() const { return d ? d->size : s->size; }
    std::vector<std::pair<std::string, Placed*>> ops() {
        if (d) return {{"src", d->src.get()}, {"dst", d->dst.get()}};
        return {{"src", s->mat.get()}, {"src2", s->rhs.get()}, {"dst", s->dst.get()}};
    }
    void snapshot() { d ? d->snapshot() : s->snapshot(); }
    bool nothing_written() {
        for (auto& [role, p] : ops())
            if (p->any_changed()) return false;
        return !index().any_changed();
    }
};

bool is_lu(const MemberInfo& m) {
    const std::string f = m.family;
    return f == "LUDecomp" || f == "LUBackSubst";
}

bool is_table_layout(const std::string& l) { return l == "P" || l == "PS2"; }
bool is_listed_layout(const std::string& l) { return l == "L" || l == "LS2"; }

LuCall make(const MemberInfo& m, unsigned count = 4) {
    Rng rng(std::hash<std::string>{}(m.name));
    const unsigned size = m.size ? m.size : 3;
    LuCall c;
    if (std::string(m.family) == "LUDecomp")
        c.d = std::make_unique<DecompCall>(make_decomp_call(m, size, count, rng));
    else
        c.s = std::make_unique<SolveCall>(make_solve_call(m, size, count, rng));
    c.snapshot();
    return c;
}

bool is_array_member(const MemberInfo& m) {
    const std::string codes = m.codes;
    return codes != "m" && codes != "mv";
}

template <class F>
void for_each_member(F f) {
    for (const auto& m : members())
        if (is_lu(m)) f(m);
}

TEST(LUValidation, NullPointersComeFirst) {
    for_each_member([](const MemberInfo& m) {
        std::vector<std::string> roles;
        for (const auto& o : m.operand_list()) roles.push_back(o.role);
        roles.push_back("pIndex");
        for (const auto& role : roles) {
            LuCall c = make(m);
            if (role == "pIndex") {
                c.args().pIndex = nullptr;
            } else {
                null_base(c.args(), role);
            }
            c.args().size = 0;  // also a size error
            c.args().count = 0;
            EXPECT_EQ(c.run(), olvResultNullPointer) << m.name << " null " << role;
            EXPECT_TRUE(c.nothing_written()) << m.name;
        }
    });
}

TEST(LUValidation, ZeroSizeBeforeTableEntries) {
    for_each_member([](const MemberInfo& m) {
        if (m.size) return;  // fixed-size members take no size
        LuCall c = make(m);
        for (auto& [role, p] : c.ops())
            if (is_table_layout(p->layout)) p->table()[0] = nullptr;
        c.args().size = 0;
        EXPECT_EQ(c.run(), olvResultBadSize) << m.name;
        EXPECT_TRUE(c.nothing_written()) << m.name;
    });
}

// Every entry of every table is tested before anything is computed, and in array members
// before count is looked at.
TEST(LUValidation, TableEntriesBeforeAnythingIsComputed) {
    for_each_member([](const MemberInfo& m) {
        const std::string layout = m.layout;
        if (!is_table_layout(layout)) return;
        const unsigned counts[] = {0, 3};
        for (const unsigned count : counts) {
            if (count == 0 && !is_array_member(m)) continue;
            for (const auto& o : m.operand_list()) {
                if (!is_table_layout(o.layout)) continue;
                LuCall probe = make(m);
                const unsigned n = probe.size();
                const unsigned entries = o.kind[0] == 'm' ? n * n : n;
                for (const unsigned k : {0u, entries / 2, entries - 1}) {
                    LuCall c = make(m);
                    for (auto& [role, p] : c.ops())
                        if (role == o.role) p->table()[k] = nullptr;
                    c.args().count = count;
                    EXPECT_EQ(c.run(), olvResultNullPointer)
                        << m.name << " " << o.role << " entry " << k << " count " << count;
                    EXPECT_TRUE(c.nothing_written()) << m.name << " " << o.role << " entry " << k;
                }
            }
        }
    });
}

TEST(LUValidation, CountZeroWritesNothing) {
    for_each_member([](const MemberInfo& m) {
        if (!is_array_member(m)) return;
        LuCall c = make(m);
        // An object table's null entry is not looked at when there are no objects.
        for (auto& [role, p] : c.ops())
            if (is_listed_layout(p->layout)) p->table()[0] = nullptr;
        c.args().count = 0;
        EXPECT_EQ(c.run(), olvResultOk) << m.name;
        EXPECT_TRUE(c.nothing_written()) << m.name;
    });
}

// A null object entry of any object table stops the call just before that object.
TEST(LUValidation, ObjectEntriesJustBeforeEachObject) {
    for_each_member([](const MemberInfo& m) {
        if (!is_listed_layout(m.layout)) return;
        for (const auto& o : m.operand_list()) {
            if (!is_listed_layout(o.layout)) continue;
            LuCall c = make(m, 4);
            for (auto& [role, p] : c.ops())
                if (role == o.role) p->table()[2] = nullptr;
            ASSERT_EQ(c.run(), olvResultNullPointer) << m.name << " " << o.role;
            const unsigned size = c.size();
            for (unsigned n = 0; n < 4; ++n) {
                if (c.d) {
                    DecompCall& d = *c.d;
                    for (unsigned i = 0; i < size; ++i) {
                        if (n < 2) {
                            EXPECT_EQ(d.rows(n)[i], d.systems[n].rows[i]) << m.name;
                        } else {
                            EXPECT_FALSE(d.index.changed(n * size + i)) << m.name << " object " << n;
                        }
                    }
                    if (n < 2) {
                        EXPECT_LE(factor_error(d.systems[n].a, d.factors(n), d.rows(n), m.elem_size()), 1.0)
                            << m.name << " object " << n;
                    } else {
                        for (unsigned i = 0; i < size; ++i)
                            for (unsigned j = 0; j < size; ++j)
                                EXPECT_FALSE(d.dst->element_changed(n, i, j)) << m.name << " object " << n;
                    }
                } else {
                    SolveCall& s = *c.s;
                    if (n < 2) {
                        EXPECT_LE(solve_error(s.system(n), s.vector_of(*s.dst, n), s.vector_of(*s.rhs, n),
                                              m.elem_size()), 1.0) << m.name << " object " << n;
                    } else {
                        for (unsigned k = 0; k < size; ++k)
                            EXPECT_FALSE(s.dst->element_changed(n, 0, k)) << m.name << " object " << n;
                    }
                    EXPECT_FALSE(s.index.any_changed()) << m.name;
                }
            }
        }
    });
}

}  // namespace
}  // namespace olvmtest
