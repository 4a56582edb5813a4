#include "invert_call.h"

#include <cmath>

namespace olvmtest {

Call make_invert_call(const MemberInfo& m, unsigned size, unsigned count, Rng& rng, Placement how) {
    Call c;
    c.m = &m;
    c.info = m.operand_list();
    c.width = c.height = size;
    const bool array = std::string(m.codes) == "ma";
    c.count = array ? count : 1;
    const std::size_t es = m.elem_size();
    for (const auto& o : c.info) {
        std::unique_ptr<Placed> p;
        if (o.kind == "buffer") {
            const unsigned words = unsigned(size * size * es / 4 + size);
            p = std::make_unique<Placed>(4, "", true, 1, words, 1, rng, Placement{false, false});
        } else {
            p = std::make_unique<Placed>(es, o.layout, array, size, size, c.count, rng, how);
        }
        if (o.role == "src") {
            p->randomize(rng);
            for (unsigned n = 0; n < c.count; ++n)
                for (unsigned i = 0; i < size; ++i) {
                    double row = 0.0;
                    for (unsigned j = 0; j < size; ++j) row += std::fabs(p->get(n, i, j));
                    p->set(n, i, i, std::copysign(row, p->get(n, i, i)));
                }
        }
        p->describe(c.args, o.role);
        c.ops[o.role] = std::move(p);
    }
    c.args.size = size;
    c.args.count = c.count;
    return c;
}

}  // namespace olvmtest
