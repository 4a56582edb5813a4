#include "models.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <numeric>

namespace olvmtest {

namespace {

// LU and QR test against the single-precision epsilon in both types.
constexpr double threshold = 1.1920928955078125e-07;

// What one object leaves in one written operand: values compared bit for bit, or, where
// `near` is set, the whole object tested within a tolerance.
struct Out {
    Mat want;
    std::function<bool(const Mat&)> near;
};
using Outs = std::map<std::string, Out>;

double element(const Call& c, const std::string& role, unsigned n, unsigned i, unsigned j) {
    const Placed& p = *c.ops.at(role);
    const unsigned obj = p.count() > 1 ? n : 0;
    if (c.kind_of(role).kind != "index") return p.get(obj, i, j);
    std::uint32_t v;
    std::memcpy(&v, p.address(obj, i, j), 4);
    return v;
}

// LU: pivot search through the index vector (a later row replaces the candidate unless
// the candidate is at least as large: ties keep the earlier row, NaN is replaced), stored
// rounded multipliers, updates rounded on store. Array objects after the first test, as
// their last pivot, column (size - 1) + n * size of the last stored row (tables: row
// r + n, the last column), wherever that lies in object n's destination.
OlvResult lu_decomp(const Call& c, unsigned n, Outs& out) {
    const std::size_t es = c.m->elem_size();
    const unsigned size = c.width;
    Mat d = read(c, "src", n), r(1, size);
    std::iota(r.v.begin(), r.v.end(), 0.0);
    auto D = [&](unsigned i, unsigned j) -> double& { return d(unsigned(r.v[i]), j); };
    OlvResult code = olvResultOk;
    for (unsigned k = 0; k + 1 < size && code == olvResultOk; ++k) {
        unsigned p = k;
        for (unsigned i = k + 1; i < size; ++i)
            if (!(std::fabs(D(p, k)) >= std::fabs(D(i, k)))) p = i;
        std::swap(r.v[k], r.v[p]);
        const double v = D(k, k);
        if (threshold > std::fabs(v)) code = olvResultZeroDivisor;
        for (unsigned i = k + 1; i < size && code == olvResultOk; ++i) {
            const double l = D(i, k) = round_to(D(i, k) / v, es);
            for (unsigned j = k + 1; j < size; ++j) D(i, j) = round_to(D(i, j) + (-l) * D(k, j), es);
        }
    }
    const bool table = c.ops.at("dst")->layout.find('P') != std::string::npos;
    const unsigned i = unsigned(r.v[size - 1]) + (table ? n : 0), j = size - 1 + (table ? 0 : n * size);
    if (code == olvResultOk && threshold > std::fabs(i < size && j < size ? d(i, j) : element(c, "dst", n, i, j)))
        code = olvResultZeroDivisor;
    out["dst"].want = d;
    out["index"].want = r;
    return code;
}

// Forward substitution through the index vector, then backward; each x[i] rounded once.
OlvResult lu_solve(const Call& c, unsigned n, Outs& out) {
    const std::size_t es = c.m->elem_size();
    const unsigned size = c.width;
    const Mat f = read(c, "src", n), b = read(c, "src2", n), r = read(c, "index", n);
    Mat x(1, size);
    auto F = [&](unsigned i, unsigned j) { return f(unsigned(r.v[i]), j); };
    for (unsigned i = 0; i < size; ++i) {
        double s = 0.0;
        for (unsigned j = 0; j < i; ++j) s += F(i, j) * x.v[j];
        x.v[i] = round_to(b.v[unsigned(r.v[i])] - s, es);
    }
    for (unsigned i = size; i-- > 0;) {
        double s = 0.0;
        for (unsigned j = i + 1; j < size; ++j) s += F(i, j) * x.v[j];
        x.v[i] = round_to((x.v[i] - s) / F(i, i), es);
    }
    out["dst"].want = x;
    return olvResultOk;
}

unsigned reflectors(unsigned w, unsigned h) { return w == h ? w - 1 : w; }

// Householder steps in double, stored values rounded: the squared column sum against the
// threshold, the sign that adds magnitudes (-sigma at a zero diagonal).
OlvResult qr_decomp(const Call& c, unsigned n, Outs& out) {
    const std::size_t es = c.m->elem_size();
    Mat& d = out["dst"].want = read(c, "src", n);
    std::vector<double> v(d.h);
    for (unsigned k = 0; k < reflectors(d.w, d.h); ++k) {
        double sum = 0.0;
        for (unsigned i = k; i < d.h; ++i) sum += d(i, k) * d(i, k);
        if (threshold > std::fabs(sum)) return olvResultZeroDivisor;
        const double sigma = std::sqrt(sum), cf = 1.0 / (0.0 >= d(k, k) ? d(k, k) - sigma : d(k, k) + sigma);
        double norm = 1.0;
        v[k] = 1.0;
        for (unsigned i = k + 1; i < d.h; ++i) v[i] = round_to(d(i, k) * cf, es), norm += (d(i, k) * cf) * (d(i, k) * cf);
        for (unsigned j = k; j < d.w; ++j) {
            double s = 0.0;
            for (unsigned i = k; i < d.h; ++i) s += d(i, j) * v[i];
            s *= -2.0 / norm;
            for (unsigned i = k; i < d.h; ++i) d(i, j) = round_to(v[i] * s + d(i, j), es);
        }
        for (unsigned i = k + 1; i < d.h; ++i) d(i, k) = v[i];
    }
    return olvResultOk;
}

// The solve: the buffer y becomes Q^T b (one buffer: the last object's), then R x = y.
OlvResult qr_solve(const Call& c, unsigned n, Outs& out) {
    const std::size_t es = c.m->elem_size();
    const Mat d = read(c, "src", n);
    Mat &y = out["buffer"].want = read(c, "src2", n), &x = out["dst"].want = Mat(1, d.w);
    for (unsigned k = 0; k < reflectors(d.w, d.h); ++k) {
        double norm = 1.0, s = y.v[k];
        for (unsigned i = k + 1; i < d.h; ++i) norm += d(i, k) * d(i, k), s += d(i, k) * y.v[i];
        const double t = s * (-2.0 / norm);
        y.v[k] = round_to(y.v[k] + t, es);
        for (unsigned i = k + 1; i < d.h; ++i) y.v[i] = round_to(d(i, k) * t + y.v[i], es);
    }
    for (unsigned i = d.w; i-- > 0;) {
        double s = 0.0;
        for (unsigned j = i + 1; j < d.w; ++j) s += d(i, j) * x.v[j];
        x.v[i] = round_to((y.v[i] - s) / d(i, i), es);
    }
    return olvResultOk;
}

// The elimination Det and Invert share: rows through an index vector, a later row taken
// only when strictly larger, multipliers unrounded, updates rounded on store; pivots
// before the last fail below the type's epsilon, the last one also at it.
double epsilon(std::size_t es) { return es == 4 ? 0x1p-23 : 0x1p-52; }

struct Elimination {
    bool failed = false;         // a pivot before the last failed (elimination stopped)
    std::vector<double> pivots;  // those that passed
    double last = 0, sign = 1;   // the last diagonal value as it then stands; exchanges' sign
};

Elimination eliminate(Mat w, std::size_t es) {
    std::vector<unsigned> r(w.h);
    std::iota(r.begin(), r.end(), 0u);
    Elimination e;
    for (unsigned k = 0; k + 1 < w.h && !e.failed; ++k) {
        unsigned best = k;
        for (unsigned j = k + 1; j < w.h; ++j)
            if (std::fabs(w(r[j], k)) > std::fabs(w(r[best], k))) best = j;
        if (best != k) std::swap(r[k], r[best]), e.sign = -e.sign;
        const double p = w(r[k], k);
        e.failed = std::fabs(p) < epsilon(es);
        for (unsigned j = k + 1; j < w.h && !e.failed; ++j)
            for (unsigned c = k + 1; c < w.h; ++c) w(r[j], c) = round_to(w(r[j], c) - w(r[j], k) / p * w(r[k], c), es);
        if (!e.failed) e.pivots.push_back(p);
    }
    e.last = w(r[w.h - 1], w.h - 1);
    return e;
}

// Determinant and permanent of rows `row`.. over the columns in `cols`, by cofactors.
std::pair<long double, long double> expansion(const Mat& a, unsigned row, unsigned cols) {
    if (row == a.h) return {1.0L, 1.0L};
    long double d = 0, p = 0, s = 1;
    for (unsigned c = 0; c < a.w; ++c) {
        if (!(cols & (1u << c))) continue;
        const auto [md, mp] = expansion(a, row + 1, cols & ~(1u << c));
        d += s * a(row, c) * md, p += std::fabs(a(row, c)) * mp, s = -s;
    }
    return {d, p};
}

// Generic orders: the result holds each partial product of the pivots rounded; the last
// product goes on unrounded. Arrays whose elimination stops early multiply 0 by the last
// value. Fixed orders: the extended-precision expansion, within what their grouping allows.
OlvResult det(const Call& c, unsigned n, Outs& out) {
    const std::size_t es = c.m->elem_size();
    const Mat a = read(c, "src", n);
    Out& o = out[c.ops.count("dst") ? "dst" : "dstVal"];
    if (c.m->size) {
        const auto [d, perm] = expansion(a, 0, (1u << a.w) - 1);
        const long double tol = 64 * 0x1p-53L * perm + (es == 4 ? 0x1p-24L * std::fabs(d) : 0);
        o.near = [d = d, tol](const Mat& got) { return std::fabs(got.v[0] - d) <= tol; };
        return olvResultOk;
    }
    const Elimination e = eliminate(a, es);
    double held = 1, product = 1;
    for (double p : e.pivots) product = held * p, held = round_to(product, es);
    if (e.failed) product = 0.0;
    const bool zero = (e.failed && !is_array_member(*c.m)) || std::fabs(e.last) <= epsilon(es);
    o.want = Mat(1, 1, {zero ? 0.0 : round_to(product * (e.last * e.sign), es)});
    return olvResultOk;
}

// Generic Invert: the determinant from the elimination (the pivots' product unrounded),
// then each cofactor from its minor's, 0 where that fails; order 1's empty minor is 1.
bool eliminated_det(const Mat& a, std::size_t es, double& det) {
    const Elimination e = eliminate(a, es);
    if (e.failed || std::fabs(e.last) <= epsilon(es)) return false;
    det = std::accumulate(e.pivots.begin(), e.pivots.end(), 1.0, std::multiplies<double>()) * (e.last * e.sign);
    return true;
}

bool invert_generic(const Mat& a, std::size_t es, Mat& x) {
    const unsigned n = a.h;
    double det = 0.0;
    if (!eliminated_det(a, es, det)) return false;
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j) {
            Mat minor(n - 1, n - 1);
            for (unsigned e = 0; e < minor.v.size(); ++e) {
                const unsigned r = unsigned(e) / (n - 1), k = unsigned(e) % (n - 1);
                minor.v[e] = a(r < i ? r : r + 1, k < j ? k : k + 1);
            }
            double m = 1.0;
            if (n > 1 && !eliminated_det(minor, es, m)) m = 0.0;
            x(j, i) = round_to((m * (1.0 / det)) * ((i + j) % 2 ? -1.0 : 1.0), es);
        }
    return true;
}

double band(std::size_t es) { return es == 4 ? 1e-07 : 1e-15; }
bool inside_band(double d, std::size_t es) { return -band(es) < d && d < band(es); }

bool invert3(const Mat& A, std::size_t es, Mat& x) {
    const double d = A(0, 0) * (A(1, 1) * A(2, 2) - A(1, 2) * A(2, 1)) + (A(1, 2) * A(2, 0) - A(2, 2) * A(1, 0)) * A(0, 1) +
                     (A(1, 0) * A(2, 1) - A(1, 1) * A(2, 0)) * A(0, 2);
    if (inside_band(d, es)) return false;
    for (unsigned r = 0; r < 3; ++r)  // the cofactor of (c, r), from the rows and columns after them
        for (unsigned c = 0; c < 3; ++c) {
            const unsigned c1 = (c + 1) % 3, c2 = (c + 2) % 3, r1 = (r + 1) % 3, r2 = (r + 2) % 3;
            x(r, c) = round_to((A(c1, r1) * A(c2, r2) - A(c1, r2) * A(c2, r1)) * (1.0 / d), es);
        }
    return true;
}

// x: the scaled adjugate, or the stored adjugate itself when the band test fails.
bool invert4(const Mat& a, std::size_t es, Mat& x) {
    for (unsigned r = 0; r < 4; ++r)
        for (unsigned c = 0; c < 4; ++c) {
            double b[9];
            for (unsigned k = 0, i = 0; i < 4; ++i)
                for (unsigned j = 0; j < 4; ++j)
                    if (i != c && j != r) b[k++] = a(i, j);
            const double minor = b[0] * (b[4] * b[8] - b[5] * b[7]) - b[3] * (b[1] * b[8] - b[2] * b[7]) +
                                 b[6] * (b[1] * b[5] - b[2] * b[4]);
            x(r, c) = round_to((r + c) % 2 ? -minor : minor, es);
        }
    const double d = a(1, 0) * x(0, 1) + a(2, 0) * x(0, 2) + a(3, 0) * x(0, 3) + a(0, 0) * x(0, 0);
    if (inside_band(d, es)) return false;
    for (double& v : x.v) v = round_to(v * (1.0 / d), es);
    return true;
}

// max |(X A - I)_ij| relative to |X| |A| (infinity norms).
double residual(const Mat& a, const Mat& x) {
    double worst = 0.0, na = 0.0, nx = 0.0;
    for (unsigned i = 0; i < a.h; ++i) {
        double ra = 0.0, rx = 0.0;
        for (unsigned j = 0; j < a.h; ++j) {
            double s = i == j ? -1.0 : 0.0;
            for (unsigned k = 0; k < a.h; ++k) s += x(i, k) * a(k, j);
            worst = std::max(worst, std::fabs(s)), ra += std::fabs(a(i, j)), rx += std::fabs(x(i, j));
        }
        na = std::max(na, ra), nx = std::max(nx, rx);
    }
    return worst / (na * nx);
}

// Generic, 3x3 and 4x4 bit for bit (a failing 4x4 leaves its adjugate, the others
// nothing); 5x5 and 6x6 by inv(A) A = I within a tolerance.
OlvResult invert(const Call& c, unsigned n, Outs& out) {
    const std::size_t es = c.m->elem_size();
    const Mat a = read(c, "src", n);
    Mat x(a.h, a.w);
    if (a.h >= 5 && c.m->size) {
        out["dst"].near = [a, es](const Mat& got) { return residual(a, got) <= 8.0 * a.h * unit_roundoff(es); };
        return olvResultOk;
    }
    const bool ok = !c.m->size ? invert_generic(a, es, x) : a.h == 3 ? invert3(a, es, x) : invert4(a, es, x);
    if (ok || c.m->size == 4) out["dst"].want = x;
    return ok ? olvResultOk : olvResultZeroDivisor;
}

const std::map<std::string, OlvResult (*)(const Call&, unsigned, Outs&)> models = {
    {"LUDecomp", lu_decomp}, {"LUBackSubst", lu_solve}, {"QRDecomp", qr_decomp},
    {"QRBackSubst", qr_solve}, {"Det", det}, {"Invert", invert}};

}  // namespace

Mat read(const Call& c, const std::string& role, unsigned n, unsigned rows, unsigned cols) {
    const Placed& p = *c.ops.at(role);
    Mat m(rows ? rows : p.rows(), cols ? cols : p.cols());
    for (unsigned e = 0; e < m.v.size(); ++e) m.v[e] = element(c, role, n, e / m.w, e % m.w);
    return m;
}

void place(Call& c, const std::string& role, unsigned n, const Mat& m) {
    const bool index = c.kind_of(role).kind == "index";
    for (unsigned e = 0; e < m.v.size(); ++e) {
        const std::uint32_t k = index ? std::uint32_t(m.v[e]) : 0;
        if (index) std::memcpy(c.op(role).address(n, 0, e), &k, 4);
        else c.op(role).set(n, e / m.w, e % m.w, m.v[e]);
    }
}

::testing::AssertionResult holds(const Mat& got, const std::vector<double>& want, std::size_t esize, double scale) {
    const double u = unit_roundoff(esize);
    bool same = want.empty() || got.v.size() == want.size();
    for (std::size_t k = 0; same && k < want.size(); ++k)
        same = scale < 0 ? same_bits(got.v[k], want[k], esize)
                         : std::fabs(got.v[k] - want[k]) <= 8 * u * (want[k] == 0 ? 0 : std::max(std::fabs(want[k]), scale));
    if (same) return ::testing::AssertionSuccess();
    auto result = ::testing::AssertionFailure() << "got";
    for (double v : got.v) result << " " << v;
    return result << ", want " << ::testing::PrintToString(want);
}

OlvResult check_call(Call& c, const std::string& what) {
    c.snapshot_all();
    const OlvResult got = c.run();
    std::map<std::pair<std::string, unsigned>, Out> want;  // by role and placed object
    OlvResult code = olvResultOk;
    for (unsigned n = 0; n < c.count && code == olvResultOk; ++n) {
        Outs outs;
        code = models.at(c.m->family)(c, n, outs);
        for (auto& [role, o] : outs) want[{role, c.op(role).count() > 1 ? n : 0}] = o;
    }
    EXPECT_EQ(got, code) << what;
    for (const OperandInfo& o : c.info) {
        const Placed& p = c.op(o.role);
        EXPECT_FALSE(o.access == 'r' && p.any_changed()) << what << " wrote into " << o.role;
        if (o.access == 'r') continue;
        EXPECT_FALSE(p.changed_outside_elements()) << what << " wrote outside the elements of " << o.role;
        for (unsigned k = 0; k < p.count(); ++k) {
            const auto it = want.find({o.role, k});
            const std::string at = what + ": " + o.role + " of object " + std::to_string(k);
            if (it != want.end() && it->second.near) {
                EXPECT_TRUE(it->second.near(read(c, o.role, k))) << at << " beyond the tolerance";
                continue;
            }
            const Mat* w = it == want.end() ? nullptr : &it->second.want;
            if (!w && o.access == 's') continue;
            bool same = true;
            for (unsigned i = 0; i < p.rows() && same; ++i)
                for (unsigned j = 0; j < p.cols() && same; ++j) {
                    const bool modelled = w && i < w->h && j < w->w;
                    const double g = element(c, o.role, k, i, j), x = modelled ? (*w)(i, j) : 0;
                    // NaN signs and payloads are not modelled.
                    same = modelled ? same_bits(g, x, p.esize) || (g != g && x != x) : !p.element_changed(k, i, j);
                    if (!same) ADD_FAILURE() << at << " (" << i << ", " << j << "): got " << g << ", want "
                                             << (modelled ? testing::Message() << x : testing::Message() << "it untouched");
                }
        }
    }
    return got;
}

int sweep(const std::string& family) {
    for (const MemberInfo* m : members_of(family)) {
        const bool qr = family.compare(0, 2, "QR") == 0, blocks = m->is("Invert") && m->size >= 5;
        const bool degrade = family.find("BackSubst") == std::string::npos && !blocks;
        for (unsigned pass = 0; pass < (degrade ? 5u : 2u); ++pass) {
            Rng rng(std::hash<std::string>{}(m->name) + pass);
            const unsigned h = 1 + unsigned(rng() % 7), w = qr ? 1 + unsigned(rng() % h) : h;
            Call c = make_call(*m, rng, pass < 2 ? 1 + unsigned(rng() % 4) : 3, {w, h}, Placement{pass % 2 == 1, true});
            Placed& s = c.op("src");
            for (unsigned n = 0; n < s.count(); ++n) {
                const unsigned turn = (n + pass) % 3;  // pass 2 on: 0 ties, 1 zero last column, 2 zero first column
                for (unsigned i = 0; pass >= 2 && i < s.rows(); ++i)
                    s.set(n, i, turn == 1 ? s.cols() - 1 : 0, turn ? 0.0 : (rng() & 1 ? -1 : 1) * std::fabs(s.get(n, 0, 0)));
                const Mat a = read(c, "src", n);  // 5x5 and 6x6: columns rotated, so that the inversion pivots
                for (unsigned e = 0; blocks && e < a.v.size(); ++e) s.set(n, e / a.w, (e + 1) % a.w, a.v[e]);
            }
            check_call(c, std::string(m->name) + " pass " + std::to_string(pass) + " (" + std::to_string(c.height) +
                              "x" + std::to_string(c.width) + ", " + std::to_string(c.count) + " objects)");
        }
    }
    return int(members_of(family).size());
}

Worked run_on(const MemberInfo& m, const std::vector<std::pair<std::string, Mat>>& in, unsigned count,
              const std::function<void(Call&)>& prepare) {
    Rng rng(std::hash<std::string>{}(m.name));
    const auto src = std::find_if(in.begin(), in.end(), [](const auto& x) { return x.first == "src"; });
    Worked r{make_call(m, rng, count, {src->second.w, src->second.h}), olvResultOk};
    for (const auto& [role, value] : in)
        for (unsigned n = 0; n < r.c.op(role).count(); ++n) place(r.c, role, n, value);
    if (prepare) prepare(r.c), r.c.snapshot_all();
    r.code = prepare ? r.c.run() : check_call(r.c, m.name);
    return r;
}

}  // namespace olvmtest
