// Builds the operands of one call of a matrix-matrix product member and computes the
// expected result independently of the library.
//
// Operands are placed by their stored shapes: A is used as M x K (stored K x M when
// transposed), B as K x N (stored N x K when transposed), C is M x N, with M = src1Height,
// N = src2Width and K = src2Height. src1Width is passed as given and only affects size
// tests and table indices, so the placement stays safe whatever it is.
#pragma once

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "operands.h"

namespace olvmtest {

// The size arguments of a generic product member.
struct ProductSizes {
    unsigned src1Width, src1Height, src2Width, src2Height;
};

enum SizeArg { W1, H1, W2, H2 };

inline unsigned& size_arg(Args& a, SizeArg s) {
    switch (s) {
        case W1: return a.src1Width;
        case H1: return a.src1Height;
        case W2: return a.src2Width;
        default: return a.src2Height;
    }
}

// The size tests each operand code performs: three arguments that must not be zero and
// a pair that must be equal.
struct SizeRule {
    std::string codes;
    std::vector<SizeArg> zero;
    SizeArg equal[2];
};

inline const std::vector<SizeRule>& size_rules() {
    static const std::vector<SizeRule> rules = {
        {"mm", {H1, W1, W2}, {W1, H2}},      {"mTm", {H1, W1, W2}, {H1, H2}},
        {"mmT", {H1, W1, H2}, {W1, W2}},     {"mTmT", {H1, W1, H2}, {H1, W2}},
        {"mam", {H1, W1, H2}, {H2, W1}},     {"mamT", {H1, W1, H2}, {W1, W2}},
        {"maTm", {H1, W1, W2}, {H1, H2}},    {"maTmT", {H1, W1, H2}, {H1, W2}},
        {"mma", {H1, W1, H2}, {H1, W2}},     {"mmaT", {H1, W1, H2}, {W1, W2}},
        {"mTma", {H1, W1, W2}, {H1, H2}},    {"mTmaT", {H1, W1, H2}, {H1, W2}},
        {"mama", {H1, W1, H2}, {H1, W2}},    {"mamaT", {H1, W1, H2}, {W1, W2}},
        {"maTma", {H1, W1, W2}, {H1, H2}},   {"maTmaT", {H1, W1, H2}, {H1, W2}},
    };
    return rules;
}

inline const SizeRule& size_rule(const std::string& codes) {
    for (const auto& r : size_rules())
        if (r.codes == codes) return r;
    throw std::runtime_error("no size rule for " + codes);
}

// The matrix-matrix members of Mul (the only Mul members whose codes name no vector or
// constant).
inline bool is_matrix_product(const MemberInfo& m) {
    const std::string codes = m.codes;
    return std::string(m.family) == "Mul" && codes.find_first_of("vc") == std::string::npos;
}

inline bool has_array(const MemberInfo& m) {
    return std::string(m.codes).find("ma") != std::string::npos;
}

// Members whose sums run through the destination element (P, PS2, L, LS2).
inline bool accumulates_through_element(const MemberInfo& m) {
    const std::string l = m.layout;
    return l == "P" || l == "PS2" || l == "L" || l == "LS2";
}

// Consistent sizes for the product M x K times K x N, adjusted so that the code's
// equality test holds (it may tie two of M, N, K together).
inline ProductSizes consistent_sizes(const std::string& codes, unsigned M, unsigned N,
                                     unsigned K) {
    unsigned* dim[4] = {&K, &M, &N, &K};  // what each size argument measures: W1 H1 W2 H2
    const SizeRule& r = size_rule(codes);
    *dim[r.equal[1]] = *dim[r.equal[0]];
    return {K, M, N, K};
}

inline ProductSizes default_sizes(const MemberInfo& m, unsigned M, unsigned N, unsigned K) {
    if (m.size) return {unsigned(m.size), unsigned(m.size), unsigned(m.size), unsigned(m.size)};
    return consistent_sizes(m.codes, M, N, K);
}

// Places every operand for a call with these size arguments (fixed-size members: pass
// the order in all four) and fills the sources with random values; the destination stays
// sentinel bytes. Pointer tables get spare non-null entries past their ends, since the
// P array members test entries by counts taken from the size arguments.
inline Call make_product_call(const MemberInfo& m, ProductSizes s, unsigned count, Rng& rng,
                              Placement how = {}) {
    Call c;
    c.m = &m;
    c.info = m.operand_list();
    c.count = has_array(m) ? count : 1;
    const unsigned M = s.src1Height, N = s.src2Width, K = s.src2Height;
    c.height = M;
    c.width = N;
    for (const auto& o : c.info) {
        unsigned rows = M, cols = N;  // destination
        if (o.role == "src1") rows = M, cols = K;
        if (o.role == "src2") rows = K, cols = N;
        if (is_transposed_kind(o.kind)) std::swap(rows, cols);
        // With count = 0 the arrays still get one object, so that their tables are real.
        auto p = std::make_unique<Placed>(m.elem_size(), o.layout, is_array_kind(o.kind), rows,
                                          cols, std::max(c.count, 1u), rng, how);
        if (o.layout == "P" || o.layout == "PS2") {
            const unsigned most = std::max({s.src1Width, s.src1Height, s.src2Width, s.src2Height});
            p->table().resize(p->table().size() + most * most, p->table().front());
        }
        if (o.role != "dst") p->randomize(rng);
        p->describe(c.args, o.role);
        c.ops[o.role] = std::move(p);
    }
    c.args.src1Width = s.src1Width;
    c.args.src1Height = s.src1Height;
    c.args.src2Width = s.src2Width;
    c.args.src2Height = s.src2Height;
    c.args.count = c.count;
    return c;
}

// Expected c(i, j) of object n after the first `terms` terms (all K by default), summed
// in ascending order from zero with the rounding discipline of the member's layout.
inline double expected_element(const Call& c, unsigned n, unsigned i, unsigned j,
                               int terms = -1) {
    const std::size_t es = c.m->elem_size();
    const unsigned K = terms < 0 ? c.args.src2Height : unsigned(terms);
    const bool through = accumulates_through_element(*c.m);
    double sum = 0.0;
    for (unsigned k = 0; k < K; ++k) {
        const double term = c.used("src1", n, i, k) * c.used("src2", n, k, j);
        sum = through ? round_to(sum + term, es) : sum + term;
    }
    return round_to(sum, es);
}

// Sets the value of operand `role` at (i, j) as the member uses it.
inline void set_used(Call& c, const std::string& role, unsigned n, unsigned i, unsigned j,
                     double v) {
    const OperandInfo& o = c.kind_of(role);
    const unsigned obj = is_array_kind(o.kind) ? n : 0;
    if (is_transposed_kind(o.kind)) c.op(role).set(obj, j, i, v);
    else c.op(role).set(obj, i, j, v);
}

// Index in a P table of the entry holding `role`'s element (i, j) as used.
inline unsigned held_entry(Call& c, const std::string& role, unsigned i, unsigned j) {
    const Placed& p = c.op(role);
    return is_transposed_kind(c.kind_of(role).kind) ? j * p.cols() + i : i * p.cols() + j;
}

}  // namespace olvmtest
