// Fuzz target: each input becomes one call of any member of the catalogue. The call is
// built valid by the shared call factory, then bent as the input says: a smaller count,
// smaller sizes, strides mirrored or collapsed to zero, offsets moved (the table entries
// moved back to match), null base pointers, table entries or object entries. Every
// address the call may form still lands on an element of the operands as built; all other
// bytes of their memory are poisoned for AddressSanitizer and hold sentinels. After the
// call: the result is the one the validation model gives, sources are untouched, and the
// outputs changed only in their elements and only in the objects that result allows.
#include <fuzzer/FuzzedDataProvider.h>
#include <sanitizer/asan_interface.h>

#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include "calls.h"
#include "validation_model.h"

using namespace olvmtest;

namespace {

[[noreturn]] void fail(const Call& c, const std::string& what) {
    std::fprintf(stderr, "%s: %s\n", c.m->name, what.c_str());
    std::abort();
}

// Moves operand `role`'s origin by `bytes`: its base pointer, or every entry of its table.
void move_origin(Call& c, const std::string& role, long bytes) {
    Placed& p = c.op(role);
    if (p.layout == "" || p.layout == "S2") {
        void*& base = *c.args.role(role).p;
        base = static_cast<unsigned char*>(base) + bytes;
        return;
    }
    for (void*& entry : p.table()) entry = static_cast<unsigned char*>(entry) + bytes;
}

// Mirrors (how 1) or collapses to zero (how 2) the stride `arg` of operand `role`, which
// spans `steps` positions: a mirrored stride starts from the far end.
bool bend(Call& c, const std::string& role, const char* arg, int* stride, unsigned steps, unsigned how) {
    if (!stride || how == 0 || !takes(*c.m, role + arg)) return false;
    if (how == 2) {
        *stride = 0;
        return true;
    }
    if (steps == 0) return false;
    move_origin(c, role, long(steps - 1) * *stride);
    *stride = -*stride;
    return true;
}

// The elements a call may touch: objects [0, count), and rows [0, rows) by columns
// [0, cols) of each, or in a table layout the first rows * cols entries in order.
struct Reach {
    unsigned count, rows, cols;
    bool covers(const Placed& p, unsigned n, unsigned i, unsigned j) const {
        if (n >= count) return false;
        return is_table_layout(p.layout) ? i * p.cols() + j < rows * cols : i < rows && j < cols;
    }
};

// Poisons the memory of every operand but the elements within reach (on), or unpoisons it.
void guard(Call& c, const std::map<std::string, Reach>& reach, bool on) {
    for (auto& [role, p] : c.ops) {
        const auto& arena = p->arena();
        ASAN_UNPOISON_MEMORY_REGION(arena.data(), arena.size());
        if (!on) continue;
        ASAN_POISON_MEMORY_REGION(arena.data(), arena.size());
        for (unsigned n = 0; n < p->count(); ++n)
            for (unsigned i = 0; i < p->rows(); ++i)
                for (unsigned j = 0; j < p->cols(); ++j)
                    if (reach.at(role).covers(*p, n, i, j)) ASAN_UNPOISON_MEMORY_REGION(p->address(n, i, j), p->esize);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const MemberInfo& m = members()[in.ConsumeIntegralInRange<std::size_t>(0, members().size() - 1)];
    const unsigned built = in.ConsumeIntegralInRange(1u, 4u);
    Rng rng(in.ConsumeIntegral<std::uint32_t>());
    Call c = make_call(m, rng, built);
    const Expectations e = expectations(m);
    const bool array = is_array_member(m);
    if (array) c.args.count = in.ConsumeIntegralInRange(0u, c.args.count);

    // Sizes shrink together where they were equal, so the equalities a member requires hold.
    std::map<unsigned, unsigned> shrunk;
    const bool shrink = in.ConsumeBool();
    for (const auto& s : m.size_args()) {
        unsigned& v = *c.args.unsigned_field(s);
        if (shrink && !shrunk.count(v)) shrunk[v] = in.ConsumeIntegralInRange(0u, v);
        if (shrink) v = shrunk[v];
    }
    if (m.is("QRBackSubst") && c.args.width > c.args.height)
        c.args.width = c.args.height;  // factors wider than tall are outside the contract

    // A solver's index vector names rows below the size: with a smaller size, each object's
    // entries become 0, 1, ... in order.
    if (shrink && c.args.size && c.ops.count("index") && c.kind_of("index").access == 'r') {
        Placed& index = c.op("index");
        for (unsigned t = 0; t < index.count() * index.cols(); ++t) {
            const unsigned row = t % c.args.size;
            std::memcpy(index.address(t / index.cols(), 0, t % index.cols()), &row, sizeof row);
        }
    }

    // Each extent of an operand that equals a size as built shrinks with it. Operands whose
    // reach their family sets past the box of the sizes keep all their elements within
    // reach: the index vector (packed by the size), the destinations of LUDecomp (displaced
    // last-pivot test), LoadIdentity (later objects' 1 past their rows) and Extract (dense),
    // and the tables of Transpose (exchanged row lengths).
    std::map<std::string, Reach> reach;
    for (const auto& o : c.info) {
        const Placed& p = c.op(o.role);
        auto to = [&](unsigned extent) { return extent > 1 && shrunk.count(extent) ? shrunk[extent] : extent; };
        const bool past = o.role == "index" || (m.is("Transpose") && is_table_layout(o.layout)) ||
                          (o.role == "dst" && (m.is("LUDecomp") || m.is("LoadIdentity") || m.is("Extract")));
        reach[o.role] = past ? Reach{p.count(), p.rows(), p.cols()}
                                                 : Reach{array && p.array ? std::min(p.count(), c.args.count) : 1,
                                                         to(p.rows()), to(p.cols())};
    }

    // Outputs whose objects no longer sit where they were built: their per-object check is
    // skipped (an index vector is packed by the size).
    std::map<std::string, bool> objects_moved{{"index", shrink}};
    // LoadIdentity raises any stride below its minimum, so its strides stay as built.
    const bool bends = !m.is("LoadIdentity");
    for (const auto& o : c.info) {
        if (!c.args.role(o.role).row && !c.args.role(o.role).offset) continue;  // no description
        Placed& p = c.op(o.role);
        RoleFields f = c.args.role(o.role);
        const std::uint8_t how = bends ? in.ConsumeIntegral<std::uint8_t>() : 0;
        const Reach& r = reach[o.role];
        bend(c, o.role, "RowStride", f.row, r.rows, how % 3);
        bend(c, o.role, "ElemStride", f.elem, r.cols, how / 3 % 3);
        objects_moved[o.role] = bend(c, o.role, "ObjStride", f.obj, r.count, how / 9 % 3);
        if (how >= 27 && takes(m, o.role + "Offset")) {
            const int by = int(p.esize) * in.ConsumeIntegralInRange(-4, 4);
            *f.offset += by;
            move_origin(c, o.role, -by);
        }
    }

    // At most one null of each kind: a base pointer, and (sizes as built) a tested entry.
    if (in.ConsumeBool() && e.pointers_tested)
        null_base(c.args, c.info[in.ConsumeIntegralInRange<std::size_t>(0, c.info.size() - 1)].role);
    if (in.ConsumeBool() && !shrink && (!array || e.entries_before_count || c.args.count == 0)) {
        const OperandInfo& o = c.info[in.ConsumeIntegralInRange<std::size_t>(0, c.info.size() - 1)];
        if (const unsigned tested = tested_entries(c, e, o))
            c.op(o.role).table()[in.ConsumeIntegralInRange(0u, tested - 1)] = nullptr;
    }

    const Verdict v = predict(c, e);
    c.snapshot_all();
    guard(c, reach, true);
    const OlvResult got = c.run();
    guard(c, reach, false);

    if (got != v.code && !(v.divides && got == olvResultZeroDivisor))
        fail(c, "returned " + std::to_string(got) + ", expected " + std::to_string(v.code));
    const std::string wrong = audit(c, v, nullptr, false, [&](const std::string& role) { return objects_moved[role]; });
    if (!wrong.empty()) fail(c, wrong);
    return 0;
}
