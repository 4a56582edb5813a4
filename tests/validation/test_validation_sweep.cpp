// The calling convention of every exported member: validation order, partial writes and
// in-place use, each step checked against the validation model (validation_model.h). A
// failing call must leave exactly the writes its step allows, compared with a twin call
// (same values, other memory) that ran to the end.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "calls.h"
#include "product_call.h"
#include "validation_model.h"

namespace olvmtest {
namespace {

// A call with its memory snapshotted; the same salt gives a twin with the same values.
Call fresh(const MemberInfo& m, unsigned count, unsigned salt = 0) {
    Rng rng(std::hash<std::string>{}(m.name) + salt);
    Call c = make_call(m, rng, count);
    c.snapshot_all();
    return c;
}

std::string what(const MemberInfo& m, const std::string& step) { return std::string(m.name) + ": " + step; }

// Objects [0, done) equal the twin's, object `done` may hold partial results where
// `partial`, and nothing else but scratch was written.
void expect_objects(Call& c, Call& twin, unsigned done, const std::string& why, bool partial = false) {
    Verdict v;
    v.objects = done, v.scratch = true;
    EXPECT_EQ(audit(c, v, &twin, partial), "") << why;
}

template <class F>
void for_each_member(F f) {
    for (const auto& m : members()) f(m, expectations(m));
}

// Steps 1 to 4, each change on its own with count 0: a null base pointer (sizes zero too),
// a zero size (the first entry of every table null too, where the size is tested), a null
// P/PS2 entry of an array member (the first and the last tested, and the first untested
// one), and every object table's first entry null. The model's result; nothing written,
// except that a single-object member whose zero size is not tested goes on with the rest.
TEST(ValidationSweep, RefusalsAndCountZeroWriteNothing) {
    for_each_member([](const MemberInfo& m, const Expectations& e) {
        std::vector<std::pair<std::string, std::function<void(Call&)>>> changes;
        for (const auto& o : m.operand_list()) {
            changes.push_back({"null " + o.role, [o](Call& c) {
                null_base(c.args, o.role);
                for (const auto& s : c.m->size_args()) *c.args.unsigned_field(s) = 0;
            }});
            if (!is_table_layout(o.layout) || !has_array_operand(m, is_table_layout)) continue;
            Call probe = fresh(m, 3);
            const unsigned entries = tested_entries(probe, e, o);
            for (unsigned k : {0u, entries - 1, entries})
                if (k <= entries)  // (no entry tested: only entry 0 is tried)
                    changes.push_back({"null " + o.role + " entry " + std::to_string(k),
                                       [o, k](Call& c) { c.op(o.role).table()[k] = nullptr; }});
        }
        for (const auto& s : m.size_args())
            changes.push_back({s + " = 0", [s, tested = e.size_tested(s)](Call& c) {
                *c.args.unsigned_field(s) = 0;
                for (auto& [role, p] : c.ops)
                    if (tested && is_table_layout(p->layout)) p->table()[0] = nullptr;
            }});
        if (is_array_member(m))
            changes.push_back({"count = 0", [](Call& c) {
                for (auto& [role, p] : c.ops)
                    if (is_listed_layout(p->layout) && p->array) p->table()[0] = nullptr;
            }});
        for (const auto& [step, change] : changes) {
            Call c = fresh(m, 3);
            change(c);
            c.args.count = 0;
            const OlvResult want = predict(c, e).code;
            EXPECT_EQ(c.run(), want) << what(m, step);
            if (want != olvResultOk || is_array_member(m) || step[0] == 'n') {
                EXPECT_TRUE(c.nothing_written()) << what(m, step);
            }
        }
    });
}

// Step 5, object tables: a null object pointer for object 2 leaves objects 0 and 1 done.
TEST(ValidationSweep, ObjectEntriesJustBeforeEachObject) {
    for_each_member([](const MemberInfo& m, const Expectations& e) {
        if (!e.entries_tested || !has_array_operand(m, is_listed_layout)) return;
        Call twin = fresh(m, 4);
        ASSERT_EQ(twin.run(), olvResultOk) << m.name;
        for (const auto& o : m.operand_list()) {
            if (!is_listed_layout(o.layout) || !is_array_kind(o.kind)) continue;
            Call c = fresh(m, 4);
            c.op(o.role).table()[2] = nullptr;
            EXPECT_EQ(c.run(), olvResultNullPointer) << what(m, "null object 2 of " + o.role);
            expect_objects(c, twin, 2, what(m, "null object 2 of " + o.role));
        }
    });
}

// Step 5, single-object tables: a null entry stops the call where the family's entry
// tests put it. (A transposed operand's entry is tested at a mirrored index; its own
// behaviour cases cover it.)
TEST(ValidationSweep, SingleObjectEntriesWhileComputing) {
    for_each_member([](const MemberInfo& m, const Expectations& e) {
        if (is_array_member(m) || std::string(m.layout) != "P" || !e.entries_tested) return;
        Call twin = fresh(m, 1);
        ASSERT_EQ(twin.run(), olvResultOk) << m.name;
        Rng rng(std::hash<std::string>{}(m.name));
        for (const auto& o : m.operand_list()) {
            Call c = fresh(m, 1);
            Placed& p = c.op(o.role);
            const unsigned tested = tested_entries(c, e, o);
            if (tested == 0) continue;
            const unsigned k = static_cast<unsigned>(rng() % tested);
            p.table()[k] = nullptr;
            const std::string step = what(m, "null " + o.role + " entry " + std::to_string(k));
            const Verdict v = predict(c, e);
            EXPECT_EQ(c.run(), v.code) << step;
            if (e.single_entries == EntryTests::Diagonal || e.single_entries == EntryTests::AfterOne) {
                // The scalar result holds the sum of the diagonal before the failing entry
                // (the whole sum if it is off the diagonal), or 1.
                double want = e.single_entries == EntryTests::AfterOne;
                for (unsigned d = 0; e.single_entries == EntryTests::Diagonal && d < (v.code ? k / p.cols() : p.cols()); ++d)
                    want += c.used("src", 0, d, d);
                EXPECT_TRUE(same_bits(c.op("dstVal").get(0, 0, 0), round_to(want, m.elem_size()), m.elem_size())) << step;
                EXPECT_FALSE(p.any_changed()) << step;
            } else {  // nothing, or scratch, or the destination elements before the failing step
                EXPECT_EQ(audit(c, v, &twin), "") << step;
            }
        }
    });
}

// A source object of all zeros (object 2 of 4, or the single object) ends the call where
// the family fails on it: earlier objects done, later ones untouched.
TEST(ValidationSweep, ZeroObjectEndsTheCall) {
    for_each_member([](const MemberInfo& m, const Expectations& e) {
        if (e.zero_object == olvResultOk) return;
        const unsigned at = is_array_member(m) ? 2 : 0;
        Call twin = fresh(m, 4), c = fresh(m, 4);
        ASSERT_EQ(twin.run(), olvResultOk) << m.name;
        for (const auto& o : c.info) {
            if (o.access != 'r') continue;
            Placed& p = c.op(o.role);
            const unsigned n = p.array ? at : 0;
            for (unsigned i = 0; i < p.rows(); ++i)
                for (unsigned j = 0; j < p.cols(); ++j) p.set(n, i, j, 0.0);
        }
        c.snapshot_all();
        EXPECT_EQ(c.run(), e.zero_object) << what(m, "zero object");
        expect_objects(c, twin, at, what(m, "zero object"), e.failed_object_written);
    });
}

// Members whose destination may be described exactly as one of their sources (in place)
// and still give the result of separate buffers.
struct InPlace {
    const char* behaviour;
    bool (*applies)(const MemberInfo&);
    const char* role;  // that source; null: any source of the destination's kind
};

const InPlace in_place_rows[] = {
    {"element-wise sums and differences read an element before writing it",
     [](const MemberInfo& m) { return m.is("Add") || m.is("Sub"); }, nullptr},
    {"untransposed constant products read an element before writing it",
     [](const MemberInfo& m) { return is_constant_product(m) && !std::strchr(m.codes, 'T'); }, "src"},
    {"Saxpy and LComb read element i of the sources before writing element i",
     [](const MemberInfo& m) { return m.is("Saxpy") || m.is("LComb"); }, nullptr},
    {"LU and QR decompositions copy the source before eliminating or reducing",
     [](const MemberInfo& m) { return m.is("LUDecomp") || m.is("QRDecomp"); }, "src"},
};

TEST(CallingConvention, InPlaceGivesTheResultOfSeparateBuffers) {
    int checked = 0;
    for (const auto& m : members())
        for (const InPlace& row : in_place_rows) {
            if (!row.applies(m)) continue;
            const auto info = m.operand_list();
            for (const auto& o : info) {
                if (o.role == "dst" || (row.role ? o.role != row.role : o.kind != info.back().kind)) continue;
                Call apart = fresh(m, 3), same = fresh(m, 3);
                ASSERT_EQ(apart.run(), olvResultOk) << m.name;
                Placed &src = same.op(o.role), &dst = same.op("dst");
                for (unsigned n = 0; n < src.count(); ++n)
                    for (unsigned i = 0; i < src.rows(); ++i)
                        for (unsigned j = 0; j < src.cols(); ++j) dst.set(n, i, j, src.get(n, i, j));
                dst.describe(same.args, o.role);
                ASSERT_EQ(same.run(), olvResultOk) << m.name << " in place on " << o.role;
                expect_objects(same, apart, ~0u, what(m, "in place on " + o.role));  // every object as apart
                ++checked;
            }
        }
    EXPECT_GT(checked, 1500);
}

}  // namespace
}  // namespace olvmtest
