// The size rules of the matrix-matrix products and their expected results, computed
// independently of the library. A is used as M x K, B as K x N, C is M x N, with
// M = src1Height, N = src2Width and K = src2Height; src1Width only affects size tests and
// table indices.
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

// The Mul members with a vector operand, and those with a constant.
inline bool is_vector_product(const MemberInfo& m) {
    const std::string codes = m.codes;
    return std::string(m.family) == "Mul" && codes.find('v') != std::string::npos && codes.find('c') == std::string::npos;
}
inline bool is_constant_product(const MemberInfo& m) {
    return std::string(m.family) == "Mul" && std::string(m.codes).find('c') != std::string::npos;
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

}  // namespace olvmtest
