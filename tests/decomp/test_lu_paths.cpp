// Every compiled instruction-set path of the LU batch kernels, run inside the
// decomposition and solve loops exactly as the primitives run them, against the plain
// loop alone on an identical copy of memory: the result code, every element of every
// arena and every index word must agree (a NaN of the element type matches any NaN).
//
// The memory is laid out to reach what the kernels must get right beyond arithmetic:
// standard arrays packed so that each decomposition's displaced last-pivot test reads a
// later object's destination (or, in place, its source), destinations sprinkled with
// values below the zero threshold, singular and NaN/infinity/subnormal sources, pivot
// ties, null L objects, solves in place, and counts that are not whole vectors.
#if defined(OLVM_FAST_PATHS)

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "decomp/lu.h"
#include "decomp/lu_solve.h"
#include "path_kernels.h"

namespace olvmtest {
namespace {

namespace fr = olvm::frame;

using OnePath = olvm::paths::Chosen;

enum Layout { Std, S2, P, PS2, L, LS2 };
const char* const layout_names[] = {"standard", "S2", "P", "PS2", "L", "LS2"};
bool two(Layout l) { return l == S2 || l == PS2 || l == LS2; }

// One operand: `count` objects (or one shared object) of rows x cols elements in an arena
// with room behind it, and the pointer table of the P and L layouts. `entries` widens a P
// table past rows * cols for the displaced reads. Everything is a function of the seed,
// so two operands built alike differ only in their addresses.
template <class T>
struct Arena {
    Layout lay;
    bool shared;
    std::vector<T> mem;
    std::vector<T*> table;
    int obj = 0, row = 0, elem = 0, offset = 0;
    T* base = nullptr;

    Arena(Layout l, unsigned rows, unsigned cols, unsigned count, bool shared_object, unsigned entries, Rng& rng)
        : lay(l), shared(shared_object) {
        const int es = int(sizeof(T)), step = two(l) ? 2 : 1;
        const unsigned objects = shared ? 1 : count;
        elem = es * step;
        if (l == P || l == PS2) {
            const unsigned run = objects * step + 3;  // elements per table entry
            mem.assign(std::size_t(entries) * run + 8, T(0));
            std::vector<unsigned> slot(entries);
            std::iota(slot.begin(), slot.end(), 0u);
            std::shuffle(slot.begin(), slot.end(), rng);
            offset = es * int(rng() % 3);
            for (unsigned k = 0; k < entries; ++k) table.push_back(mem.data() + std::size_t(slot[k]) * run);
            obj = shared ? 0 : elem;
        } else {
            // Standard arrays are packed; L objects sit in shuffled slots with padded rows.
            const bool listed = l == L || l == LS2;
            row = int(cols) * elem + (listed ? es * int(rng() % 3) : 0);
            const std::size_t slot = std::size_t(rows) * row / es + (listed ? 2 : 0);
            mem.assign(slot * objects + std::size_t(count + 2) * cols * rows * step + 16, T(0));
            if (listed) {
                std::vector<unsigned> order(objects);
                std::iota(order.begin(), order.end(), 0u);
                std::shuffle(order.begin(), order.end(), rng);
                offset = es * int(rng() % 2);
                for (unsigned n = 0; n < objects; ++n) table.push_back(mem.data() + order[n] * slot);
            } else {
                base = mem.data() + 4;
                obj = shared ? 0 : rows * row;
            }
        }
        for (T& v : mem) v = T(random_value(rng, sizeof(T)));
    }
    T& at(unsigned n, unsigned i, unsigned j, unsigned cols) {
        const fr::Place x = place();
        return *reinterpret_cast<T*>(x.element(shared ? 0 : n, i, j, cols));
    }
    fr::Place place() const {
        const void* ptr = base ? static_cast<const void*>(base) : table.data();
        const auto kind = base ? fr::Place::Rows : (lay == P || lay == PS2) ? fr::Place::Entries : fr::Place::Objects;
        return {kind, false, ptr, offset, obj, row, elem, 0.0};
    }
};

// The operand descriptors that the primitives of each layout build.
template <class E, class T>
auto strided(Arena<T>& a) { return fr::operand<false>(fr::Strided<E>{a.base, a.obj, a.row, a.elem}); }
template <class E, class T>
auto listed(Arena<T>& a) {
    return fr::operand<false>(fr::Listed<E>{reinterpret_cast<E* const*>(a.table.data()), a.offset, a.row, a.elem});
}
template <class E, class T>
auto tabled(Arena<T>& a) {
    return fr::operand<false>(fr::Table<E>{reinterpret_cast<E* const*>(a.table.data()), a.offset, a.obj});
}

// Element by element, NaN matching NaN.
template <class T>
::testing::AssertionResult same_memory(const std::vector<T>& got, const std::vector<T>& want) {
    for (std::size_t k = 0; k < want.size(); ++k) {
        if (std::isnan(want[k]) && std::isnan(got[k])) continue;
        if (std::memcmp(&got[k], &want[k], sizeof(T)) != 0)
            return ::testing::AssertionFailure() << "element " << k << ": got " << got[k] << ", want " << want[k];
    }
    return ::testing::AssertionSuccess();
}

struct Case {
    unsigned order, count;
    Layout lay;
    bool specials, tiny, null_object, in_place;
    std::uint64_t seed;
    std::string what(const Path& p, const char* type) const {
        return std::string(p.name) + " " + type + " order " + std::to_string(order) + " " +
               layout_names[lay] + " count " + std::to_string(count) + (specials ? " specials" : "") +
               (tiny ? " tiny" : "") + (null_object ? " null object" : "") + (in_place ? " in place" : "");
    }
};

// Sources with the cases elimination has to decide: special values, singular columns,
// and columns whose candidates tie in magnitude.
template <class T>
void shape_sources(Arena<T>& a, const Case& c, Rng& rng) {
    const unsigned O = c.order;
    for (unsigned n = 0; n < c.count; ++n) {
        const unsigned what = unsigned(rng() % 8);
        const unsigned col = unsigned(rng() % O);
        if (what == 0 && n + 1 == c.count) {  // a singular matrix ends the array
            for (unsigned i = 0; i < O; ++i) a.at(n, i, col, O) = T(0);
        } else if (what == 1) {  // ties: equal magnitudes down one column
            for (unsigned i = 0; i < O; ++i) a.at(n, i, col, O) = T((rng() & 1) ? 0.5 : -0.5);
        } else if (what == 2) {
            a.at(n, unsigned(rng() % O), col, O) = T(special_value(rng, sizeof(T)));
        }
    }
}

// Raises destination values below 2^-20 (the spare memory the displaced test may read),
// or plants a few values below the zero threshold there.
template <class T>
void set_spare(Arena<T>& dst, bool tiny, Rng& rng) {
    for (T& v : dst.mem)
        if (std::fabs(double(v)) < 0x1p-20) v = T(0.75);
    if (tiny)
        for (int k = 0; k < 3; ++k) dst.mem[rng() % dst.mem.size()] = T((rng() & 1) ? 0x1p-30 : -0.0);
}

template <class T>
struct DecompSetup {
    Arena<T> src, dst;
    std::vector<unsigned> index;  // two guard words on each side
    DecompSetup(const Case& c, Rng& rng)
        : src(c.lay, c.order, c.order, c.count, false, c.order * c.order, rng),
          dst(c.lay, c.order, c.order, c.count, false, c.order * c.order + c.count * c.order, rng),
          index(std::size_t(c.count) * c.order + 4, 0xA5A5A5A5u) {
        set_spare(dst, c.tiny, rng);
        if (c.specials) shape_sources(c.in_place ? dst : src, c, rng);
        if (c.null_object) (rng() & 1 ? src : dst).table[c.count / 2] = nullptr;
    }
};

template <class T, class Policy>
OlvResult decompose(const Case& c, DecompSetup<T>& x) {
    const fr::Array mode{c.count};
    auto run = [&](auto s, auto d) {
        unsigned* idx = x.index.data() + 2;
        switch (c.order) {
            case 3: return olvm::decomp::lu_decomp<Policy>(mode, fr::Fixed<3, 3>{}, s, idx, d);
            case 4: return olvm::decomp::lu_decomp<Policy>(mode, fr::Fixed<4, 4>{}, s, idx, d);
            case 5: return olvm::decomp::lu_decomp<Policy>(mode, fr::Fixed<5, 5>{}, s, idx, d);
            default: return olvm::decomp::lu_decomp<Policy>(mode, fr::Fixed<6, 6>{}, s, idx, d);
        }
    };
    Arena<T>& s = c.in_place ? x.dst : x.src;
    switch (c.lay) {
        case Std: case S2: return run(strided<const T>(s), strided<T>(x.dst));
        case P: case PS2: return run(tabled<const T>(s), tabled<T>(x.dst));
        default: return run(listed<const T>(s), listed<T>(x.dst));
    }
}

// Runs one case on the plain loop and on the path; returns what the path finished.
template <class T>
unsigned check_decomp(const Path& path, const Case& c) {
    Rng r1(c.seed), r2(c.seed);
    DecompSetup<T> plain(c, r1), fast(c, r2);
    const OlvResult want = decompose<T, olvm::paths::PlainOnly>(c, plain);
    OnePath::current = &path;
    OnePath::finished = 0;
    const OlvResult got = decompose<T, OnePath>(c, fast);
    const std::string what = c.what(path, sizeof(T) == 4 ? "32f" : "64f");
    EXPECT_EQ(got, want) << what;
    EXPECT_TRUE(same_memory(fast.dst.mem, plain.dst.mem)) << what << ": destination";
    EXPECT_TRUE(same_memory(fast.src.mem, plain.src.mem)) << what << ": source";
    EXPECT_EQ(fast.index, plain.index) << what << ": index vector";
    return OnePath::finished;
}

template <class T>
struct SolveSetup {
    Arena<T> mat, rhs, dst;
    std::vector<unsigned> index;
    // One factor matrix for all vectors keeps the standard layouts' description in the L
    // layouts, as the primitives do.
    static Layout matrix_layout(Layout l, bool per_object) {
        if (per_object) return l;
        return l == L ? Std : l == LS2 ? S2 : l;
    }
    SolveSetup(const Case& c, bool per_object, Rng& rng)
        : mat(matrix_layout(c.lay, per_object), c.order, c.order, c.count, !per_object, c.order * c.order + c.order, rng),
          rhs(c.lay, 1, c.order, c.count, false, 2 * c.order, rng),
          dst(c.lay, 1, c.order, c.count, false, c.order, rng),
          index(std::size_t(per_object ? c.count : 1) * c.order + 4, 0xA5A5A5A5u) {
        const unsigned O = c.order, systems = per_object ? c.count : 1;
        for (unsigned n = 0; n < systems; ++n) {
            unsigned* r = index.data() + 2 + std::size_t(n) * O;
            std::iota(r, r + O, 0u);
            if (n % 3 != 0) std::shuffle(r, r + O, rng);
            if (c.specials && rng() % 4 == 0)  // a zero or special on U's diagonal
                mat.at(n, r[rng() % O], rng() % O, O) = T(rng() & 1 ? 0.0 : special_value(rng, sizeof(T)));
            if (c.specials && rng() % 8 == 0) r[rng() % O] = O;  // an entry just out of range
        }
        if (c.specials)
            for (unsigned k = 0; k < c.count; ++k) rhs.at(rng() % c.count, 0, rng() % O, O) = T(special_value(rng, sizeof(T)));
        if (c.null_object) {
            const unsigned pick = unsigned(rng() % 3);
            (pick == 0 ? dst : pick == 1 || !per_object ? rhs : mat).table[c.count / 2] = nullptr;
        }
    }
};

template <bool PerObject, class T, class Policy>
OlvResult solve(const Case& c, SolveSetup<T>& x) {
    const fr::Array mode{c.count};
    auto run = [&](auto a, auto b, auto d) {
        const unsigned* idx = x.index.data() + 2;
        switch (c.order) {
            case 3: return olvm::decomp::lu_back_subst<PerObject, Policy>(mode, fr::Fixed<3, 3>{}, a, idx, b, d);
            case 4: return olvm::decomp::lu_back_subst<PerObject, Policy>(mode, fr::Fixed<4, 4>{}, a, idx, b, d);
            case 5: return olvm::decomp::lu_back_subst<PerObject, Policy>(mode, fr::Fixed<5, 5>{}, a, idx, b, d);
            default: return olvm::decomp::lu_back_subst<PerObject, Policy>(mode, fr::Fixed<6, 6>{}, a, idx, b, d);
        }
    };
    Arena<T>& b = c.in_place ? x.dst : x.rhs;
    switch (c.lay) {
        case Std: case S2: return run(strided<const T>(x.mat), strided<const T>(b), strided<T>(x.dst));
        case P: case PS2: return run(tabled<const T>(x.mat), tabled<const T>(b), tabled<T>(x.dst));
        default:
            if constexpr (PerObject) return run(listed<const T>(x.mat), listed<const T>(b), listed<T>(x.dst));
            return run(strided<const T>(x.mat), listed<const T>(b), listed<T>(x.dst));
    }
}

template <bool PerObject, class T>
unsigned check_solve(const Path& path, const Case& c) {
    Rng r1(c.seed), r2(c.seed);
    SolveSetup<T> plain(c, PerObject, r1), fast(c, PerObject, r2);
    const OlvResult want = solve<PerObject, T, olvm::paths::PlainOnly>(c, plain);
    OnePath::current = &path;
    OnePath::finished = 0;
    const OlvResult got = solve<PerObject, T, OnePath>(c, fast);
    const std::string what = c.what(path, sizeof(T) == 4 ? "32f" : "64f") + (PerObject ? " mava" : " mva");
    EXPECT_EQ(got, want) << what;
    EXPECT_TRUE(same_memory(fast.dst.mem, plain.dst.mem)) << what << ": destination";
    EXPECT_TRUE(same_memory(fast.rhs.mem, plain.rhs.mem)) << what << ": right-hand side";
    EXPECT_TRUE(same_memory(fast.mat.mem, plain.mat.mem)) << what << ": factors";
    EXPECT_EQ(fast.index, plain.index) << what << ": index vector";
    return OnePath::finished;
}

// Every path, both types, orders 3 to 6, the six layouts, and the variants above. A
// clean call must have been carried by the kernel up to its last whole vector.
template <class Check>
void sweep(Check check) {
    int runs = 0;
    for (const Path& path : paths()) {
        if (!path.supported) continue;
        for (unsigned order = 3; order <= 6; ++order)
            for (int lay = Std; lay <= LS2; ++lay)
                for (unsigned count : {1u, 9u, 16u, 37u})
                    for (int variant = 0; variant < 5; ++variant) {
                        Case c{order, count, Layout(lay), variant == 1, variant == 2, variant == 3, variant == 4,
                               std::hash<std::string>{}(path.name) * 31 + order * 1000003u + lay * 7919u +
                                   count * 104729u + variant};
                        if (c.null_object && lay != L && lay != LS2) continue;
                        check(path, c);
                        ++runs;
                    }
    }
    EXPECT_GT(runs, 0);
}

TEST(LUPaths, DecompositionMatchesThePlainLoopBitForBit) {
    sweep([](const Path& path, const Case& c) {
        for (int t = 0; t < 2; ++t) {
            const unsigned done = t ? check_decomp<double>(path, c) : check_decomp<float>(path, c);
            if (!c.specials && !c.tiny && !c.null_object && c.count >= 8) {
                EXPECT_GT(done + 8, c.count) << c.what(path, "");
            }
        }
    });
}

TEST(LUPaths, SolveMatchesThePlainLoopBitForBit) {
    sweep([](const Path& path, const Case& c) {
        for (int t = 0; t < 2; ++t) {
            const unsigned a = t ? check_solve<true, double>(path, c) : check_solve<true, float>(path, c);
            const unsigned b = t ? check_solve<false, double>(path, c) : check_solve<false, float>(path, c);
            if (!c.null_object && !c.in_place && !c.specials && c.count >= 8) {
                EXPECT_GT(a + 8, c.count) << c.what(path, "") << " mava";
                EXPECT_GT(b + 8, c.count) << c.what(path, "") << " mva";
            }
        }
    });
}

}  // namespace
}  // namespace olvmtest

#endif  // OLVM_FAST_PATHS
