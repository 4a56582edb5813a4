// The validation model of every member: the common order in which primitives test their
// arguments, and the departures of the families from it, derived from the catalogue. The
// validation sweep checks each step with it, and the fuzzer predicts the result of any
// call with it.
//
// The common order:
//   1. base pointers and tables (auxiliary pointers included) are tested for null first;
//   2. then the size arguments of generic members, for zero;
//   3. then every entry of the P and PS2 tables of array members, before count;
//   4. count = 0 succeeds and writes nothing (L and LS2 object entries are not looked at);
//   5. while processing, L and LS2 object entries just before each object, and the entries
//      of single-object P tables just before each element.
#pragma once

#include <functional>
#include <string>

#include "operands.h"

namespace olvmtest {

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
    // `role` (it may hold a partial sum), by default that of a matrix-matrix product, and
    // the source role (besides dst) tested with the destination entry before it is zeroed.
    std::function<unsigned(Call&, const std::string& role, unsigned k)> first_reader =
        [](Call& c, const std::string& role, unsigned k) {
            const unsigned cols = c.op(role).cols();
            return role == "src1" ? (k / cols) * c.op("dst").cols() : k % cols;
        };
    std::string tested_with_dst;
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
    // Whether a pivot, divisor or column-norm test may end the call with ZeroDivisor.
    bool divides = false;
    // Whether the failing object's outputs hold partial results.
    bool failed_object_written = false;
};

// The expectations of one member: the common order with its family's departures.
Expectations expectations(const MemberInfo& m);

bool is_table_layout(const std::string& l);
bool is_listed_layout(const std::string& l);
// Whether an array operand of the member is described by a table of that kind.
// Whether the member takes the argument `arg`.
bool takes(const MemberInfo& m, const std::string& arg);
bool has_array_operand(const MemberInfo& m, bool (*layout)(const std::string&));

// How many leading entries of operand o's table the member tests before reading through
// them (0: none, or no table): a null among them is reported; the sweep's own cases cover
// the entries of transposed single-object operands, tested at mirrored indices.
unsigned tested_entries(Call& c, const Expectations& e, const OperandInfo& o);

// What the model gives for a call's arguments as they stand: the result, which objects'
// outputs may have changed and whether scratch may have. Null table entries are expected
// only where the member tests them (untested entries are read as they stand).
struct Verdict {
    OlvResult code = olvResultOk;
    unsigned objects = 0;     // outputs of objects [0, objects) may change
    bool scratch = false;     // scratch buffers may change
    bool divides = false;     // a data-dependent ZeroDivisor may end the call instead
    // A single object stopped at its (one) null table entry: the destination elements
    // produced before step `step` (row-major, or in the source's row-major order where
    // `source_order`) are done, later ones untouched, and the one of step `step` as well
    // unless `partial_step` (it may hold a partial sum).
    unsigned step = ~0u;
    bool source_order = false, partial_step = false;
};
Verdict predict(Call& c, const Expectations& e);

// What a call wrote that the verdict does not allow ("" if nothing): a source (or scratch,
// unless allowed) changed, an output changed outside its elements, or an output object
// from v.objects on changed (object v.objects may, where `partial`). With a twin (a call
// of the same values that ran to the end), objects before v.objects must equal the twin's.
// Outputs for which `skip` holds are spared the per-object checks.
std::string audit(Call& c, const Verdict& v, Call* twin = nullptr, bool partial = false,
                  const std::function<bool(const std::string&)>& skip = {});

}  // namespace olvmtest
