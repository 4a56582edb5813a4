// The LU families against a model of their steps written here (pivot search, exchanges
// in the index vector only, stored multipliers, updates rounded on store, the threshold,
// and the displaced last-pivot test of array decompositions), bit for bit: every member
// on random operands placed with random strides, offsets and table orders, then
// hand-worked cases of the pivot rule, thresholds, failing calls and in-place solving.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "calls.h"

namespace olvmtest {
namespace {

constexpr double threshold = 1.1920928955078125e-07;
const double nan = std::numeric_limits<double>::quiet_NaN();

using Rows = std::vector<std::vector<double>>;  // stored rows of a factor matrix
using Index = std::vector<unsigned>;

// Decomposes d in place; `last(r)` is the value the final test reads when the last index
// entry is r (the true pivot d[r][n-1] unless an array member displaces it).
OlvResult model_decomp(Rows& d, Index& r, std::size_t es, const std::function<double(unsigned)>& last) {
    const unsigned n = unsigned(d.size());
    r.resize(n);
    for (unsigned i = 0; i < n; ++i) r[i] = i;
    for (unsigned k = 0; k + 1 < n; ++k) {
        unsigned p = k;
        double mag = std::fabs(d[r[k]][k]);
        for (unsigned i = k + 1; i < n; ++i) {
            const double cand = std::fabs(d[r[i]][k]);
            if (!(mag >= cand)) mag = cand, p = i;
        }
        std::swap(r[k], r[p]);
        const double v = d[r[k]][k];
        if (threshold > std::fabs(v)) return olvResultZeroDivisor;
        for (unsigned i = k + 1; i < n; ++i) {
            const double l = d[r[i]][k] = round_to(d[r[i]][k] / v, es);
            for (unsigned j = k + 1; j < n; ++j) d[r[i]][j] = round_to(d[r[i]][j] + (-l) * d[r[k]][j], es);
        }
    }
    return threshold > std::fabs(last(r[n - 1])) ? olvResultZeroDivisor : olvResultOk;
}

// Solves from the factors d and index r; x is the working vector of both passes.
std::vector<double> model_solve(const Rows& d, const Index& r, const std::vector<double>& b, std::size_t es) {
    const unsigned n = unsigned(d.size());
    std::vector<double> x(n);
    for (unsigned i = 0; i < n; ++i) {
        double s = 0.0;
        for (unsigned j = 0; j < i; ++j) s += d[r[i]][j] * x[j];
        x[i] = round_to(b[r[i]] - s, es);
    }
    for (unsigned i = n; i-- > 0;) {
        double s = 0.0;
        for (unsigned j = i + 1; j < n; ++j) s += d[r[i]][j] * x[j];
        x[i] = round_to((x[i] - s) / d[r[i]][i], es);
    }
    return x;
}

unsigned index_at(Placed& p, unsigned n, unsigned i) {
    std::uint32_t v;
    std::memcpy(&v, p.address(n, 0, i), 4);
    return v;
}

Rows rows_of(const Placed& p, unsigned n, unsigned size) {
    Rows d(size, std::vector<double>(size));
    for (unsigned i = 0; i < size; ++i)
        for (unsigned j = 0; j < size; ++j) d[i][j] = p.get(n, i, j);
    return d;
}

// Where object n's displaced last-pivot test reads when the last index entry is r, in the
// destination as placed (tables grow by rows, other layouts by columns).
std::pair<unsigned, unsigned> displaced(const Placed& dst, unsigned n, unsigned r, unsigned size) {
    if (dst.layout.find('P') != std::string::npos) return {r + n, size - 1};
    return {r, size - 1 + n * size};
}

// Runs a decomposition call and checks every object against the model: the objects before
// the first failing one complete, that one as far as it got, later ones untouched.
void check_decomp(Call& c, const std::string& what, OlvResult* result = nullptr) {
    const std::size_t es = c.m->elem_size();
    const unsigned size = c.width;
    Placed &src = c.op("src"), &dst = c.op("dst"), &index = c.op("index");
    c.snapshot_all();
    const OlvResult got = c.run();
    if (result) *result = got;
    OlvResult want = olvResultOk;
    unsigned n = 0;
    for (; n < c.count && want == olvResultOk; ++n) {
        Rows d = rows_of(src, n, size);
        Index r;
        want = model_decomp(d, r, es, [&](unsigned last) {
            if (n == 0 || !dst.array) return d[last][size - 1];
            const auto at = displaced(dst, n, last, size);
            return at.first < size && at.second < size ? d[at.first][at.second] : dst.get(n, at.first, at.second);
        });
        for (unsigned i = 0; i < size; ++i) {
            ASSERT_EQ(index_at(index, n, i), r[i]) << what << " object " << n << " index " << i;
            for (unsigned j = 0; j < size; ++j)
                ASSERT_TRUE(same_bits(dst.get(n, i, j), d[i][j], es)) << what << " object " << n << " (" << i << ", " << j
                                                                     << "): got " << dst.get(n, i, j) << ", want " << d[i][j];
        }
    }
    EXPECT_EQ(got, want) << what;
    for (unsigned k = 0; k < dst.count(); ++k)
        for (unsigned i = 0; i < dst.rows(); ++i)
            for (unsigned j = 0; j < dst.cols(); ++j)
                ASSERT_FALSE((k >= n || i >= size || j >= size) && dst.element_changed(k, i, j)) << what << " object " << k;
    for (unsigned k = n; k < c.count; ++k)
        for (unsigned i = 0; i < size; ++i) EXPECT_FALSE(index.element_changed(k, 0, i)) << what << " object " << k;
    EXPECT_FALSE(src.any_changed()) << what;
    EXPECT_FALSE(dst.changed_outside_elements() || index.changed_outside_elements()) << what;
}

void check_solve(Call& c, const std::string& what) {
    const std::size_t es = c.m->elem_size();
    const unsigned size = c.width;
    Placed &f = c.op("src"), &b = c.op("src2"), &x = c.op("dst"), &index = c.op("index");
    c.snapshot_all();
    ASSERT_EQ(c.run(), olvResultOk) << what;
    for (unsigned n = 0; n < c.count; ++n) {
        const unsigned k = f.array ? n : 0;
        Index r(size);
        std::vector<double> rhs(size);
        for (unsigned i = 0; i < size; ++i) r[i] = index_at(index, k, i), rhs[i] = b.get(n, 0, i);
        const auto want = model_solve(rows_of(f, k, size), r, rhs, es);
        for (unsigned i = 0; i < size; ++i)
            ASSERT_TRUE(same_bits(x.get(n, 0, i), want[i], es)) << what << " object " << n << " element " << i;
    }
    EXPECT_FALSE(f.any_changed() || b.any_changed() || index.any_changed()) << what;
    EXPECT_FALSE(x.changed_outside_elements()) << what;
}

TEST(LUSweep, EveryMemberFollowsTheModel) {
    int checked = 0;
    for (const auto& m : members()) {
        const std::string family = m.family;
        if (family != "LUDecomp" && family != "LUBackSubst") continue;
        for (bool negative : {false, true}) {
            Rng rng(std::hash<std::string>{}(m.name) + negative);
            const unsigned size = 1 + unsigned(rng() % 7);
            Call c = make_call(m, rng, 1 + unsigned(rng() % 4), {size}, Placement{negative, true});
            const std::string what = std::string(m.name) + (negative ? " (negative strides)" : "");
            if (family == "LUDecomp") check_decomp(c, what);
            else check_solve(c, what);
        }
        ++checked;
    }
    EXPECT_EQ(checked, 240);
}

struct Outcome {
    OlvResult code;
    Index index;
    Rows d;
};

// One decomposition of `a` (row-major, order n) by member `m`, object 0 of the call.
Outcome decompose(const MemberInfo& m, unsigned n, const std::vector<double>& a) {
    Rng rng(std::hash<std::string>{}(m.name));
    Call c = make_call(m, rng, 1, {n});
    for (unsigned e = 0; e < n * n; ++e) c.op("src").set(0, e / n, e % n, a[e]);
    Outcome o{c.run(), Index(n), rows_of(c.op("dst"), 0, n)};
    for (unsigned i = 0; i < n; ++i) o.index[i] = index_at(c.op("index"), 0, i);
    return o;
}

TEST(LUDecompBehaviour, PivotRule) {
    for (const MemberInfo* m : members_of("LUDecomp", true, "m")) {
        // Ties keep the earliest row; stored row 1 becomes (-1, 3 - (-1) * 2).
        Outcome o = decompose(*m, 2, {1, 2, -1, 3});
        EXPECT_EQ(o.index, (Index{0, 1})) << m->name;
        EXPECT_EQ(o.d, (Rows{{1, 2}, {-1, 5}})) << m->name;
        // Column 0 peaks in row 1; after that step column 1 peaks in stored row 2. Rows stay.
        o = decompose(*m, 3, {2, 1, 1, -4, 2, 2, 1, 3, 1});
        const double l = round_to(2.0 / 3.5, m->elem_size());
        EXPECT_EQ(o.index, (Index{1, 2, 0})) << m->name;
        EXPECT_EQ(o.d, (Rows{{-0.5, l, round_to(2.0 + -l * 1.5, m->elem_size())}, {-4, 2, 2}, {-0.25, 3.5, 1.5}}))
            << m->name;
        // Column 0: 2, NaN, 1. NaN replaces 2 (unordered), then 1 replaces NaN; a NaN pivot passes.
        EXPECT_EQ(decompose(*m, 3, {2, 1, 0, nan, 1, 0, 1, 0, 1}).index, (Index{2, 0, 1})) << m->name;
        o = decompose(*m, 2, {nan, 1, nan, 2});
        EXPECT_EQ(o.code, olvResultOk) << m->name;
        EXPECT_EQ(o.index, (Index{1, 0})) << m->name;
        // The stored (rounded) multiplier drives the update: with the single 1/3,
        // 1048576 - l * 3145728 is -2^-5; with the double 1/3 it is 0, which then fails.
        o = decompose(*m, 2, {3, 3145728, 1, 1048576});
        const bool single = m->elem_size() == 4;
        EXPECT_EQ(o.d[1][1], single ? -0.03125 : 0.0) << m->name;
        EXPECT_EQ(o.code, single ? olvResultOk : olvResultZeroDivisor) << m->name;
    }
}

TEST(LUDecompBehaviour, ThresholdAndFailingCalls) {
    for (const std::string codes : {"m", "ma"})
        for (const MemberInfo* m : members_of("LUDecomp", true, codes)) {
            // Single-precision epsilon in both types: at the final test and in a step.
            for (const double s : {1.0, -1.0}) {
                EXPECT_EQ(decompose(*m, 1, {s * threshold}).code, olvResultOk) << m->name;
                EXPECT_EQ(decompose(*m, 1, {s * 1e-7}).code, olvResultZeroDivisor) << m->name;
                EXPECT_EQ(decompose(*m, 2, {s * threshold, 1, 0, 1}).code, olvResultOk) << m->name;
                EXPECT_EQ(decompose(*m, 2, {s * 1e-7, 1, 0, 1}).code, olvResultZeroDivisor) << m->name;
            }
            // Size 1 writes before its only test.
            const Outcome one = decompose(*m, 1, {1e-8});
            EXPECT_EQ(one.index, (Index{0})) << m->name;
            EXPECT_EQ(one.d[0][0], round_to(1e-8, m->elem_size())) << m->name;
            // Step 0 pivots on row 1 and leaves a zero column 1: its step fails with the
            // earlier step and its own exchange done.
            const Outcome o = decompose(*m, 3, {2, 1, 1, 4, 2, 3, 1, 0.5, 5});
            EXPECT_EQ(o.code, olvResultZeroDivisor) << m->name;
            EXPECT_EQ(o.index, (Index{1, 0, 2})) << m->name;
            EXPECT_EQ(o.d, (Rows{{0.5, 0, -0.5}, {4, 2, 3}, {0.25, 0, 4.25}})) << m->name;
        }
}

// Array members test, for object n, the element at column (size - 1) + n * size of the
// last stored row: a chosen value there decides the result, not the true last pivot.
// Variants on identities: (0) a tiny displaced element fails object `size`, past any
// table; (1) zero true last pivots pass behind large displaced elements, except (2) in
// object 0, which tests its true pivot; (3) an object with a zero column ends the call.
TEST(LUDecompBehaviour, ArrayObjectsAndTheDisplacedLastPivot) {
    const OlvResult want[] = {olvResultZeroDivisor, olvResultOk, olvResultZeroDivisor, olvResultZeroDivisor};
    for (const auto& m : members()) {
        if (std::string(m.family) != "LUDecomp" || std::string(m.codes) != "ma") continue;
        const unsigned size = m.size ? m.size : 3, count = size + 2;
        for (int variant = 0; variant < 4; ++variant) {
            Rng rng(std::hash<std::string>{}(m.name) + variant);
            Call c = make_call(m, rng, count, {size});
            Placed &src = c.op("src"), &dst = c.op("dst");
            for (unsigned n = 0; n < count; ++n) {
                for (unsigned e = 0; e < size * size; ++e) src.set(n, e / size, e % size, e % (size + 1) ? 0 : 1);
                const auto at = displaced(dst, n, size - 1, size);  // the index stays the identity
                if (variant == 0 && n == size) dst.set(n, at.first, at.second, 1e-8);
                if ((variant == 1 && n > 0) || (variant == 2 && n == 0)) src.set(n, size - 1, size - 1, 0);
                if (variant == 1 && n > 0) dst.set(n, at.first, at.second, 1);
                if (variant == 3 && n == 1) for (unsigned i = 0; i < size; ++i) src.set(n, i, 0, 0);
            }
            OlvResult got = olvResultOk;
            check_decomp(c, std::string(m.name) + " variant " + std::to_string(variant), &got);
            EXPECT_EQ(got, want[variant]) << m.name << " variant " << variant;
        }
    }
}

// Back substitution of one vector with given packed factors, through member `m`.
std::vector<double> solve(const MemberInfo& m, const Index& index, const std::vector<double>& stored,
                          const std::vector<double>& b, bool in_place = false) {
    const unsigned n = unsigned(index.size());
    Rng rng(std::hash<std::string>{}(m.name));
    Call c = make_call(m, rng, 1, {n});
    Placed &f = c.op("src"), &rhs = c.op("src2");
    std::memcpy(c.op("index").address(0, 0, 0), index.data(), 4 * n);
    for (unsigned i = 0; i < n; ++i) {
        rhs.set(0, 0, i, b[i]);
        for (unsigned j = 0; j < n; ++j) f.set(0, i, j, stored[i * n + j]);
    }
    if (in_place) rhs.describe(c.args, "dst");
    EXPECT_EQ(c.run(), olvResultOk) << m.name;
    std::vector<double> x(n);
    for (unsigned i = 0; i < n; ++i) x[i] = (in_place ? rhs : c.op("dst")).get(0, 0, i);
    return x;
}

TEST(LUBackSubstBehaviour, WorkedSystems) {
    for (const MemberInfo* m : members_of("LUBackSubst", true, "mv")) {
        // Factors of rows (1, 2), (-1, 3): forward gives (3, 5), backward (1, 1).
        EXPECT_EQ(solve(*m, {0, 1}, {1, 2, -1, 5}, {3, 2}), (std::vector<double>{1, 1})) << m->name;
        // Index {1, 0}: U's first row is stored row 1; A = ((2, 4), (4, 2)), x = (1, 2).
        EXPECT_EQ(solve(*m, {1, 0}, {0.5, 3, 4, 2}, {10, 8}), (std::vector<double>{1, 2})) << m->name;
        // Sums are formed in double: 2^24 + 1 survives, so x[2] = 2^24 - (2^24 + 1).
        EXPECT_EQ(solve(*m, {0, 1, 2}, {1, 0, 0, 0, 1, 0, 1, 1, 1}, {0x1p24, 1, 0x1p24}),
                  (std::vector<double>{0x1p24, 1, -1})) << m->name;
        EXPECT_EQ(solve(*m, {0}, {4}, {2}), (std::vector<double>{0.5})) << m->name;
        // No test of the diagonal: a zero divides as it stands.
        EXPECT_EQ(solve(*m, {0, 1}, {1, 2, 0, 0}, {3, 2}), (std::vector<double>{-HUGE_VAL, HUGE_VAL})) << m->name;
        // In place with index {1, 0}: x[0] = b[1] = 8 overwrites b[0] before it is read, so
        // the forward pass gives (8, 8 - 0.5 * 8) instead of (8, 6).
        EXPECT_EQ(solve(*m, {0, 1}, {1, 2, -1, 5}, {3, 2}, true), (std::vector<double>{1, 1})) << m->name;
        const double x1 = round_to(4.0 / 3.0, m->elem_size()), x0 = round_to((8.0 - 2.0 * x1) / 4.0, m->elem_size());
        EXPECT_EQ(solve(*m, {1, 0}, {0.5, 3, 4, 2}, {10, 8}, true), (std::vector<double>{x0, x1})) << m->name;
    }
}

}  // namespace
}  // namespace olvmtest
