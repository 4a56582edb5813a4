#include "reference.h"

#include <cmath>
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

}  // namespace

double reference(const Call& c, unsigned n, unsigned i, unsigned j) {
    if (c.m->is("Add") || c.m->is("Sub") || is_constant_product(*c.m)) return combined(c, n, i, j);
    if (is_matrix_product(*c.m)) return expected_element(c, n, i, j);
    if (c.m->is("Mul") || c.m->is("Gaxpy")) return matvec(c, n, j);
    if (c.m->is("Trace") || c.m->is("FrobNorm")) return characteristic(c, n);
    if (c.m->is("LoadIdentity")) return j == n * c.height + i ? 1.0 : 0.0;
    return vector_algebra(c, n, j);
}

}  // namespace olvmtest
