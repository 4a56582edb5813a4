// Batch kernels of the element-wise sums and differences, compiled once per instruction
// set (src/paths/). Each returns how many objects, from object 0, it has finished; the
// caller's plain loop does the rest. Every element gets the plain kernel's value: the
// double sum or difference of the widened operands, rounded once on store, which for
// floats is their float sum or difference (simd.h, Floats).
//
// Two ways through an array: object by object along contiguous rows (standard, S2, L and
// LS2 with unit element stride; packed objects as one run, a packed standard array as a
// single run), or, in the P layout, where element k of all objects is one contiguous
// run, run by run. The order of the writes differs from the
// plain kernel's, which no caller can see: tables are checked before anything is written,
// every element depends only on its own position, and a destination may coincide with a
// source only exactly.
#pragma once

#include <type_traits>

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

// The low sixteen bytes of a path's vector.
OLVM_INLINE __m128 low16(__m128 v) { return v; }
OLVM_INLINE __m128d low16(__m128d v) { return v; }
#if defined(__AVX__)
OLVM_INLINE __m128 low16(__m256 v) { return _mm256_castps256_ps128(v); }
OLVM_INLINE __m128d low16(__m256d v) { return _mm256_castpd256_pd128(v); }
#endif
#if defined(__AVX512F__)
OLVM_INLINE __m128 low16(__m512 v) { return _mm512_castps512_ps128(v); }
OLVM_INLINE __m128d low16(__m512d v) { return _mm512_castpd512_pd128(v); }
#endif

// Runs of at least this many bytes (streamed from memory, with their companions, on the
// processors measured) go sixteen bytes at a time on every path: streaming two sources
// and a destination from memory, 128-bit accesses measured up to a quarter faster than
// 256- or 512-bit ones (AMD EPYC, family 25). In cache the full vectors are faster, and
// shorter runs (an object's rows, the runs of arrays that fit in cache) take them.
constexpr std::size_t stream_bytes = 128 * 1024;

// One run of `len` elements at each operand's pointer; a constant operand is the vector
// `ka` or `kb` instead.
template <class L, class T, bool Subtract, bool ConstA, bool ConstB>
OLVM_INLINE void combine_run(const T* a, const T* b, T* c, typename L::V ka, typename L::V kb, std::size_t len) {
    constexpr unsigned W = L::lanes;
    using N = std::conditional_t<std::is_same_v<T, float>, simd::Floats4, simd::Lanes2>;
    constexpr unsigned n = N::lanes;
    std::size_t j = 0;
    if (n < W && len * sizeof(T) >= stream_bytes) {  // (the baseline's vectors are sixteen bytes already)
        const typename N::V na = low16(ka), nb = low16(kb);
#pragma GCC unroll 4
        for (; j + n <= len; j += n)
            N::store(c + j, apply<N, Subtract>(ConstA ? na : N::load(a + j, n), ConstB ? nb : N::load(b + j, n)), n);
    }
#pragma GCC unroll 4
    for (; j + W <= len; j += W)
        L::store(c + j, apply<L, Subtract>(ConstA ? ka : L::load(a + j, W), ConstB ? kb : L::load(b + j, W)), W);
    if (j < len) {
        const unsigned m = unsigned(len - j);
        L::store(c + j, apply<L, Subtract>(ConstA ? ka : L::load(a + j, m), ConstB ? kb : L::load(b + j, m)), m);
    }
}

// Object by object along contiguous rows (standard, S2, L, LS2 with unit element stride).
// `ListX` tells an operand whose objects are found through a table (L, LS2) from one at
// a fixed step (standard, S2, or a single object). An object whose rows follow each
// other without gaps in every operand is one run. The job's fields are copied to locals:
// vector stores may alias anything, locals they cannot.
template <class L, class T, bool Subtract, bool ConstA, bool ConstB, bool ListA, bool ListB, bool ListC>
unsigned combine_rows(const CombineJob& job) {
    const Place a = job.a, b = job.b, c = job.c;
    const unsigned width = job.width, height = job.height, count = job.count;
    const typename L::V ka = L::broadcast(a.value), kb = L::broadcast(b.value);
    const frame::Offset row = frame::Offset(width) * sizeof(T);
    auto rows_packed = [&](const Place& x, bool constant) { return constant || height == 1 || x.row == row; };
    const bool packed = rows_packed(a, ConstA) && rows_packed(b, ConstB) && rows_packed(c, false);
    // Where object n lies: the table entry itself (tested for null) or the fixed step.
    auto base = [](const Place& x, bool listed, unsigned n) {
        return listed ? static_cast<const char* const*>(x.ptr)[n] : static_cast<const char*>(x.ptr) + frame::Offset(n) * x.obj;
    };
    // Runs `body(as, bs, cs)` on each object's starts; stops at a null object.
    auto each_object = [&](auto body) {
        for (unsigned n = 0; n < count; ++n) {
            const char* as = ConstA ? nullptr : base(a, ListA, n);
            const char* bs = ConstB ? nullptr : base(b, ListB, n);
            char* cs = const_cast<char*>(base(c, ListC, n));
            if ((ListA && !as) || (ListB && !bs) || (ListC && !cs)) return n;
            if (ListA) as += a.offset;
            if (ListB) bs += b.offset;
            if (ListC) cs += c.offset;
            body(reinterpret_cast<const T*>(as), reinterpret_cast<const T*>(bs), cs);
        }
        return count;
    };
    // An object of one or two whole vectors (a 4x4 float object in 16 lanes or two of 8,
    // the common case) without the run loop: measured on AMD EPYC (family 25, model 1),
    // AVX2, Add of 4x4 32f L arrays of 1,000 objects, 3.57 -> 2.21 ns an object.
    auto whole = [&](auto vectors) {
        constexpr unsigned n_vectors = decltype(vectors)::value;
        return each_object([&](const T* as, const T* bs, char* cs) {
            for (unsigned v = 0; v < n_vectors; ++v)
                L::store(reinterpret_cast<T*>(cs) + v * L::lanes,
                         apply<L, Subtract>(ConstA ? ka : L::load(as + v * L::lanes, L::lanes),
                                            ConstB ? kb : L::load(bs + v * L::lanes, L::lanes)),
                         L::lanes);
        });
    };
    if (packed && width * height == L::lanes) return whole(std::integral_constant<unsigned, 1>());
    if (packed && width * height == 2 * L::lanes) return whole(std::integral_constant<unsigned, 2>());
    if (packed)
        return each_object([&](const T* as, const T* bs, char* cs) {
            combine_run<L, T, Subtract, ConstA, ConstB>(as, bs, reinterpret_cast<T*>(cs), ka, kb,
                                                        std::size_t(width) * height);
        });
    return each_object([&](const T* as, const T* bs, char* cs) {
        for (unsigned i = 0; i < height; ++i)
            combine_run<L, T, Subtract, ConstA, ConstB>(
                ConstA ? as : frame::advance(as, i * a.row), ConstB ? bs : frame::advance(bs, i * b.row),
                reinterpret_cast<T*>(cs + i * c.row), ka, kb, width);
    });
}

// P layout: element k of consecutive objects is one contiguous run; each run's three
// pointers are read from the tables once.
template <class L, class T, bool Subtract, bool ConstA, bool ConstB>
unsigned combine_runs(const CombineJob& job) {
    constexpr unsigned W = L::lanes;
    const Place a = job.a, b = job.b, c = job.c;
    const unsigned w = job.width, h = job.height, count = job.count;
    const typename L::V ka = L::broadcast(a.value), kb = L::broadcast(b.value);
    // Element (i, j) as used: a transposed operand is stored with rows of `h` elements.
    auto run = [&](const Place& x, unsigned i, unsigned j) {
        return reinterpret_cast<const T*>(x.entry(x.transposed ? j * h + i : i * w + j, 0));
    };
    for (unsigned i = 0; i < h; ++i)
        for (unsigned j = 0; j < w; ++j) {
            const T* ar = ConstA ? nullptr : run(a, i, j);
            const T* br = ConstB ? nullptr : run(b, i, j);
            T* cr = const_cast<T*>(run(c, i, j));
            // A constant, or a single source (object stride 0), is one value for every object.
            const bool a_one = ConstA || a.obj == 0, b_one = ConstB || b.obj == 0;
            const typename L::V av = ConstA || !a_one ? ka : L::broadcast(static_cast<double>(*ar));
            const typename L::V bv = ConstB || !b_one ? kb : L::broadcast(static_cast<double>(*br));
            if (a_one && b_one) {
                for (unsigned n = 0; n < count; n += W) L::store(cr + n, apply<L, Subtract>(av, bv), simd::part(count, n, W));
            } else if (a_one) {
                combine_run<L, T, Subtract, true, false>(ar, br, cr, av, bv, count);
            } else if (b_one) {
                combine_run<L, T, Subtract, false, true>(ar, br, cr, av, bv, count);
            } else {
                combine_run<L, T, Subtract, false, false>(ar, br, cr, av, bv, count);
            }
        }
    return count;
}

template <class L, class T, bool Subtract>
unsigned combine_any(const CombineJob& job) {
    const frame::Offset es = sizeof(T);
    const bool ca = job.a.kind == Place::Constant, cb = job.b.kind == Place::Constant;
    auto row_ok = [&](const Place& x) {
        return x.kind == Place::Constant ||
               ((x.kind == Place::Rows || x.kind == Place::Objects) && !x.transposed && x.elem == es);
    };
    if (row_ok(job.a) && row_ok(job.b) && row_ok(job.c) && job.c.kind != Place::Constant) {
        // A standard array whose objects follow each other without gaps is a single run.
        const frame::Offset size = frame::Offset(job.width) * job.height * es;
        auto flat = [&](const Place& x) {
            return x.kind == Place::Constant ||
                   (x.kind == Place::Rows && x.obj == size && (job.height == 1 || x.row == frame::Offset(job.width) * es));
        };
        if (flat(job.a) && flat(job.b) && flat(job.c))
            return simd::with_flags(
                [&](auto const_a, auto const_b) {
                    combine_run<L, T, Subtract, const_a(), const_b()>(
                        static_cast<const T*>(job.a.ptr), static_cast<const T*>(job.b.ptr),
                        static_cast<T*>(const_cast<void*>(job.c.ptr)), L::broadcast(job.a.value),
                        L::broadcast(job.b.value), std::size_t(job.count) * job.width * job.height);
                    return job.count;
                },
                ca, cb);
        auto listed = [](const Place& x) { return x.kind == Place::Objects; };
        return simd::with_flags(
            [&](auto const_a, auto const_b, auto list_a, auto list_b, auto list_c) {
                return combine_rows<L, T, Subtract, const_a(), const_b(), list_a(), list_b(), list_c()>(job);
            },
            ca, cb, listed(job.a), listed(job.b), listed(job.c));
    }
    auto run_ok = [&](const Place& x) {
        return x.kind == Place::Constant || (x.kind == Place::Entries && (x.obj == 0 || x.obj == es));
    };
    if (run_ok(job.a) && run_ok(job.b) && job.c.kind == Place::Entries && job.c.obj == es)
        return simd::with_flags(
            [&](auto const_a, auto const_b) { return combine_runs<L, T, Subtract, const_a(), const_b()>(job); }, ca,
            cb);
    return 0;
}

template <class T>
unsigned combine_batch(const CombineJob& job) {
    // Floats are combined as floats: the same bits as in double, rounded once (simd.h).
    using L = std::conditional_t<std::is_same_v<T, float>, simd::Floats, simd::Wide>;
    return job.subtract ? combine_any<L, T, true>(job) : combine_any<L, T, false>(job);
}

}  // namespace olvm::elementwise::OLVM_PATH
