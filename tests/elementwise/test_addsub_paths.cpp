// Every compiled instruction-set path of the batch Add and Sub kernels, called directly on
// every array member's operands: each object a kernel reports finished holds exactly the
// reference value of every element, no unfinished object and nothing else is written.
// Data include NaNs, infinities, signed zeros and subnormals.
#if defined(OLVM_FAST_PATHS)

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "calls.h"
#include "path_kernels.h"

namespace olvmtest {
namespace {

// The operands in the order they are combined: a constant first in `cv`, `cva`.
olvm::frame::Place semantic(Call& c, int which) {
    const std::string codes = c.m->codes;
    olvm::frame::Place constant{};
    constant.kind = olvm::frame::Place::Constant;
    constant.value = round_to(c.args.val, c.m->elem_size());
    if (codes[0] == 'c') return which == 0 ? constant : place(c, "src");
    if (codes.back() == 'c') return which == 0 ? place(c, "src") : constant;
    return place(c, which == 0 ? "src1" : "src2");
}

double value(Call& c, const olvm::frame::Place& x, int which, unsigned n, unsigned i, unsigned j) {
    if (x.kind == olvm::frame::Place::Constant) return x.value;
    const std::string codes = c.m->codes;
    const char* role = codes.find('c') != std::string::npos ? "src" : (which == 0 ? "src1" : "src2");
    return c.used(role, n, i, j);
}

void check(const Path& path, const MemberInfo& m, unsigned count, int variant, Rng& rng) {
    const bool vector = m.codes[0] == 'v' || m.codes[0] == 'c';
    const unsigned w = m.size ? unsigned(m.size) : 2 + unsigned(rng() % 8);
    const unsigned h = vector ? 1 : (m.size ? unsigned(m.size) : 1 + unsigned(rng() % 4));
    Call c = make_call(m, rng, count, {w, h});
    const std::size_t es = m.elem_size();
    if (variant == 1) {  // special values scattered over the sources
        for (const auto& o : c.info) {
            if (o.role == "dst") continue;
            Placed& p = c.op(o.role);
            for (unsigned k = 0; k < w * h; ++k)
                p.set(unsigned(rng() % p.count()), unsigned(rng() % p.rows()),
                      unsigned(rng() % p.cols()), special_value(rng, es));
        }
    }
    const std::string layout = m.layout;
    const bool listed = layout == "L" || layout == "LS2";
    if (variant == 2 && listed) c.op("dst").table()[count / 2] = nullptr;
    c.snapshot_all();

    const bool subtract = std::string(m.family) == "Sub";
    const olvm::elementwise::CombineJob job{subtract, w, h, count, semantic(c, 0), semantic(c, 1),
                                            place(c, "dst")};
    const unsigned done = (es == 4 ? path.combine_batch_32f : path.combine_batch_64f)(&job);
    const std::string what = std::string(path.name) + " " + m.name + " count " + std::to_string(count);
    ASSERT_LE(done, count) << what;
    if (variant == 2 && listed) {
        EXPECT_LE(done, count / 2) << what;
    }
    Placed& d = c.op("dst");
    for (unsigned n = 0; n < count; ++n)
        for (unsigned i = 0; i < h; ++i)
            for (unsigned j = 0; j < w; ++j) {
                if (n >= done) {
                    ASSERT_FALSE(d.element_changed(n, i, j)) << what << " wrote unfinished object " << n;
                    continue;
                }
                const double x = value(c, job.a, 0, n, i, j), y = value(c, job.b, 1, n, i, j);
                const double want = round_to(subtract ? x - y : x + y, es);
                ASSERT_TRUE(same_value(d.get(n, i, j), want, es))
                    << what << " object " << n << " (" << i << ", " << j << "): got " << d.get(n, i, j)
                    << ", want " << want;
            }
    EXPECT_FALSE(d.changed_outside_elements()) << what;
}

TEST(AddSubPaths, EveryPathMatchesTheReferenceInEveryLayout) {
    int runs = 0;
    for (const Path& path : paths()) {
        if (!path.supported) continue;
        for (const auto& m : members()) {
            const std::string family = m.family, ops = m.operands;
            if (family != "Add" && family != "Sub") continue;
            if (ops.find(":ma") == std::string::npos && ops.find(":va") == std::string::npos) continue;
            Rng rng(std::hash<std::string>{}(m.name) ^ std::hash<std::string>{}(path.name));
            for (unsigned count : {1u, 8u, 19u})
                for (int variant = 0; variant < 3; ++variant) check(path, m, count, variant, rng);
            ++runs;
        }
    }
    EXPECT_GT(runs, 0);
}

}  // namespace
}  // namespace olvmtest

#endif  // OLVM_FAST_PATHS
