// The machine's limits, measured on one core in the same run as the kernels:
//
//   machine/copy/<bytes>   b[i] = a[i]            over two arrays of bytes/2
//   machine/triad/<bytes>  a[i] = b[i] + s * c[i] over three arrays of bytes/3
//   machine/fma256         independent chains of 256-bit double fused multiply-adds
//   machine/fma512         the same with 512-bit vectors
//
// Bandwidth counts the bytes the loop names (reads plus writes, not the extra line fill a
// store miss costs), as STREAM does; the kernels' floors count their bytes the same way.
// The loops use explicit vector instructions in functions compiled for AVX2 or AVX-512
// only, chosen at run time, so the rest of the binary keeps the project's flags. Stores are
// ordinary stores, like the kernels', not streaming stores.
#include <immintrin.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "support/machine.h"
#include "support/rows.h"

namespace olvm_bench {
namespace {

#if defined(__x86_64__) || defined(__i386__)
#define OLVM_BENCH_X86 1
#endif

struct Free {
    void operator()(double* p) const { std::free(p); }
};
using Buffer = std::unique_ptr<double, Free>;

Buffer doubles(std::size_t n, double value) {
    auto* p = static_cast<double*>(std::aligned_alloc(64, (n * sizeof(double) + 63) / 64 * 64));
    for (std::size_t i = 0; i < n; ++i) p[i] = value;  // touches every page before timing
    return Buffer(p);
}

#ifdef OLVM_BENCH_X86
__attribute__((target("avx2"))) void copy_avx2(const double* a, double* b, std::size_t n) {
    for (std::size_t i = 0; i < n; i += 8) {
        _mm256_store_pd(b + i, _mm256_load_pd(a + i));
        _mm256_store_pd(b + i + 4, _mm256_load_pd(a + i + 4));
    }
}

__attribute__((target("avx2"))) void triad_avx2(double* a, const double* b, const double* c,
                                                double s, std::size_t n) {
    const __m256d vs = _mm256_set1_pd(s);
    for (std::size_t i = 0; i < n; i += 8) {
        _mm256_store_pd(a + i, _mm256_add_pd(_mm256_load_pd(b + i),
                                             _mm256_mul_pd(vs, _mm256_load_pd(c + i))));
        _mm256_store_pd(a + i + 4, _mm256_add_pd(_mm256_load_pd(b + i + 4),
                                                 _mm256_mul_pd(vs, _mm256_load_pd(c + i + 4))));
    }
}

// Enough independent chains to cover the fused multiply-add latency on two pipes.
constexpr int kChains256 = 12;
constexpr int kChains512 = 16;

__attribute__((target("avx2,fma"))) double fma_chains_256(long reps, double multiplier) {
    __m256d acc[kChains256];
    for (int k = 0; k < kChains256; ++k) acc[k] = _mm256_set1_pd(1.0 + k);
    const __m256d m = _mm256_set1_pd(multiplier), c = _mm256_set1_pd(1e-6);
    for (long r = 0; r < reps; ++r) {
#pragma GCC unroll 16
        for (int k = 0; k < kChains256; ++k) acc[k] = _mm256_fmadd_pd(acc[k], m, c);
    }
    __m256d sum = acc[0];
    for (int k = 1; k < kChains256; ++k) sum = _mm256_add_pd(sum, acc[k]);
    return _mm256_cvtsd_f64(sum);
}

__attribute__((target("avx512f"))) double fma_chains_512(long reps, double multiplier) {
    __m512d acc[kChains512];
    for (int k = 0; k < kChains512; ++k) acc[k] = _mm512_set1_pd(1.0 + k);
    const __m512d m = _mm512_set1_pd(multiplier), c = _mm512_set1_pd(1e-6);
    for (long r = 0; r < reps; ++r) {
#pragma GCC unroll 16
        for (int k = 0; k < kChains512; ++k) acc[k] = _mm512_fmadd_pd(acc[k], m, c);
    }
    __m512d sum = acc[0];
    for (int k = 1; k < kChains512; ++k) sum = _mm512_add_pd(sum, acc[k]);
    alignas(64) double lanes[8];
    _mm512_store_pd(lanes, sum);
    return lanes[0];
}
#endif

bool has(const char* feature) {
#ifdef OLVM_BENCH_X86
    __builtin_cpu_init();
    if (std::string(feature) == "avx2") return __builtin_cpu_supports("avx2");
    if (std::string(feature) == "fma") return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    if (std::string(feature) == "avx512f") return __builtin_cpu_supports("avx512f");
#endif
    (void)feature;
    return false;
}

void bytes_per_second(benchmark::State& state, double bytes) {
    state.counters["bytes_per_second"] =
        benchmark::Counter(bytes, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["working_set"] = bytes;
}

void copy_row(benchmark::State& state, std::size_t bytes) {
    if (!has("avx2")) return state.SkipWithError("needs AVX2");
    const std::size_t n = bytes / 2 / sizeof(double) / 8 * 8;
    Buffer a = doubles(n, 1.0), b = doubles(n, 0.0);
#ifdef OLVM_BENCH_X86
    for (auto _ : state) {
        copy_avx2(a.get(), b.get(), n);
        benchmark::ClobberMemory();
    }
#endif
    bytes_per_second(state, double(2 * n * sizeof(double)));
}

void triad_row(benchmark::State& state, std::size_t bytes) {
    if (!has("avx2")) return state.SkipWithError("needs AVX2");
    const std::size_t n = bytes / 3 / sizeof(double) / 8 * 8;
    Buffer a = doubles(n, 0.0), b = doubles(n, 1.0), c = doubles(n, 2.0);
#ifdef OLVM_BENCH_X86
    for (auto _ : state) {
        triad_avx2(a.get(), b.get(), c.get(), 3.0, n);
        benchmark::ClobberMemory();
    }
#endif
    bytes_per_second(state, double(3 * n * sizeof(double)));
}

volatile double g_multiplier = 0.999999;

template <int Bits>
void fma_row(benchmark::State& state) {
    constexpr long kReps = 10000;
    if (!has(Bits == 512 ? "avx512f" : "fma")) return state.SkipWithError("not supported here");
    double flops = 0;
#ifdef OLVM_BENCH_X86
    for (auto _ : state) {
        // An input the compiler cannot see keeps the call inside the timing loop. (Passing a
        // double through benchmark::DoNotOptimize corrupts it with this GCC and Google
        // Benchmark 1.7, and a multiplier near zero makes the chains subnormal and slow.)
        const double multiplier = g_multiplier;
        benchmark::DoNotOptimize(Bits == 512 ? fma_chains_512(kReps, multiplier)
                                             : fma_chains_256(kReps, multiplier));
    }
    // Two flops (a multiply and an add) per lane per fused operation.
    flops = double(kReps) * (Bits == 512 ? kChains512 * 8 : kChains256 * 4) * 2;
#endif
    state.counters["flops_per_second"] =
        benchmark::Counter(flops, benchmark::Counter::kIsIterationInvariantRate);
}

}  // namespace

void register_machine() {
    for (std::size_t bytes : scale().bandwidth_sizes()) {
        add_row("machine/copy/" + std::to_string(bytes),
                [bytes](benchmark::State& s) { copy_row(s, bytes); });
        add_row("machine/triad/" + std::to_string(bytes),
                [bytes](benchmark::State& s) { triad_row(s, bytes); });
    }
    // A peak of an instruction set the processor lacks is not measured at all: the report
    // takes the widest peak there is for every floor.
    if (has("fma")) add_row("machine/fma256", fma_row<256>);
    if (has("avx512f")) add_row("machine/fma512", fma_row<512>);
}

}  // namespace olvm_bench
