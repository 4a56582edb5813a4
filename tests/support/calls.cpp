#include "calls.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "invert_call.h"
#include "characteristic_calls.h"
#include "lu_calls.h"
#include "matvec_calls.h"
#include "movement_call.h"
#include "product_call.h"
#include "vector_call.h"
#include "qr_calls.h"

namespace olvmtest {

bool is_array_member(const MemberInfo& m) {
    for (const auto& o : m.operand_list())
        if (is_array_kind(o.kind)) return true;
    return false;
}

namespace {

Call elementwise(const MemberInfo& m, Rng& rng, unsigned count) {
    const bool vector = m.codes[0] == 'v' || m.codes[0] == 'c';
    const unsigned w = m.size ? m.size : 3;
    const unsigned h = vector ? 1 : (m.size ? m.size : 2);
    return make_elementwise_call(m, w, h, count, rng);
}

// Mul: matrix-matrix members, or those with a vector or a constant.
Call product(const MemberInfo& m, Rng& rng, unsigned count) {
    if (!is_matrix_product(m)) return make_matvec_call(m, rng, count);
    return make_product_call(m, default_sizes(m, 2, 3, 4), count, rng);
}

Call gaxpy(const MemberInfo& m, Rng& rng, unsigned count) { return make_gaxpy_call(m, rng, count); }

// The LU calls keep their operands by role like every other call; the decomposition's
// destination table may point into further memory for its displaced last-pivot test.
Call lu(const MemberInfo& m, Rng& rng, unsigned count) {
    const unsigned size = m.size ? m.size : 3;
    Call c;
    c.m = &m;
    c.info = m.operand_list();
    c.width = c.height = size;
    if (std::string(m.family) == "LUDecomp") {
        DecompCall d = make_decomp_call(m, size, count, rng);
        c.args = d.args;
        c.count = d.count;
        c.ops["src"] = std::move(d.src);
        c.ops["dst"] = std::move(d.dst);
        c.ops["index"] = std::make_unique<IndexVector>(std::move(d.index));
        c.keep = std::make_shared<std::vector<unsigned char>>(std::move(d.spill));
    } else {
        SolveCall s = make_solve_call(m, size, count, rng);
        c.args = s.args;
        c.count = s.count;
        c.ops["src"] = std::move(s.mat);
        c.ops["src2"] = std::move(s.rhs);
        c.ops["dst"] = std::move(s.dst);
        c.ops["index"] = std::make_unique<IndexVector>(std::move(s.index));
    }
    return c;
}

Call invert(const MemberInfo& m, Rng& rng, unsigned count) {
    return make_invert_call(m, m.size ? unsigned(m.size) : 3, count, rng);
}
Call vector_algebra(const MemberInfo& m, Rng& rng, unsigned count) { return make_vector_call(m, rng, count); }
Call qr(const MemberInfo& m, Rng& rng, unsigned count) { return make_qr_call(m, rng, count); }
Call characteristics(const MemberInfo& m, Rng& rng, unsigned count) {
    return make_characteristics_call(m, rng, count);
}

struct Factory {
    const char* family;
    Call (*make)(const MemberInfo&, Rng&, unsigned);
};

const Factory factories[] = {
    {"Add", elementwise}, {"Sub", elementwise}, {"Mul", product}, {"Gaxpy", gaxpy},
    {"LUDecomp", lu},     {"LUBackSubst", lu},  {"Invert", invert},
    {"Copy", make_movement_call}, {"Extract", make_movement_call},
    {"LoadIdentity", make_movement_call}, {"Transpose", make_movement_call},
    {"DotProduct", vector_algebra}, {"L2Norm", vector_algebra}, {"CrossProduct", vector_algebra},
    {"Saxpy", vector_algebra}, {"LComb", vector_algebra},
    {"QRDecomp", qr}, {"QRBackSubst", qr},
    {"Trace", characteristics}, {"FrobNorm", characteristics}, {"Det", characteristics},
};

}  // namespace

Call make_call(const MemberInfo& m, Rng& rng, unsigned count) {
    for (const Factory& f : factories)
        if (std::strcmp(f.family, m.family) == 0) return f.make(m, rng, count);
    throw std::runtime_error(std::string("no call factory for ") + m.family);
}

}  // namespace olvmtest
