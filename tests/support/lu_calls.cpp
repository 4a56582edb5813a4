#include "lu_calls.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace olvmtest {

namespace {
Rng unused_rng;  // a gap-free standard placement draws nothing from it
}  // namespace

IndexVector::IndexVector(unsigned per_object, unsigned objects)
    : Placed(4, "", true, 1, per_object, objects, unused_rng, Placement{false, false}) {
    snapshot();
}

unsigned IndexVector::operator[](std::size_t k) const {
    unsigned v;
    std::memcpy(&v, base + 4 * k, 4);
    return v;
}

namespace {

bool is_table_layout(const std::string& layout) { return layout == "P" || layout == "PS2"; }

void place(Placed& p, unsigned n, const Dense& d) {
    for (unsigned i = 0; i < d.n; ++i)
        for (unsigned j = 0; j < d.n; ++j) p.set(n, i, j, d(i, j));
}

// The arguments besides the operand descriptions.
void set_common(Args& a, IndexVector& index, unsigned size, unsigned count) {
    a.pIndex = index.data();
    a.size = size;
    a.count = count;
}

}  // namespace

void DecompCall::snapshot() {
    src->snapshot();
    dst->snapshot();
    index.snapshot();
}

Dense DecompCall::factors(unsigned n) const {
    Dense d(size);
    for (unsigned i = 0; i < size; ++i)
        for (unsigned j = 0; j < size; ++j) d(i, j) = dst->get(n, i, j);
    return d;
}

unsigned char* DecompCall::displaced_address(unsigned n, unsigned r) const {
    const unsigned col = (size - 1) + n * size;
    if (!is_table_layout(dst->layout)) return dst->address(n, r, col);
    const std::size_t entry = std::size_t(r) * size + col;
    if (entry < std::size_t(size) * size) return dst->address(n, r + n, size - 1);
    const std::size_t spare = entry - std::size_t(size) * size;
    return const_cast<unsigned char*>(spill.data()) + spill_base + spare * spill_block +
           static_cast<std::ptrdiff_t>(n) * dst->obj;
}

bool DecompCall::displaced_is_spare(unsigned n, unsigned r) const {
    if (!is_table_layout(dst->layout)) return n > 0;
    return std::size_t(r) * size + (size - 1) + n * size >= std::size_t(size) * size;
}

double DecompCall::displaced(unsigned n, unsigned r) const {
    return load_element(displaced_address(n, r), m->elem_size());
}

void DecompCall::set_displaced(unsigned n, unsigned r, double v) {
    store_element(displaced_address(n, r), v, m->elem_size());
}

DecompCall make_decomp_call(const MemberInfo& m, unsigned size, unsigned count, Rng& rng,
                            Placement how) {
    DecompCall c;
    c.m = &m;
    c.size = size;
    const OperandInfo src = m.operand_list().front();
    c.array = src.kind == "ma";
    c.count = c.array ? count : 1;
    const std::size_t es = m.elem_size();
    const bool table = is_table_layout(src.layout);

    c.src = std::make_unique<Placed>(es, src.layout, c.array, size, size, c.count, rng, how);
    const unsigned cols = c.array && !table ? size * c.count : size;
    c.dst = std::make_unique<Placed>(es, src.layout, c.array, size, cols, c.count, rng, how);
    c.dst->randomize(rng);
    if (c.array && table) {
        // Entries past the matrix point into blocks of `count` elements, one block each.
        const std::size_t base_entries = std::size_t(size) * size;
        const std::size_t spare = std::size_t(c.count) * size;
        const long step = std::labs(static_cast<long>(c.dst->obj));
        c.spill_block = static_cast<std::size_t>(step) * c.count + es;
        c.spill_base = 4 * es + (c.dst->obj < 0 ? static_cast<std::size_t>(step) * (c.count - 1) : 0);
        c.spill.assign(c.spill_base + spare * c.spill_block + 4 * es, 0xA5);
        auto& t = c.dst->table();
        t.resize(std::max(t.size(), base_entries + spare));
        for (std::size_t k = 0; k < spare; ++k) {
            const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(c.spill.data()) +
                                      c.spill_base + k * c.spill_block;
            t[base_entries + k] =
                reinterpret_cast<void*>(at - static_cast<std::uintptr_t>(static_cast<long>(c.dst->offset)));
            for (unsigned n = 0; n < c.count; ++n)
                store_element(c.spill.data() + c.spill_base + k * c.spill_block +
                          static_cast<std::ptrdiff_t>(n) * c.dst->obj,
                      random_value(rng, es), es);
        }
    }

    c.index = IndexVector(size, c.count);
    for (unsigned n = 0; n < c.count; ++n) {
        c.systems.push_back(random_pivoted_matrix(size, rng));
        place(*c.src, n, c.systems.back().a);
    }
    c.src->describe(c.args, "src");
    c.dst->describe(c.args, "dst");
    set_common(c.args, c.index, size, c.count);
    return c;
}

void SolveCall::snapshot() {
    mat->snapshot();
    rhs->snapshot();
    dst->snapshot();
    index.snapshot();
}

std::vector<double> SolveCall::vector_of(const Placed& p, unsigned n) const {
    std::vector<double> v(size);
    for (unsigned k = 0; k < size; ++k) v[k] = p.get(n, 0, k);
    return v;
}

SolveCall make_solve_call(const MemberInfo& m, unsigned size, unsigned count, Rng& rng,
                          Placement how) {
    SolveCall c;
    c.m = &m;
    c.size = size;
    const auto ops = m.operand_list();  // matrix, right-hand side, destination
    c.per_object = ops[0].kind == "ma";
    const bool array = ops[1].kind == "va";
    c.count = array ? count : 1;
    const std::size_t es = m.elem_size();
    const unsigned matrices = c.per_object ? c.count : 1;

    c.mat = std::make_unique<Placed>(es, ops[0].layout, c.per_object, size, size, c.count, rng, how);
    c.rhs = std::make_unique<Placed>(es, ops[1].layout, array, 1, size, c.count, rng, how);
    c.dst = std::make_unique<Placed>(es, ops[2].layout, array, 1, size, c.count, rng, how);
    c.rhs->randomize(rng);
    c.index = IndexVector(size, matrices);
    for (unsigned n = 0; n < matrices; ++n) {
        c.systems.push_back(random_factors(size, rng));
        const PackedFactors& f = c.systems.back();
        for (unsigned i = 0; i < size; ++i) c.index.data()[std::size_t(n) * size + i] = f.index[i];
        place(*c.mat, n, f.stored);
    }
    c.mat->describe(c.args, "src");
    c.rhs->describe(c.args, "src2");
    c.dst->describe(c.args, "dst");
    set_common(c.args, c.index, size, c.count);
    return c;
}

}  // namespace olvmtest
