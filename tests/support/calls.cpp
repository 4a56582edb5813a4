#include "calls.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "product_call.h"

namespace olvmtest {

bool is_array_member(const MemberInfo& m) {
    for (const auto& o : m.operand_list())
        if (is_array_kind(o.kind)) return true;
    return false;
}

namespace {

bool matrix_vector(const MemberInfo& m) { return m.is("Gaxpy") || is_vector_product(m); }

struct Dims {
    unsigned rows, cols;
};

// Shape of operand `o` as the member uses it (a transposed kind is stored the other way).
Dims used_dims(const Call& c, const OperandInfo& o, unsigned depth) {
    const MemberInfo& m = *c.m;
    const unsigned w = c.width, h = c.height;
    if (is_matrix_product(m)) {
        if (o.role == "src1") return {h, depth};
        return o.role == "src2" ? Dims{depth, w} : Dims{h, w};
    }
    if (matrix_vector(m)) return o.role == "src1" ? Dims{h, w} : Dims{1, o.role == "src2" ? w : h};
    if (m.is("Transpose") && o.role == "dst") return {w, h};
    if (m.is("QRBackSubst") && o.kind[0] == 'v') return {1, o.role == "dst" ? w : h};
    return o.kind[0] == 'v' ? Dims{1, w} : Dims{h, w};
}

// Scratch buffers: (bytes per element, elements).
Dims buffer_dims(const Call& c, std::size_t es) {
    if (c.m->is("Det")) return {unsigned(es), unsigned((det_buffer_bytes(c.width, es) + es - 1) / es)};
    if (c.m->is("Invert")) return {4, unsigned(c.width * c.width * es / 4 + c.width)};
    return {unsigned(es), c.height};  // QR: one element per row
}

// Result sizes and the terms of a product from the family's defaults.
void choose_sizes(Call& c, Sizes& s, unsigned count) {
    const MemberInfo& m = *c.m;
    const unsigned fixed = unsigned(m.size);
    auto pick = [&](unsigned given, unsigned fallback) { return fixed ? fixed : (given ? given : fallback); };
    bool vectors = true;
    for (const auto& o : c.info) vectors = vectors && o.kind[0] != 'm';
    unsigned w = pick(s.width, 3), h = pick(s.height, 2);
    if (m.is("Trace") || m.is("Det")) h = w = pick(s.width, 4);
    if (m.is("Invert") || m.is("LUDecomp") || m.is("LUBackSubst")) h = w = pick(s.width, 3);
    if (m.is("QRDecomp") || m.is("QRBackSubst")) w = pick(s.width, 2), h = pick(s.height, 3);
    if (m.is("LoadIdentity") && !s.width && !fixed) w = h * std::max(count, 1u) + 1;
    // Table transposes of non-square matrices address exchanged row lengths (a case of
    // its own); the default calls keep them square.
    if (m.is("Transpose") && !s.height && std::string(m.layout).find('P') != std::string::npos) h = w;
    if (vectors && !matrix_vector(m)) h = 1;
    if (is_matrix_product(m)) {
        const ProductSizes p = fixed ? ProductSizes{fixed, fixed, fixed, fixed} : consistent_sizes(m.codes, h, w, pick(s.depth, 4));
        h = p.src1Height, w = p.src2Width, s.depth = p.src2Height;
        c.args.src1Width = p.src1Width, c.args.src1Height = p.src1Height;
        c.args.src2Width = p.src2Width, c.args.src2Height = p.src2Height;
    }
    c.width = w, c.height = h;
    c.args.width = c.args.len = c.args.size = w;
    c.args.height = h;
    if (matrix_vector(m)) {
        c.args.src1Width = w, c.args.src1Height = h;
        c.args.src2Len = is_transposed_kind(c.info.front().kind) ? h : w;
    }
}

// A value in [-1, 1) with full precision in the element type.
double unit(Rng& rng, std::size_t esize) { return round_to(double(rng() >> 11) * 0x1p-52 - 1.0, esize); }

// Sources that the family can only process when they are well conditioned: a dominant
// diagonal (Invert, and QR's matrices and packed factors).
void condition(const MemberInfo& m, const OperandInfo& o, Placed& p, Rng& rng) {
    const bool qr = m.is("QRDecomp") || m.is("QRBackSubst");
    if (o.kind[0] != 'm' || !(qr || m.is("Invert"))) return;
    for (unsigned n = 0; n < p.count(); ++n)
        for (unsigned i = 0; i < p.rows(); ++i) {
            double row = 0.0;
            for (unsigned j = 0; j < p.cols(); ++j) {
                if (qr) p.set(n, i, j, unit(rng, p.esize));
                row += std::fabs(p.get(n, i, j));
            }
            if (i >= p.cols()) continue;
            const double d = p.get(n, i, i);
            p.set(n, i, i, qr ? (d < 0 ? -1.0 : 1.0) * (p.rows() + p.cols()) + d : std::copysign(row, d));
        }
}

}  // namespace

Sizes random_sizes(const MemberInfo& m, Rng& rng, unsigned count) {
    Sizes s{1 + unsigned(rng() % 5), 1 + unsigned(rng() % 5), 1 + unsigned(rng() % 5)};
    if (s.height == s.width) ++s.height;  // non-square, so that a transposition shows
    if (m.is("Transpose") && std::string(m.layout).find('P') != std::string::npos) s.height = s.width;
    if (m.is("LoadIdentity")) s.width = s.height * std::max(count, 1u) + 1 + unsigned(rng() % 2);
    return s;
}

Call make_call(const MemberInfo& m, Rng& rng, unsigned count, Sizes s, Placement how) {
    Call c;
    c.m = &m;
    c.info = m.operand_list();
    c.count = is_array_member(m) ? count : 1;
    choose_sizes(c, s, count);
    const std::size_t es = m.elem_size();
    const unsigned objects = std::max(c.count, 1u);
    for (const auto& o : c.info) {
        std::unique_ptr<Placed> p;
        const Placement dense{false, false};
        if (o.kind == "scalar" || o.kind == "scalars") {
            p = std::make_unique<Placed>(es, "", true, 1, 1, o.kind == "scalar" ? 1 : objects, rng, dense);
        } else if (o.kind == "buffer") {
            const Dims b = buffer_dims(c, es);
            p = std::make_unique<Placed>(b.rows, "", true, 1, b.cols, 1, rng, dense);
        } else if (o.kind == "index") {  // size entries per factored matrix, packed
            const unsigned matrices = c.info.front().kind == "ma" ? objects : 1;
            p = std::make_unique<Placed>(4, "", true, 1, c.width, matrices, rng, dense);
            for (unsigned n = 0; o.access == 'r' && n < matrices; ++n) {
                std::vector<std::uint32_t> r(c.width);
                std::iota(r.begin(), r.end(), 0u);
                std::shuffle(r.begin(), r.end(), rng);
                std::memcpy(p->address(n, 0, 0), r.data(), 4 * r.size());
            }
        } else {
            Dims d = used_dims(c, o, s.depth);
            if (is_transposed_kind(o.kind)) std::swap(d.rows, d.cols);
            // The last-pivot test of array decompositions reads, for object n, column
            // (size - 1) + n * size of a stored row: room for it in every object.
            const bool displaced = m.is("LUDecomp") && o.role == "dst" && is_array_kind(o.kind);
            if (displaced && o.layout.find('P') != std::string::npos) d.rows += objects - 1;
            else if (displaced) d.cols *= objects;
            const bool gathered = m.is("Extract") && o.role == "dst";  // Extract writes densely
            p = std::make_unique<Placed>(es, o.layout, is_array_kind(o.kind), d.rows, d.cols, objects, rng,
                                         gathered ? dense : how);
            // The P array products test entries by counts taken from the size arguments.
            const unsigned most = std::max({c.args.src1Width, c.args.src1Height, c.args.src2Width, c.args.src2Height});
            if (is_matrix_product(m) && o.layout.find('P') != std::string::npos)
                p->table().resize(p->table().size() + most * most, p->table().front());
            if (o.access == 'r' || displaced) {  // the displaced test reads what is never written
                p->randomize(rng);
                condition(m, o, *p, rng);
            }
        }
        p->describe(c.args, o.role);
        c.ops[o.role] = std::move(p);
    }
    c.args.count = c.count;
    c.args.val = random_value(rng, es);
    c.args.val1 = random_value(rng, es);
    c.args.val2 = random_value(rng, es);
    return c;
}

}  // namespace olvmtest
