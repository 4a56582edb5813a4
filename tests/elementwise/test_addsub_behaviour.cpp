// Add and Sub behaviour on hand-picked cases: the mirrored table checks of transposed
// operands and zero strides.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include "olvm.h"
#include "calls.h"

namespace olvmtest {
namespace {

// A transposed operand of a single-object P member is tested at the entry of the element
// as used (i * height + j) while it is read from the stored position (j * height + i).
TEST(AddSub, TransposedTableTestIsMirrored) {
    struct Case {
        unsigned width, height, null_entry;
        unsigned last_written_i, last_written_j;  // the element before the failing one
        unsigned failing_i, failing_j;
    };
    const Case cases[] = {
        // width 3, height 2: entry 1 is tested for element (0, 1) but read for (1, 0).
        {3, 2, 1, 0, 0, 0, 1},
        // width 2, height 3: element (2, 1) tests entry 7, past the 6 entries of the table.
        {2, 3, 7, 2, 0, 2, 1},
    };
    Rng rng(7);
    for (const Case& k : cases) {
        Call c = make_call(member("olvmAdd_mTm_32f_P"), rng, 1, {k.width, k.height});
        c.snapshot_all();
        c.op("src1").table()[k.null_entry] = nullptr;
        EXPECT_EQ(c.run(), olvResultNullPointer);
        Placed& d = c.op("dst");
        EXPECT_TRUE(d.element_changed(0, k.last_written_i, k.last_written_j));
        EXPECT_FALSE(d.element_changed(0, k.failing_i, k.failing_j));
    }
}

// Strides are used as passed: a zero object stride reads (or writes) the same object for
// every n, so the last object's result is what a zero-stride destination keeps.
TEST(AddSub, ZeroStridesAreUsedAsPassed) {
    const float x[3] = {1, 2, 3};
    const float y[3][3] = {{10, 20, 30}, {40, 50, 60}, {70, 80, 90}};
    float many[3][3] = {}, one[3] = {};
    ASSERT_EQ(olvmAdd_vav_32f(x, 0, &y[1][0], &many[0][0], 12, 3, 3), olvResultOk);
    for (int n = 0; n < 3; ++n)
        for (int k = 0; k < 3; ++k) EXPECT_EQ(many[n][k], x[k] + y[1][k]);
    ASSERT_EQ(olvmSub_vva_32f(x, &y[0][0], 12, one, 0, 3, 3), olvResultOk);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(one[k], x[k] - y[2][k]);
}

}  // namespace
}  // namespace olvmtest
