#include "lu_systems.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace olvmtest {

namespace {

// k/256 for k in [lo, hi].
double fraction(Rng& rng, int lo, int hi) {
    return std::uniform_int_distribution<int>(lo, hi)(rng) / 256.0;
}

std::vector<unsigned> shuffled(unsigned n, Rng& rng) {
    std::vector<unsigned> p(n);
    std::iota(p.begin(), p.end(), 0u);
    std::shuffle(p.begin(), p.end(), rng);
    return p;
}

// Logical factors of packed storage: L(i, k) (unit diagonal) and U(k, j).
double lower(const Dense& s, const unsigned* r, unsigned i, unsigned k) {
    return k == i ? 1.0 : (k < i ? s(r[i], k) : 0.0);
}
double upper(const Dense& s, const unsigned* r, unsigned k, unsigned j) {
    return j >= k ? s(r[k], j) : 0.0;
}

}  // namespace

PivotedMatrix random_pivoted_matrix(unsigned size, Rng& rng) {
    Dense m(size);
    for (unsigned j = 0; j < size; ++j) {
        double off = 0.0;
        for (unsigned i = 0; i < size; ++i) {
            if (i == j) continue;
            m(i, j) = fraction(rng, -256, 256);
            off += std::fabs(m(i, j));
        }
        const double diag = off + 1.0 + fraction(rng, 0, 256);
        m(j, j) = (rng() & 1) ? -diag : diag;
    }
    PivotedMatrix out{Dense(size), shuffled(size, rng)};
    for (unsigned i = 0; i < size; ++i)
        for (unsigned j = 0; j < size; ++j) out.a(out.rows[i], j) = m(i, j);
    return out;
}

PackedFactors random_factors(unsigned size, Rng& rng) {
    PackedFactors f{Dense(size), shuffled(size, rng), Dense(size)};
    const unsigned* r = f.index.data();
    for (unsigned i = 0; i < size; ++i)
        for (unsigned j = 0; j < size; ++j) {
            double v = fraction(rng, -256, 256);
            if (j == i) v = ((rng() & 1) ? -1.0 : 1.0) * (2.0 + fraction(rng, 0, 512));
            f.stored(r[i], j) = v;
        }
    for (unsigned i = 0; i < size; ++i)
        for (unsigned j = 0; j < size; ++j) {
            double s = 0.0;
            for (unsigned k = 0; k < size; ++k) s += lower(f.stored, r, i, k) * upper(f.stored, r, k, j);
            f.a(r[i], j) = s;
        }
    return f;
}

double unit_roundoff(std::size_t esize) { return esize == 4 ? 0x1p-24 : 0x1p-53; }

double factor_error(const Dense& a, const Dense& stored, const unsigned* r, std::size_t esize) {
    const unsigned n = a.n;
    const double gamma = 4.0 * n * unit_roundoff(esize);
    double worst = 0.0;
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j) {
            double lu = 0.0, bound = 0.0;
            for (unsigned k = 0; k < n; ++k) {
                const double t = lower(stored, r, i, k) * upper(stored, r, k, j);
                lu += t;
                bound += std::fabs(t);
            }
            const double err = std::fabs(a(r[i], j) - lu);
            if (std::isnan(err)) return HUGE_VAL;
            if (err > 0) worst = std::max(worst, bound > 0 ? err / (gamma * bound) : HUGE_VAL);
        }
    return worst;
}

double solve_error(const PackedFactors& f, const std::vector<double>& x,
                   const std::vector<double>& b, std::size_t esize) {
    const unsigned n = f.a.n;
    const unsigned* r = f.index.data();
    const double gamma = 4.0 * n * unit_roundoff(esize);
    double worst = 0.0;
    for (unsigned i = 0; i < n; ++i) {
        double ax = 0.0, bound = std::fabs(b[r[i]]);
        for (unsigned j = 0; j < n; ++j) {
            ax += f.a(r[i], j) * x[j];
            double lu = 0.0;
            for (unsigned k = 0; k < n; ++k)
                lu += std::fabs(lower(f.stored, r, i, k) * upper(f.stored, r, k, j));
            bound += lu * std::fabs(x[j]);
        }
        const double err = std::fabs(b[r[i]] - ax);
        if (std::isnan(err)) return HUGE_VAL;
        if (err > 0) worst = std::max(worst, bound > 0 ? err / (gamma * bound) : HUGE_VAL);
    }
    return worst;
}

bool is_permutation(const unsigned* r, unsigned n) {
    std::vector<bool> seen(n, false);
    for (unsigned i = 0; i < n; ++i) {
        if (r[i] >= n || seen[r[i]]) return false;
        seen[r[i]] = true;
    }
    return true;
}

}  // namespace olvmtest
