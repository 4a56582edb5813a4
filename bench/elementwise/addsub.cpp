// Rows of the element-wise family: the sum and difference of two arrays of 4x4 32f
// matrices (olvmAdd_mama_32f_4x4 and olvmSub_mama_32f_4x4 in the standard, P and L layouts)
// against peers on the same objects:
//   loop          one object at a time with the library's numerics (double arithmetic,
//                 rounded once), compiled with the library's flags;
//   eigen         Eigen with the library's flags;
//   eigen_native  Eigen built for this machine (-O3 -march=native).
// After its timing loop every row checks the destination it left against the exact
// result, so a peer that computes something else fails instead of looking fast.
#include <olvm.h>

#include <string>

#include "peers/elementwise.h"
#include "support/operands.h"
#include "support/paths.h"
#include "support/rows.h"

namespace olvm_bench {
namespace {

struct Operands {
    ArrayOperand<float> a, b, d;
    Operands(Layout layout, std::size_t count)
        : a(layout, 4, 4, count, 1), b(layout, 4, 4, count, 2), d(layout, 4, 4, count, 3) {}
};

using Kernel = void (*)(const ArrayView<float>&, const ArrayView<float>&, const ArrayView<float>&);

template <bool Difference>
double exact(float x, float y) {
    return Difference ? double(x) - double(y) : double(x) + double(y);
}

template <bool Difference>
void library(const ArrayView<float>& a, const ArrayView<float>& b, const ArrayView<float>& d) {
    const auto count = unsigned(d.count);
    const int obj = d.obj_stride(), row = d.row_stride();
    OlvResult r = olvResultOk;
    switch (d.layout) {
        case Layout::Standard:
            r = (Difference ? olvmSub_mama_32f_4x4 : olvmAdd_mama_32f_4x4)(
                a.base, obj, row, b.base, obj, row, d.base, obj, row, count);
            break;
        case Layout::P:
            r = (Difference ? olvmSub_mama_32f_4x4_P : olvmAdd_mama_32f_4x4_P)(
                a.table, 0, b.table, 0, d.table, 0, count);
            break;
        case Layout::L:
            r = (Difference ? olvmSub_mama_32f_4x4_L : olvmAdd_mama_32f_4x4_L)(
                a.table, 0, row, b.table, 0, row, d.table, 0, row, count);
            break;
    }
    benchmark::DoNotOptimize(r);
}

#if defined(OLVM_FAST_PATHS)
// The current path's batch kernel alone, on every object.
template <bool Difference>
void through_path(const ArrayView<float>& a, const ArrayView<float>& b, const ArrayView<float>& d) {
    const olvm::elementwise::CombineJob job{Difference, 4, 4, unsigned(d.count), place_of(a), place_of(b), place_of(d)};
    benchmark::DoNotOptimize(current_path().combine_batch_32f(&job));
}
#endif

// The plain loop a user would write: object by object, element by element.
template <bool Difference>
void loop(const ArrayView<float>& a, const ArrayView<float>& b, const ArrayView<float>& d) {
    switch (d.layout) {
        case Layout::Standard:
            for (std::size_t n = 0; n < d.count; ++n) {
                const float *x = a.base + 16 * n, *y = b.base + 16 * n;
                float* z = d.base + 16 * n;
                for (unsigned k = 0; k < 16; ++k) z[k] = float(exact<Difference>(x[k], y[k]));
            }
            break;
        case Layout::L:
            for (std::size_t n = 0; n < d.count; ++n) {
                const float *x = a.table[n], *y = b.table[n];
                float* z = d.table[n];
                for (unsigned k = 0; k < 16; ++k) z[k] = float(exact<Difference>(x[k], y[k]));
            }
            break;
        case Layout::P:
            for (std::size_t n = 0; n < d.count; ++n)
                for (unsigned k = 0; k < 16; ++k)
                    d.table[k][n] = float(exact<Difference>(a.table[k][n], b.table[k][n]));
            break;
    }
}

template <bool Difference>
bool correct(const Operands& ops) {
    const auto &a = ops.a.view(), &b = ops.b.view(), &d = ops.d.view();
    for (std::size_t n = 0; n < d.count; ++n)
        for (unsigned k = 0; k < 16; ++k)
            if (d.at(n, k) != float(exact<Difference>(a.at(n, k), b.at(n, k)))) return false;
    return true;
}

template <bool Difference>
void row(benchmark::State& state, Layout layout, std::size_t count, Kernel kernel) {
    const Operands& ops = reused<Operands>(layout, count);
    for (unsigned k = 0; k < 16; ++k) ops.d.view().at(0, k) = 0;  // nothing left from a previous row
    for (auto _ : state) {
        kernel(ops.a.view(), ops.b.view(), ops.d.view());
        benchmark::ClobberMemory();
    }
    if (!correct<Difference>(ops)) return state.SkipWithError("wrong result");
    // Two sources read and one destination written, 64 bytes each, plus the object
    // pointers an L call reads; 16 sums or differences.
    const double bytes = 3 * 64.0 + 3.0 * ops.a.table_bytes() / double(count);
    report_objects(state, count, Cost{bytes, 16, bytes * double(count), 3});
}

template <bool Difference>
void register_operation(Layout layout, std::size_t count) {
    const std::string member =
        std::string(Difference ? "olvmSub" : "olvmAdd") + "_mama_32f_4x4" + member_suffix(layout);
    const struct {
        const char* name;
        Kernel kernel;
    } impls[] = {
        {kLibrary, library<Difference>},
        {kLoop, loop<Difference>},
        {kEigen, Difference ? eigen::sub_4x4_32f : eigen::add_4x4_32f},
        {kEigenNative, Difference ? eigen_native::sub_4x4_32f : eigen_native::add_4x4_32f},
    };
    for (const auto& impl : impls)
        add_row("elementwise/" + member + "/" + impl.name + "/" + std::to_string(count),
                [=](benchmark::State& s) { row<Difference>(s, layout, count, impl.kernel); });
}

}  // namespace

void register_elementwise() {
    for (std::size_t count : scale().object_counts())
        for (Layout layout : {Layout::Standard, Layout::P, Layout::L}) {
            register_operation<false>(layout, count);
            register_operation<true>(layout, count);
        }
#if defined(OLVM_FAST_PATHS)
    // Each path on the in-cache arrays, in every layout (the kernel covers all three).
    const std::size_t count = path_row_objects();
    for (Layout layout : {Layout::Standard, Layout::P, Layout::L})
        add_path_rows(std::string("olvmAdd_mama_32f_4x4") + member_suffix(layout), count, library<false>, through_path<false>,
                      [=](benchmark::State& s, Kernel kernel) { row<false>(s, layout, count, kernel); });
#endif
}

}  // namespace olvm_bench
