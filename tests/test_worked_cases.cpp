// Worked cases that random operands through the results sweep do not reach, each run on every
// member it concerns where the harness can place it: sums of negative zeros, the products'
// size rules and src1Width apart from the number of terms, a result element placed on a
// source, Gaxpy's y, norms whose squares leave the range of double, cross products over a
// source, the mirrored entry tests of transposed table operands, and the addressing the
// harness cannot place (LoadIdentity's replaced strides, table transposes of non-square
// matrices, zero object strides) on raw memory.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "calls.h"
#include "models.h"
#include "olvm.h"
#include "product_call.h"

namespace olvmtest {
namespace {

Call seeded_call(const MemberInfo& m, unsigned count, Sizes sizes = {}) {
    Rng rng(std::hash<std::string>{}(m.name));
    return make_call(m, rng, count, sizes);
}

// Calls `m` on two objects (where it takes arrays) with every stored row of each listed
// operand holding the listed values (zeros past them, where the member's order is longer),
// and returns object by object the elements of its result, row by row. Where `over` names a
// source, that source is described as the destination too, and its elements are returned.
using Rows = std::vector<std::pair<std::string, std::vector<double>>>;
std::vector<std::vector<double>> run_rows(const MemberInfo& m, Sizes sizes, const Rows& in, const std::string& over = "") {
    Call c = seeded_call(m, 2, sizes);
    if (!over.empty()) c.op(over).describe(c.args, "dst");
    for (const auto& [role, row] : in) {
        Mat value(c.op(role).rows(), c.op(role).cols());
        for (std::size_t e = 0; e < value.v.size(); ++e) value.v[e] = e % value.w < row.size() ? row[e % value.w] : 0.0;
        for (unsigned n = 0; n < c.op(role).count(); ++n) place(c, role, n, value);
    }
    EXPECT_EQ(c.run(), olvResultOk) << m.name;
    const std::string out = over.empty() ? c.info.back().role : over;
    std::vector<std::vector<double>> got;
    for (unsigned n = 0; n < c.op(out).count(); ++n) got.push_back(read(c, out, n).v);
    return got;
}

// Every element is zeroed (all bits zero) and its sum starts from 0.0, so a sum of -0 * 1
// terms is +0, in every member.
TEST(MatMul, SumsOfNegativeZerosArePositiveZero) {
    for (const auto& m : members()) {
        if (!is_matrix_product(m)) continue;
        for (const auto& got : run_rows(m, {3, 2, 2}, {{"src1", std::vector<double>(6, -0.0)}, {"src2", std::vector<double>(6, 1.0)}}))
            for (double v : got) ASSERT_TRUE(same_bits(v, 0.0, m.elem_size())) << m.name;
    }
}

// Growing one size argument by one (every other one a size smaller than placed) breaks exactly
// the equality the operand code names: its row of size_rules() for a matrix product; src2Len
// against src1Width for a matrix times a vector, against src1Height where the matrix is
// transposed. (Zero sizes, and that a refusal writes nothing, are part of the validation sweep.)
TEST(Products, SizeEqualityFollowsTheOperandCode) {
    const char* const name[] = {"src1Width", "src1Height", "src2Width", "src2Height"};
    for (const auto& m : members()) {
        if (!(is_matrix_product(m) || is_vector_product(m)) || m.size) continue;
        const SizeArg* e = is_matrix_product(m) ? size_rule(m.codes).equal : nullptr;
        const bool trans = std::string(m.codes).find('T') != std::string::npos;
        const std::string equal[2] = {e ? name[e[0]] : "src2Len", e ? name[e[1]] : trans ? "src1Height" : "src1Width"};
        for (const std::string& s : m.size_args()) {
            Call c = seeded_call(m, 2, {3, 4, 5});
            for (const std::string& t : m.size_args()) *c.args.unsigned_field(t) -= t != s;
            EXPECT_EQ(c.run(), s == equal[0] || s == equal[1] ? olvResultBadSize : olvResultOk) << m.name << " " << s;
        }
    }
}

// src1Width apart from the K = src2Height terms each element sums, as far as the size rule
// allows: where the rule leaves it free, K - 1 (so that mma and mTm read a row or a column
// past it), or K + 1 for an untransposed table source 1, whose table rows are src1Width
// entries long; where the rule ties it to src2Width = N, one term fewer than N, a transposed
// table source 2 holding rows of K entries. Every element is still the K-term sum.
TEST(MatMul, TermsAreCountedBySource2Alone) {
    for (const auto& m : members()) {
        if (!is_matrix_product(m) || m.size) continue;
        const SizeArg* e = size_rule(m.codes).equal;
        const SizeArg tie = e[0] == W1 ? e[1] : e[1] == W1 ? e[0] : W1;
        if (tie == H2) continue;  // src1Width is K
        Call c = seeded_call(m, 2);
        const unsigned K = c.args.src2Height;
        Placed& p = c.op(tie == W2 ? "src2" : "src1");  // (source 2 is transposed wherever the rule ties W1 to W2)
        const bool rows = p.layout.find('P') != std::string::npos && (tie == W2 || !is_transposed_kind(c.kind_of("src1").kind));
        unsigned& size = tie == W2 ? c.args.src2Height : c.args.src1Width;
        size = tie == W1 && rows ? K + 1 : K - 1;
        const std::vector<void*> entries = p.table();  // re-indexed from rows of K entries to rows of `size`
        for (unsigned x = 0; rows && x < p.rows() * K; ++x)
            if (x % K < size) p.table()[x / K * size + x % K] = entries[x];
        ASSERT_EQ(c.run(), olvResultOk) << m.name;
        const Placed& d = c.op("dst");
        for (unsigned n = 0; n < d.count(); ++n)
            for (unsigned i = 0; i < d.rows(); ++i)
                for (unsigned j = 0; j < d.cols(); ++j)
                    ASSERT_TRUE(same_bits(d.get(n, i, j), expected_element(c, n, i, j), d.esize)) << m.name << " object " << n;
    }
}

// The element is zeroed, then receives the running sum after every term, in both ways of
// summing. Placed on b(1, 0), the second term reads back the first partial sum: 2*5 + 3*(2*5);
// an element stored only at the end would give 2*5 + 3*0, or 2*5 + 3*7 if also never zeroed.
TEST(MatMul, ElementIsZeroedAndUpdatedTermByTerm) {
    double a[2] = {2, 3}, b[2] = {5, 7}, bp[2] = {5, 7};
    double *ta[2] = {&a[0], &a[1]}, *tb[2] = {&bp[0], &bp[1]}, *tc[1] = {&bp[1]};
    ASSERT_EQ(olvmMul_mm_64f(a, 16, 2, 1, b, 8, 1, 2, &b[1], 8), olvResultOk);
    ASSERT_EQ(olvmMul_mm_64f_P(ta, 0, 2, 1, tb, 0, 1, 2, tc, 0), olvResultOk);
    EXPECT_EQ(b[1], 2.0 * 5 + 3 * (2.0 * 5));
    EXPECT_EQ(bp[1], 2.0 * 5 + 3 * (2.0 * 5));
}

// Transposed single-object table members test the entry of term (i, k) at i * order + k but
// read it from k * order + i. A null stored (r, c), r < c, is tested at row r, term c, before
// it is read (at row c): rows before r are done, row r holds the sum of c terms.
TEST(MatVec, TransposedTableTestsTheMirroredEntry) {
    const auto ms = members_of("Mul", false, "mTv", "P");
    ASSERT_EQ(ms.size(), 10u);
    for (const MemberInfo* m : ms) {
        const unsigned order = m->size ? unsigned(m->size) : 3, r = order == 3 ? 0 : 1, col = order - 1;
        Call c = seeded_call(*m, 1, {order, order});
        c.op("src1").table()[r * order + col] = nullptr;
        c.snapshot_all();
        ASSERT_EQ(c.run(), olvResultNullPointer) << m->name;
        const Placed& y = c.op("dst");
        for (unsigned i = 0; i < order; ++i) {
            double sum = 0.0;
            for (unsigned k = 0; k < (i < r ? order : col); ++k)
                sum = round_to(sum + c.used("src1", 0, i, k) * c.used("src2", 0, 0, k), y.esize);
            EXPECT_TRUE(i > r ? !y.element_changed(0, 0, i) : same_bits(y.get(0, 0, i), sum, y.esize)) << m->name << " row " << i;
        }
    }
}

// y(i) is added after the whole sum: to the unrounded double sum where the layout sums in
// double (1e8 + 1 - 1e8 gives 1; 0 where the sum runs through a 32f element), and never as
// the starting value (-2^53 + 1 + 2^53 would give 1, while 1 + 2^53 rounds to 2^53 and then
// -2^53 gives 0, in every layout and type).
TEST(Gaxpy, AddsYAfterTheWholeSum) {
    // Rows: a(0, 0) and a(0, 1) (x is 1, 1), y(0), and the result summed in double and through a 32f element.
    const struct { std::vector<double> a; double y, want[2]; } rows[] = {{{1e8, 1}, -1e8, {1, 0}}, {{1, 0x1p53}, -0x1p53, {0, 0}}};
    for (const MemberInfo* m : members_of("Gaxpy"))
        for (const auto& r : rows)
            for (const auto& got : run_rows(*m, {2, 1}, {{"src1", r.a}, {"src2", {1, 1}}, {"src3", {r.y}}}))
                EXPECT_EQ(got[0], r.want[m->elem_size() == 4 && accumulates_through_element(*m)]) << m->name << ", y " << r.y;
}

// 64f norms whose squares leave the range of double are still the norm rounded once: worked
// rows (references scaled by powers of two, so that their own squares stay in range), and
// random vectors v * 2^k, whose norm is the plain double norm of v times 2^k.
TEST(VectorBehaviour, NormsKeepSquaresOutsideTheRangeOfDouble) {
    auto norm2 = [](double x, int k) { const double s = std::ldexp(x, k); return std::ldexp(std::sqrt(s * s + s * s), -k); };
    std::vector<std::pair<std::vector<double>, double>> rows = {
        {{1e200, 1e200}, norm2(1e200, -664)}, {{1e-200, -1e-200}, norm2(1e-200, 664)}, {{1e-300, 1e300, 1e-310}, 1e300},
        {{0x3p-1074, 0x4p-1074}, 0x5p-1074},  {{1e-300, 3, 4}, 5},                    {{1.5e308, 1.5e308}, HUGE_VAL}};
    Rng rng(3);
    for (int k : {-1000, -600, 600, 900})
        for (int trial = 0; trial < 40; ++trial) {
            std::vector<double> v(2 + rng() % 5);
            double sum = 0.0;
            for (double& x : v) x = random_value(rng, 8), sum += x * x, x = std::ldexp(x, k);
            rows.push_back({v, std::ldexp(std::sqrt(sum), k)});
        }
    for (const MemberInfo* m : members_of("L2Norm"))
        for (const auto& [v, want] : rows) {
            if (m->elem_size() != 8 || (m->size && v.size() > unsigned(m->size))) continue;
            for (const auto& got : run_rows(*m, {unsigned(v.size())}, {{"src", v}}))
                EXPECT_TRUE(same_bits(got[0], want, 8)) << m->name << " of " << v[0] << ", ...: got " << got[0];
        }
}

// A cross product whose destination is one of its sources stores its components in order
// and reads the sources again for each, so later components see those already stored: with
// a = (1, 2, 3), b = (4, 5, 6), a becomes (-3, 30, -135), b becomes (-3, -15, -9).
TEST(VectorBehaviour, CrossProductOverASourceSeesTheComponentsAlreadyStored) {
    const std::vector<double> over_a = {-3, 30, -135}, over_b = {-3, -15, -9};
    for (const MemberInfo* m : members_of("CrossProduct"))
        for (const OperandInfo& o : m->operand_list()) {
            if (o.role == "dst" || o.kind != m->operand_list().back().kind) continue;  // a source of the destination's kind
            for (const auto& got : run_rows(*m, {}, {{"src1", {1, 2, 3}}, {"src2", {4, 5, 6}}}, o.role))
                EXPECT_EQ(got, o.role == "src1" ? over_a : over_b) << m->name << " over " << o.role;
        }
}

// A transposed table operand of a single-object member is tested at the entry of the element
// as used (i * height + j) while read from the stored one (j * height + i). Width 3, height 2:
// entry 1 is tested for element (0, 1) but read for (1, 0). Width 2, height 3: element (2, 1)
// tests entry 7, past the 6 entries of the table. The elements before that one (row-major)
// are written, it and the later ones not.
TEST(AddSub, TransposedTableTestIsMirrored) {
    const struct { unsigned width, height, entry, stop; } cases[] = {{3, 2, 1, 1}, {2, 3, 7, 5}};
    for (const auto& k : cases) {
        Call c = seeded_call(member("olvmAdd_mTm_32f_P"), 1, {k.width, k.height});
        c.snapshot_all();
        c.op("src1").table()[k.entry] = nullptr;
        EXPECT_EQ(c.run(), olvResultNullPointer);
        for (unsigned e = 0; e < k.width * k.height; ++e)
            EXPECT_EQ(c.op("dst").element_changed(0, e / k.width, e % k.width), e < k.stop) << "element " << e;
    }
}

// Strides are used as passed: a zero object stride reads (or writes) the same object for
// every n, so a zero-stride destination keeps the last object's result.
TEST(AddSub, ZeroStridesAreUsedAsPassed) {
    const float x[3] = {1, 2, 3}, y[3][3] = {{10, 20, 30}, {40, 50, 60}, {70, 80, 90}};
    float many[3][3] = {}, one[3] = {};
    ASSERT_EQ(olvmAdd_vav_32f(x, 0, &y[1][0], &many[0][0], 12, 3, 3), olvResultOk);
    ASSERT_EQ(olvmSub_vva_32f(x, &y[0][0], 12, one, 0, 3, 3), olvResultOk);
    for (int k = 0; k < 9; ++k) EXPECT_EQ(many[k / 3][k % 3], x[k % 3] + y[1][k % 3]);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(one[k], x[k] - y[2][k]);
}

// LoadIdentity's row counter runs on across objects. Two dense 3x3 matrices, row and element
// strides passed as 0 (the row length and the element size are used instead): object 1 is
// zeroed row by row with each 1 three columns past the diagonal, in the next row (zeroed just
// after), and for the last row two elements past the array. Non-positive sizes write
// nothing; count = 0 is a size error even then. A table's object stride below the element
// size becomes 4 bytes, for 64f too: 1x2 matrices, object 1 overlapping the high half of
// object 0's elements, its 1 in column 1.
TEST(MovementBehaviour, LoadIdentityCounterRunsOnThroughReplacedStrides) {
    std::vector<float> mem(22, 7.0f);
    const std::vector<float> want = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 7, 1, 7};
    ASSERT_EQ(olvmLoadIdentity_ma_32f_S(mem.data(), 9 * 4, 0, 0, 3, 3, 2), olvResultOk);
    EXPECT_EQ(olvmLoadIdentity_ma_32f_S(mem.data(), 36, 12, 4, -3, 3, 2), olvResultOk);
    EXPECT_EQ(olvmLoadIdentity_ma_32f_S(mem.data(), 36, 12, 4, 3, 0, 2), olvResultOk);
    EXPECT_EQ(olvmLoadIdentity_ma_32f_S(mem.data(), 36, 12, 4, -3, 3, 0), olvResultBadSize);
    EXPECT_EQ(mem, want);

    // Four 32-bit words behind each table entry; 1.0 is the words 0, 0x3ff00000 (little-endian).
    alignas(8) std::uint32_t slot[2][4] = {{~0u, ~0u, ~0u, ~0u}, {~0u, ~0u, ~0u, ~0u}};
    double* table[2] = {reinterpret_cast<double*>(slot[0]), reinterpret_cast<double*>(slot[1])};
    ASSERT_EQ(olvmLoadIdentity_ma_64f_P(table, 0, 0, 2, 1, 2), olvResultOk);
    const std::uint32_t words[2][4] = {{0, 0, 0, ~0u}, {0, 0, 0x3ff00000u, ~0u}};
    EXPECT_EQ(std::memcmp(slot, words, sizeof words), 0);
}

// A 2x3 source (width 3, height 2) transposed through tables: source element (i, j) is read
// from entry i*2 + j and written through destination entry j*3 + i, so source entry 2 is read
// twice and entry 5 never, and destination entries 6 and 7 lie past the first 6.
TEST(MovementBehaviour, TableTransposeExchangesRowLengths) {
    // Sources 1, 2, ... entry by entry (objects next to each other); -1 marks entries not written.
    const std::vector<float> want[2] = {{1, 3, -1, 2, 4, -1, 3, 5, -1}, {1, 2, 5, 6, -1, -1, 3, 4, 7, 8, -1, -1, 5, 6, 9, 10, -1, -1}};
    for (unsigned count : {1u, 2u}) {
        std::vector<float> src(6 * count), dst(9 * count, -1.0f);
        std::vector<float*> st(6), dt(9);
        std::iota(src.begin(), src.end(), 1.0f);
        for (unsigned e = 0; e < 9; ++e) st[e % 6] = &src[e % 6 * count], dt[e] = &dst[e * count];
        ASSERT_EQ(count == 1 ? olvmTranspose_m_32f_P(st.data(), 0, 3, 2, dt.data(), 0)
                             : olvmTranspose_ma_32f_P(st.data(), 0, 3, 2, dt.data(), 0, count), olvResultOk);
        EXPECT_EQ(dst, want[count - 1]) << "count " << count;
    }
}

}  // namespace
}  // namespace olvmtest
