#include "operands.h"

#include <stdexcept>

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

}  // namespace olvmtest
