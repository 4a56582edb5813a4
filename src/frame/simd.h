// Lanes of doubles for the batch kernels, one set of operations per instruction set.
//
// A batch kernel is written once against this interface and compiled once per path;
// every lane performs exactly the scalar operation sequence of the plain kernels, so all
// paths give the same bits. `fma_exact` may fuse only because its callers pass a product
// of two widened floats, which is exact in double: rounding it once with the addend is
// then the same as multiplying and adding.
//
// Loads and stores of `n` lanes (n <= lanes) touch only those n elements. `gather` reads
// lane q at base + at[q] bytes, from per-lane addresses made by `addresses`; `columns4`
// reads four consecutive elements there, c[j] holding element j of every lane (rows
// loaded whole and transposed, far cheaper than four gathers). Comparisons give a mask
// per lane (M) that `select` and `any` consume; `not_ge` is true for unordered operands,
// `less` and `equal` are false for them.
//
// Everything here lives in a namespace of its own per path (OLVM_PATH), and so does every
// template instantiated with it: the copies built for different instruction sets must
// never be merged by the linker.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <type_traits>

#include "frame/layout.h"

#if !defined(OLVM_PATH)
#error "frame/simd.h is compiled only as part of an instruction-set path"
#endif

namespace olvm::simd::OLVM_PATH {

// `at` bytes past `base`, in integer arithmetic: callers pass offsets as bases.
template <class T>
OLVM_INLINE const T* past(const T* base, std::uintptr_t at) {
    return reinterpret_cast<const T*>(reinterpret_cast<std::uintptr_t>(base) + at);
}

#if defined(__AVX512F__) && defined(__AVX512VL__)
// The first n of up to eight lanes, for masked loads and stores.
OLVM_INLINE __mmask8 first_lanes(unsigned n) {
    return static_cast<__mmask8>((1u << n) - 1u);
}

struct Lanes8 {
    using V = __m512d;
    static constexpr unsigned lanes = 8;

    static OLVM_INLINE V zero() { return _mm512_setzero_pd(); }
    static OLVM_INLINE V broadcast(double x) { return _mm512_set1_pd(x); }
    static OLVM_INLINE V broadcast(const double* p) { return _mm512_broadcastsd_pd(_mm_load_sd(p)); }
    static OLVM_INLINE V add(V a, V b) { return _mm512_add_pd(a, b); }
    static OLVM_INLINE V sub(V a, V b) { return _mm512_sub_pd(a, b); }
    static OLVM_INLINE V mul(V a, V b) { return _mm512_mul_pd(a, b); }
    static OLVM_INLINE V fma_exact(V a, V b, V c) { return _mm512_fmadd_pd(a, b, c); }
    // Whole vectors take plain moves: a masked store costs more than a plain one on
    // processors that split 512-bit operations in two.
    static OLVM_INLINE V load(const float* p, unsigned n) {
        return _mm512_cvtps_pd(n == 8 ? _mm256_loadu_ps(p) : _mm256_maskz_loadu_ps(first_lanes(n), p));
    }
    static OLVM_INLINE V load(const double* p, unsigned n) {
        return n == 8 ? _mm512_loadu_pd(p) : _mm512_maskz_loadu_pd(first_lanes(n), p);
    }
    static OLVM_INLINE void store(float* p, V v, unsigned n) {
        if (n == 8) _mm256_storeu_ps(p, _mm512_cvtpd_ps(v));
        else _mm256_mask_storeu_ps(p, first_lanes(n), _mm512_cvtpd_ps(v));
    }
    static OLVM_INLINE void store(double* p, V v, unsigned n) {
        if (n == 8) _mm512_storeu_pd(p, v);
        else _mm512_mask_storeu_pd(p, first_lanes(n), v);
    }
    static OLVM_INLINE V round(V v, float) { return _mm512_cvtps_pd(_mm512_cvtpd_ps(v)); }
    // Four vectors as floats, transposed: rows[q] holds lane q of c[0], c[1], c[2], c[3].
    static OLVM_INLINE void rows4(const V (&c)[4], __m128 (&rows)[lanes]) {
        const __m256 f0 = _mm512_cvtpd_ps(c[0]), f1 = _mm512_cvtpd_ps(c[1]);
        const __m256 f2 = _mm512_cvtpd_ps(c[2]), f3 = _mm512_cvtpd_ps(c[3]);
        const __m256 t0 = _mm256_unpacklo_ps(f0, f1), t1 = _mm256_unpackhi_ps(f0, f1);
        const __m256 t2 = _mm256_unpacklo_ps(f2, f3), t3 = _mm256_unpackhi_ps(f2, f3);
        const __m256 r[4] = {_mm256_shuffle_ps(t0, t2, 0x44), _mm256_shuffle_ps(t0, t2, 0xee),
                             _mm256_shuffle_ps(t1, t3, 0x44), _mm256_shuffle_ps(t1, t3, 0xee)};
        for (unsigned q = 0; q < 4; ++q) {
            rows[q] = _mm256_castps256_ps128(r[q]);
            rows[q + 4] = _mm256_extractf128_ps(r[q], 1);
        }
    }

    using M = __mmask8;
    static OLVM_INLINE V div(V a, V b) { return _mm512_div_pd(a, b); }
    static OLVM_INLINE V div_floats(V a, V b) {
        return _mm512_cvtps_pd(_mm256_div_ps(_mm512_cvtpd_ps(a), _mm512_cvtpd_ps(b)));
    }
    static OLVM_INLINE V neg(V a) {  // the sign bit flipped, as scalar negation does
        const __m512i sign = _mm512_set1_epi64(static_cast<long long>(0x8000000000000000ull));
        return _mm512_castsi512_pd(_mm512_xor_si512(_mm512_castpd_si512(a), sign));
    }
    static OLVM_INLINE V abs(V a) { return _mm512_abs_pd(a); }
    static OLVM_INLINE M not_ge(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_NGE_UQ); }
    static OLVM_INLINE M less(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_LT_OQ); }
    static OLVM_INLINE M equal(V a, V b) { return _mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ); }
    static OLVM_INLINE V select(M m, V yes, V no) { return _mm512_mask_blend_pd(m, no, yes); }
    static OLVM_INLINE bool any(M m) { return m != 0; }

    using I = __m512i;
    static OLVM_INLINE I addresses(const std::uintptr_t* p) { return _mm512_loadu_si512(p); }
    static OLVM_INLINE V gather(const float* base, I at) {
        return _mm512_cvtps_pd(_mm512_i64gather_ps(at, base, 1));
    }
    static OLVM_INLINE V gather(const double* base, I at) { return _mm512_i64gather_pd(at, base, 1); }
    static OLVM_INLINE void columns4(const float* base, const std::uintptr_t* at, V (&c)[4]) {
        auto two = [&](unsigned q) {  // lanes q and q + 4, one in each half
            return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(past(base, at[q]))),
                                        _mm_loadu_ps(past(base, at[q + 4])), 1);
        };
        const __m256 r0 = two(0), r1 = two(1), r2 = two(2), r3 = two(3);
        const __m256 t0 = _mm256_unpacklo_ps(r0, r1), t1 = _mm256_unpackhi_ps(r0, r1);
        const __m256 t2 = _mm256_unpacklo_ps(r2, r3), t3 = _mm256_unpackhi_ps(r2, r3);
        c[0] = _mm512_cvtps_pd(_mm256_shuffle_ps(t0, t2, 0x44));
        c[1] = _mm512_cvtps_pd(_mm256_shuffle_ps(t0, t2, 0xee));
        c[2] = _mm512_cvtps_pd(_mm256_shuffle_ps(t1, t3, 0x44));
        c[3] = _mm512_cvtps_pd(_mm256_shuffle_ps(t1, t3, 0xee));
    }
    static OLVM_INLINE void columns4(const double* base, const std::uintptr_t* at, V (&c)[4]) {
        auto two = [&](unsigned q) {  // lanes q and q + 2, one in each half
            return _mm512_insertf64x4(_mm512_castpd256_pd512(_mm256_loadu_pd(past(base, at[q]))),
                                      _mm256_loadu_pd(past(base, at[q + 2])), 1);
        };
        // Unpacking pairs lanes in each 128-bit quarter: lanes 0 and 1, then 2 and 3, from
        // r0 and r1; 4 and 5, then 6 and 7, from r4 and r5. The low unpacks hold columns 0
        // and 2, the high ones 1 and 3.
        const __m512d r0 = two(0), r1 = two(1), r4 = two(4), r5 = two(5);
        const __m512d lo_a = _mm512_unpacklo_pd(r0, r1), lo_b = _mm512_unpacklo_pd(r4, r5);
        const __m512d hi_a = _mm512_unpackhi_pd(r0, r1), hi_b = _mm512_unpackhi_pd(r4, r5);
        c[0] = _mm512_shuffle_f64x2(lo_a, lo_b, 0x88);
        c[1] = _mm512_shuffle_f64x2(hi_a, hi_b, 0x88);
        c[2] = _mm512_shuffle_f64x2(lo_a, lo_b, 0xdd);
        c[3] = _mm512_shuffle_f64x2(hi_a, hi_b, 0xdd);
    }
};
#endif

#if defined(__AVX2__)
// Up to four floats by plain moves, the lanes past them zero. The AVX2 masked moves that
// would do the same are slow on some processors (measured on AMD EPYC, family 25, model
// 1, arrays of 1,000 objects: Add of 3x3 32f L arrays 6.60 -> 3.75 ns an object, of 3x3
// 32f arrays with gaps between rows 17.6 -> 12.0).
OLVM_INLINE __m128 load_floats(const float* p, unsigned n) {
    if (n >= 4) return _mm_loadu_ps(p);
    if (n == 0) return _mm_setzero_ps();
    if (n == 1) return _mm_load_ss(p);
    const __m128 two = _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(p));
    return n == 2 ? two : _mm_insert_ps(two, _mm_load_ss(p + 2), 0x20);
}
OLVM_INLINE void store_floats(float* p, __m128 f, unsigned n) {
    if (n >= 4) return _mm_storeu_ps(p, f);
    if (n == 0) return;
    if (n == 1) return _mm_store_ss(p, f);
    _mm_storel_pi(reinterpret_cast<__m64*>(p), f);
    if (n == 3) _mm_store_ss(p + 2, _mm_movehl_ps(f, f));
}
#endif

#if defined(__AVX2__) && defined(__FMA__)
struct Lanes4 {
    using V = __m256d;
    static constexpr unsigned lanes = 4;

    static OLVM_INLINE V zero() { return _mm256_setzero_pd(); }
    static OLVM_INLINE V broadcast(double x) { return _mm256_set1_pd(x); }
    static OLVM_INLINE V broadcast(const double* p) { return _mm256_broadcast_sd(p); }
    static OLVM_INLINE V add(V a, V b) { return _mm256_add_pd(a, b); }
    static OLVM_INLINE V sub(V a, V b) { return _mm256_sub_pd(a, b); }
    static OLVM_INLINE V mul(V a, V b) { return _mm256_mul_pd(a, b); }
    static OLVM_INLINE V fma_exact(V a, V b, V c) { return _mm256_fmadd_pd(a, b, c); }
#if defined(__AVX512VL__)
    // Where the path has mask registers, partial rows use them: the AVX2 masked moves
    // cost several micro-ops each, a masked AVX-512 move costs one.
    static OLVM_INLINE V load(const float* p, unsigned n) {
        return _mm256_cvtps_pd(n == 4 ? _mm_loadu_ps(p) : _mm_maskz_loadu_ps(first_lanes(n), p));
    }
    static OLVM_INLINE V load(const double* p, unsigned n) {
        return n == 4 ? _mm256_loadu_pd(p) : _mm256_maskz_loadu_pd(first_lanes(n), p);
    }
    static OLVM_INLINE void store(float* p, V v, unsigned n) {
        if (n == 4) _mm_storeu_ps(p, _mm256_cvtpd_ps(v));
        else _mm_mask_storeu_ps(p, first_lanes(n), _mm256_cvtpd_ps(v));
    }
    static OLVM_INLINE void store(double* p, V v, unsigned n) {
        if (n == 4) _mm256_storeu_pd(p, v);
        else _mm256_mask_storeu_pd(p, first_lanes(n), v);
    }
#else
    // Partial rows (n from 1 to 3) by plain moves, as load_floats.
    static OLVM_INLINE V load(const float* p, unsigned n) { return _mm256_cvtps_pd(load_floats(p, n)); }
    static OLVM_INLINE V load(const double* p, unsigned n) {
        if (n == 4) return _mm256_loadu_pd(p);
        if (n == 3) return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(p)), _mm_load_sd(p + 2), 1);
        return _mm256_zextpd128_pd256(n == 2 ? _mm_loadu_pd(p) : _mm_load_sd(p));
    }
    static OLVM_INLINE void store(float* p, V v, unsigned n) { store_floats(p, _mm256_cvtpd_ps(v), n); }
    static OLVM_INLINE void store(double* p, V v, unsigned n) {
        if (n == 4) return _mm256_storeu_pd(p, v);
        const __m128d low = _mm256_castpd256_pd128(v);
        if (n == 1) return _mm_store_sd(p, low);
        _mm_storeu_pd(p, low);
        if (n == 3) _mm_store_sd(p + 2, _mm256_extractf128_pd(v, 1));
    }
#endif
    static OLVM_INLINE V round(V v, float) { return _mm256_cvtps_pd(_mm256_cvtpd_ps(v)); }
    static OLVM_INLINE void rows4(const V (&c)[4], __m128 (&rows)[lanes]) {
        __m128 f0 = _mm256_cvtpd_ps(c[0]), f1 = _mm256_cvtpd_ps(c[1]);
        __m128 f2 = _mm256_cvtpd_ps(c[2]), f3 = _mm256_cvtpd_ps(c[3]);
        _MM_TRANSPOSE4_PS(f0, f1, f2, f3);
        rows[0] = f0, rows[1] = f1, rows[2] = f2, rows[3] = f3;
    }

    using M = V;
    static OLVM_INLINE V div(V a, V b) { return _mm256_div_pd(a, b); }
    static OLVM_INLINE V div_floats(V a, V b) {
        return _mm256_cvtps_pd(_mm_div_ps(_mm256_cvtpd_ps(a), _mm256_cvtpd_ps(b)));
    }
    static OLVM_INLINE V neg(V a) { return _mm256_xor_pd(a, _mm256_set1_pd(-0.0)); }
    static OLVM_INLINE V abs(V a) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), a); }
    static OLVM_INLINE M not_ge(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_NGE_UQ); }
    static OLVM_INLINE M less(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_LT_OQ); }
    static OLVM_INLINE M equal(V a, V b) { return _mm256_cmp_pd(a, b, _CMP_EQ_OQ); }
    static OLVM_INLINE V select(M m, V yes, V no) { return _mm256_blendv_pd(no, yes, m); }
    static OLVM_INLINE bool any(M m) { return _mm256_movemask_pd(m) != 0; }

    using I = __m256i;
    static OLVM_INLINE I addresses(const std::uintptr_t* p) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    }
    static OLVM_INLINE V gather(const float* base, I at) {
        return _mm256_cvtps_pd(_mm256_i64gather_ps(base, at, 1));
    }
    static OLVM_INLINE V gather(const double* base, I at) { return _mm256_i64gather_pd(base, at, 1); }
    static OLVM_INLINE void columns4(const float* base, const std::uintptr_t* at, V (&c)[4]) {
        __m128 r[4];
        for (unsigned q = 0; q < 4; ++q) r[q] = _mm_loadu_ps(past(base, at[q]));
        _MM_TRANSPOSE4_PS(r[0], r[1], r[2], r[3]);
        for (unsigned j = 0; j < 4; ++j) c[j] = _mm256_cvtps_pd(r[j]);
    }
    static OLVM_INLINE void columns4(const double* base, const std::uintptr_t* at, V (&c)[4]) {
        V r[4];
        for (unsigned q = 0; q < 4; ++q) r[q] = _mm256_loadu_pd(past(base, at[q]));
        const V t0 = _mm256_unpacklo_pd(r[0], r[1]), t1 = _mm256_unpackhi_pd(r[0], r[1]);
        const V t2 = _mm256_unpacklo_pd(r[2], r[3]), t3 = _mm256_unpackhi_pd(r[2], r[3]);
        c[0] = _mm256_permute2f128_pd(t0, t2, 0x20);
        c[1] = _mm256_permute2f128_pd(t1, t3, 0x20);
        c[2] = _mm256_permute2f128_pd(t0, t2, 0x31);
        c[3] = _mm256_permute2f128_pd(t1, t3, 0x31);
    }
};
#endif

struct Lanes2 {  // the x86-64 baseline: SSE2
    using V = __m128d;
    static constexpr unsigned lanes = 2;

    static OLVM_INLINE V zero() { return _mm_setzero_pd(); }
    static OLVM_INLINE V broadcast(double x) { return _mm_set1_pd(x); }
    static OLVM_INLINE V broadcast(const double* p) { return _mm_load1_pd(p); }
    static OLVM_INLINE V add(V a, V b) { return _mm_add_pd(a, b); }
    static OLVM_INLINE V sub(V a, V b) { return _mm_sub_pd(a, b); }
    static OLVM_INLINE V mul(V a, V b) { return _mm_mul_pd(a, b); }
    static OLVM_INLINE V fma_exact(V a, V b, V c) { return _mm_add_pd(_mm_mul_pd(a, b), c); }
    static OLVM_INLINE V load(const float* p, unsigned n) {
        return n == 2 ? _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))))
                      : _mm_cvtps_pd(_mm_load_ss(p));
    }
    static OLVM_INLINE V load(const double* p, unsigned n) {
        return n == 2 ? _mm_loadu_pd(p) : _mm_load_sd(p);
    }
    static OLVM_INLINE void store(float* p, V v, unsigned n) {
        const __m128 f = _mm_cvtpd_ps(v);
        if (n == 2) _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_castps_si128(f));
        else _mm_store_ss(p, f);
    }
    static OLVM_INLINE void store(double* p, V v, unsigned n) {
        if (n == 2) _mm_storeu_pd(p, v);
        else _mm_store_sd(p, v);
    }
    static OLVM_INLINE V round(V v, float) { return _mm_cvtps_pd(_mm_cvtpd_ps(v)); }
    static OLVM_INLINE void rows4(const V (&c)[4], __m128 (&rows)[lanes]) {
        const __m128 t0 = _mm_unpacklo_ps(_mm_cvtpd_ps(c[0]), _mm_cvtpd_ps(c[1]));
        const __m128 t2 = _mm_unpacklo_ps(_mm_cvtpd_ps(c[2]), _mm_cvtpd_ps(c[3]));
        rows[0] = _mm_movelh_ps(t0, t2);
        rows[1] = _mm_movehl_ps(t2, t0);
    }

    using M = V;
    static OLVM_INLINE V div(V a, V b) { return _mm_div_pd(a, b); }
    static OLVM_INLINE V div_floats(V a, V b) {  // both halves of the float vector used, so no 0/0
        const __m128 fa = _mm_cvtpd_ps(a), fb = _mm_cvtpd_ps(b);
        return _mm_cvtps_pd(_mm_div_ps(_mm_movelh_ps(fa, fa), _mm_movelh_ps(fb, fb)));
    }
    static OLVM_INLINE V neg(V a) { return _mm_xor_pd(a, _mm_set1_pd(-0.0)); }
    static OLVM_INLINE V abs(V a) { return _mm_andnot_pd(_mm_set1_pd(-0.0), a); }
    static OLVM_INLINE M not_ge(V a, V b) { return _mm_cmpnge_pd(a, b); }
    static OLVM_INLINE M less(V a, V b) { return _mm_cmplt_pd(a, b); }
    static OLVM_INLINE M equal(V a, V b) { return _mm_cmpeq_pd(a, b); }
    static OLVM_INLINE V select(M m, V yes, V no) { return _mm_or_pd(_mm_and_pd(m, yes), _mm_andnot_pd(m, no)); }
    static OLVM_INLINE bool any(M m) { return _mm_movemask_pd(m) != 0; }

    struct I {
        std::uintptr_t at[2];
    };
    static OLVM_INLINE I addresses(const std::uintptr_t* p) { return {{p[0], p[1]}}; }
    template <class T>
    static OLVM_INLINE V gather(const T* base, I at) {
        return _mm_setr_pd(static_cast<double>(*past(base, at.at[0])), static_cast<double>(*past(base, at.at[1])));
    }
    static OLVM_INLINE void columns4(const float* base, const std::uintptr_t* at, V (&c)[4]) {
        const __m128 r0 = _mm_loadu_ps(past(base, at[0]));
        const __m128 r1 = _mm_loadu_ps(past(base, at[1]));
        const __m128 t0 = _mm_unpacklo_ps(r0, r1), t1 = _mm_unpackhi_ps(r0, r1);
        c[0] = _mm_cvtps_pd(t0), c[1] = _mm_cvtps_pd(_mm_movehl_ps(t0, t0));
        c[2] = _mm_cvtps_pd(t1), c[3] = _mm_cvtps_pd(_mm_movehl_ps(t1, t1));
    }
    static OLVM_INLINE void columns4(const double* base, const std::uintptr_t* at, V (&c)[4]) {
        const double *r0 = past(base, at[0]), *r1 = past(base, at[1]);
        for (unsigned j = 0; j < 4; j += 2) {
            const V x = _mm_loadu_pd(r0 + j), y = _mm_loadu_pd(r1 + j);
            c[j] = _mm_unpacklo_pd(x, y), c[j + 1] = _mm_unpackhi_pd(x, y);
        }
    }
};

// Two vectors of L side by side, as one vector of twice the lanes. For kernels whose work
// on a vector is one long dependency chain (divisions, roundings): the two chains
// interleave. Loads and stores take whole vectors only.
template <class L>
struct Pair {
    struct V {
        typename L::V lo, hi;
    };
    struct M {
        typename L::M lo, hi;
    };
    static constexpr unsigned lanes = 2 * L::lanes;
    static constexpr unsigned half = L::lanes;

    static OLVM_INLINE V zero() { return {L::zero(), L::zero()}; }
    static OLVM_INLINE V broadcast(double x) { return {L::broadcast(x), L::broadcast(x)}; }
#define OLVM_PAIR_BINARY(op) \
    static OLVM_INLINE V op(V a, V b) { return {L::op(a.lo, b.lo), L::op(a.hi, b.hi)}; }
    OLVM_PAIR_BINARY(add)
    OLVM_PAIR_BINARY(sub)
    OLVM_PAIR_BINARY(mul)
    OLVM_PAIR_BINARY(div)
    OLVM_PAIR_BINARY(div_floats)
#undef OLVM_PAIR_BINARY
#define OLVM_PAIR_COMPARE(op) \
    static OLVM_INLINE M op(V a, V b) { return {L::op(a.lo, b.lo), L::op(a.hi, b.hi)}; }
    OLVM_PAIR_COMPARE(not_ge)
    OLVM_PAIR_COMPARE(less)
    OLVM_PAIR_COMPARE(equal)
#undef OLVM_PAIR_COMPARE
    static OLVM_INLINE V fma_exact(V a, V b, V c) {
        return {L::fma_exact(a.lo, b.lo, c.lo), L::fma_exact(a.hi, b.hi, c.hi)};
    }
    static OLVM_INLINE V neg(V a) { return {L::neg(a.lo), L::neg(a.hi)}; }
    static OLVM_INLINE V abs(V a) { return {L::abs(a.lo), L::abs(a.hi)}; }
    static OLVM_INLINE V round(V v, float f) { return {L::round(v.lo, f), L::round(v.hi, f)}; }
    static OLVM_INLINE V select(M m, V yes, V no) {
        return {L::select(m.lo, yes.lo, no.lo), L::select(m.hi, yes.hi, no.hi)};
    }
    static OLVM_INLINE bool any(M m) { return L::any(m.lo) || L::any(m.hi); }
    template <class T>
    static OLVM_INLINE V load(const T* p, unsigned) {
        return {L::load(p, half), L::load(p + half, half)};
    }
    struct I {
        typename L::I lo, hi;
    };
    static OLVM_INLINE I addresses(const std::uintptr_t* p) { return {L::addresses(p), L::addresses(p + half)}; }
    template <class T>
    static OLVM_INLINE V gather(const T* base, I at) {
        return {L::gather(base, at.lo), L::gather(base, at.hi)};
    }
    template <class T>
    static OLVM_INLINE void store(T* p, V v, unsigned) {
        L::store(p, v.lo, half);
        L::store(p + half, v.hi, half);
    }
    template <class T>
    static OLVM_INLINE void columns4(const T* base, const std::uintptr_t* at, V (&c)[4]) {
        typename L::V lo[4], hi[4];
        L::columns4(base, at, lo);
        L::columns4(base, at + half, hi);
        for (unsigned j = 0; j < 4; ++j) c[j] = {lo[j], hi[j]};
    }
    static OLVM_INLINE void rows4(const V (&c)[4], __m128 (&rows)[lanes]) {
        __m128 lo[half], hi[half];
        L::rows4({c[0].lo, c[1].lo, c[2].lo, c[3].lo}, lo);
        L::rows4({c[0].hi, c[1].hi, c[2].hi, c[3].hi}, hi);
        for (unsigned q = 0; q < half; ++q) rows[q] = lo[q], rows[q + half] = hi[q];
    }
};

// Lanes of floats, for the one operation whose float result is provably the double
// result rounded once: a single sum or difference of two floats. Rounding to double and
// then to float equals rounding once to float whenever double carries at least twice
// float's precision plus two bits (53 >= 2 * 24 + 2), as it does.
struct Floats4 {  // sixteen bytes: the x86-64 baseline, and long runs on every path (elementwise)
    using V = __m128;
    static constexpr unsigned lanes = 4;
    static OLVM_INLINE V broadcast(double x) { return _mm_set1_ps(static_cast<float>(x)); }
    static OLVM_INLINE V add(V a, V b) { return _mm_add_ps(a, b); }
    static OLVM_INLINE V sub(V a, V b) { return _mm_sub_ps(a, b); }
    static OLVM_INLINE V load(const float* p, unsigned n) {
        if (n == lanes) return _mm_loadu_ps(p);
        alignas(16) float part[lanes] = {};
        for (unsigned q = 0; q < n; ++q) part[q] = p[q];
        return _mm_load_ps(part);
    }
    static OLVM_INLINE void store(float* p, V v, unsigned n) {
        if (n == lanes) return _mm_storeu_ps(p, v);
        alignas(16) float part[lanes];
        _mm_store_ps(part, v);
        for (unsigned q = 0; q < n; ++q) p[q] = part[q];
    }
};

#if defined(__AVX512F__) && defined(__AVX512VL__)
struct Floats {
    using V = __m512;
    static constexpr unsigned lanes = 16;
    static OLVM_INLINE __mmask16 first(unsigned n) { return static_cast<__mmask16>((1u << n) - 1u); }
    static OLVM_INLINE V broadcast(double x) { return _mm512_set1_ps(static_cast<float>(x)); }
    static OLVM_INLINE V add(V a, V b) { return _mm512_add_ps(a, b); }
    static OLVM_INLINE V sub(V a, V b) { return _mm512_sub_ps(a, b); }
    static OLVM_INLINE V load(const float* p, unsigned n) {
        return n == lanes ? _mm512_loadu_ps(p) : _mm512_maskz_loadu_ps(first(n), p);
    }
    static OLVM_INLINE void store(float* p, V v, unsigned n) {
        if (n == lanes) _mm512_storeu_ps(p, v);
        else _mm512_mask_storeu_ps(p, first(n), v);
    }
};
#elif defined(__AVX2__)
struct Floats {
    using V = __m256;
    static constexpr unsigned lanes = 8;
    static OLVM_INLINE V broadcast(double x) { return _mm256_set1_ps(static_cast<float>(x)); }
    static OLVM_INLINE V add(V a, V b) { return _mm256_add_ps(a, b); }
    static OLVM_INLINE V sub(V a, V b) { return _mm256_sub_ps(a, b); }
    // Partial runs by plain moves of the two halves (load_floats).
    static OLVM_INLINE V load(const float* p, unsigned n) {
        if (n == lanes) return _mm256_loadu_ps(p);
        if (n <= 4) return _mm256_zextps128_ps256(load_floats(p, n));
        return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p)), load_floats(p + 4, n - 4), 1);
    }
    static OLVM_INLINE void store(float* p, V v, unsigned n) {
        if (n == lanes) return _mm256_storeu_ps(p, v);
        store_floats(p, _mm256_castps256_ps128(v), n);
        if (n > 4) store_floats(p + 4, _mm256_extractf128_ps(v, 1), n - 4);
    }
};
#else
using Floats = Floats4;
#endif

// The lanes a path uses: Narrow for rows of up to four elements, Wide for longer rows and
// for lanes that run across objects. 512-bit vectors pay only where they are full.
// `vector_registers`: how many the compiler may allocate (AVX-512 adds 16, for 256-bit
// vectors too).
#if defined(__AVX512F__) && defined(__AVX512VL__)
using Narrow = Lanes4;
using Wide = Lanes8;
constexpr unsigned vector_registers = 32;
#elif defined(__AVX2__) && defined(__FMA__)
using Narrow = Lanes4;
using Wide = Lanes4;
constexpr unsigned vector_registers = 16;
#else
using Narrow = Lanes2;
using Wide = Lanes2;
constexpr unsigned vector_registers = 16;
#endif

// A row of four floats stored from a vector.
OLVM_INLINE void put4(float* p, __m128 row) {
    _mm_storeu_ps(p, row);
}

// Rounding to the element type: a no-op for doubles.
template <class L>
OLVM_INLINE typename L::V round_to(typename L::V v, double) {
    return v;
}
template <class L>
OLVM_INLINE typename L::V round_to(typename L::V v, float f) {
    return L::round(v, f);
}

// A quotient rounded to the element type. Quotients of floats are formed in float: the
// quotient in double rounded to float is the same number, because double carries more
// than twice float's precision plus two bits, which makes the second rounding of a
// quotient harmless. A float division has several times the throughput of a double one.
template <class L>
OLVM_INLINE typename L::V quotient(typename L::V a, typename L::V b, double) {
    return L::div(a, b);
}
template <class L>
OLVM_INLINE typename L::V quotient(typename L::V a, typename L::V b, float) {
    return L::div_floats(a, b);
}

// One term added to a running sum: a product of two floats is exact in double, so it
// may be fused with the addition; a product of two doubles may not.
template <class L>
OLVM_INLINE typename L::V add_term(typename L::V a, typename L::V b, typename L::V sum, float) {
    return L::fma_exact(a, b, sum);
}
template <class L>
OLVM_INLINE typename L::V add_term(typename L::V a, typename L::V b, typename L::V sum, double) {
    return L::add(L::mul(a, b), sum);
}

// b times the double at x, broadcast to every lane. Where the path has embedded
// broadcasts the broadcast is written into the multiply's memory operand: left to the
// compiler, most stay separate broadcast loads, one more instruction a term (measured,
// 64f 6x6 products of 1,000 objects in cache: 16.7 -> 13.2 ns, L 17.1 -> 13.8).
template <class L>
OLVM_INLINE typename L::V mul_element(typename L::V b, const double* x) {
    return L::mul(b, L::broadcast(x));
}
#if defined(__AVX512F__) && defined(__AVX512VL__)
template <>
OLVM_INLINE Lanes4::V mul_element<Lanes4>(Lanes4::V b, const double* x) {
    Lanes4::V r;
    asm("vmulpd %2%{1to4%}, %1, %0" : "=v"(r) : "v"(b), "m"(*x));
    return r;
}
template <>
OLVM_INLINE Lanes8::V mul_element<Lanes8>(Lanes8::V b, const double* x) {
    Lanes8::V r;
    asm("vmulpd %2%{1to8%}, %1, %0" : "=v"(r) : "v"(b), "m"(*x));
    return r;
}
#endif

// Calls f(std::integral_constant<unsigned, O>) for a fixed order O from 3 to 6; other
// orders have no batch kernel and finish nothing.
template <class F>
OLVM_INLINE unsigned with_order(unsigned order, F f) {
    switch (order) {
        case 3: return f(std::integral_constant<unsigned, 3>{});
        case 4: return f(std::integral_constant<unsigned, 4>{});
        case 5: return f(std::integral_constant<unsigned, 5>{});
        case 6: return f(std::integral_constant<unsigned, 6>{});
        default: return 0;
    }
}

// Calls f with one std::bool_constant per run-time flag, in order: one instantiation of a
// kernel per combination, with the flags' tests out of its loops. `Known` carries the
// flags already turned into constants.
template <bool... Known, class F>
OLVM_INLINE unsigned with_flags(F f) {
    return f(std::bool_constant<Known>{}...);
}
template <bool... Known, class F, class... Rest>
OLVM_INLINE unsigned with_flags(F f, bool first, Rest... rest) {
    return first ? with_flags<Known..., true>(f, rest...) : with_flags<Known..., false>(f, rest...);
}

// Lanes in a vector of a row of `total` elements that starts at lane `first`.
inline constexpr unsigned part(unsigned total, unsigned first, unsigned lanes) {
    return total - first < lanes ? total - first : lanes;
}

}  // namespace olvm::simd::OLVM_PATH
