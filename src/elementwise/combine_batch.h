// Batch kernels of the element-wise sums and differences, compiled once per instruction
// set (src/paths/). Each returns how many objects, from object 0, it has finished; the
// caller's plain loop does the rest. Every element gets the plain kernel's value: the
// double sum or difference of the widened operands, rounded once on store.
//
// Two ways through an array: object by object along contiguous rows (L and LS2 with unit
// element stride), or, in the P layout, where element k of all objects is one contiguous
// run, run by run. The order of the writes differs from the
// plain kernel's, which no caller can see: tables are checked before anything is written,
// every element depends only on its own position, and a destination may coincide with a
// source only exactly.
#pragma once

#include "elementwise/combine_job.h"
#include "frame/simd.h"

namespace olvm::elementwise::OLVM_PATH {

namespace simd = olvm::simd::OLVM_PATH;
using frame::Place;

template <class T>
OLVM_INLINE T read(const char* p) {
    return *reinterpret_cast<const T*>(p);
}

template <class L, bool Subtract>
OLVM_INLINE typename L::V apply(typename L::V a, typename L::V b) {
    if constexpr (Subtract) return L::sub(a, b);
    return L::add(a, b);
}

// `Width` is the row length when it is known here (0: take it from the job). The job's
// fields are copied to locals: vector stores may alias anything, locals they cannot.
template <class L, class T, bool Subtract, unsigned Width>
unsigned combine_rows(const CombineJob& job) {
    constexpr unsigned W = L::lanes;
    const Place a = job.a, b = job.b, c = job.c;
    const unsigned width = Width ? Width : job.width, height = job.height, count = job.count;
    auto get = [](const Place& x, const char* row, unsigned j, unsigned m) {
        return x.kind == Place::Constant ? L::broadcast(x.value)
                                         : L::load(reinterpret_cast<const T*>(row) + j, m);
    };
    for (unsigned n = 0; n < count; ++n) {
        if (a.object_null(n) || b.object_null(n) || c.object_null(n)) return n;
        const char* as = a.kind == Place::Constant ? nullptr : a.start(n);
        const char* bs = b.kind == Place::Constant ? nullptr : b.start(n);
        char* cs = const_cast<char*>(c.start(n));
        for (unsigned i = 0; i < height; ++i) {
#pragma GCC unroll 2
            for (unsigned j = 0; j < width; j += W) {
                const unsigned m = simd::part(width, j, W);
                const typename L::V r = apply<L, Subtract>(get(a, as + i * a.row, j, m),
                                                           get(b, bs + i * b.row, j, m));
                L::store(reinterpret_cast<T*>(cs + i * c.row) + j, r, m);
            }
        }
    }
    return count;
}

template <class L, class T, bool Subtract>
unsigned combine_runs(const CombineJob& job) {
    constexpr unsigned W = L::lanes;
    const Place a = job.a, b = job.b, c = job.c;
    const unsigned w = job.width, h = job.height, whole = job.count - job.count % W;
    // Element (i, j) as used: a transposed operand is stored with rows of `h` elements.
    auto get = [&](const Place& x, unsigned i, unsigned j, unsigned n) {
        if (x.kind == Place::Constant) return L::broadcast(x.value);
        const char* p = x.entry(x.transposed ? j * h + i : i * w + j, n);
        return x.obj == 0 ? L::broadcast(static_cast<double>(read<T>(p)))
                          : L::load(reinterpret_cast<const T*>(p), W);
    };
    for (unsigned i = 0; i < h; ++i)
        for (unsigned j = 0; j < w; ++j)
            for (unsigned n = 0; n < whole; n += W) {
                const typename L::V r = apply<L, Subtract>(get(a, i, j, n), get(b, i, j, n));
                L::store(reinterpret_cast<T*>(const_cast<char*>(c.entry(i * w + j, n))), r, W);
            }
    return whole;
}

template <class L, class T, bool Subtract>
unsigned combine_any(const CombineJob& job) {
    const frame::Offset es = sizeof(T);
    auto row_ok = [&](const Place& x) {
        return x.kind == Place::Constant ||
               ((x.kind == Place::Rows || x.kind == Place::Objects) && !x.transposed && x.elem == es);
    };
    // Object tables (L, LS2) go row by row; the plain kernel already does as well on
    // standard and S2 arrays, whose addressing the compiler sees whole.
    if (job.c.kind == Place::Objects && row_ok(job.a) && row_ok(job.b) && row_ok(job.c)) {
        switch (job.width) {
            case 3: return combine_rows<L, T, Subtract, 3>(job);
            case 4: return combine_rows<L, T, Subtract, 4>(job);
            case 5: return combine_rows<L, T, Subtract, 5>(job);
            case 6: return combine_rows<L, T, Subtract, 6>(job);
            default: return combine_rows<L, T, Subtract, 0>(job);
        }
    }
    auto run_ok = [&](const Place& x) {
        return x.kind == Place::Constant || (x.kind == Place::Entries && (x.obj == 0 || x.obj == es));
    };
    if (run_ok(job.a) && run_ok(job.b) && job.c.kind == Place::Entries && job.c.obj == es)
        return combine_runs<L, T, Subtract>(job);
    return 0;
}

template <class T>
unsigned combine_batch(const CombineJob& job) {
    // Short rows use the narrow lanes; runs across objects are always wide.
    const bool runs = job.c.kind == Place::Entries;
    if (job.subtract)
        return runs || job.width > 4 ? combine_any<simd::Wide, T, true>(job)
                                     : combine_any<simd::Narrow, T, true>(job);
    return runs || job.width > 4 ? combine_any<simd::Wide, T, false>(job)
                                 : combine_any<simd::Narrow, T, false>(job);
}

}  // namespace olvm::elementwise::OLVM_PATH
