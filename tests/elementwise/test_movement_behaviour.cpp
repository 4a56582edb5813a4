// Addressing that the sweep's placements do not reach: LoadIdentity's row counter and
// stride replacements, and transposition through tables of non-square matrices.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "harness.h"

namespace olvmtest {
namespace {

template <class F>
F* exported(F* declared, const char* name) {
    (void)declared;
    return reinterpret_cast<F*>(symbol(name));
}
#define OLVM_EXPORTED(name) exported(&name, #name)

TEST(MovementBehaviour, LoadIdentityCounterRunsOnAcrossObjects) {
    // Two dense 3x3 matrices, row and element strides passed as 0 (the row length and the
    // element size are used instead). Object 1 is zeroed row by row with each 1 three
    // columns past the diagonal: in the next row, zeroed just after, and for the last row
    // two elements past the array.
    std::vector<float> mem(22, 7.0f);
    auto load = OLVM_EXPORTED(olvmLoadIdentity_ma_32f_S);
    ASSERT_EQ(load(mem.data(), 9 * 4, 0, 0, 3, 3, 2), olvResultOk);
    std::vector<float> want(22, 7.0f);
    for (int k = 0; k < 18; ++k) want[k] = (k < 9 && k % 4 == 0) ? 1.0f : 0.0f;
    want[20] = 1.0f;
    EXPECT_EQ(mem, want);

    // Non-positive sizes write nothing; count = 0 is a size error even then.
    const std::vector<float> before = mem;
    EXPECT_EQ(load(mem.data(), 36, 12, 4, -3, 3, 2), olvResultOk);
    EXPECT_EQ(load(mem.data(), 36, 12, 4, 3, 0, 2), olvResultOk);
    EXPECT_EQ(load(mem.data(), 36, 12, 4, -3, 3, 0), olvResultBadSize);
    EXPECT_EQ(mem, before);
}

TEST(MovementBehaviour, LoadIdentityTableObjectStrideBelowElementIsFourBytes) {
    // 1x2 double matrices, object stride 0: object 1 lies 4 bytes after object 0, so its
    // elements overlap the high half of object 0's. Its 1 goes to column 1 (n*height + i).
    std::vector<unsigned char> slot[2] = {std::vector<unsigned char>(16, 0xA5),
                                          std::vector<unsigned char>(16, 0xA5)};
    double* table[2] = {reinterpret_cast<double*>(slot[0].data()), reinterpret_cast<double*>(slot[1].data())};
    auto load = OLVM_EXPORTED(olvmLoadIdentity_ma_64f_P);
    ASSERT_EQ(load(table, 0, 0, 2, 1, 2), olvResultOk);
    for (int k = 0; k < 2; ++k) {
        std::vector<unsigned char> want(16, 0xA5);
        const double obj0 = k == 0 ? 1.0 : 0.0, obj1 = k == 1 ? 1.0 : 0.0;
        std::memcpy(want.data(), &obj0, 8);
        std::memcpy(want.data() + 4, &obj1, 8);
        EXPECT_EQ(slot[k], want) << "entry " << k;
    }
}

TEST(MovementBehaviour, TableTransposeExchangesRowLengths) {
    // A 2x3 source (width 3, height 2): source element (i, j) is read from entry i*2 + j
    // and written through destination entry j*3 + i, so source entry 2 is read twice and
    // entry 5 never, and destination entries 6 and 7 lie past the first width*height.
    const unsigned w = 3, h = 2;
    for (unsigned count : {1u, 2u}) {
        std::vector<float> src(6 * count), dst(9 * count, -1.0f);
        std::vector<float*> src_table(6), dst_table(9);
        for (unsigned e = 0; e < 6; ++e) src_table[e] = &src[e * count];
        for (unsigned e = 0; e < 9; ++e) dst_table[e] = &dst[e * count];
        for (unsigned k = 0; k < src.size(); ++k) src[k] = float(k + 1);
        OlvResult r;
        if (count == 1)
            r = OLVM_EXPORTED(olvmTranspose_m_32f_P)(src_table.data(), 0, w, h, dst_table.data(), 0);
        else
            r = OLVM_EXPORTED(olvmTranspose_ma_32f_P)(src_table.data(), 0, w, h, dst_table.data(), 0, count);
        ASSERT_EQ(r, olvResultOk);
        std::vector<float> want(9 * count, -1.0f);
        for (unsigned n = 0; n < count; ++n)
            for (unsigned i = 0; i < h; ++i)
                for (unsigned j = 0; j < w; ++j) want[(j * w + i) * count + n] = src[(i * h + j) * count + n];
        EXPECT_EQ(dst, want) << "count " << count;
    }
}

}  // namespace
}  // namespace olvmtest
