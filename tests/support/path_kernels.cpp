#include "path_kernels.h"
#if defined(OLVM_FAST_PATHS)

#include <cmath>
#include <limits>

namespace olvmtest {

olvm::frame::Place place(Call& c, const std::string& role) {
    const OperandInfo& o = c.kind_of(role);
    Placed& p = c.op(role);
    olvm::frame::Place x{};
    x.transposed = is_transposed_kind(o.kind);
    x.offset = p.offset;
    x.row = p.row;
    x.elem = p.elem;
    x.obj = is_array_kind(o.kind) ? p.obj : 0;
    if (o.layout.empty() || o.layout == "S2") {
        x.kind = olvm::frame::Place::Rows;
        x.ptr = p.base;
    } else if (o.layout == "L" || o.layout == "LS2") {
        x.kind = olvm::frame::Place::Objects;
        x.ptr = p.table().data();
    } else {
        x.kind = olvm::frame::Place::Entries;
        x.ptr = p.table().data();
    }
    return x;
}

double special_value(Rng& rng, std::size_t esize) {
    const double tiny = esize == 4 ? double(std::numeric_limits<float>::denorm_min())
                                   : std::numeric_limits<double>::denorm_min();
    const double values[] = {std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity(),
                             0.0, -0.0, tiny * 3, -tiny * 5};
    return values[rng() % (sizeof values / sizeof values[0])];
}

bool same_value(double got, double want, std::size_t esize) {
    if (std::isnan(want)) return std::isnan(got);
    return same_bits(got, want, esize);
}

}  // namespace olvmtest

#endif  // OLVM_FAST_PATHS
