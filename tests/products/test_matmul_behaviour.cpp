// Matrix-matrix product behaviour on hand-picked cases: the sums starting from +0, the irregular size rows of mma and mTm reading past what the size
// arguments describe, and the element being zeroed and updated term by term.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "olvm.h"
#include "calls.h"
#include "product_call.h"

namespace olvmtest {
namespace {

// Each element is set to +0 (all bits zero) and sums start at 0.0, so products of -0
// still give +0, in every member.
TEST(MatMul, SumsOfNegativeZerosArePositiveZero) {
    for (const auto& m : members()) {
        if (!is_matrix_product(m)) continue;
        Rng rng(std::hash<std::string>{}(m.name));
        Call c = make_call(m, rng, 2, {3, 2, 2});
        Placed& a = c.op("src1");
        for (unsigned n = 0; n < a.count(); ++n)
            for (unsigned r = 0; r < a.rows(); ++r)
                for (unsigned col = 0; col < a.cols(); ++col) a.set(n, r, col, -0.0);
        ASSERT_EQ(c.run(), olvResultOk) << m.name;
        Placed& d = c.op("dst");
        for (unsigned n = 0; n < d.count(); ++n)
            for (unsigned i = 0; i < d.rows(); ++i)
                for (unsigned j = 0; j < d.cols(); ++j)
                    ASSERT_TRUE(same_bits(d.get(n, i, j), 0.0, m.elem_size())) << m.name;
    }
}

// mma compares src1Height with src2Width and never src1Width with src2Height: a 2x3 source
// 1 times a 5x2 source 2 sums five terms, reading five elements along each row of source 1.
TEST(MatMul, MmaTakesItsTermsFromSource2Alone) {
    float a[2 * 3 + 2];  // row 1 reads two elements past the stored 2x3 matrix
    for (int k = 0; k < 8; ++k) a[k] = float(k + 1);
    float b[5][2], c[2][2][2];  // object stride 16 bytes, two objects
    for (int k = 0; k < 5; ++k) b[k][0] = float(2 * k - 3), b[k][1] = float(k * k);
    ASSERT_EQ(olvmMul_mma_32f(a, 12, 3, 2, &b[0][0], 0, 8, 2, 5, &c[0][0][0], 16, 8, 2),
              olvResultOk);
    for (int n = 0; n < 2; ++n)
        for (int i = 0; i < 2; ++i)
            for (int j = 0; j < 2; ++j) {
                double want = 0;
                for (int k = 0; k < 5; ++k) want += double(a[3 * i + k]) * b[k][j];
                EXPECT_EQ(c[n][i][j], float(want)) << n << " " << i << " " << j;
            }
    // A 2x3 times a 3x4 source: the inner sizes agree, but src1Height 2 != src2Width 4.
    float wide[3][4] = {};
    EXPECT_EQ(olvmMul_mma_32f(a, 12, 3, 2, &wide[0][0], 0, 16, 4, 3, &c[0][0][0], 16, 8, 1),
              olvResultBadSize);
}

// mTm with a stored 3x2 matrix passed as src1Width 2, src1Height 3: the size test compares
// src1Height with src2Height and passes; the result has three rows, row i formed from
// column i of the stored matrix, so row 2 reads the column past its two.
TEST(MatMul, TransposedSourceIsReadByItsUsedShape) {
    const double stored[3][3] = {{1, 2, -7}, {3, 4, 11}, {5, 6, 13}};  // column 2: beyond
    const double b[3][2] = {{1, -1}, {2, 0.5}, {-3, 4}};
    double c[3][2] = {};
    ASSERT_EQ(olvmMul_mTm_64f(&stored[0][0], 24, 2, 3, &b[0][0], 16, 2, 3, &c[0][0], 16),
              olvResultOk);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 2; ++j) {
            double want = 0;
            for (int k = 0; k < 3; ++k) want += stored[k][i] * b[k][j];
            EXPECT_EQ(c[i][j], want) << i << " " << j;
        }
}

// In the P layouts an untransposed source 1 is found at entry i*src1Width + k: its own
// width is its row length, also where src1Width is not the number K of terms summed (mma
// never compares the two; mmT ties src1Width to src2Width instead).
TEST(MatMul, UntransposedSource1TableRowIsItsWidth) {
    std::vector<double> av(16), bv(16);
    std::vector<double*> ta, tb;
    for (int e = 0; e < 16; ++e) {
        av[e] = e + 1, bv[e] = 2 * e - 5;
        ta.push_back(&av[e]), tb.push_back(&bv[e]);
    }
    double c[8], spare = 0;
    std::vector<double*> tc;
    for (int e = 0; e < 16; ++e) tc.push_back(e < 8 ? &c[e] : &spare);

    // mma: a 2x3 source 1 (src1Width 3) times a 5x2 source 2: five terms.
    ASSERT_EQ(olvmMul_mma_64f_P(ta.data(), 0, 3, 2, tb.data(), 0, 2, 5, tc.data(), 0, 1),
              olvResultOk);
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) {
            double want = 0;
            for (int k = 0; k < 5; ++k) want += av[i * 3 + k] * bv[k * 2 + j];
            EXPECT_EQ(c[i * 2 + j], want) << "mma " << i << " " << j;
        }
    // mmT: source 1 used as 2x3 with src1Width 4 (= src2Width), source 2 stored 4x3.
    ASSERT_EQ(olvmMul_mmT_64f_P(ta.data(), 0, 4, 2, tb.data(), 0, 4, 3, tc.data(), 0),
              olvResultOk);
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 4; ++j) {
            double want = 0;
            for (int k = 0; k < 3; ++k) want += av[i * 4 + k] * bv[j * 3 + k];
            EXPECT_EQ(c[i * 4 + j], want) << "mmT " << i << " " << j;
        }
}

// The destination element is zeroed, then receives the running sum after every term, in
// both disciplines. With the element placed on b(1, 0) the second term reads back the
// first partial sum: 2*5 + 3*(2*5), where an element stored only at the end would give
// 2*5 + 3*0, and one not zeroed first 2*5 + 3*7.
TEST(MatMul, ElementIsZeroedAndUpdatedTermByTerm) {
    const double a[2] = {2, 3};
    double b[2] = {5, 7};
    ASSERT_EQ(olvmMul_mm_64f(a, 16, 2, 1, b, 8, 1, 2, &b[1], 8), olvResultOk);
    EXPECT_EQ(b[1], 2.0 * 5 + 3 * (2.0 * 5));

    double bp[2] = {5, 7};
    double* ta[2] = {const_cast<double*>(&a[0]), const_cast<double*>(&a[1])};
    double* tb[2] = {&bp[0], &bp[1]};
    double* tc[1] = {&bp[1]};
    ASSERT_EQ(olvmMul_mm_64f_P(ta, 0, 2, 1, tb, 0, 1, 2, tc, 0), olvResultOk);
    EXPECT_EQ(bp[1], 2.0 * 5 + 3 * (2.0 * 5));
}

// Growing one size argument by one breaks exactly the equality its operand code's row
// names: the inner dimensions of mma and mama are never compared, and src1Width only
// matters there. (Which sizes are tested for zero is part of the validation sweep.)
TEST(MatMul, SizeEqualityFollowsTheCodesRow) {
    for (const auto& m : members()) {
        if (!is_matrix_product(m) || m.size) continue;
        const SizeRule& rule = size_rule(m.codes);
        const ProductSizes base = consistent_sizes(m.codes, 2, 3, 4);
        Rng rng(std::hash<std::string>{}(m.name));
        for (SizeArg s : {W1, H1, W2, H2}) {
            Call c = make_call(m, rng, 2, {4, 3, 5});  // placed one larger in every dimension
            size_arg(c.args, W1) = base.src1Width, size_arg(c.args, H1) = base.src1Height;
            size_arg(c.args, W2) = base.src2Width, size_arg(c.args, H2) = base.src2Height;
            ++size_arg(c.args, s);
            c.snapshot_all();
            const bool breaks = rule.equal[0] == s || rule.equal[1] == s;
            EXPECT_EQ(c.run(), breaks ? olvResultBadSize : olvResultOk) << m.name << " size " << s;
            if (breaks) {
                EXPECT_TRUE(c.nothing_written()) << m.name;
            }
            EXPECT_FALSE(c.op("dst").changed_outside_elements()) << m.name;
        }
    }
}

}  // namespace
}  // namespace olvmtest
