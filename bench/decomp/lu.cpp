// Rows of LU decomposition followed by back substitution: olvmLUDecomp_ma_<type>_<n>x<n>
// then olvmLUBackSubst_mava_<type>_<n>x<n>, orders 4 and 6, both element types, in the
// standard and L layouts. A row is "factor + solve" of every system of the array; the rows
// are named after the decomposition member. Peers on the same systems:
//   loop          one system at a time, factored and solved with the library's numerics
//                 (the same pivot rule, multipliers rounded once and stored, updates and
//                 substitution sums formed in double and rounded on store), compiled with
//                 the library's flags;
//   eigen         Eigen's PartialPivLU factor-and-solve per system, library flags;
//   eigen_native  the same built for this machine (-O3 -march=native).
// After its timing loop every row checks what it left: olvm and the loop must give the
// library's factors, index vectors and solutions bit for bit, Eigen's solutions must come
// within a small multiple of the rounding unit of them.
//
// The systems are well conditioned: off-dominant entries of magnitude 1/4 to 1, and in
// every row one entry of magnitude above n + 1, placed in a random column so that the
// elimination pivots.
//
// The array decompositions test the last pivot of matrix n at n * size elements past it,
// through the layout's addressing. With objects packed one after another that reads a later
// object's storage, or up to count * n elements past the last object: the factor storage
// carries that many spare elements set to one. The later objects it reads hold the factors
// of the previous call (or, on the first call, the fill), so every call after the first
// reads the same values; the rows check every call's result.
#include <olvm.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "decomp/lu.h"
#include "peers/decomp.h"
#include "support/operands.h"
#include "support/paths.h"
#include "support/rows.h"

namespace olvm_bench {
namespace {

template <class T>
using Kernel = bool (*)(const Systems<T>&);

template <class T, unsigned N>
struct Operands {
    ArrayOperand<T> a, f, b, x;
    std::vector<unsigned> index;

    Operands(Layout layout, std::size_t count)
        : a(layout, N, N, count, 1),
          f(layout, N, N, count, 2, std::size_t(N) * count),
          b(layout, 1, N, count, 3),
          x(layout, 1, N, count, 4),
          index(std::size_t(N) * count) {
        std::uint64_t s = 0x2545F4914F6CDD1Dull;
        auto next = [&s] {  // uniform in [0, 1)
            s ^= s << 13, s ^= s >> 7, s ^= s << 17;
            return double(s >> 11) * 0x1p-53;
        };
        const auto& v = a.view();
        for (std::size_t n = 0; n < count; ++n) {
            unsigned column[N];
            for (unsigned i = 0; i < N; ++i) column[i] = i;
            for (unsigned i = N - 1; i > 0; --i) std::swap(column[i], column[unsigned(next() * (i + 1))]);
            for (unsigned i = 0; i < N; ++i)
                for (unsigned j = 0; j < N; ++j) {
                    const double magnitude = j == column[i] ? N + 1 + next() : 0.25 + 0.75 * next();
                    v.at(n, i * N + j) = T(next() < 0.5 ? -magnitude : magnitude);
                }
        }
    }

    Systems<T> systems() const {
        return {a.view(), f.view(), b.view(), x.view(), const_cast<unsigned*>(index.data())};
    }
};

// The members of one element type and order, by layout.
template <class T>
struct Members {
    OlvResult (*decomp)(const T*, int, int, unsigned*, T*, int, int, unsigned);
    OlvResult (*subst)(const T*, int, int, const unsigned*, const T*, int, T*, int, unsigned);
    OlvResult (*decomp_l)(T* const*, int, int, unsigned*, T* const*, int, int, unsigned);
    OlvResult (*subst_l)(T* const*, int, int, const unsigned*, T* const*, int, T* const*, int, unsigned);
};

#define OLVM_BENCH_LU_MEMBERS(t, n)                                                            \
    Members<Olv##t> {                                                                          \
        olvmLUDecomp_ma_##t##_##n##x##n, olvmLUBackSubst_mava_##t##_##n##x##n,                 \
            olvmLUDecomp_ma_##t##_##n##x##n##_L, olvmLUBackSubst_mava_##t##_##n##x##n##_L      \
    }

template <class T, unsigned N>
Members<T> members();
template <> Members<float> members<float, 4>() { return OLVM_BENCH_LU_MEMBERS(32f, 4); }
template <> Members<float> members<float, 6>() { return OLVM_BENCH_LU_MEMBERS(32f, 6); }
template <> Members<double> members<double, 4>() { return OLVM_BENCH_LU_MEMBERS(64f, 4); }
template <> Members<double> members<double, 6>() { return OLVM_BENCH_LU_MEMBERS(64f, 6); }

template <class T, unsigned N>
bool library(const Systems<T>& s) {
    static const Members<T> m = members<T, N>();
    const auto count = unsigned(s.x.count);
    const int obj = s.a.obj_stride(), row = s.a.row_stride(), vec = s.b.obj_stride();
    if (s.x.layout == Layout::L)
        return m.decomp_l(s.a.table, 0, row, s.index, s.f.table, 0, row, count) == olvResultOk &&
               m.subst_l(s.f.table, 0, row, s.index, s.b.table, 0, s.x.table, 0, count) == olvResultOk;
    return m.decomp(s.a.base, obj, row, s.index, s.f.base, obj, row, count) == olvResultOk &&
           m.subst(s.f.base, obj, row, s.index, s.b.base, vec, s.x.base, vec, count) == olvResultOk;
}

#if defined(OLVM_FAST_PATHS)
// The current path's two batch kernels alone, on every system (the rows' counts are whole
// vectors on every path).
template <class T, unsigned N>
bool through_path(const Systems<T>& s) {
    const auto count = unsigned(s.x.count);
    const olvm::decomp::LUJob factor{N, count, place_of(s.a), place_of(s.f), s.index};
    const olvm::decomp::SolveJob solve{N, count, true, place_of(s.f), place_of(s.b), place_of(s.x), s.index};
    const auto& path = current_path();
    if ((sizeof(T) == 4 ? path.lu_batch_32f(&factor) : path.lu_batch_64f(&factor)) != count) return false;
    return (sizeof(T) == 4 ? path.solve_batch_32f(&solve) : path.solve_batch_64f(&solve)) == count;
}
#endif

template <class T>
bool too_small(T v) {
    return 1.1920928955078125e-07 > double(std::fabs(v));
}

// One system with the library's numerics: a (row-major) copied into f and eliminated
// there, rows addressed through the index vector r, then a x = b solved from the factors.
template <class T, unsigned N>
bool factor_and_solve(const T* a, const T* b, T* f, unsigned* r, T* x) {
    for (unsigned k = 0; k < N * N; ++k) f[k] = a[k];
    for (unsigned i = 0; i < N; ++i) r[i] = i;
    auto F = [&](unsigned i, unsigned j) -> T& { return f[r[i] * N + j]; };
    for (unsigned k = 0; k + 1 < N; ++k) {
        unsigned p = k;
        T m = std::fabs(F(k, k));
        for (unsigned i = k + 1; i < N; ++i)
            if (!(m >= std::fabs(F(i, k)))) m = std::fabs(F(i, k)), p = i;
        std::swap(r[k], r[p]);
        if (too_small(F(k, k))) return false;
        const double pivot = double(F(k, k));
        for (unsigned i = k + 1; i < N; ++i) {
            const T l = T(double(F(i, k)) / pivot);
            F(i, k) = l;
            for (unsigned j = k + 1; j < N; ++j) F(i, j) = T(double(F(i, j)) - double(l) * double(F(k, j)));
        }
    }
    if (too_small(F(N - 1, N - 1))) return false;

    x[0] = b[r[0]];
    for (unsigned i = 1; i < N; ++i) {
        double s = 0.0;
        for (unsigned j = 0; j < i; ++j) s += double(F(i, j)) * double(x[j]);
        x[i] = T(double(b[r[i]]) - s);
    }
    x[N - 1] = T(double(x[N - 1]) / double(F(N - 1, N - 1)));
    for (unsigned i = N - 1; i-- > 0;) {
        double s = 0.0;
        for (unsigned j = i + 1; j < N; ++j) s += double(F(i, j)) * double(x[j]);
        x[i] = T((double(x[i]) - s) / double(F(i, i)));
    }
    return true;
}

// The plain loop a user would write: factor and solve one system after the other.
template <class T, unsigned N>
bool loop(const Systems<T>& s) {
    constexpr std::size_t size = std::size_t(N) * N;
    const bool listed = s.x.layout == Layout::L;
    bool ok = true;
    for (std::size_t n = 0; n < s.x.count; ++n)
        ok &= listed ? factor_and_solve<T, N>(s.a.table[n], s.b.table[n], s.f.table[n],
                                              s.index + N * n, s.x.table[n])
                     : factor_and_solve<T, N>(s.a.base + size * n, s.b.base + N * n,
                                              s.f.base + size * n, s.index + N * n,
                                              s.x.base + N * n);
    return ok;
}

// Every system against the library's numerics: factors, index vector and solution exactly,
// or (for a peer that keeps its factors) the solution within a few hundred rounding units
// of its largest element.
template <class T, unsigned N>
bool correct(const Operands<T, N>& ops, bool exact) {
    const Systems<T> s = ops.systems();
    for (std::size_t n = 0; n < s.x.count; ++n) {
        T a[N * N], b[N], f[N * N], x[N];
        unsigned r[N];
        for (unsigned k = 0; k < N * N; ++k) a[k] = s.a.at(n, k);
        for (unsigned k = 0; k < N; ++k) b[k] = s.b.at(n, k);
        if (!factor_and_solve<T, N>(a, b, f, r, x)) return false;
        double largest = 0;
        for (unsigned k = 0; k < N; ++k) largest = std::fmax(largest, std::fabs(double(x[k])));
        const double tolerance = 256 * std::numeric_limits<T>::epsilon() * largest;
        for (unsigned k = 0; k < N; ++k) {
            const T got = s.x.at(n, k);
            if (exact ? got != x[k] : !(std::fabs(double(got) - double(x[k])) <= tolerance))
                return false;
            if (exact && s.index[N * n + k] != r[k]) return false;
        }
        for (unsigned k = 0; exact && k < N * N; ++k)
            if (s.f.at(n, k) != f[k]) return false;
    }
    return true;
}

template <class T, unsigned N>
void row(benchmark::State& state, Layout layout, std::size_t count, Kernel<T> kernel, bool exact) {
    const Operands<T, N>& ops = reused<Operands<T, N>>(layout, count);
    // Nothing left from a previous row; the fill of ones is what the first call's
    // displaced last-pivot tests read in later objects.
    ops.f.fill(T(1));
    ops.x.fill(std::numeric_limits<T>::quiet_NaN());
    const Systems<T> systems = ops.systems();
    bool ok = true;
    for (auto _ : state) {
        ok &= kernel(systems);
        benchmark::ClobberMemory();
    }
    if (!ok) return state.SkipWithError("a call failed");
    if (!correct(ops, exact)) return state.SkipWithError("wrong result");
    // What the two calls must move: the decomposition reads the system and writes factors
    // and index vector, the substitution reads them back with the right-hand side and
    // writes the solution; plus the object pointers (two, then three) an L call reads.
    const double s = sizeof(T);
    const double bytes = 3.0 * N * N * s + 2.0 * N * sizeof(unsigned) + 2.0 * N * s +
                         (layout == Layout::L ? 5.0 * sizeof(T*) : 0.0);
    // Factor: a division per multiplier, a multiply and an add per update. Solve: a
    // multiply and an add per term, a subtraction per row, a division per row of U.
    const double flops = N * (N - 1) / 2.0 + (N - 1.0) * N * (2 * N - 1) / 3.0 + 2.0 * N * N + N - 2;
    report_objects(state, count, Cost{bytes, flops, bytes * double(count), 3});
}

template <class T, unsigned N>
void register_members(std::size_t count, Kernel<T> eigen_peer, Kernel<T> native_peer) {
    for (Layout layout : {Layout::Standard, Layout::L})
        add_compared_rows("decomp", fixed_member<T>("olvmLUDecomp_ma", N, layout), count,
                          library<T, N>, loop<T, N>, eigen_peer, native_peer,
                          [=](benchmark::State& s, Kernel<T> kernel, bool exact) {
                              row<T, N>(s, layout, count, kernel, exact);
                          });
}

// Each path on the in-cache arrays of the standard layout.
template <class T, unsigned N>
void register_paths() {
#if defined(OLVM_FAST_PATHS)
    const std::size_t count = path_row_objects();
    add_path_rows(fixed_member<T>("olvmLUDecomp_ma", N, Layout::Standard), count, library<T, N>,
                  through_path<T, N>,
                  [=](benchmark::State& s, Kernel<T> kernel) { row<T, N>(s, Layout::Standard, count, kernel, true); });
#endif
}

}  // namespace

void register_decomp() {
    for (std::size_t count : scale().object_counts()) {
        register_members<float, 4>(count, eigen::lu_solve_32f_4, eigen_native::lu_solve_32f_4);
        register_members<float, 6>(count, eigen::lu_solve_32f_6, eigen_native::lu_solve_32f_6);
        register_members<double, 4>(count, eigen::lu_solve_64f_4, eigen_native::lu_solve_64f_4);
        register_members<double, 6>(count, eigen::lu_solve_64f_6, eigen_native::lu_solve_64f_6);
    }
    register_paths<float, 4>();
    register_paths<float, 6>();
    register_paths<double, 4>();
    register_paths<double, 6>();
}

}  // namespace olvm_bench
