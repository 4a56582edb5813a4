// Every QRDecomp and QRBackSubst member, called through its exported symbol with operands
// placed with random strides, offsets and table orders (a second pass steps backwards
// through memory), tall and square shapes:
//   - results, result codes and the solver's buffer (Q^T b) equal, bit for bit, a model of
//     the Householder steps written here in double with the element type's rounding;
//   - the stored factors reproduce the matrix (Q R = A), and a solution agrees with the
//     normal equations of the matrix the factors describe, its residual's norm with the
//     buffer's entries past `width`;
//   - nothing is written but the destination and the buffer.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "calls.h"

namespace olvmtest {
namespace {

constexpr double threshold = 1.1920928955078125e-07;

struct Mat {
    unsigned h = 0, w = 0;
    std::vector<double> v;
    Mat(unsigned rows, unsigned cols) : h(rows), w(cols), v(std::size_t(rows) * cols, 0.0) {}
    double& operator()(unsigned i, unsigned j) { return v[std::size_t(i) * w + j]; }
    double operator()(unsigned i, unsigned j) const { return v[std::size_t(i) * w + j]; }
};

unsigned reflectors(unsigned w, unsigned h) { return w == h ? w - 1 : w; }

// The decomposition, in place on d, rounding every stored value to the element type.
OlvResult model_decomp(Mat& d, std::size_t es) {
    std::vector<double> v(d.h);
    for (unsigned k = 0; k < reflectors(d.w, d.h); ++k) {
        double sum = 0.0;
        for (unsigned i = k; i < d.h; ++i) sum += d(i, k) * d(i, k);
        if (threshold > std::fabs(sum)) return olvResultZeroDivisor;
        const double sigma = std::sqrt(sum);
        const double c = 1.0 / (0.0 >= d(k, k) ? d(k, k) - sigma : d(k, k) + sigma);
        double norm = 1.0;
        v[k] = 1.0;
        for (unsigned i = k + 1; i < d.h; ++i) {
            v[i] = round_to(d(i, k) * c, es);
            norm += (d(i, k) * c) * (d(i, k) * c);
        }
        const double beta = -2.0 / norm;
        for (unsigned j = k; j < d.w; ++j) {
            double s = 0.0;
            for (unsigned i = k; i < d.h; ++i) s += d(i, j) * v[i];
            s *= beta;
            for (unsigned i = k; i < d.h; ++i) d(i, j) = round_to(v[i] * s + d(i, j), es);
        }
        for (unsigned i = k + 1; i < d.h; ++i) d(i, k) = v[i];
    }
    return olvResultOk;
}

// The solve from packed factors d: y (on entry b) becomes Q^T b, x the solution.
void model_solve(const Mat& d, std::vector<double>& y, std::vector<double>& x, std::size_t es) {
    for (unsigned k = 0; k < reflectors(d.w, d.h); ++k) {
        double norm = 1.0, s = y[k];
        for (unsigned i = k + 1; i < d.h; ++i) norm += d(i, k) * d(i, k);
        for (unsigned i = k + 1; i < d.h; ++i) s += d(i, k) * y[i];
        const double t = s * (-2.0 / norm);
        y[k] = round_to(y[k] + t, es);
        for (unsigned i = k + 1; i < d.h; ++i) y[i] = round_to(d(i, k) * t + y[i], es);
    }
    x.assign(d.w, 0.0);
    for (unsigned i = d.w; i-- > 0;) {
        double s = 0.0;
        for (unsigned j = i + 1; j < d.w; ++j) s += d(i, j) * x[j];
        x[i] = round_to((y[i] - s) / d(i, i), es);
    }
}

// Q R in double, Q from the stored reflectors of the packed factors d.
Mat product_qr(const Mat& d) {
    Mat m(d.h, d.w);
    for (unsigned i = 0; i < d.h; ++i)
        for (unsigned j = i; j < d.w; ++j) m(i, j) = d(i, j);
    for (unsigned k = reflectors(d.w, d.h); k-- > 0;) {
        double norm = 1.0;
        for (unsigned i = k + 1; i < d.h; ++i) norm += d(i, k) * d(i, k);
        for (unsigned j = 0; j < d.w; ++j) {
            double s = m(k, j);
            for (unsigned i = k + 1; i < d.h; ++i) s += d(i, k) * m(i, j);
            s *= -2.0 / norm;
            m(k, j) += s;
            for (unsigned i = k + 1; i < d.h; ++i) m(i, j) += d(i, k) * s;
        }
    }
    return m;
}

double frob(const Mat& a) {
    double s = 0.0;
    for (double e : a.v) s += e * e;
    return std::sqrt(s);
}

double norm2(const std::vector<double>& v, unsigned from = 0) {
    double s = 0.0;
    for (std::size_t i = from; i < v.size(); ++i) s += v[i] * v[i];
    return std::sqrt(s);
}

// The solution of A^T A z = A^T b, by elimination in double (A^T A is positive definite).
std::vector<double> normal_equations(const Mat& a, const std::vector<double>& b) {
    const unsigned w = a.w;
    Mat g(w, w + 1);
    for (unsigned r = 0; r < w; ++r)
        for (unsigned i = 0; i < a.h; ++i) {
            for (unsigned c = 0; c < w; ++c) g(r, c) += a(i, r) * a(i, c);
            g(r, w) += a(i, r) * b[i];
        }
    for (unsigned k = 0; k < w; ++k)
        for (unsigned r = k + 1; r < w; ++r) {
            const double l = g(r, k) / g(k, k);
            for (unsigned c = k; c <= w; ++c) g(r, c) -= l * g(k, c);
        }
    std::vector<double> z(w);
    for (unsigned r = w; r-- > 0;) {
        double s = g(r, w);
        for (unsigned c = r + 1; c < w; ++c) s -= g(r, c) * z[c];
        z[r] = s / g(r, r);
    }
    return z;
}

Mat object_of(const Call& c, const std::string& role, unsigned n) {
    Mat m(c.height, c.width);
    for (unsigned i = 0; i < c.height; ++i)
        for (unsigned j = 0; j < c.width; ++j) m(i, j) = c.used(role, n, i, j);
    return m;
}

std::vector<double> vector_of(const Placed& p, unsigned n) {
    std::vector<double> v(p.cols());
    for (unsigned k = 0; k < p.cols(); ++k) v[k] = p.get(n, 0, k);
    return v;
}

// Generic members: a random tall or square shape.
Call sized_call(const MemberInfo& m, bool negative) {
    Rng rng(std::hash<std::string>{}(m.name) + negative);
    const unsigned h = 1 + static_cast<unsigned>(rng() % 7), w = 1 + static_cast<unsigned>(rng() % h);
    Placement how;
    how.negative = negative;
    Call c = make_call(m, rng, 1 + static_cast<unsigned>(rng() % 4), {w, h}, how);
    c.snapshot_all();
    return c;
}

void check_decomp(const MemberInfo& m, bool negative) {
    Call c = sized_call(m, negative);
    const std::size_t es = m.elem_size();
    const double u = unit_roundoff(es);
    const OlvResult got = c.run();
    OlvResult want = olvResultOk;
    for (unsigned n = 0; n < c.count; ++n) {
        const Mat a = object_of(c, "src", n);
        Mat d = a;
        if (want == olvResultOk) want = model_decomp(d, es);
        for (unsigned i = 0; i < c.height; ++i)
            for (unsigned j = 0; j < c.width; ++j)
                ASSERT_TRUE(same_bits(c.op("dst").get(n, i, j), d(i, j), es))
                    << m.name << " " << c.height << "x" << c.width << " object " << n << " (" << i << ", " << j
                    << "): got " << c.op("dst").get(n, i, j) << ", want " << d(i, j);
        const Mat qr = product_qr(d);
        for (std::size_t k = 0; k < a.v.size(); ++k)
            ASSERT_LE(std::fabs(qr.v[k] - a.v[k]), 8.0 * a.h * a.w * u * frob(a)) << m.name << " Q R = A";
    }
    EXPECT_EQ(got, want) << m.name;
    EXPECT_FALSE(c.op("src").any_changed()) << m.name << " wrote into its source";
    EXPECT_FALSE(c.op("dst").changed_outside_elements()) << m.name << " wrote outside its destination";
    EXPECT_FALSE(c.op("buffer").changed_outside_elements()) << m.name << " wrote outside its buffer";
}

void check_solve(const MemberInfo& m, bool negative) {
    Call c = sized_call(m, negative);
    const std::size_t es = m.elem_size();
    const double u = unit_roundoff(es);
    ASSERT_EQ(c.run(), olvResultOk) << m.name;
    std::vector<double> y, x;
    for (unsigned n = 0; n < c.count; ++n) {
        const Mat d = object_of(c, "src", n);
        const std::vector<double> b = vector_of(c.op("src2"), n);
        y = b;
        model_solve(d, y, x, es);
        const std::vector<double> got = vector_of(c.op("dst"), n);
        for (unsigned j = 0; j < c.width; ++j)
            ASSERT_TRUE(same_bits(got[j], x[j], es))
                << m.name << " " << c.height << "x" << c.width << " object " << n << " x[" << j << "]: got "
                << got[j] << ", want " << x[j];

        // Least squares against the matrix the factors describe, computed in double.
        const Mat a = product_qr(d);
        const std::vector<double> z = normal_equations(a, b);
        std::vector<double> r = b;
        for (unsigned i = 0; i < c.height; ++i)
            for (unsigned j = 0; j < c.width; ++j) r[i] -= a(i, j) * x[j];
        const double scale = 16.0 * c.height * c.width * u * (norm2(b) + frob(a) * norm2(x));
        for (unsigned j = 0; j < c.width; ++j)
            ASSERT_LE(std::fabs(x[j] - z[j]), scale) << m.name << " x[" << j << "] against the normal equations";
        EXPECT_LE(std::fabs(norm2(y, c.width) - norm2(r)), scale) << m.name << " residual in the buffer";
    }
    // The one buffer holds Q^T b of the last object.
    for (unsigned i = 0; i < c.height; ++i)
        ASSERT_TRUE(same_bits(c.op("buffer").get(0, 0, i), y[i], es)) << m.name << " buffer[" << i << "]";
    for (const char* role : {"src", "src2"})
        EXPECT_FALSE(c.op(role).any_changed()) << m.name << " wrote into " << role;
    EXPECT_FALSE(c.op("dst").changed_outside_elements()) << m.name << " wrote outside its destination";
    EXPECT_FALSE(c.op("buffer").changed_outside_elements()) << m.name << " wrote outside its buffer";
}

void sweep(const std::string& family, void (*check)(const MemberInfo&, bool), int published) {
    int checked = 0;
    for (const auto& m : members()) {
        if (family != m.family) continue;
        check(m, false);
        check(m, true);
        ++checked;
    }
    EXPECT_EQ(checked, published);
}

TEST(QRSweep, EveryDecompositionMatchesTheModelAndReproducesItsMatrix) { sweep("QRDecomp", check_decomp, 90); }

TEST(QRSweep, EveryBackSubstitutionMatchesTheModelAndSolvesLeastSquares) {
    sweep("QRBackSubst", check_solve, 150);
}

}  // namespace
}  // namespace olvmtest
