// Every compiled instruction-set path of the batch product kernels, called directly, on
// every layout it may be handed: each object it reports finished must hold exactly the
// reference value of every element (the plain kernels' sums, rounded as their layout
// rounds), and nothing else may be written. Data include NaNs, infinities, signed zeros
// and subnormals.
#if defined(OLVM_FAST_PATHS)

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "calls.h"
#include "path_kernels.h"
#include "product_call.h"

namespace olvmtest {
namespace {

void check(const Path& path, const MemberInfo& m, unsigned count, bool specials, Rng& rng,
           bool null_object, Placement how = {}) {
    const unsigned O = unsigned(m.size);
    Call c = make_call(m, rng, count, {}, how);
    const std::size_t es = m.elem_size();
    if (specials) {
        for (const char* role : {"src1", "src2"}) {
            const unsigned objects = is_array_kind(c.kind_of(role).kind) ? c.count : 1;
            for (unsigned k = 0; k < O * objects; ++k)
                set_used(c, role, unsigned(rng() % objects), unsigned(rng() % O),
                         unsigned(rng() % O), special_value(rng, es));
        }
    }
    const bool listed = std::string(m.layout) == "L" || std::string(m.layout) == "LS2";
    const unsigned null_at = count / 2;
    if (null_object && listed) c.op("dst").table()[null_at] = nullptr;
    c.snapshot_all();

    const olvm::products::MulJob job{O, count, accumulates_through_element(m),
                                     place(c, "src1"), place(c, "src2"), place(c, "dst")};
    const unsigned done = (es == 4 ? path.mul_batch_32f : path.mul_batch_64f)(&job);
    const std::string what = std::string(path.name) + " " + m.name + " count " + std::to_string(count);
    ASSERT_LE(done, count) << what;
    if (null_object && listed) {
        EXPECT_LE(done, null_at) << what;
    }

    Placed& d = c.op("dst");
    for (unsigned n = 0; n < count; ++n)
        for (unsigned i = 0; i < O; ++i)
            for (unsigned j = 0; j < O; ++j) {
                if (n < done) {
                    ASSERT_TRUE(same_value(d.get(n, i, j), expected_element(c, n, i, j), es))
                        << what << " object " << n << " (" << i << ", " << j << "): got "
                        << d.get(n, i, j) << ", want " << expected_element(c, n, i, j);
                } else {
                    ASSERT_FALSE(d.element_changed(n, i, j)) << what << " wrote unfinished object " << n;
                }
            }
    EXPECT_FALSE(d.changed_outside_elements()) << what;
    EXPECT_FALSE(c.op("src1").any_changed() || c.op("src2").any_changed()) << what;
}

TEST(MatMulPaths, EveryPathMatchesTheReferenceInEveryLayout) {
    int runs = 0;
    for (const Path& path : paths()) {
        if (!path.supported) continue;
        for (const auto& m : members()) {
            if (!is_matrix_product(m) || !has_array(m) || m.size == 0) continue;
            Rng rng(std::hash<std::string>{}(m.name) ^ std::hash<std::string>{}(path.name));
            for (unsigned count : {1u, 7u, 8u, 19u}) {
                check(path, m, count, false, rng, false);
                check(path, m, count, true, rng, false);
                check(path, m, count, false, rng, true);
                check(path, m, count, true, rng, false, Placement{false, false});  // packed rows
                ++runs;
            }
        }
    }
    EXPECT_GT(runs, 0);
}

// The batch kernels take on what they are meant for: contiguous rows object by object
// (standard, L), and the P layout's interleaved objects in whole vectors.
TEST(MatMulPaths, BatchKernelsFinishTheirLayouts) {
    for (const Path& path : paths()) {
        if (!path.supported) continue;
        for (const char* name : {"olvmMul_mama_32f_4x4", "olvmMul_mam_32f_3x3", "olvmMul_maTma_64f_5x5_L",
                                 "olvmMul_mama_64f_6x6_L", "olvmMul_mama_32f_4x4_P", "olvmMul_mamaT_64f_3x3_P"}) {
            const MemberInfo& m = member(name);
            const unsigned O = unsigned(m.size), count = 16;  // whole vectors on every path
            Rng rng(1);
            Call c = make_call(m, rng, count);
            const olvm::products::MulJob job{O, count, accumulates_through_element(m),
                                             place(c, "src1"), place(c, "src2"), place(c, "dst")};
            EXPECT_EQ((m.elem_size() == 4 ? path.mul_batch_32f : path.mul_batch_64f)(&job), count) << path.name << " " << name;
        }
    }
}

}  // namespace
}  // namespace olvmtest

#endif  // OLVM_FAST_PATHS
