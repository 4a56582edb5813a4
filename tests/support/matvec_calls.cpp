#include "matvec_calls.h"

#include <algorithm>
#include <string>

namespace olvmtest {

bool is_vector_product(const MemberInfo& m) {
    return std::string(m.family) == "Mul" && std::string(m.codes).find('v') != std::string::npos &&
           std::string(m.codes).find('c') == std::string::npos;
}

bool is_constant_product(const MemberInfo& m) {
    return std::string(m.family) == "Mul" && std::string(m.codes).find('c') != std::string::npos;
}

namespace {

// Places operand `o` as `rows` x `cols` stored; sources get random values.
void place(Call& c, const OperandInfo& o, unsigned rows, unsigned cols, Rng& rng, Placement how) {
    auto p = std::make_unique<Placed>(c.m->elem_size(), o.layout, is_array_kind(o.kind), rows, cols,
                                      std::max(c.count, 1u), rng, how);
    if (o.access == 'r') p->randomize(rng);
    p->describe(c.args, o.role);
    c.ops[o.role] = std::move(p);
}

Call start(const MemberInfo& m, unsigned count, unsigned& width, unsigned& height) {
    Call c;
    c.m = &m;
    c.info = m.operand_list();
    if (m.size) width = height = unsigned(m.size);
    c.width = width;
    c.height = height;
    bool array = false;
    for (const auto& o : c.info) array = array || is_array_kind(o.kind);
    c.count = array ? count : 1;
    c.args.count = c.count;
    return c;
}

}  // namespace

Call make_matvec_call(const MemberInfo& m, Rng& rng, unsigned count, Placement how, unsigned width,
                      unsigned height) {
    if (is_constant_product(m)) {
        const bool vector = m.codes[0] == 'v';
        if (m.size) width = unsigned(m.size), height = vector ? 1 : unsigned(m.size);
        return make_elementwise_call(m, width, vector ? 1 : height, count, rng, how);
    }
    Call c = start(m, count, width, height);
    const bool trans = is_transposed_kind(c.info[0].kind);
    for (const auto& o : c.info) {
        if (o.role == "src1") place(c, o, trans ? width : height, trans ? height : width, rng, how);
        else place(c, o, 1, o.role == "src2" ? width : height, rng, how);
    }
    c.args.src1Width = width;
    c.args.src1Height = height;
    c.args.src2Len = trans ? height : width;
    return c;
}

Call make_gaxpy_call(const MemberInfo& m, Rng& rng, unsigned count, Placement how, unsigned width,
                     unsigned height) {
    Call c = start(m, count, width, height);
    for (const auto& o : c.info) {
        if (o.role == "src1") place(c, o, height, width, rng, how);
        else place(c, o, 1, o.role == "src2" ? width : height, rng, how);
    }
    c.args.width = width;
    c.args.height = height;
    return c;
}

}  // namespace olvmtest
