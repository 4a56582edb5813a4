#include "qr_calls.h"

#include <memory>
#include <string>

namespace olvmtest {

namespace {

// A value in [-1, 1) with full precision in the element type.
double unit(Rng& rng, std::size_t esize) {
    return round_to(static_cast<double>(rng() >> 11) * 0x1p-52 - 1.0, esize);
}

// Random entries, each diagonal entry pushed to a magnitude above the sum of the others
// in its row and column, with a random sign.
void fill_dominant(Placed& p, unsigned n, unsigned w, unsigned h, Rng& rng) {
    for (unsigned i = 0; i < h; ++i)
        for (unsigned j = 0; j < w; ++j) {
            double v = unit(rng, p.esize);
            if (i == j) v = (v < 0 ? -1.0 : 1.0) * (w + h) + v;
            p.set(n, i, j, v);
        }
}

}  // namespace

Call make_qr_call(const MemberInfo& m, Rng& rng, unsigned count, Placement how, unsigned width,
                  unsigned height) {
    Call c;
    c.m = &m;
    c.info = m.operand_list();
    c.width = m.size ? m.size : (width ? width : 2);
    c.height = m.size ? m.size : (height ? height : 3);
    bool any_array = false;
    for (const auto& o : c.info) any_array = any_array || is_array_kind(o.kind);
    c.count = any_array ? count : 1;
    const std::size_t es = m.elem_size();
    const unsigned w = c.width, h = c.height;
    for (const auto& o : c.info) {
        std::unique_ptr<Placed> p;
        if (o.kind == "buffer") {
            p = std::make_unique<Placed>(es, "", true, 1, h, 1, rng, Placement{false, false});
        } else if (o.kind[0] == 'v') {  // right-hand side: height; solution: width
            p = std::make_unique<Placed>(es, o.layout, is_array_kind(o.kind), 1, o.role == "dst" ? w : h,
                                         c.count, rng, how);
            if (o.role != "dst") p->randomize(rng);
        } else {
            p = std::make_unique<Placed>(es, o.layout, is_array_kind(o.kind), h, w, c.count, rng, how);
            if (o.role != "dst")
                for (unsigned n = 0; n < p->count(); ++n) fill_dominant(*p, n, w, h, rng);
        }
        p->describe(c.args, o.role);
        c.ops[o.role] = std::move(p);
    }
    c.args.width = w;
    c.args.height = h;
    c.args.count = c.count;
    return c;
}

}  // namespace olvmtest
