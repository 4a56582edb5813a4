#include "validation_model.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "calls.h"
#include "product_call.h"

namespace olvmtest {

namespace {

bool sums_with_vector(const MemberInfo& m) { return is_vector_product(m) || m.is("Gaxpy"); }
bool single_p(const MemberInfo& m) { return std::string(m.layout) == "P"; }

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
             Args probe;
             for (SizeArg a : {W1, H1, W2, H2})
                 if (&size_arg(probe, a) == probe.unsigned_field(s))
                     return std::count(rule.zero.begin(), rule.zero.end(), a) || rule.equal[0] == a || rule.equal[1] == a;
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
    {"Gaxpy tests y(i)'s entry just before dst(i)'s, before the element is zeroed",
     [](const MemberInfo& m) { return m.is("Gaxpy"); },
     [](Expectations& e, const MemberInfo&) { e.tested_with_dst = "src3"; }},
    {"LU decompositions and solvers test every single-object entry before computing, size * size of each matrix table",
     [](const MemberInfo& m) { return m.is("LUDecomp") || m.is("LUBackSubst"); },
     [](Expectations& e, const MemberInfo&) {
         e.single_entries = EntryTests::AllFirst;
         // (Destinations are placed with room for the displaced last-pivot test beyond them.)
         e.entries = [](Call& c, const std::string& role) {
             return c.kind_of(role).kind[0] == 'm' ? c.width * c.width : c.width;
         };
     }},
    // Vector Copy tests `len` as the common order does.
    {"matrix array Copy and LoadIdentity test no size",
     [](const MemberInfo& m) { return (m.is("Copy") && m.codes == std::string("ma")) || m.is("LoadIdentity"); },
     [](Expectations& e, const MemberInfo&) { e.size_tested = [](const std::string&) { return false; }; }},
    {"Copy and Extract never test table entries or object pointers",
     [](const MemberInfo& m) { return m.is("Copy") || m.is("Extract"); },
     [](Expectations& e, const MemberInfo&) { e.entries_tested = false; }},
    {"Extract and LoadIdentity fail count = 0 as a size",
     [](const MemberInfo& m) { return m.is("Extract") || m.is("LoadIdentity"); },
     [](Expectations& e, const MemberInfo&) { e.count_zero = olvResultBadSize; }},
    {"single-object table Extract members but olvmExtract_v_32f_P validate nothing",
     [](const MemberInfo& m) { return m.is("Extract") && single_p(m) && std::string(m.name) != "olvmExtract_v_32f_P"; },
     [](Expectations& e, const MemberInfo&) {
         e.pointers_tested = false;
         e.size_tested = [](const std::string&) { return false; };
     }},
    {"single-matrix Transpose tests each element's entries as it moves it, in source order",
     [](const MemberInfo& m) { return m.is("Transpose"); },
     [](Expectations& e, const MemberInfo&) { e.source_order = true; }},
    {"single dot products and norms (while summing, storing only at the end), cross products, "
     "QR decompositions and solvers, fixed-size Det and inversions (source and destination "
     "entries in pairs) test every single-object entry before computing",
     [](const MemberInfo& m) {
         return m.is("DotProduct") || m.is("L2Norm") || m.is("CrossProduct") || m.is("QRDecomp") ||
                m.is("QRBackSubst") || ((m.is("Det") || m.is("Invert")) && m.size != 0);
     },
     [](Expectations& e, const MemberInfo&) { e.single_entries = EntryTests::AllFirst; }},
    {"QR solvers test only the first width right-hand-side entries",
     [](const MemberInfo& m) { return m.is("QRBackSubst"); },
     [](Expectations& e, const MemberInfo&) {
         const auto common = e.entries;
         e.entries = [common](Call& c, const std::string& role) {
             return role == "src2" ? c.width : common(c, role);
         };
     }},
    {"Trace P members test only the diagonal entries, each as its element is added",
     [](const MemberInfo& m) { return m.is("Trace") && single_p(m); },
     [](Expectations& e, const MemberInfo&) {
         e.single_entries = EntryTests::Diagonal;
         e.entries_before_count = false;
     }},
    {"FrobNorm P members test each entry as its element is squared and store only at the end",
     [](const MemberInfo& m) { return m.is("FrobNorm") && single_p(m); },
     [](Expectations& e, const MemberInfo&) {
         e.single_entries = EntryTests::AllFirst;
         e.entries_before_count = false;
     }},
    {"generic Det P members test entries while copying, after storing 1 in the result",
     [](const MemberInfo& m) { return m.is("Det") && single_p(m) && m.size == 0; },
     [](Expectations& e, const MemberInfo&) {
         e.single_entries = EntryTests::AfterOne;
         e.entries_before_count = false;
     }},
    {"generic Invert P members test destination entries, then source entries while copying",
     [](const MemberInfo& m) { return m.is("Invert") && single_p(m) && m.size == 0; },
     [](Expectations& e, const MemberInfo&) {
         e.single_entries = EntryTests::WhileCopying;
         e.entries_before_count = false;
     }},
    {"inversions fail on a singular matrix, ending an array there",
     [](const MemberInfo& m) { return m.is("Invert"); },
     [](Expectations& e, const MemberInfo&) {
         e.zero_object = olvResultZeroDivisor;
         e.divides = true;
     }},
    {"LU and QR decompositions end the call at a pivot or column norm below the threshold",
     [](const MemberInfo& m) { return m.is("LUDecomp") || m.is("QRDecomp"); },
     [](Expectations& e, const MemberInfo&) { e.divides = true; }},
    {"4x4 inversions leave the adjugate of a singular matrix in the destination",
     [](const MemberInfo& m) { return m.is("Invert") && m.size == 4; },
     [](Expectations& e, const MemberInfo&) { e.failed_object_written = true; }},
};

}  // namespace

Expectations expectations(const MemberInfo& m) {
    Expectations e;
    for (const Departure& d : departures)
        if (d.applies(m)) d.adjust(e, m);
    return e;
}

bool is_table_layout(const std::string& l) { return l == "P" || l == "PS2"; }
bool is_listed_layout(const std::string& l) { return l == "L" || l == "LS2"; }

bool has_array_operand(const MemberInfo& m, bool (*layout)(const std::string&)) {
    for (const auto& o : m.operand_list())
        if (is_array_kind(o.kind) && layout(o.layout)) return true;
    return false;
}

bool takes(const MemberInfo& m, const std::string& arg) {
    return ("," + std::string(m.args) + ",").find("," + arg + ",") != std::string::npos;
}

unsigned tested_entries(Call& c, const Expectations& e, const OperandInfo& o) {
    if (!e.entries_tested) return 0;
    Placed& p = c.op(o.role);
    if (is_array_member(*c.m)) {
        if (is_table_layout(o.layout)) return e.entries(c, o.role);
        return is_listed_layout(o.layout) && is_array_kind(o.kind) ? p.count() : 0;
    }
    if (o.layout != "P" || is_transposed_kind(o.kind)) return 0;  // mirrored tests: see the sweep
    return e.single_entries == EntryTests::AllFirst ? e.entries(c, o.role) : p.rows() * p.cols();
}

Verdict predict(Call& c, const Expectations& e) {
    const MemberInfo& m = *c.m;
    const bool array = is_array_member(m);
    Verdict v;
    auto refused = [&v](OlvResult code) {
        v.code = code;
        return v;
    };
    auto null = [&m](const std::string& arg, void* const* field) { return field && !*field && takes(m, arg); };
    for (const auto& o : c.info) {  // 1
        const RoleFields f = c.args.role(o.role);
        const std::string name = char(std::toupper(o.role[0])) + o.role.substr(1);
        if (e.pointers_tested && (null("p" + name, f.p) || null("pp" + name, f.pp))) return refused(olvResultNullPointer);
    }
    for (const auto& s : m.size_args())  // 2
        if (*c.args.unsigned_field(s) == 0 && e.size_tested(s)) return refused(olvResultBadSize);
    if (array && e.entries_before_count)  // 3
        for (const auto& o : c.info)
            if (is_table_layout(o.layout)) {
                const auto first = c.op(o.role).table().begin(), end = first + tested_entries(c, e, o);
                if (std::find(first, end, nullptr) != end) return refused(olvResultNullPointer);
            }
    if (array && c.args.count == 0) return refused(e.count_zero);  // 4
    v.divides = e.divides;
    v.scratch = true;
    v.objects = array ? c.args.count : 1;
    for (const auto& o : c.info) {  // 5
        Placed& p = c.op(o.role);
        const unsigned tested = tested_entries(c, e, o);
        if (array && is_listed_layout(o.layout)) {
            for (unsigned n = 0; n < v.objects && n < tested; ++n)
                if (!p.table()[n]) v.objects = n, v.code = olvResultNullPointer;
        } else if (!array) {
            for (unsigned k = 0; k < tested; ++k) {
                if (p.table()[k] || (e.single_entries == EntryTests::Diagonal && k % p.cols() != k / p.cols()))
                    continue;
                v.code = olvResultNullPointer;
                if (e.single_entries == EntryTests::AllFirst) v.scratch = false;
                if (e.single_entries == EntryTests::AllFirst || e.single_entries == EntryTests::WhileCopying)
                    v.objects = 0;
                if (e.single_entries == EntryTests::PerElement || e.single_entries == EntryTests::TermByTerm) {
                    // A source entry of a term is first read by the element summing it.
                    v.partial_step = e.single_entries == EntryTests::TermByTerm && o.role != "dst" &&
                                     o.role != e.tested_with_dst;
                    v.source_order = e.source_order;
                    v.step = v.partial_step ? e.first_reader(c, o.role, k)
                             : e.source_order && o.role == "dst" ? k % p.cols() * p.rows() + k / p.cols()
                                                                 : k;
                }
                break;
            }
        }
    }
    return v;
}

std::string audit(Call& c, const Verdict& v, Call* twin, bool partial,
                  const std::function<bool(const std::string&)>& skip) {
    for (const auto& o : c.info) {
        Placed& p = c.op(o.role);
        if (o.access == 'r' || (o.access == 's' && !v.scratch)) {
            if (p.any_changed()) return "wrote into " + o.role;
            continue;
        }
        if (p.changed_outside_elements()) return "wrote outside the elements of " + o.role;
        if (o.access != 'w' || (skip && skip(o.role))) continue;
        for (unsigned n = 0; n < p.count(); ++n)
            for (unsigned i = 0; i < p.rows(); ++i)
                for (unsigned j = 0; j < p.cols(); ++j) {
                    const std::string at = o.role + " object " + std::to_string(n) + " (" + std::to_string(i) + ", " +
                                           std::to_string(j) + ")";
                    const unsigned step = v.source_order ? j * p.rows() + i : i * p.cols() + j;
                    const bool stopped = o.role == "dst" && step >= v.step;
                    if (n < v.objects && !stopped) {
                        if (twin && std::memcmp(p.address(n, i, j), twin->op(o.role).address(n, i, j), p.esize))
                            return at + " differs from a complete call's";
                    } else if ((n > v.objects || !partial) && !(stopped && step == v.step && v.partial_step) &&
                               p.element_changed(n, i, j)) {
                        return "wrote " + at;
                    }
                }
    }
    return "";
}

}  // namespace olvmtest
