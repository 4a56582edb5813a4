// Lanes of doubles for the batch kernels, one set of operations per instruction set.
//
// A batch kernel is written once against this interface and compiled once per path;
// every lane performs exactly the scalar operation sequence of the plain kernels, so all
// paths give the same bits. `fma_exact` may fuse only because its callers pass a product
// of two widened floats, which is exact in double: rounding it once with the addend is
// then the same as multiplying and adding.
//
// Loads and stores of `n` lanes (n <= lanes) touch only those n elements.
//
// Everything here lives in a namespace of its own per path (OLVM_PATH), and so does every
// template instantiated with it: the copies built for different instruction sets must
// never be merged by the linker.
#pragma once

#include <immintrin.h>

#include "frame/layout.h"

#if !defined(OLVM_PATH)
#error "frame/simd.h is compiled only as part of an instruction-set path"
#endif

namespace olvm::simd::OLVM_PATH {

#if defined(__AVX512F__) && defined(__AVX512VL__)
struct Lanes8 {
    using V = __m512d;
    static constexpr unsigned lanes = 8;
    static __mmask8 mask(unsigned n) { return static_cast<__mmask8>((1u << n) - 1u); }

    static OLVM_INLINE V zero() { return _mm512_setzero_pd(); }
    static OLVM_INLINE V broadcast(double x) { return _mm512_set1_pd(x); }
    static OLVM_INLINE V broadcast(const double* p) { return _mm512_set1_pd(*p); }
    static OLVM_INLINE V add(V a, V b) { return _mm512_add_pd(a, b); }
    static OLVM_INLINE V sub(V a, V b) { return _mm512_sub_pd(a, b); }
    static OLVM_INLINE V mul(V a, V b) { return _mm512_mul_pd(a, b); }
    static OLVM_INLINE V fma_exact(V a, V b, V c) { return _mm512_fmadd_pd(a, b, c); }
    static OLVM_INLINE V load(const float* p, unsigned n) {
        return _mm512_cvtps_pd(_mm256_maskz_loadu_ps(mask(n), p));
    }
    static OLVM_INLINE V load(const double* p, unsigned n) { return _mm512_maskz_loadu_pd(mask(n), p); }
    static OLVM_INLINE void store(float* p, V v, unsigned n) {
        _mm256_mask_storeu_ps(p, mask(n), _mm512_cvtpd_ps(v));
    }
    static OLVM_INLINE void store(double* p, V v, unsigned n) { _mm512_mask_storeu_pd(p, mask(n), v); }
    static OLVM_INLINE V round(V v, float) { return _mm512_cvtps_pd(_mm512_cvtpd_ps(v)); }
};
#endif

#if defined(__AVX2__) && defined(__FMA__)
struct Lanes4 {
    using V = __m256d;
    static constexpr unsigned lanes = 4;
    static __m256i mask64(unsigned n) {
        return _mm256_cmpgt_epi64(_mm256_set1_epi64x(n), _mm256_setr_epi64x(0, 1, 2, 3));
    }
    static __m128i mask32(unsigned n) {
        return _mm_cmpgt_epi32(_mm_set1_epi32(static_cast<int>(n)), _mm_setr_epi32(0, 1, 2, 3));
    }

    static OLVM_INLINE V zero() { return _mm256_setzero_pd(); }
    static OLVM_INLINE V broadcast(double x) { return _mm256_set1_pd(x); }
    static OLVM_INLINE V broadcast(const double* p) { return _mm256_broadcast_sd(p); }
    static OLVM_INLINE V add(V a, V b) { return _mm256_add_pd(a, b); }
    static OLVM_INLINE V sub(V a, V b) { return _mm256_sub_pd(a, b); }
    static OLVM_INLINE V mul(V a, V b) { return _mm256_mul_pd(a, b); }
    static OLVM_INLINE V fma_exact(V a, V b, V c) { return _mm256_fmadd_pd(a, b, c); }
    static OLVM_INLINE V load(const float* p, unsigned n) {
        return _mm256_cvtps_pd(n == 4 ? _mm_loadu_ps(p) : _mm_maskload_ps(p, mask32(n)));
    }
    static OLVM_INLINE V load(const double* p, unsigned n) {
        return n == 4 ? _mm256_loadu_pd(p) : _mm256_maskload_pd(p, mask64(n));
    }
    static OLVM_INLINE void store(float* p, V v, unsigned n) {
        const __m128 f = _mm256_cvtpd_ps(v);
        if (n == 4) _mm_storeu_ps(p, f);
        else _mm_maskstore_ps(p, mask32(n), f);
    }
    static OLVM_INLINE void store(double* p, V v, unsigned n) {
        if (n == 4) _mm256_storeu_pd(p, v);
        else _mm256_maskstore_pd(p, mask64(n), v);
    }
    static OLVM_INLINE V round(V v, float) { return _mm256_cvtps_pd(_mm256_cvtpd_ps(v)); }
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
};

// The lanes a path uses: Narrow for rows of up to four elements, Wide for longer rows and
// for lanes that run across objects. 512-bit vectors pay only where they are full.
#if defined(__AVX512F__) && defined(__AVX512VL__)
using Narrow = Lanes4;
using Wide = Lanes8;
#elif defined(__AVX2__) && defined(__FMA__)
using Narrow = Lanes4;
using Wide = Lanes4;
#else
using Narrow = Lanes2;
using Wide = Lanes2;
#endif

// Rounding to the element type: a no-op for doubles.
template <class L>
OLVM_INLINE typename L::V round_to(typename L::V v, double) {
    return v;
}
template <class L>
OLVM_INLINE typename L::V round_to(typename L::V v, float f) {
    return L::round(v, f);
}

// Lanes in a vector of a row of `total` elements that starts at lane `first`.
inline constexpr unsigned part(unsigned total, unsigned first, unsigned lanes) {
    return total - first < lanes ? total - first : lanes;
}

}  // namespace olvm::simd::OLVM_PATH
