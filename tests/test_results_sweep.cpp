// Every member of the families whose results are fixed element by element (Add, Sub, Mul,
// Gaxpy, the vector algebra, Trace, FrobNorm and the data movements), called through its
// exported symbol, against a reference written here: each result element bit for bit,
// nothing else written. Operands are placed with random strides, offsets and table orders,
// generic members get random non-square shapes, and a second pass steps backwards through
// memory.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "calls.h"
#include "product_call.h"

namespace olvmtest {
namespace {

// a op b of two operands (or one and the constant) as the member combines them.
double combined(const Call& c, unsigned n, unsigned i, unsigned j) {
    const std::string codes = c.m->codes;
    const std::size_t es = c.m->elem_size();
    const double val = round_to(c.args.val, es);
    if (c.m->is("Mul")) return round_to(c.used("src", n, i, j) * val, es);
    double x = codes[0] == 'c' ? val : c.used(codes.find('c') != std::string::npos ? "src" : "src1", n, i, j);
    double y = codes[0] == 'c' ? c.used("src", n, i, j) : (codes.back() == 'c' ? val : c.used("src2", n, i, j));
    return round_to(c.m->is("Add") ? x + y : x - y, es);
}

// Element i of y = A x (plus y for Gaxpy), summed with the layout's rounding discipline.
double matvec(const Call& c, unsigned n, unsigned i) {
    const std::size_t es = c.m->elem_size();
    double sum = 0.0;
    for (unsigned k = 0; k < c.width; ++k) {
        const double term = c.used("src1", n, i, k) * c.used("src2", n, 0, k);
        sum = accumulates_through_element(*c.m) ? round_to(sum + term, es) : sum + term;
    }
    return round_to(c.m->is("Gaxpy") ? sum + c.used("src3", n, 0, i) : sum, es);
}

// Element i of the vector-algebra result of object n, in double, rounded once.
double vector_algebra(const Call& c, unsigned n, unsigned i) {
    const std::size_t es = c.m->elem_size();
    const bool norm = c.m->is("L2Norm");
    auto a = [&](unsigned k) { return c.used(norm ? "src" : "src1", n, 0, k); };
    auto b = [&](unsigned k) { return norm ? a(k) : c.used("src2", n, 0, k); };
    double sum = 0.0;
    for (unsigned k = 0; k < c.width; ++k) sum += a(k) * b(k);
    const unsigned j = (i + 1) % 3, k = (i + 2) % 3;
    const double r = c.m->is("DotProduct")     ? sum
                     : norm                  ? std::sqrt(sum)
                     : c.m->is("CrossProduct") ? a(j) * b(k) - a(k) * b(j)
                     : c.m->is("Saxpy")        ? a(i) * round_to(c.args.val, es) + b(i)
                                             : a(i) * round_to(c.args.val1, es) + b(i) * round_to(c.args.val2, es);
    return round_to(r, es);
}

// Trace: the diagonal's sum; FrobNorm: the root of the squares' sum, array members
// summing column by column.
double characteristic(const Call& c, unsigned n) {
    double s = 0.0;
    const bool columns = is_array_member(*c.m);
    for (unsigned x = 0; x < (columns ? c.width : c.height); ++x)
        for (unsigned y = 0; y < (columns ? c.height : c.width); ++y) {
            const double v = columns ? c.used("src", n, y, x) : c.used("src", n, x, y);
            if (c.m->is("FrobNorm")) s += v * v;
            else if (x == y) s += v;
        }
    return round_to(c.m->is("FrobNorm") ? std::sqrt(s) : s, c.m->elem_size());
}

// Result element (i, j) as stored, of object n.
double want(const Call& c, unsigned n, unsigned i, unsigned j) {
    if (c.m->is("Add") || c.m->is("Sub") || is_constant_product(*c.m)) return combined(c, n, i, j);
    if (is_matrix_product(*c.m)) return expected_element(c, n, i, j);
    if (c.m->is("Mul") || c.m->is("Gaxpy")) return matvec(c, n, j);
    if (c.m->is("Trace") || c.m->is("FrobNorm")) return characteristic(c, n);
    if (c.m->is("LoadIdentity")) return j == n * c.height + i ? 1.0 : 0.0;
    return vector_algebra(c, n, j);
}

// The source element a data movement copies into destination element (i, j) of object n.
const unsigned char* moved_from(Call& c, unsigned n, unsigned i, unsigned j) {
    Placed& src = c.op("src");
    const unsigned obj = src.array ? n : 0;
    if (c.m->is("Extract") && std::string(c.m->layout) == "PS2") {  // entry by entry, transposed or not
        const unsigned k = i * c.op("dst").cols() + j;
        return src.address(obj, k / src.cols(), k % src.cols());
    }
    const bool swapped = c.m->is("Transpose") || (c.m->is("Extract") && is_transposed_kind(c.kind_of("src").kind));
    return swapped ? src.address(obj, j, i) : src.address(obj, i, j);
}

// Every third source element of a movement becomes a signalling NaN of random payload and
// sign, so that a move through arithmetic shows.
void plant_signalling_nans(Placed& p, Rng& rng) {
    for (unsigned n = 0; n < p.count(); ++n)
        for (unsigned i = 0; i < p.rows(); ++i)
            for (unsigned j = (n + i) % 3; j < p.cols(); j += 3) {
                const std::uint64_t bits = p.esize == 4 ? 0x7f800001u | (std::uint32_t(rng()) & 0x803ffffeu)
                                                        : 0x7ff0000000000001ull | (rng() & 0x8007fffffffffffeull);
                std::memcpy(p.address(n, i, j), &bits, p.esize);  // little-endian: the low bytes
            }
}

void check_member(const MemberInfo& m, bool negative) {
    Rng rng(std::hash<std::string>{}(m.name) + negative);
    const unsigned count = 3;
    Call c = make_call(m, rng, count, random_sizes(m, rng, count), Placement{negative, true});
    const bool movement = c.m->is("Copy") || c.m->is("Extract") || c.m->is("Transpose");
    if (movement) plant_signalling_nans(c.op("src"), rng);
    c.snapshot_all();
    ASSERT_EQ(c.run(), olvResultOk) << m.name;
    const std::string what = std::string(m.name) + (negative ? " (negative strides) " : " ");
    for (const auto& o : c.info) {
        Placed& p = c.op(o.role);
        if (o.access == 'r') {
            EXPECT_FALSE(p.any_changed()) << what << "wrote into " << o.role;
            continue;
        }
        EXPECT_FALSE(p.changed_outside_elements()) << what << "wrote outside " << o.role;
        for (unsigned n = 0; n < p.count(); ++n)
            for (unsigned i = 0; i < p.rows(); ++i)
                for (unsigned j = 0; j < p.cols(); ++j) {
                    const std::string at = what + "object " + std::to_string(n) + " element (" + std::to_string(i) +
                                           ", " + std::to_string(j) + ")";
                    if (movement) {
                        ASSERT_EQ(std::memcmp(p.address(n, i, j), moved_from(c, n, i, j), p.esize), 0) << at;
                        continue;
                    }
                    const double w = want(c, n, i, j);
                    ASSERT_TRUE(same_bits(p.get(n, i, j), w, p.esize)) << at << ": got " << p.get(n, i, j) << ", want " << w;
                }
    }
}

TEST(ResultsSweep, EveryMemberMatchesItsReference) {
    const std::string families = " Add Sub Mul Gaxpy DotProduct L2Norm CrossProduct Saxpy LComb Trace FrobNorm "
                                 "Copy Extract LoadIdentity Transpose ";
    int checked = 0;
    for (const auto& m : members()) {
        if (families.find(" " + std::string(m.family) + " ") == std::string::npos) continue;
        check_member(m, false);
        check_member(m, true);
        ++checked;
    }
    EXPECT_EQ(checked, 840 + 1230 + 1530 + 90 + 642 + 180 + 159);
}

}  // namespace
}  // namespace olvmtest
