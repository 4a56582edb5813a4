// Batch kernels of the fixed-order LU decomposition and solve, compiled once per
// instruction set (src/paths/). One object per lane: each lane runs the plain kernel's
// operation sequence on its own object, so every lane's values are bit for bit the plain
// kernel's.
//
// The objects of a group are read into the lanes through per-lane element or row
// addresses (this is where any layout's addressing, and a solve's row permutation, is
// applied): rows of four or more contiguous elements loaded whole and transposed in
// registers, other elements gathered one by one. They are worked on in registers and
// written back object by object.
// Pivot rows differ from lane to lane, so the decomposition keeps each lane's rows in
// logical order (exchanging them with per-lane selects) and writes logical row i to the
// stored row its index entry names: rows of four floats with one store each, after a
// transpose of the group in registers, other rows element by element.
//
// A kernel returns how many objects, from object 0, it has finished; the caller's plain
// loop takes over from there. A group is left to that loop whole when one of its L
// objects is null, when a pivot fails in any of its lanes (nothing of the group is
// written then), or when fewer objects than lanes remain.
#pragma once

#include <cmath>
#include <cstddef>
#include <type_traits>

#include "decomp/lu_job.h"
#include "frame/simd.h"

// Like the lanes, every template here exists once per path, in the path's namespace.
namespace olvm::decomp::OLVM_PATH {

namespace simd = olvm::simd::OLVM_PATH;

// How far a kernel has got: objects finished from object 0, and whether it had to stop
// there (a null object, a failing pivot or last-pivot test) rather than running out of
// whole vectors.
struct Progress {
    unsigned done;
    bool stopped;
};

// Fetching ahead, one group before it is worked on. The lanes read their objects lane by
// lane and write them row by row or element by element, a pattern the processor's own
// prefetcher does not follow across objects; from memory every object would otherwise wait for
// its lines. P tables are left alone: finding their elements takes table reads. Arrays
// that are not far are left alone too: in cache, the fetches only cost time (measured:
// 4x4 factor + solve of 1,000 objects in cache, 42 against 34 ns an object).
//
// The first and last element of each of `rows` rows of object `obj`.
template <unsigned O>
OLVM_INLINE void fetch_object(const frame::Place& x, unsigned obj, unsigned rows) {
    if (x.kind == frame::Place::Entries || x.object_null(obj)) return;
    const char* start = x.start(obj);
#pragma GCC unroll 6
    for (unsigned r = 0; r < rows; ++r) {
        _mm_prefetch(start + r * x.row, _MM_HINT_T0);
        _mm_prefetch(start + r * x.row + (O - 1) * x.elem, _MM_HINT_T0);
    }
}
// The displaced last-pivot element of object `obj` (see lu_lanes). Its row is known only
// once the object is factored, so the element of every row is fetched; in the standard
// and L layouts it lies far beyond the object.
template <unsigned O>
OLVM_INLINE void fetch_last_pivot(const frame::Place& d, unsigned obj) {
    if (d.kind == frame::Place::Entries || d.object_null(obj)) return;
#pragma GCC unroll 6
    for (unsigned r = 0; r < O; ++r) _mm_prefetch(d.element(obj, r, (O - 1) + obj * O, O), _MM_HINT_T0);
}

// Whether x's rows can be read (load_row) or written four elements at a time: rows of
// contiguous elements, at least four (rows of three would be read past their end).
template <class T, unsigned O>
OLVM_INLINE bool whole_rows(const frame::Place& x) {
    return O >= 4 && x.kind != frame::Place::Entries && x.elem == sizeof(T);
}

// Elements 0 to O - 1 of a row that every lane holds contiguously, lane q's starting at
// `offset` + at[q] bytes: four elements at a time, the last four overlapping the previous
// ones where O is not a multiple of four (so no lane reads past its row).
template <class L, class T, unsigned O>
OLVM_INLINE void load_row(std::uintptr_t offset, const std::uintptr_t* at, typename L::V (&row)[O]) {
    static_assert(O >= 4);
    typename L::V c[4];
#pragma GCC unroll 2
    for (unsigned j0 = 0; j0 < O; j0 += 4) {
        const unsigned first = j0 + 4 <= O ? j0 : O - 4;
        L::columns4(reinterpret_cast<const T*>(offset + first * sizeof(T)), at, c);
#pragma GCC unroll 4
        for (unsigned t = 0; t < 4; ++t)
            if (first + t >= j0) row[first + t] = c[t];
    }
}

// Decomposition. The plain kernel tests each object's displaced last-pivot element right
// after finishing the object, and that element may lie in a later object's destination;
// so objects are written and tested one at a time, and the kernel stops right after an
// object whose test fails. The caller repeats the test on the last finished object.
template <class L, class T, unsigned O>
void lu_lanes(const LUJob& job, Progress& at) {
    constexpr unsigned W = L::lanes;
    using V = typename L::V;
    const frame::Place s = job.src, d = job.dst;
    const V threshold = L::broadcast(lu_zero_threshold);
    const frame::ElementAddresses<O * O> from(s, O), to(d, O);
    // Destination rows of four contiguous floats take whole-row stores.
    constexpr bool four_floats = std::is_same_v<T, float> && O == 4;
    const bool row_stores = four_floats && whole_rows<T, O>(d);
    const bool fetch = frame::is_far(job.count, 2 * O * O * sizeof(T));
    const bool row_loads = whole_rows<T, O>(s);
    for (unsigned n = at.done; n + W <= job.count; n += W) {
        for (unsigned q = 0; q < W; ++q)
            if (s.object_null(n + q) || d.object_null(n + q)) return void(at = {n, true});
        if (fetch && n + 3 * W <= job.count)
            for (unsigned q = 2 * W; q < 3 * W; ++q) {
                fetch_object<O>(s, n + q, O);
                fetch_object<O>(d, n + q, O);
                fetch_last_pivot<O>(d, n + q);
            }

        alignas(64) std::uintptr_t bases[W];
        for (unsigned q = 0; q < W; ++q) bases[q] = from.base(n + q);
        V a[O][O], rows[O];
        if constexpr (O >= 4) {
            if (row_loads) {
#pragma GCC unroll 6
                for (unsigned i = 0; i < O; ++i) load_row<L, T, O>(from.off[i * O], bases, a[i]);
            }
        }
        if (!row_loads) {
            const auto objects = L::addresses(bases);
#pragma GCC unroll 36
            for (unsigned e = 0; e < O * O; ++e)
                a[e / O][e % O] = L::gather(reinterpret_cast<const T*>(from.off[e]), objects);
        }
#pragma GCC unroll 6
        for (unsigned i = 0; i < O; ++i) rows[i] = L::broadcast(double(i));

#pragma GCC unroll 6
        for (unsigned k = 0; k + 1 < O; ++k) {
            // Pivot search: a later row replaces the candidate unless the candidate is at
            // least as large (ties keep the earliest; a NaN comparison replaces).
            V m = L::abs(a[k][k]), p = L::broadcast(double(k));
#pragma GCC unroll 6
            for (unsigned i = k + 1; i < O; ++i) {
                const V c = L::abs(a[i][k]);
                const auto later = L::not_ge(m, c);
                m = L::select(later, c, m);
                p = L::select(later, L::broadcast(double(i)), p);
            }
#pragma GCC unroll 6
            for (unsigned i = k + 1; i < O; ++i) {
                const auto swap = L::equal(p, L::broadcast(double(i)));
                const V rk = rows[k];
                rows[k] = L::select(swap, rows[i], rk);
                rows[i] = L::select(swap, rk, rows[i]);
#pragma GCC unroll 6
                for (unsigned j = 0; j < O; ++j) {
                    const V t = a[k][j];
                    a[k][j] = L::select(swap, a[i][j], t);
                    a[i][j] = L::select(swap, t, a[i][j]);
                }
            }
            const V pivot = a[k][k];
            if (L::any(L::less(L::abs(pivot), threshold))) return void(at = {n, true});
#pragma GCC unroll 6
            for (unsigned i = k + 1; i < O; ++i) {
                const V l = simd::quotient<L>(a[i][k], pivot, T());
                a[i][k] = l;
                const V minus_l = L::neg(l);
#pragma GCC unroll 6
                for (unsigned j = k + 1; j < O; ++j)
                    a[i][j] = simd::round_to<L>(simd::add_term<L>(minus_l, a[k][j], a[i][j], T()), T());
            }
        }

        alignas(64) double stored_row[O][W];
#pragma GCC unroll 6
        for (unsigned i = 0; i < O; ++i) L::store(stored_row[i], rows[i], W);
        // Object q of the group: its index vector, its rows (put by `write`), then its
        // last-pivot test; false when that fails.
        auto finish = [&](unsigned q, auto write) {
            const unsigned obj = n + q;
            unsigned* index = job.index + std::size_t(obj) * O;
#pragma GCC unroll 6
            for (unsigned i = 0; i < O; ++i) index[i] = static_cast<unsigned>(stored_row[i][q]);
            write(to.base(obj), index);
            const T last = *reinterpret_cast<const T*>(d.element(obj, index[O - 1], (O - 1) + obj * O, O));
            return !(lu_zero_threshold > std::fabs(static_cast<double>(last)));
        };
        unsigned q = 0;
        if (row_stores) {
            if constexpr (four_floats) {
                // The group transposed in registers: one store a row.
                __m128 frows[O][W];
#pragma GCC unroll 4
                for (unsigned i = 0; i < O; ++i) L::rows4(a[i], frows[i]);
#pragma GCC unroll 16
                for (; q < W; ++q)
                    if (!finish(q, [&](std::uintptr_t base, const unsigned* index) {
#pragma GCC unroll 4
                            for (unsigned i = 0; i < O; ++i)
                                simd::put4(reinterpret_cast<float*>(base + index[i] * d.row), frows[i][q]);
                        }))
                        break;
            }
        } else {
            alignas(64) T side[O * O][W];
#pragma GCC unroll 36
            for (unsigned e = 0; e < O * O; ++e) L::store(side[e], a[e / O][e % O], W);
            const bool in_rows = d.kind != frame::Place::Entries;
            for (; q < W; ++q)
                if (!finish(q, [&](std::uintptr_t base, const unsigned* index) {
                        if (in_rows) {  // a row's start found once, not each element's place
#pragma GCC unroll 6
                            for (unsigned i = 0; i < O; ++i) {
                                const std::uintptr_t row = base + index[i] * d.row;
#pragma GCC unroll 6
                                for (unsigned j = 0; j < O; ++j)
                                    *reinterpret_cast<T*>(row + j * d.elem) = side[i * O + j][q];
                            }
                            return;
                        }
#pragma GCC unroll 36
                        for (unsigned e = 0; e < O * O; ++e)
                            to.template at<T>(base, index[e / O] * O + e % O) = side[e][q];
                    }))
                    break;
        }
        if (q < W) return void(at = {n + q + 1, true});
        at.done = n + W;
    }
}

// Forward and back substitution of one group, the plain kernel's sequence in every lane:
// `D(i, j)` gives element (i, j) of the lanes' factors in logical row order, `B(i)`
// element i of their permuted right-hand sides. Each is asked for once.
template <class L, class T, unsigned O, class Factor, class Rhs>
OLVM_INLINE void substitute(Factor D, Rhs B, typename L::V (&xs)[O]) {
    using V = typename L::V;
    xs[0] = B(0);
#pragma GCC unroll 6
    for (unsigned i = 1; i < O; ++i) {
        V sum = L::zero();
#pragma GCC unroll 6
        for (unsigned j = 0; j < i; ++j) sum = simd::add_term<L>(D(i, j), xs[j], sum, T());
        xs[i] = simd::round_to<L>(L::sub(B(i), sum), T());
    }
    xs[O - 1] = simd::quotient<L>(xs[O - 1], D(O - 1, O - 1), T());
    for (unsigned i = O - 1; i-- > 0;) {
        V sum = L::zero();
#pragma GCC unroll 6
        for (unsigned j = i + 1; j < O; ++j) sum = simd::add_term<L>(D(i, j), xs[j], sum, T());
        xs[i] = simd::round_to<L>(L::div(L::sub(xs[i], sum), D(i, i)), T());
    }
}

// Solve. Each lane's right-hand side and factor rows are read through its index vector,
// in logical order: factors stored in rows (every layout but P) row by row from per-lane
// row addresses (loaded whole where their elements are contiguous, gathered otherwise),
// P factors element by element into a side buffer.
// A destination that is the right-hand side itself is left to the plain loop, whose
// later reads of b see the solutions it has already stored.
template <class L, class T, unsigned O>
void solve_lanes(const SolveJob& job, Progress& at) {
    constexpr unsigned W = L::lanes;
    using V = typename L::V;
    const frame::Place a = job.mat, b = job.rhs, x = job.dst;
    if (b.same_as(x)) return void(at.stopped = true);
    const bool in_rows = a.kind != frame::Place::Entries;
    const bool row_loads = whole_rows<T, O>(a);
    const frame::ElementAddresses<O * O> mat_at(a, O);
    const frame::ElementAddresses<O> rhs_at(b, O), dst_at(x, O);
    const unsigned elements = job.per_object ? O * O + 2 * O : 2 * O;  // per object
    const bool fetch = frame::is_far(job.count, elements * sizeof(T));
    for (unsigned n = at.done; n + W <= job.count; n += W) {
        unsigned outside = 0;  // index entries of the group not below O
        for (unsigned q = 0; q < W; ++q) {
            if (a.object_null(n + q) || b.object_null(n + q) || x.object_null(n + q))
                return void(at = {n, true});
            const unsigned* r = job.index + (job.per_object ? std::size_t(n + q) * O : 0);
            for (unsigned i = 0; i < O; ++i) outside |= r[i] >= O;
        }
        // Entries are used as they stand; ones out of range address memory the offsets
        // here do not describe, and are left to the plain loop.
        if (outside) return void(at = {n, true});
        if (fetch && n + 3 * W <= job.count)
            for (unsigned q = 2 * W; q < 3 * W; ++q) {
                if (job.per_object) fetch_object<O>(a, n + q, O);
                fetch_object<O>(b, n + q, 1);
                fetch_object<O>(x, n + q, 1);
            }

        // Per lane and logical row: where its factor row and right-hand side element lie.
        alignas(64) std::uintptr_t row_at[O][W], rhs_elem_at[O][W];
        for (unsigned q = 0; q < W; ++q) {
            const unsigned* r = job.index + (job.per_object ? std::size_t(n + q) * O : 0);
            const std::uintptr_t mb = mat_at.base(n + q), bb = rhs_at.base(n + q);
#pragma GCC unroll 6
            for (unsigned i = 0; i < O; ++i) {
                row_at[i][q] = mb + mat_at.off[r[i] * O];
                rhs_elem_at[i][q] = bb + rhs_at.off[r[i]];
            }
        }
        auto B = [&](unsigned i) { return L::gather(static_cast<const T*>(nullptr), L::addresses(rhs_elem_at[i])); };
        V xs[O];
        if (row_loads) {
            V mat[O][O];
            if constexpr (O >= 4) {
#pragma GCC unroll 6
                for (unsigned i = 0; i < O; ++i) load_row<L, T, O>(0, row_at[i], mat[i]);
            }
            substitute<L, T, O>([&](unsigned i, unsigned j) { return mat[i][j]; }, B, xs);
        } else if (in_rows) {
            auto D = [&](unsigned i, unsigned j) {
                return L::gather(reinterpret_cast<const T*>(std::uintptr_t(j * a.elem)), L::addresses(row_at[i]));
            };
            substitute<L, T, O>(D, B, xs);
        } else {
            alignas(64) T mat[O * O][W];
            for (unsigned q = 0; q < W; ++q) {
                const unsigned* r = job.index + (job.per_object ? std::size_t(n + q) * O : 0);
                const std::uintptr_t mb = mat_at.base(n + q);
#pragma GCC unroll 6
                for (unsigned i = 0; i < O; ++i)
#pragma GCC unroll 6
                    for (unsigned j = 0; j < O; ++j) mat[i * O + j][q] = mat_at.template at<T>(mb, r[i] * O + j);
            }
            substitute<L, T, O>([&](unsigned i, unsigned j) { return L::load(mat[i * O + j], W); }, B, xs);
        }

        alignas(64) T vec[O][W];
#pragma GCC unroll 6
        for (unsigned i = 0; i < O; ++i) L::store(vec[i], xs[i], W);
        for (unsigned q = 0; q < W; ++q) {
            const std::uintptr_t xb = dst_at.base(n + q);
#pragma GCC unroll 6
            for (unsigned i = 0; i < O; ++i) dst_at.template at<T>(xb, i) = vec[i][q];
        }
        at.done = n + W;
    }
}

// Pairs of vectors first, so that two groups' dependency chains overlap, then single
// vectors for what is left; `Singles`: single vectors only, where one group's state
// already crowds the registers (measured: decompositions from order 5 run faster
// without pairs; solves, whose rows are loaded whole, run faster with them at every
// order). `run(lanes, at)` runs one kernel with those lanes from `at`.
template <bool Singles = false, class Run>
OLVM_INLINE unsigned pairs_then_singles(Run run) {
    Progress at{0, false};
    if constexpr (!Singles) run(simd::Pair<simd::Wide>{}, at);  // (no pair kernel is built otherwise)
    if (!at.stopped) run(simd::Wide{}, at);
    return at.done;
}

template <class T>
unsigned lu_batch(const LUJob& job) {
    return simd::with_order(job.order, [&](auto order) {
        return pairs_then_singles<(order() >= 5)>(
            [&](auto lanes, Progress& at) { lu_lanes<decltype(lanes), T, order()>(job, at); });
    });
}

template <class T>
unsigned solve_batch(const SolveJob& job) {
    return simd::with_order(job.order, [&](auto order) {
        return pairs_then_singles(
            [&](auto lanes, Progress& at) { solve_lanes<decltype(lanes), T, order()>(job, at); });
    });
}

}  // namespace olvm::decomp::OLVM_PATH
