#include "characteristic_calls.h"

#include <string>

namespace olvmtest {

Call make_characteristics_call(const MemberInfo& m, Rng& rng, unsigned count, Placement how,
                               unsigned width, unsigned height) {
    const bool frob = std::string(m.family) == "FrobNorm";
    const unsigned w = m.size ? m.size : (width ? width : (frob ? 3 : 4));
    const unsigned h = m.size ? m.size : (frob ? (height ? height : 2) : w);
    const std::size_t es = m.elem_size();
    Call c;
    c.m = &m;
    c.info = m.operand_list();
    c.width = w;
    c.height = h;
    c.count = c.info.front().kind == "ma" ? count : 1;
    for (const auto& o : c.info) {
        std::unique_ptr<Placed> p;
        if (o.role == "src") {
            p = std::make_unique<Placed>(es, o.layout, o.kind == "ma", h, w, c.count, rng, how);
            p->randomize(rng);
        } else if (o.kind == "buffer") {  // whole elements covering the documented bytes
            const unsigned elems = unsigned((det_buffer_bytes(w, es) + es - 1) / es);
            p = std::make_unique<Placed>(es, "", true, 1, elems, 1, rng, Placement{false, false});
        } else {  // "scalar" (pDstVal) or "scalars" (pDst): one result per object
            p = std::make_unique<Placed>(es, "", true, 1, 1, o.kind == "scalars" ? c.count : 1, rng,
                                         Placement{false, false});
        }
        p->describe(c.args, o.role);
        c.ops[o.role] = std::move(p);
    }
    c.args.size = w;
    c.args.width = w;
    c.args.height = h;
    c.args.count = c.count;
    return c;
}

}  // namespace olvmtest
