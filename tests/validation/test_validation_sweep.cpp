// The calling convention of every exported member: validation order, partial writes and
// in-place use. Validation follows one convention:
//   1. base pointers and tables (auxiliary pointers included) are tested for null first;
//   2. then the size arguments of generic members, for zero;
//   3. then every entry of the P and PS2 tables of array members, before count;
//   4. count = 0 succeeds and writes nothing (L and LS2 object entries are not looked at);
//   5. while processing, L and LS2 object entries just before each object, and the entries
//      of single-object P tables just before each element.
// Each expectation is derived from the member's operands in the catalogue and this rule;
// the families that depart from it are rows of one table, named after the behaviour. A
// failing call must leave exactly the writes its step allows, compared with a twin call
// (same values, other memory) that ran to the end.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "calls.h"
#include "product_call.h"

namespace olvmtest {
namespace {

// How single-object P members test their table entries.
enum class EntryTests {
    PerElement,  // element k's entries just before element k: earlier elements are written
    AllFirst,    // every entry before anything is stored: a failure writes nothing
    TermByTerm,  // the destination entry before its element, source entries before each
                 // term: the element being summed may hold a partial sum
    Diagonal,    // only the diagonal entries, each just before its element is added: the
                 // scalar result holds the sum of the elements before it
    AfterOne,    // while the source is copied into scratch, after the scalar result was
                 // set to 1: it holds 1
    WhileCopying,  // destination entries first, then source entries as the source is
                   // copied into scratch: a failure writes nothing but scratch
};

struct Expectations {
    // Whether a generic member tests this size argument for zero.
    std::function<bool(const std::string& size)> size_tested = [](const std::string&) { return true; };
    // Entries of a P/PS2 table tested: before count in array members, before computing
    // in single-object members whose entry tests come all first.
    std::function<unsigned(Call&, const std::string& role)> entries = [](Call& c, const std::string& role) {
        return c.op(role).rows() * c.op(role).cols();
    };
    // Whether P/PS2 array tables are tested before count (or only while computing).
    bool entries_before_count = true;
    OlvResult count_zero = olvResultOk;
    EntryTests single_entries = EntryTests::PerElement;
    // TermByTerm: the first destination element (row-major) that reads entry k of source
    // `role` (it may hold a partial sum), and the roles tested with the destination entry,
    // before the element is zeroed. By default those of a matrix-matrix product.
    std::function<unsigned(Call&, const std::string& role, unsigned k)> first_reader =
        [](Call& c, const std::string& role, unsigned k) {
            const unsigned cols = c.op(role).cols();
            return role == "src1" ? (k / cols) * c.op("dst").cols() : k % cols;
        };
    std::function<bool(const std::string& role)> tested_with_dst = [](const std::string& role) {
        return role == "dst";
    };
    // Whether pointers are tested at all (a member that validates nothing returns at once,
    // writing nothing, when its sizes are zero).
    bool pointers_tested = true;
    // Whether any table entry or object pointer is ever tested (P entries before count, L
    // object pointers before each object, single-object P entries while computing).
    bool entries_tested = true;
    // Single-object P members produce the destination in the source's row-major order
    // (transposition): a null entry stops the call at the element that moves through it.
    bool source_order = false;
    // Result when every source element of one object is zero (Ok: not a failure).
    OlvResult zero_object = olvResultOk;
    // Whether the failing object's outputs hold partial results.
    bool failed_object_written = false;
};

bool is_gaxpy(const MemberInfo& m) { return std::string(m.family) == "Gaxpy"; }
bool sums_with_vector(const MemberInfo& m) { return is_vector_product(m) || is_gaxpy(m); }
bool is_family(const MemberInfo& m, const char* family) { return std::string(m.family) == family; }

bool is_lu(const MemberInfo& m) {
    const std::string f = m.family;
    return f == "LUDecomp" || f == "LUBackSubst";
}

bool is_qr(const MemberInfo& m) {
    const std::string f = m.family;
    return f == "QRDecomp" || f == "QRBackSubst";
}
bool is_invert(const MemberInfo& m) { return std::string(m.family) == "Invert"; }

// The families' departures from the common order.
struct Departure {
    const char* behaviour;
    bool (*applies)(const MemberInfo&);
    void (*adjust)(Expectations&, const MemberInfo&);
};

const Departure departures[] = {
    {"matrix products test the sizes their operand code names", is_matrix_product,
     [](Expectations& e, const MemberInfo& m) {
         const SizeRule& rule = size_rule(m.codes);
         e.size_tested = [&rule](const std::string& s) {
             for (SizeArg a : {W1, H1, W2, H2}) {
                 Args probe;
                 if (&size_arg(probe, a) != probe.unsigned_field(s)) continue;
                 for (SizeArg z : rule.zero)
                     if (z == a) return true;
                 return rule.equal[0] == a || rule.equal[1] == a;
             }
             return true;
         };
     }},
    {"matrix product arrays test src1Width * src2Height destination entries", is_matrix_product,
     [](Expectations& e, const MemberInfo&) {
         const auto common = e.entries;
         e.entries = [common](Call& c, const std::string& role) {
             return role == "dst" ? c.args.src1Width * c.args.src2Height : common(c, role);
         };
     }},
    {"single matrix products test source entries term by term", is_matrix_product,
     [](Expectations& e, const MemberInfo&) { e.single_entries = EntryTests::TermByTerm; }},
    {"matrix-vector products and Gaxpy test the destination entry before each element and "
     "A's and x's entries before each term: an entry of row i of A is first read by y(i), "
     "every entry of x by y(0)", sums_with_vector,
     [](Expectations& e, const MemberInfo&) {
         e.single_entries = EntryTests::TermByTerm;
         e.first_reader = [](Call& c, const std::string& role, unsigned k) {
             return role == "src1" ? k / c.op(role).cols() : 0u;
         };
     }},
    {"Gaxpy tests y(i)'s entry just before dst(i)'s, before the element is zeroed", is_gaxpy,
     [](Expectations& e, const MemberInfo&) {
         e.tested_with_dst = [](const std::string& role) { return role == "dst" || role == "src3"; };
     }},
    {"LU decompositions and solvers test every single-object entry before computing, size * size of each matrix table",
     is_lu,
     [](Expectations& e, const MemberInfo&) {
         e.single_entries = EntryTests::AllFirst;
         // (Destinations are placed with room for the displaced last-pivot test beyond them.)
         e.entries = [](Call& c, const std::string& role) {
             return c.kind_of(role).kind[0] == 'm' ? c.width * c.width : c.width;
         };
     }},
    // Vector Copy tests `len` as the common order does.
    {"matrix array Copy tests no size", [](const MemberInfo& m) { return is_family(m, "Copy") && m.codes == std::string("ma"); },
     [](Expectations& e, const MemberInfo&) { e.size_tested = [](const std::string&) { return false; }; }},
    {"Copy and Extract never test table entries or object pointers",
     [](const MemberInfo& m) { return is_family(m, "Copy") || is_family(m, "Extract"); },
     [](Expectations& e, const MemberInfo&) { e.entries_tested = false; }},
    {"Extract and LoadIdentity fail count = 0 as a size",
     [](const MemberInfo& m) { return is_family(m, "Extract") || is_family(m, "LoadIdentity"); },
     [](Expectations& e, const MemberInfo&) { e.count_zero = olvResultBadSize; }},
    {"single-object table Extract members but olvmExtract_v_32f_P validate nothing",
     [](const MemberInfo& m) {
         return is_family(m, "Extract") && std::string(m.layout) == "P" &&
                std::string(m.name) != "olvmExtract_v_32f_P";
     },
     [](Expectations& e, const MemberInfo&) {
         e.pointers_tested = false;
         e.size_tested = [](const std::string&) { return false; };
     }},
    {"LoadIdentity tests no size", [](const MemberInfo& m) { return is_family(m, "LoadIdentity"); },
     [](Expectations& e, const MemberInfo&) { e.size_tested = [](const std::string&) { return false; }; }},
    {"single-matrix Transpose tests each element's entries as it moves it, in source order",
     [](const MemberInfo& m) { return is_family(m, "Transpose"); },
     [](Expectations& e, const MemberInfo&) { e.source_order = true; }},
    {"single dot products and norms test entries while summing and store only at the end",
     [](const MemberInfo& m) { return is_family(m, "DotProduct") || is_family(m, "L2Norm"); },
     [](Expectations& e, const MemberInfo&) { e.single_entries = EntryTests::AllFirst; }},
    {"single cross products test all nine entries before computing",
     [](const MemberInfo& m) { return is_family(m, "CrossProduct"); },
     [](Expectations& e, const MemberInfo&) { e.single_entries = EntryTests::AllFirst; }},
    {"QR decompositions and solvers test every single-object entry before computing", is_qr,
     [](Expectations& e, const MemberInfo&) { e.single_entries = EntryTests::AllFirst; }},
    {"QR solvers test only the first width right-hand-side entries",
     [](const MemberInfo& m) { return std::string(m.family) == "QRBackSubst"; },
     [](Expectations& e, const MemberInfo&) {
         const auto common = e.entries;
         e.entries = [common](Call& c, const std::string& role) {
             return role == "src2" ? c.width : common(c, role);
         };
     }},
    {"Trace P members test only the diagonal entries, each as its element is added",
     [](const MemberInfo& m) { return is_family(m, "Trace") && std::string(m.layout) == "P"; },
     [](Expectations& e, const MemberInfo&) {
         e.single_entries = EntryTests::Diagonal;
         e.entries_before_count = false;
     }},
    {"FrobNorm P members test each entry as its element is squared and store only at the end",
     [](const MemberInfo& m) { return is_family(m, "FrobNorm") && std::string(m.layout) == "P"; },
     [](Expectations& e, const MemberInfo&) {
         e.single_entries = EntryTests::AllFirst;
         e.entries_before_count = false;
     }},
    {"generic Det P members test entries while copying, after storing 1 in the result",
     [](const MemberInfo& m) { return is_family(m, "Det") && std::string(m.layout) == "P" && m.size == 0; },
     [](Expectations& e, const MemberInfo&) {
         e.single_entries = EntryTests::AfterOne;
         e.entries_before_count = false;
     }},
    {"fixed-size Det members test every P entry before computing",
     [](const MemberInfo& m) { return is_family(m, "Det") && m.size != 0; },
     [](Expectations& e, const MemberInfo&) { e.single_entries = EntryTests::AllFirst; }},
    {"fixed-size inversions test source and destination entries in pairs before any arithmetic",
     [](const MemberInfo& m) { return is_invert(m) && m.size; },
     [](Expectations& e, const MemberInfo&) { e.single_entries = EntryTests::AllFirst; }},
    {"generic Invert P members test destination entries, then source entries while copying",
     [](const MemberInfo& m) { return is_invert(m) && std::string(m.layout) == "P" && m.size == 0; },
     [](Expectations& e, const MemberInfo&) {
         e.single_entries = EntryTests::WhileCopying;
         e.entries_before_count = false;
     }},
    {"inversions fail on a singular matrix, ending an array there", is_invert,
     [](Expectations& e, const MemberInfo&) { e.zero_object = olvResultZeroDivisor; }},
    {"4x4 inversions leave the adjugate of a singular matrix in the destination",
     [](const MemberInfo& m) { return is_invert(m) && m.size == 4; },
     [](Expectations& e, const MemberInfo&) { e.failed_object_written = true; }},
};

Expectations expectations(const MemberInfo& m) {
    Expectations e;
    for (const Departure& d : departures)
        if (d.applies(m)) d.adjust(e, m);
    return e;
}

bool is_table_layout(const std::string& l) { return l == "P" || l == "PS2"; }
bool is_listed_layout(const std::string& l) { return l == "L" || l == "LS2"; }

// Whether an array operand of the member is described by a table of that kind.
bool has_array_operand(const MemberInfo& m, bool (*layout)(const std::string&)) {
    for (const auto& o : m.operand_list())
        if (is_array_kind(o.kind) && layout(o.layout)) return true;
    return false;
}

// A call with its memory snapshotted; the same salt gives a twin with the same values.
Call fresh(const MemberInfo& m, unsigned count, unsigned salt = 0) {
    Rng rng(std::hash<std::string>{}(m.name) + salt);
    Call c = make_call(m, rng, count);
    c.snapshot_all();
    return c;
}

std::string what(const MemberInfo& m, const std::string& step) { return std::string(m.name) + ": " + step; }

// Output elements of objects [0, done) equal the twin's, later objects are untouched
// (object `done` may hold partial results where `partial`), and nothing outside the
// outputs' elements changed. Scratch buffers are not looked at.
void expect_objects(Call& c, Call& twin, unsigned done, const std::string& why, bool partial = false) {
    for (const auto& o : c.info) {
        Placed& p = c.op(o.role);
        if (o.access == 'r') {
            EXPECT_FALSE(p.any_changed()) << why << ": wrote into " << o.role;
            continue;
        }
        if (o.access != 'w') continue;
        EXPECT_FALSE(p.changed_outside_elements()) << why << ": wrote outside " << o.role;
        const Placed& q = twin.op(o.role);
        for (unsigned n = 0; n < p.count(); ++n)
            for (unsigned i = 0; i < p.rows(); ++i)
                for (unsigned j = 0; j < p.cols(); ++j) {
                    if (n < done) {
                        ASSERT_EQ(std::memcmp(p.address(n, i, j), q.address(n, i, j), p.esize), 0)
                            << why << ": " << o.role << " object " << n << " (" << i << ", " << j << ")";
                    } else if (n > done || !partial) {
                        ASSERT_FALSE(p.element_changed(n, i, j)) << why << ": " << o.role << " object " << n;
                    }
                }
    }
}

// Single objects: destination elements produced before step `k` equal the twin's, the
// element of step k may hold a partial result where `partial`, later ones are untouched.
// `step` gives the step that produces destination element (i, j); row-major by default.
void expect_elements(Call& c, Call& twin, unsigned k, bool partial, const std::string& why,
                     unsigned (*step)(const Placed&, unsigned, unsigned) = nullptr) {
    Placed& d = c.op("dst");
    const Placed& q = twin.op("dst");
    for (unsigned i = 0; i < d.rows(); ++i)
        for (unsigned j = 0; j < d.cols(); ++j) {
            const unsigned e = step ? step(d, i, j) : i * d.cols() + j;
            if (e < k) {
                ASSERT_EQ(std::memcmp(d.address(0, i, j), q.address(0, i, j), d.esize), 0) << why << " element " << e;
            } else if (e > k || !partial) {
                ASSERT_FALSE(d.element_changed(0, i, j)) << why << " element " << e;
            }
        }
    EXPECT_FALSE(d.changed_outside_elements()) << why;
}

// Single objects with a scalar result whose source entry k was nulled: Diagonal members
// fail only on a diagonal entry, holding the sum of the diagonal before it (the whole sum
// otherwise); AfterOne members fail holding 1.
void expect_scalar_result(Call& c, unsigned k, EntryTests how, const std::string& why) {
    const unsigned n = c.op("src").cols(), i = k / n;
    const bool fails = how == EntryTests::AfterOne || k % n == i;
    EXPECT_EQ(c.run(), fails ? olvResultNullPointer : olvResultOk) << why;
    double want = 1.0;
    if (how == EntryTests::Diagonal) {
        want = 0.0;
        for (unsigned d = 0; d < (fails ? i : n); ++d) want += c.used("src", 0, d, d);
    }
    const std::size_t es = c.m->elem_size();
    EXPECT_TRUE(same_bits(c.op("dstVal").get(0, 0, 0), round_to(want, es), es)) << why;
    EXPECT_FALSE(c.op("src").any_changed()) << why;
}

template <class F>
void for_each_member(F f) {
    int checked = 0;
    for (const auto& m : members()) {
        f(m, expectations(m));
        ++checked;
    }
    EXPECT_EQ(checked, int(members().size()));
}

void zero_sizes(Call& c) {
    for (const auto& s : c.m->size_args()) *c.args.unsigned_field(s) = 0;
    c.args.count = 0;
}

// Step 1: every pointer argument, tested before any size (and count).
TEST(ValidationSweep, NullPointersComeFirst) {
    for_each_member([](const MemberInfo& m, const Expectations& e) {
        for (const auto& o : m.operand_list()) {
            Call c = fresh(m, 3);
            null_base(c.args, o.role);
            zero_sizes(c);
            EXPECT_EQ(c.run(), e.pointers_tested ? olvResultNullPointer : olvResultOk) << what(m, "null " + o.role);
            EXPECT_TRUE(c.nothing_written()) << what(m, "null " + o.role);
        }
    });
}

// Step 2: each size argument, before any table entry and before count; an untested size
// set to zero goes through to count = 0.
TEST(ValidationSweep, ZeroSizesBeforeTableEntriesAndCount) {
    for_each_member([](const MemberInfo& m, const Expectations& e) {
        for (const auto& s : m.size_args()) {
            Call c = fresh(m, 3);
            const bool tested = e.size_tested(s);
            *c.args.unsigned_field(s) = 0;
            c.args.count = 0;
            if (tested)
                for (auto& [role, p] : c.ops)
                    if (is_table_layout(p->layout)) p->table()[0] = nullptr;
            const OlvResult want = tested ? olvResultBadSize : is_array_member(m) ? e.count_zero : olvResultOk;
            EXPECT_EQ(c.run(), want) << what(m, s + " = 0");
            if (tested || is_array_member(m)) {
                EXPECT_TRUE(c.nothing_written()) << what(m, s + " = 0");
            }
        }
    });
}

// Step 3: the first and the last tested entry of each P/PS2 table fail even with count =
// 0; the entry just past the tested ones is not looked at.
TEST(ValidationSweep, TableEntriesBeforeCount) {
    for_each_member([](const MemberInfo& m, const Expectations& e) {
        if (!has_array_operand(m, is_table_layout)) return;
        for (const auto& o : m.operand_list()) {
            if (!is_table_layout(o.layout)) continue;
            Call probe = fresh(m, 3);
            const unsigned entries = e.entries_tested ? e.entries(probe, o.role) : 0;
            for (unsigned k : {0u, entries - 1, entries}) {
                if (k > entries) continue;  // no entry is tested: only entry 0 is tried
                Call c = fresh(m, 3);
                c.op(o.role).table()[k] = nullptr;
                c.args.count = 0;
                const OlvResult want = k < entries && e.entries_before_count ? olvResultNullPointer : e.count_zero;
                const std::string step = "null " + o.role + " entry " + std::to_string(k);
                EXPECT_EQ(c.run(), want) << what(m, step);
                EXPECT_TRUE(c.nothing_written()) << what(m, step);
            }
        }
    });
}

// Step 4, with every object table's first entry null: it is never looked at.
TEST(ValidationSweep, CountZeroWritesNothing) {
    for_each_member([](const MemberInfo& m, const Expectations& e) {
        if (!is_array_member(m)) return;
        Call c = fresh(m, 3);
        for (auto& [role, p] : c.ops)
            if (is_listed_layout(p->layout) && p->array) p->table()[0] = nullptr;
        c.args.count = 0;
        EXPECT_EQ(c.run(), e.count_zero) << what(m, "count = 0");
        EXPECT_TRUE(c.nothing_written()) << what(m, "count = 0");
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
            if (o.layout != "P" || is_transposed_kind(o.kind)) continue;
            Call c = fresh(m, 1);
            Placed& p = c.op(o.role);
            const unsigned tested = e.single_entries == EntryTests::AllFirst ? e.entries(c, o.role)
                                                                             : p.rows() * p.cols();
            const unsigned k = static_cast<unsigned>(rng() % tested);
            p.table()[k] = nullptr;
            const std::string step = "null " + o.role + " entry " + std::to_string(k);
            if (e.single_entries == EntryTests::Diagonal || e.single_entries == EntryTests::AfterOne) {
                expect_scalar_result(c, k, e.single_entries, what(m, step));
                continue;
            }
            EXPECT_EQ(c.run(), olvResultNullPointer) << what(m, step);
            if (e.single_entries == EntryTests::AllFirst) {
                EXPECT_TRUE(c.nothing_written()) << what(m, step);
            } else if (e.single_entries == EntryTests::WhileCopying) {
                expect_objects(c, twin, 0, what(m, step));
            } else if (e.source_order) {  // destination (i, j) moves at source step j * rows + i
                auto from_source = [](const Placed& d, unsigned i, unsigned j) { return j * d.rows() + i; };
                const unsigned at = o.role == "dst" ? from_source(p, k / p.cols(), k % p.cols()) : k;
                expect_elements(c, twin, at, false, what(m, step), from_source);
            } else if (e.single_entries == EntryTests::PerElement || e.tested_with_dst(o.role)) {
                expect_elements(c, twin, k, false, what(m, step));
            } else {  // a source entry, first read by the element summing its term
                expect_elements(c, twin, e.first_reader(c, o.role, k), true, what(m, step));
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
     [](const MemberInfo& m) { return std::string(m.family) == "Add" || std::string(m.family) == "Sub"; },
     nullptr},
    {"untransposed constant products read an element before writing it",
     [](const MemberInfo& m) {
         return is_constant_product(m) && std::string(m.codes).find('T') == std::string::npos;
     },
     "src"},
    {"Saxpy and LComb read element i of the sources before writing element i",
     [](const MemberInfo& m) { return is_family(m, "Saxpy") || is_family(m, "LComb"); }, nullptr},
    {"LU decompositions copy the source before eliminating",
     [](const MemberInfo& m) { return std::string(m.family) == "LUDecomp"; }, "src"},
    {"QR decompositions copy the source before reducing",
     [](const MemberInfo& m) { return std::string(m.family) == "QRDecomp"; }, "src"},
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
                const Placed& want = apart.op("dst");
                for (unsigned n = 0; n < want.count(); ++n)
                    for (unsigned i = 0; i < want.rows(); ++i)
                        for (unsigned j = 0; j < want.cols(); ++j)
                            ASSERT_TRUE(same_bits(dst.get(n, i, j), want.get(n, i, j), m.elem_size()))
                                << m.name << " in place on " << o.role << " object " << n;
                ++checked;
            }
        }
    EXPECT_GT(checked, 1500);
}

}  // namespace
}  // namespace olvmtest
