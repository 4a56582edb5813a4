#include "operands.h"

#include <stdexcept>

#include <gtest/gtest.h>

namespace olvmtest {

bool is_array_kind(const std::string& kind) { return kind == "ma" || kind == "maT" || kind == "va"; }
bool is_transposed_kind(const std::string& kind) { return kind == "mT" || kind == "maT"; }

const OperandInfo& Call::kind_of(const std::string& role) const {
    for (const auto& o : info)
        if (o.role == role) return o;
    throw std::runtime_error("no operand " + role);
}

double Call::used(const std::string& role, unsigned n, unsigned i, unsigned j) const {
    const OperandInfo& o = kind_of(role);
    const Placed& p = *ops.at(role);
    const unsigned obj = is_array_kind(o.kind) ? n : 0;
    return is_transposed_kind(o.kind) ? p.get(obj, j, i) : p.get(obj, i, j);
}

void Call::snapshot_all() {
    for (auto& [role, p] : ops) p->snapshot();
}

bool Call::nothing_written() const {
    for (const auto& [role, p] : ops)
        if (p->any_changed()) return false;
    return true;
}

void expect_result(Call& c, const std::function<double(unsigned, unsigned, unsigned)>& want) {
    const std::size_t es = c.m->elem_size();
    Placed& dst = c.op("dst");
    for (unsigned n = 0; n < dst.count(); ++n)
        for (unsigned i = 0; i < dst.rows(); ++i)
            for (unsigned j = 0; j < dst.cols(); ++j) {
                const double w = want(n, i, j);
                if (!same_bits(dst.get(n, i, j), w, es)) {
                    ADD_FAILURE() << c.m->name << " object " << n << " element (" << i << ", "
                                  << j << "): got " << dst.get(n, i, j) << ", want " << w;
                    return;
                }
            }
    EXPECT_FALSE(dst.changed_outside_elements()) << c.m->name << " wrote outside its destination";
    for (auto& [role, p] : c.ops) {
        if (role != "dst") {
            EXPECT_FALSE(p->any_changed()) << c.m->name << " wrote into " << role;
        }
    }
}

}  // namespace olvmtest
