#include "vector_call.h"

#include <algorithm>

namespace olvmtest {

Call make_vector_call(const MemberInfo& m, Rng& rng, unsigned count, Placement how, unsigned len) {
    if (m.size) len = unsigned(m.size);
    else if (len == 0) len = 5;
    Call c;
    c.m = &m;
    c.info = m.operand_list();
    c.width = len;
    c.height = 1;
    bool array = false;
    for (const auto& o : c.info) array = array || is_array_kind(o.kind);
    c.count = array ? count : 1;
    const unsigned objects = std::max(c.count, 1u);  // count = 0 still gets real tables
    const std::size_t es = m.elem_size();
    for (const auto& o : c.info) {
        std::unique_ptr<Placed> p;
        if (o.kind == "scalar" || o.kind == "scalars")
            p = std::make_unique<Placed>(es, "", true, 1, 1, o.kind == "scalar" ? 1 : objects, rng,
                                         Placement{false, false});
        else
            p = std::make_unique<Placed>(es, o.layout, is_array_kind(o.kind), 1, len, objects, rng, how);
        if (o.access == 'r') p->randomize(rng);
        p->describe(c.args, o.role);
        c.ops[o.role] = std::move(p);
    }
    c.args.len = len;
    c.args.count = c.count;
    c.args.val = random_value(rng, es);
    c.args.val1 = random_value(rng, es);
    c.args.val2 = random_value(rng, es);
    return c;
}

}  // namespace olvmtest
