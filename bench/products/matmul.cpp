// Rows of the matrix-matrix products: olvmMul_mama_<type>_<n>x<n> for orders 3, 4 and 6,
// both element types, in the standard, P and L layouts, against peers on the same objects:
//   loop          one object at a time with the library's numerics, compiled with the
//                 library's flags: the standard layout keeps each element's sum in double
//                 and rounds it once, P and L accumulate through the destination element,
//                 rounding after every term (what the members do in those layouts);
//   eigen         Eigen's fixed-size products with the library's flags;
//   eigen_native  the same built for this machine (-O3 -march=native).
// After its timing loop every row checks the destination it left: olvm and the loop must
// give the library's bits exactly, Eigen (which computes in the element type) must come
// within a few units of rounding of them.
#include <olvm.h>

#include <cmath>
#include <limits>
#include <string>

#include "peers/products.h"
#include "products/matmul.h"
#include "support/operands.h"
#include "support/paths.h"
#include "support/rows.h"

namespace olvm_bench {
namespace {

template <class T>
using Kernel = void (*)(const ArrayView<T>&, const ArrayView<T>&, const ArrayView<T>&);

template <class T, unsigned N>
struct Operands {
    ArrayOperand<T> a, b, d;
    Operands(Layout layout, std::size_t count)
        : a(layout, N, N, count, 1), b(layout, N, N, count, 2), d(layout, N, N, count, 3) {}
};

// The three members of one element type and order, by layout.
template <class T>
struct Members {
    OlvResult (*standard)(const T*, int, int, const T*, int, int, T*, int, int, unsigned);
    OlvResult (*p)(T* const*, int, T* const*, int, T* const*, int, unsigned);
    OlvResult (*l)(T* const*, int, int, T* const*, int, int, T* const*, int, int, unsigned);
};

#define OLVM_BENCH_MUL_MEMBERS(t, n)                                                           \
    Members<Olv##t> {                                                              \
        olvmMul_mama_##t##_##n##x##n, olvmMul_mama_##t##_##n##x##n##_P,                        \
            olvmMul_mama_##t##_##n##x##n##_L                                                   \
    }

template <class T, unsigned N>
Members<T> members();
template <> Members<float> members<float, 3>() { return OLVM_BENCH_MUL_MEMBERS(32f, 3); }
template <> Members<float> members<float, 4>() { return OLVM_BENCH_MUL_MEMBERS(32f, 4); }
template <> Members<float> members<float, 6>() { return OLVM_BENCH_MUL_MEMBERS(32f, 6); }
template <> Members<double> members<double, 3>() { return OLVM_BENCH_MUL_MEMBERS(64f, 3); }
template <> Members<double> members<double, 4>() { return OLVM_BENCH_MUL_MEMBERS(64f, 4); }
template <> Members<double> members<double, 6>() { return OLVM_BENCH_MUL_MEMBERS(64f, 6); }

template <class T, unsigned N>
void library(const ArrayView<T>& a, const ArrayView<T>& b, const ArrayView<T>& d) {
    static const Members<T> m = members<T, N>();
    const auto count = unsigned(d.count);
    const int obj = d.obj_stride(), row = d.row_stride();
    OlvResult r = olvResultOk;
    switch (d.layout) {
        case Layout::Standard:
            r = m.standard(a.base, obj, row, b.base, obj, row, d.base, obj, row, count);
            break;
        case Layout::P: r = m.p(a.table, 0, b.table, 0, d.table, 0, count); break;
        case Layout::L: r = m.l(a.table, 0, row, b.table, 0, row, d.table, 0, row, count); break;
    }
    benchmark::DoNotOptimize(r);
}

#if defined(OLVM_FAST_PATHS)
// The current path's batch kernel alone, on every object (the rows' counts are whole
// vectors on every path); the destination check of the row sees any it left.
template <class T, unsigned N>
void through_path(const ArrayView<T>& a, const ArrayView<T>& b, const ArrayView<T>& d) {
    const olvm::products::MulJob job{N, unsigned(d.count), d.layout != Layout::Standard,
                                     place_of(a), place_of(b), place_of(d)};
    const auto& path = current_path();
    benchmark::DoNotOptimize(sizeof(T) == 4 ? path.mul_batch_32f(&job) : path.mul_batch_64f(&job));
}
#endif

// Element (i, j) of one product with the library's numerics: x(k) and y(k) give the two
// sources' factors of term k.
template <class T, unsigned N, class X, class Y>
T element(Layout layout, X x, Y y) {
    if (layout == Layout::Standard) {
        double sum = 0.0;
        for (unsigned k = 0; k < N; ++k) sum += double(x(k)) * double(y(k));
        return T(sum);
    }
    T c = T(0);
    for (unsigned k = 0; k < N; ++k) c = T(double(x(k)) * double(y(k)) + double(c));
    return c;
}

// The plain loop a user would write: object by object, element by element.
template <class T, unsigned N>
void loop(const ArrayView<T>& a, const ArrayView<T>& b, const ArrayView<T>& d) {
    constexpr std::size_t size = std::size_t(N) * N;
    switch (d.layout) {
        case Layout::Standard:
        case Layout::L:
            for (std::size_t n = 0; n < d.count; ++n) {
                const bool listed = d.layout == Layout::L;
                const T* x = listed ? a.table[n] : a.base + size * n;
                const T* y = listed ? b.table[n] : b.base + size * n;
                T* z = listed ? d.table[n] : d.base + size * n;
                for (unsigned i = 0; i < N; ++i)
                    for (unsigned j = 0; j < N; ++j)
                        z[i * N + j] = element<T, N>(
                            d.layout, [&](unsigned k) { return x[i * N + k]; },
                            [&](unsigned k) { return y[k * N + j]; });
            }
            break;
        case Layout::P:
            for (std::size_t n = 0; n < d.count; ++n)
                for (unsigned i = 0; i < N; ++i)
                    for (unsigned j = 0; j < N; ++j)
                        d.table[i * N + j][n] = element<T, N>(
                            d.layout, [&](unsigned k) { return a.table[i * N + k][n]; },
                            [&](unsigned k) { return b.table[k * N + j][n]; });
            break;
    }
}

// Every element against the library's result: exactly, or (for a peer computing in the
// element type) within a few units of rounding of the sum of the terms' magnitudes.
template <class T, unsigned N>
bool correct(const Operands<T, N>& ops, bool exact) {
    const auto &a = ops.a.view(), &b = ops.b.view(), &d = ops.d.view();
    for (std::size_t n = 0; n < d.count; ++n)
        for (unsigned i = 0; i < N; ++i)
            for (unsigned j = 0; j < N; ++j) {
                auto x = [&](unsigned k) { return a.at(n, i * N + k); };
                auto y = [&](unsigned k) { return b.at(n, k * N + j); };
                const T want = element<T, N>(d.layout, x, y), got = d.at(n, i * N + j);
                if (exact) {
                    if (got != want) return false;
                    continue;
                }
                double magnitude = 0;
                for (unsigned k = 0; k < N; ++k) magnitude += std::fabs(double(x(k)) * double(y(k)));
                const double tolerance = 4.0 * N * std::numeric_limits<T>::epsilon() * magnitude;
                if (!(std::fabs(double(got) - double(want)) <= tolerance)) return false;
            }
    return true;
}

template <class T, unsigned N>
void row(benchmark::State& state, Layout layout, std::size_t count, Kernel<T> kernel, bool exact) {
    const Operands<T, N>& ops = reused<Operands<T, N>>(layout, count);
    ops.d.fill(std::numeric_limits<T>::quiet_NaN());  // nothing left from a previous row
    for (auto _ : state) {
        kernel(ops.a.view(), ops.b.view(), ops.d.view());
        benchmark::ClobberMemory();
    }
    if (!correct(ops, exact)) return state.SkipWithError("wrong result");
    // Two sources read and one destination written, plus the object pointers an L call
    // reads; N^3 multiplies and N^3 additions (every term is added, the first to zero).
    const double bytes = 3.0 * N * N * sizeof(T) + 3.0 * ops.a.table_bytes() / double(count);
    report_objects(state, count, Cost{bytes, 2.0 * N * N * N, bytes * double(count), 3});
}

template <class T, unsigned N>
void register_members(std::size_t count, Kernel<T> eigen_peer, Kernel<T> native_peer) {
    for (Layout layout : {Layout::Standard, Layout::P, Layout::L})
        add_compared_rows("products", fixed_member<T>("olvmMul_mama", N, layout), count,
                          library<T, N>, loop<T, N>, eigen_peer, native_peer,
                          [=](benchmark::State& s, Kernel<T> kernel, bool exact) {
                              row<T, N>(s, layout, count, kernel, exact);
                          });
}

// Each path on the in-cache arrays, in the layouts whose kernels differ: rows object by
// object, rounded once (standard) or after every term (L), and one object per lane (P).
template <class T, unsigned N>
void register_paths() {
#if defined(OLVM_FAST_PATHS)
    const std::size_t count = path_row_objects();
    for (Layout layout : {Layout::Standard, Layout::P, Layout::L})
        add_path_rows(fixed_member<T>("olvmMul_mama", N, layout), count, library<T, N>, through_path<T, N>,
                      [=](benchmark::State& s, Kernel<T> kernel) { row<T, N>(s, layout, count, kernel, true); });
#endif
}

}  // namespace

void register_products() {
    for (std::size_t count : scale().object_counts()) {
        register_members<float, 3>(count, eigen::mul_32f_3, eigen_native::mul_32f_3);
        register_members<float, 4>(count, eigen::mul_32f_4, eigen_native::mul_32f_4);
        register_members<float, 6>(count, eigen::mul_32f_6, eigen_native::mul_32f_6);
        register_members<double, 3>(count, eigen::mul_64f_3, eigen_native::mul_64f_3);
        register_members<double, 4>(count, eigen::mul_64f_4, eigen_native::mul_64f_4);
        register_members<double, 6>(count, eigen::mul_64f_6, eigen_native::mul_64f_6);
    }
    register_paths<float, 4>();
    register_paths<float, 6>();
    register_paths<double, 6>();
}

}  // namespace olvm_bench
