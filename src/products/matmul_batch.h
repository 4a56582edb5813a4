// Batch kernels of the fixed-order matrix products, compiled once per instruction set
// (src/paths/). Each returns how many objects, from object 0, it has finished: the
// caller's plain loop takes over from there, so a layout a kernel does not cover, an L
// object whose pointer is null, or a tail shorter than a vector is left to it.
//
// Every destination element receives exactly the plain kernel's value: its terms are
// added in ascending order from 0.0, in double, and rounded once (standard, S2) or
// after every term (P, PS2, L, LS2). Only the final value is stored; the running sums
// the plain kernel stores on the way are overwritten by it anyway, and a destination
// that overlaps a source is not supported.
#pragma once

#include <cstddef>
#include <type_traits>

#include "frame/simd.h"
#include "products/matmul_job.h"

// Like the lanes, every template here exists once per path, in the path's namespace.
namespace olvm::products::OLVM_PATH {

namespace simd = olvm::simd::OLVM_PATH;

// The AVX2 path, whose wide lanes are 256-bit: some choices below were measured to differ there.
constexpr bool wide_256 = simd::Wide::lanes == 4;

template <class T>
OLVM_INLINE T read(const char* p) {
    return *reinterpret_cast<const T*>(p);
}

// One term of every row's or lane's sum; the rounding to the element type after each
// term belongs to the layouts that accumulate through the destination.
template <class L, class T, bool Through>
OLVM_INLINE typename L::V step(typename L::V a, typename L::V b, typename L::V sum) {
    sum = simd::add_term<L>(a, b, sum, T());
    if constexpr (Through) sum = simd::round_to<L>(sum, T());
    return sum;
}

// Lanes along the rows of B and C: row i of C is the sum over k of a(i, k) times row k
// of B. Needs B and C with contiguous rows and B untransposed. The rows' sums are formed
// side by side, term k of every row before term k + 1.
//
// How the objects and rows of the three operands are addressed, two independent traits.
// Strided: all three are arrays of objects at a fixed step (no table to read, no null
// object), the common case, whose addressing is then two instructions an object. Packed:
// A's elements are contiguous and the rows of A and B follow each other without gaps
// (as they do in most L objects too), so a row but the last may be read with a whole
// vector (the lanes past its end read the next row) and rows lie at constant offsets.

// Objects `G` at a time, from the given starts: their sums are independent, so the
// chains of terms of G objects (each term rounded, where the sum runs through a 32f
// destination element) are in flight together rather than one object's after another's.
template <class L, class T, unsigned O, bool Through, bool TransA, bool ContigA, bool Packed, unsigned G>
OLVM_INLINE void mul_objects(const frame::Place& a, const frame::Place& b, const frame::Place& c,
                             const char* const (&as)[G], const char* const (&bs)[G], char* const (&cs)[G]) {
    constexpr unsigned W = L::lanes, R = (O + W - 1) / W;
    // Lanes read from row i of a packed operand: a whole vector where that stays inside it.
    auto reads = [](unsigned i, unsigned r) {
        return Packed && R == 1 && i + 1 < O ? W : simd::part(O, r * W, W);
    };
    // A's element step, signed: a negative stride stays a negative offset. Packed rows
    // are O elements apart, a constant: A's broadcasts then address their elements
    // directly rather than each through a computed row start.
    const frame::Offset a_step = ContigA ? frame::Offset(sizeof(T)) : a.elem;
    constexpr frame::Offset packed_row = O * sizeof(T);
    const frame::Offset a_row = Packed ? packed_row : a.row, b_row = Packed ? packed_row : b.row;
    // A widened once into memory, as stored (row by row), so that every broadcast below
    // is a plain load: aw[g][i][k] holds a(i, k), or a(k, i) for a transposed A.
    alignas(64) double aw[G][O][R * W];
#pragma GCC unroll 2
    for (unsigned g = 0; g < G; ++g) {
        if constexpr (std::is_same_v<T, double>) {
            // Doubles need no widening: broadcasts read A where it is stored.
        } else if (ContigA) {
#pragma GCC unroll 8
            for (unsigned i = 0; i < O; ++i)
                for (unsigned r = 0; r < R; ++r)
                    L::store(&aw[g][i][r * W],
                             L::load(reinterpret_cast<const T*>(as[g] + i * a_row) + r * W, reads(i, r)), W);
        } else {
#pragma GCC unroll 8
            for (unsigned i = 0; i < O; ++i)
#pragma GCC unroll 8
                for (unsigned k = 0; k < O; ++k)
                    aw[g][i][k] = static_cast<double>(read<T>(as[g] + i * a_row + k * a.elem));
        }
    }
    // Left to itself the compiler keeps the widened rows in registers and broadcasts each
    // element with a lane permute, which competes with the multiply-adds for the vector
    // pipes; read through a pointer it cannot trace, each broadcast is a load. Measured,
    // 32f products of 1,000 objects: on 512-bit lanes (AMD EPYC family 25, AVX-512) 6x6
    // 20.6 -> 13.9 ns, L 40.6 -> 36.2; on the AVX2 path (family 25, model 1) 4x4 8.65 ->
    // 6.86, 4x4 L 15.8 -> 11.5, 6x6 27.5 -> 20.2. The AVX-512 path's 256-bit rows (orders
    // 3 and 4) keep the register broadcast, which was faster there (4x4 4.45 against 5.87).
    const double(*awl)[O][R * W] = aw;
    if constexpr (!std::is_same_v<T, double> && (W >= 8 || wide_256)) asm("" : "+r"(awl));
    typename L::V sum[G][O][R];
#pragma GCC unroll 32
    for (unsigned e = 0; e < G * O * R; ++e) sum[e / (O * R)][e / R % O][e % R] = L::zero();
#pragma GCC unroll 8
    for (unsigned k = 0; k < O; ++k) {
        typename L::V brow[G][R];
#pragma GCC unroll 8
        for (unsigned e = 0; e < G * R; ++e)
            brow[e / R][e % R] =
                L::load(reinterpret_cast<const T*>(bs[e / R] + k * b_row) + e % R * W, reads(k, e % R));
#pragma GCC unroll 8
        for (unsigned i = 0; i < O; ++i)
#pragma GCC unroll 2
            for (unsigned g = 0; g < G; ++g) {
                if constexpr (std::is_same_v<T, double>) {
                    // Doubles are multiplied by A's element where it is stored.
                    const double* x = reinterpret_cast<const double*>(as[g] + (TransA ? k : i) * a_row +
                                                                      (TransA ? i : k) * a_step);
                    for (unsigned r = 0; r < R; ++r)
                        sum[g][i][r] = L::add(simd::mul_element<L>(brow[g][r], x), sum[g][i][r]);
                } else {
                    const typename L::V s = L::broadcast(TransA ? awl[g][k][i] : awl[g][i][k]);
                    for (unsigned r = 0; r < R; ++r) sum[g][i][r] = step<L, T, Through>(s, brow[g][r], sum[g][i][r]);
                }
            }
    }
#pragma GCC unroll 32
    for (unsigned e = 0; e < G * O * R; ++e) {
        const unsigned g = e / (O * R), i = e / R % O, r = e % R;
        L::store(reinterpret_cast<T*>(cs[g] + i * c.row) + r * W, sum[g][i][r], simd::part(O, r * W, W));
    }
}

// How mul_rows finds the three operands' objects: Strided (above), all three through L
// tables (Listed: starts and null tests without a test of each operand's kind), or a mix.
enum class Addressing { Strided, Listed, Mixed };

template <Addressing X>
OLVM_INLINE const char* object_start(const frame::Place& x, unsigned n) {
    if constexpr (X == Addressing::Strided) return x.strided(n);
    if constexpr (X == Addressing::Listed) return x.listed(n);
    return x.start(n);
}
template <Addressing X>
OLVM_INLINE bool object_null(const frame::Place& x, unsigned n) {
    if constexpr (X == Addressing::Strided) return false;
    if constexpr (X == Addressing::Listed) return x.listed_null(n);
    return x.object_null(n);
}

template <class L, class T, unsigned O, bool Through, bool TransA, bool ContigA, bool Packed, Addressing X>
OLVM_INLINE unsigned mul_loop(const frame::Place& a, const frame::Place& b, const frame::Place& c, unsigned count) {
    constexpr unsigned R = (O + L::lanes - 1) / L::lanes, registers = simd::vector_registers;
    constexpr auto fits = [](unsigned g) { return g * (O * R + R) + 1 <= registers; };
    // On the AVX2 path 64f 4x4 L objects are faster one at a time (AMD EPYC, family 25,
    // model 1, 1,000 objects in cache: 7.81 -> 6.98 ns an object).
    constexpr bool listed_pairs = X == Addressing::Listed && O <= 4 && !(O == 4 && wide_256);
    constexpr unsigned G = (Through || listed_pairs) && fits(2) ? 2 : 1;
    auto at = [](const frame::Place& x, unsigned n) { return object_start<X>(x, n); };
    auto null = [&](unsigned n) { return object_null<X>(a, n) || object_null<X>(b, n) || object_null<X>(c, n); };
    unsigned n = 0;
    for (; G > 1 && n + G <= count; n += G) {
        bool any_null = false;
        for (unsigned g = 0; g < G; ++g) any_null = any_null || null(n + g);
        if (any_null) break;
        const char *as[G], *bs[G];
        char* cs[G];
        for (unsigned g = 0; g < G; ++g)
            as[g] = at(a, n + g), bs[g] = at(b, n + g), cs[g] = const_cast<char*>(at(c, n + g));
        mul_objects<L, T, O, Through, TransA, ContigA, Packed, G>(a, b, c, as, bs, cs);
    }
    for (; n < count; ++n) {
        if (null(n)) return n;
        mul_objects<L, T, O, Through, TransA, ContigA, Packed, 1>(a, b, c, {at(a, n)}, {at(b, n)},
                                                                   {const_cast<char*>(at(c, n))});
    }
    return count;
}

// Objects one at a time, or two side by side in the L layouts of 32f (the sums run
// through the destination element) where the registers hold both objects' sums and rows
// of B: each term is then rounded to float, a chain of multiply-add and two conversions
// long enough that one object's sums leave the processor waiting. More objects side by
// side gain nothing more (the conversions' throughput is then the limit). L tables of
// orders 3 and 4 take pairs too: each object's loads wait for its table entries, and two
// objects side by side overlap those waits (64f 1,000 objects in cache: 3x3 3.05 -> 2.75
// ns, 4x4 4.52 -> 4.17; the standard layout, and L at order 6, gained nothing or lost).
// L tables also take their own loop: with the kind tests of general addressing gone, 64f
// took 3.44 -> 2.97 ns (3x3 L), 4.93 -> 4.50 (4x4 L).
template <class L, class T, unsigned O, bool Through, bool TransA, bool ContigA, bool Strided, bool Packed>
unsigned mul_rows(const MulJob& job) {
    // Locals, which the destination's stores cannot alias (the job's fields they could).
    const frame::Place a = job.a, b = job.b, c = job.c;
    if constexpr (Strided) {
        return mul_loop<L, T, O, Through, TransA, ContigA, Packed, Addressing::Strided>(a, b, c, job.count);
    } else {
        constexpr auto listed = frame::Place::Objects;
        if (a.kind == listed && b.kind == listed && c.kind == listed)
            return mul_loop<L, T, O, Through, TransA, ContigA, Packed, Addressing::Listed>(a, b, c, job.count);
        return mul_loop<L, T, O, Through, TransA, ContigA, Packed, Addressing::Mixed>(a, b, c, job.count);
    }
}

// P layout, one object per lane: element k of consecutive objects is contiguous, so each
// element of W objects is one load. A single source (object stride 0) is broadcast.
// Every entry's run is read from the tables once; 32f sources are widened once per group
// into local arrays, which the terms then read as plain memory operands. Several rows of
// C are summed side by side (as many as the registers hold), term k of each before term
// k + 1, so that the rounding chains of their elements overlap.
//
// `Fetch`: the arrays are far (larger than the caches), and their 27 to 108 runs are more
// than the processor's own prefetcher follows, so every run's lines are fetched ahead, a
// line a run at a time. They are fetched into the L2 cache: fetched into L1 (as the
// destination's alone once were), the sources' lines made every order slower, as if the
// L1's outstanding misses were too few for them. Where a group's runs take more than 64
// lines (64f from order 5), the destination's still go to L1 (into L2 they were slower
// there). Measured on AMD EPYC (family 25), products of 1,000,000 objects, against
// fetching the destination alone from order 5 on: 32f 3x3 6.49 -> 5.04 ns an object,
// 4x4 20.1 -> 10.8, 6x6 54.1 -> 39.3; 64f 3x3 11.7 -> 10.9, 4x4 36.2 -> 20.6, 6x6 level
// (67.6, 68.7).
template <class L, class T, unsigned O, bool TransA, bool TransB, bool Fetch>
unsigned mul_lanes(const MulJob& job) {
    constexpr unsigned W = L::lanes, E = O * O;
    constexpr unsigned registers = simd::vector_registers;
    // Rows of C per block: a divisor of O whose sums leave room for two more vectors.
    constexpr unsigned RB = O * O + 2 <= registers ? O : O % 3 == 0 && 3 * O + 2 <= registers ? 3
                                                    : O % 2 == 0 && 2 * O + 2 <= registers ? 2 : 1;
    constexpr bool widen = std::is_same_v<T, float>;
    using V = typename L::V;
    const frame::Place a = job.a, b = job.b, c = job.c;
    // Runs in the order used: ar[i * O + k] holds a(i, k), br[k * O + j] b(k, j).
    const T* ar[E];
    const T* br[E];
    T* cr[E];
    for (unsigned i = 0; i < O; ++i)
        for (unsigned k = 0; k < O; ++k) {
            ar[i * O + k] = reinterpret_cast<const T*>(a.entry(TransA ? k * O + i : i * O + k, 0));
            br[i * O + k] = reinterpret_cast<const T*>(b.entry(TransB ? k * O + i : i * O + k, 0));
            cr[i * O + k] = reinterpret_cast<T*>(const_cast<char*>(c.entry(i * O + k, 0)));
        }
    const bool a_one = a.obj == 0, b_one = b.obj == 0;
    auto get = [&](const T* run, bool one, unsigned n) {
        return one ? L::broadcast(static_cast<double>(*run)) : L::load(run + n, W);
    };
    alignas(64) double aw[widen ? E : 1][W], bw[widen ? E : 1][W];
    const unsigned count = job.count;
    constexpr unsigned line = 64 / sizeof(T), ahead = 1024 / sizeof(T);  // in elements
    constexpr bool dst_to_l1 = 3 * E * W * sizeof(T) > 64 * 64;  // a group's runs take more than 64 lines
    unsigned n = 0;
    for (; n + W <= count; n += W) {
        if constexpr (Fetch)
            if (n % line == 0)
#pragma GCC unroll 36
                for (unsigned e = 0; e < E; ++e) {
                    const char* next = reinterpret_cast<const char*>(cr[e] + n + ahead);
                    if constexpr (dst_to_l1) _mm_prefetch(next, _MM_HINT_T0);
                    else _mm_prefetch(next, _MM_HINT_T1);
                    if (!a_one) _mm_prefetch(reinterpret_cast<const char*>(ar[e] + n + ahead), _MM_HINT_T1);
                    if (!b_one) _mm_prefetch(reinterpret_cast<const char*>(br[e] + n + ahead), _MM_HINT_T1);
                }
        if constexpr (widen) {
#pragma GCC unroll 36
            for (unsigned e = 0; e < E; ++e) {
                L::store(aw[e], get(ar[e], a_one, n), W);
                L::store(bw[e], get(br[e], b_one, n), W);
            }
        }
        auto A = [&](unsigned e) { return widen ? L::load(aw[e], W) : get(ar[e], a_one, n); };
        auto B = [&](unsigned e) { return widen ? L::load(bw[e], W) : get(br[e], b_one, n); };
#pragma GCC unroll 6
        for (unsigned i0 = 0; i0 < O; i0 += RB) {
            V sum[RB][O];
#pragma GCC unroll 36
            for (unsigned e = 0; e < RB * O; ++e) sum[e / O][e % O] = L::zero();
#pragma GCC unroll 6
            for (unsigned k = 0; k < O; ++k)
#pragma GCC unroll 6
                for (unsigned r = 0; r < RB; ++r) {
                    const V av = A((i0 + r) * O + k);
#pragma GCC unroll 6
                    for (unsigned j = 0; j < O; ++j) sum[r][j] = step<L, T, true>(av, B(k * O + j), sum[r][j]);
                }
#pragma GCC unroll 36
            for (unsigned e = 0; e < RB * O; ++e) L::store(cr[(i0 + e / O) * O + e % O] + n, sum[e / O][e % O], W);
        }
    }
    return n;
}

// Rows of up to four elements go to the narrow lanes, longer ones to the wide lanes;
// the P layout's lanes run across objects and are always wide. Rows whose sums round
// after every term are bound by the two conversions of each term, and where the wide
// lanes are 256-bit (AVX2), rows of five or six, which do not fill two vectors, convert
// fewer unused lanes in three 128-bit vectors. Measured on AMD EPYC (family 25, model
// 1), 32f L products of 1,000 objects: 6x6 64.1 -> 60.9 ns an object; rows of three
// keep their 256-bit vector (9.7 ns, against 10.9 in 128-bit vectors).
template <unsigned O, bool Round>
using RowLanes = std::conditional_t<Round && (O > 4) && wide_256, simd::Lanes2,
                                    std::conditional_t<(O <= 4), simd::Narrow, simd::Wide>>;

template <class T, unsigned O>
unsigned mul_order(const MulJob& job) {
    using LP = simd::Wide;
    const frame::Place a = job.a, b = job.b, c = job.c;
    const frame::Offset es = sizeof(T);
    // Sums rounded through the destination: only in 32f (a double rounded to double after
    // each term is the sum itself, so 64f takes the kernel that does not round).
    constexpr bool can_round = std::is_same_v<T, float>;
    const bool rows = a.kind != frame::Place::Entries && b.kind != frame::Place::Entries &&
                      c.kind != frame::Place::Entries && !b.transposed && b.elem == es &&
                      c.elem == es;
    if (rows) {
        const bool contig = a.elem == es;
        const bool strided =
            a.kind == frame::Place::Rows && b.kind == frame::Place::Rows && c.kind == frame::Place::Rows;
        const frame::Offset packed_row = O * es;
        if (contig && a.row == packed_row && b.row == packed_row)
            return simd::with_flags(
                [&](auto through, auto trans, auto all_strided) {
                    constexpr bool each_term = can_round && through();
                    return mul_rows<RowLanes<O, each_term>, T, O, each_term, trans(), true, all_strided(), true>(job);
                },
                job.through, a.transposed, strided);
        return simd::with_flags(
            [&](auto through, auto trans, auto contig_a, auto all_strided) {
                constexpr bool each_term = can_round && through();
                return mul_rows<RowLanes<O, each_term>, T, O, each_term, trans(), contig_a(), all_strided(), false>(job);
            },
            job.through, a.transposed, contig, strided);
    }
    auto interleaved = [&](const frame::Place& x) {
        return x.kind == frame::Place::Entries && (x.obj == 0 || x.obj == es);
    };
    if (interleaved(a) && interleaved(b) && c.kind == frame::Place::Entries && c.obj == es) {
        const bool far = frame::is_far(job.count, 3 * O * O * sizeof(T));
        return simd::with_flags(
            [&](auto trans_a, auto trans_b, auto fetch) {
                return mul_lanes<LP, T, O, trans_a(), trans_b(), fetch()>(job);
            },
            a.transposed, b.transposed, far);
    }
    return 0;
}

template <class T>
unsigned mul_batch(const MulJob& job) {
    return simd::with_order(job.order, [&](auto order) { return mul_order<T, order()>(job); });
}

}  // namespace olvm::products::OLVM_PATH
