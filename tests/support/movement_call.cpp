#include "movement_call.h"

#include <algorithm>
#include <string>
#include <utility>

#include "calls.h"

namespace olvmtest {

Call make_movement_call(const MemberInfo& m, unsigned width, unsigned height, unsigned count,
                        Rng& rng, Placement how) {
    const std::string family = m.family;
    Call c;
    c.m = &m;
    c.info = m.operand_list();
    c.width = width;
    c.height = height;
    c.count = is_array_member(m) ? count : 1;
    for (const auto& o : c.info) {
        const bool vector = o.kind[0] == 'v';
        unsigned rows = vector ? 1 : height, cols = width;
        if (is_transposed_kind(o.kind) || (family == "Transpose" && o.role == "dst")) std::swap(rows, cols);
        const bool dense = family == "Extract" && o.role == "dst";
        auto p = std::make_unique<Placed>(m.elem_size(), o.layout, is_array_kind(o.kind), rows, cols,
                                          c.count, rng, dense ? Placement{false, false} : how);
        if (o.access == 'r') p->randomize(rng);
        p->describe(c.args, o.role);
        c.ops[o.role] = std::move(p);
    }
    c.args.width = width;
    c.args.height = height;
    c.args.len = width;
    c.args.count = c.count;
    return c;
}

Call make_movement_call(const MemberInfo& m, Rng& rng, unsigned count) {
    const std::string family = m.family, layout = m.layout;
    unsigned w = m.size ? m.size : 3, h = m.size ? m.size : 2;
    if (family == "LoadIdentity") w = h * std::max(count, 1u) + 1;
    // Table transposes address non-square tables with exchanged row lengths (a case of
    // its own); the common calls keep them square.
    if (family == "Transpose" && (layout == "P" || layout == "PS2")) h = w;
    if (m.codes[0] == 'v') h = 1;
    return make_movement_call(m, w, h, count, rng);
}

}  // namespace olvmtest
