// Every compiled instruction-set path of every batch kernel, on every array member that
// hands objects to one, against the plain result bit for bit (any NaN matching any NaN).
// Sums, differences, products: the kernel alone; objects it reports finished hold the
// reference values, nothing else is written. LU: the primitives' loops with the path and
// with the plain loop alone, on twin calls; result codes and all memory agree.
#if defined(OLVM_FAST_PATHS)

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "calls.h"
#include "decomp/lu.h"
#include "decomp/lu_solve.h"
#include "path_kernels.h"
#include "product_call.h"
#include "reference.h"

namespace olvmtest {
namespace {

namespace fr = olvm::frame;
namespace lu = olvm::decomp;
using Place = fr::Place;
using OnePath = olvm::paths::Chosen;

bool has(const char* s, const char* part) { return std::string(s).find(part) != std::string::npos; }
bool listed(const MemberInfo& m) { return has(m.layout, "L"); }

// Operand `which` of a sum or difference; the constant is the first one in `cv`, `cva`.
Place operand(Call& c, int which) {
    if (!has(c.m->codes, "c")) return place(c, which ? "src2" : "src1");
    Place k{Place::Constant, false, nullptr, 0, 0, 0, 0, round_to(c.args.val, c.m->elem_size())};
    return (c.m->codes[0] == 'c') == (which == 0) ? k : place(c, "src");
}
// Sums, differences and products: what the kernel finished.
unsigned run_job(const Path& p, Call& c) {
    const bool f = c.m->elem_size() == 4;
    if (c.m->is("Mul")) {
        const olvm::products::MulJob job{c.width, c.count, accumulates_through_element(*c.m), place(c, "src1"), place(c, "src2"),
                                         place(c, "dst")};
        return (f ? p.mul_batch_32f : p.mul_batch_64f)(&job);
    }
    const olvm::elementwise::CombineJob job{c.m->is("Sub"), c.width, c.height, c.count,
                                            operand(c, 0), operand(c, 1), place(c, "dst")};
    return (f ? p.combine_batch_32f : p.combine_batch_64f)(&job);
}
// An operand as the plain kernels address it.
template <class E, class F>
OlvResult described(const Place& x, F f) {
    E* const* table = static_cast<E* const*>(x.ptr);
    const int obj = int(x.obj), row = int(x.row), elem = int(x.elem), offset = int(x.offset);
    if (x.kind == Place::Rows) return f(fr::operand<false>(fr::Strided<E>{(E*)x.ptr, obj, row, elem}));
    if (x.kind == Place::Objects) return f(fr::operand<false>(fr::Listed<E>{table, offset, row, elem}));
    return f(fr::operand<false>(fr::Table<E>{table, offset, obj}));
}
// The LU primitive's loop on call `c` with `Policy`; `in_place` factors the destination
// as it stands, or solves into the right-hand side.
template <class Policy, class T = float, unsigned O = 3>
OlvResult run_lu(Call& c, bool in_place) {
    if (sizeof(T) == 4 && c.m->elem_size() == 8) return run_lu<Policy, double, O>(c, in_place);
    if constexpr (O < 6)
        if (unsigned(c.m->size) != O) return run_lu<Policy, T, O + 1>(c, in_place);
    unsigned* index = reinterpret_cast<unsigned*>(c.op("index").address(0, 0, 0));
    const fr::Array mode{c.count};
    const fr::Fixed<O, O> sh;
    const bool decomp = c.m->is("LUDecomp");
    const Place d = place(c, "dst"), s = in_place && decomp ? d : place(c, "src");
    if (decomp)
        return described<const T>(s, [&](auto src) {
            return described<T>(d, [&](auto dst) { return lu::lu_decomp<Policy>(mode, sh, src, index, dst); });
        });
    return described<const T>(s, [&](auto mat) {
        return described<const T>(place(c, "src2"), [&](auto rhs) {
            return described<T>(in_place ? place(c, "src2") : d, [&](auto dst) {
                if (has(c.m->codes, "mava")) return lu::lu_back_subst<true, Policy>(mode, sh, mat, index, rhs, dst);
                return lu::lu_back_subst<false, Policy>(mode, sh, mat, index, rhs, dst);
            });
        });
    });
}

// Every operand but the index vector placed anew without gaps, the destination with room
// for `extra` more objects: rows, objects and runs packed, so that the kernels take their
// paths for packed rows and whole arrays, and the displaced last-pivot reads of a packed
// standard decomposition land in later objects' destinations.
void repack(Call& c, Rng& rng, unsigned extra) {
    for (auto& [role, p] : c.ops) {
        if (role == "index") continue;
        const unsigned cols = role == "dst" && c.m->is("LUDecomp") ? unsigned(c.m->size) : p->cols();
        const unsigned count = p->count() + (role == "dst" ? extra : 0);
        p = std::make_unique<Placed>(p->esize, p->layout, p->array, p->rows(), cols, count, rng, Placement{false, false});
        p->randomize(rng);
        p->describe(c.args, role);
    }
}

// Variant 0 leaves the call as built; 1 scatters special values over the sources (and,
// for LU, pivot columns of zeros or ties, an index entry out of range and a null L
// object); 2 nulls an L destination object, or for LU works in place with tiny values
// where the displaced last-pivot test reads; 3 packs every operand.
void shape(Call& c, int variant, Rng& rng) {
    const bool is_lu = has(c.m->family, "LU"), decomp = c.m->is("LUDecomp");
    // (Packed P and L decompositions would read their displaced elements past the memory.)
    if (variant == 3 && !(decomp && (has(c.m->layout, "P") || listed(*c.m)))) repack(c, rng, c.count / c.width + 1);
    for (auto& [role, p] : c.ops) {
        const bool specials = variant == 1 && role != "dst" && role != "index";
        const bool tiny = variant == 2 && decomp && role == "dst";
        for (unsigned k = 0; (specials || tiny) && k < p->count() * p->rows(); ++k) {
            const unsigned n = unsigned(rng() % p->count()), col = unsigned(rng() % p->cols());
            const double v = tiny ? ((rng() & 1) ? 0x1p-30 : -0.0) : special_value(rng, p->esize);
            p->set(n, unsigned(rng() % p->rows()), col, v);
            if (decomp && specials && k < p->count())  // a zero or tied column
                for (unsigned i = 0, t = unsigned(rng() % 3); i < p->rows(); ++i) p->set(n, i, col, t * 0.5 - 0.5);
        }
    }
    if (has(c.m->codes, "mava") && variant == 1 && !has(c.m->layout, "P") && !listed(*c.m) && c.count > 1)
        reinterpret_cast<unsigned*>(c.op("index").address(0, 0, 0))[rng() % c.m->size] = unsigned(c.m->size);  // reads object 1
    if (listed(*c.m) && variant == (is_lu ? 1 : 2)) c.op("dst").table()[c.count / 2] = nullptr;
    c.snapshot_all();
}

void check(const Path& path, const MemberInfo& m, unsigned count, int variant, std::uint64_t seed,
           bool whole = false) {
    Rng r1(seed), r2(seed);  // twins: the same values at other addresses
    Call c = make_call(m, r1, count), twin = make_call(m, r2, count);
    shape(c, variant, r1), shape(twin, variant, r2);
    const std::string what =
        std::string(path.name) + " " + m.name + " count " + std::to_string(count) + " case " + std::to_string(variant);
    if (!has(m.family, "LU")) {
        const unsigned done = run_job(path, c);
        ASSERT_LE(done, c.count) << what;
        EXPECT_TRUE(!whole || done == c.count) << what;
        Placed& d = c.op("dst");
        for (unsigned n = 0; n < d.count(); ++n)
            for (unsigned i = 0; i < d.rows(); ++i)
                for (unsigned j = 0; j < d.cols(); ++j)
                    ASSERT_TRUE(n < done ? same_value(d.get(n, i, j), reference(c, n, i, j), m.elem_size())
                                         : !d.element_changed(n, i, j))
                        << what << " object " << n << " (" << i << ", " << j << "), finished " << done;
        EXPECT_FALSE(d.changed_outside_elements()) << what;
        for (auto& [role, p] : c.ops) EXPECT_TRUE(role == "dst" || !p->any_changed()) << what << " changed " << role;
        return;
    }
    OnePath::current = &path;
    OnePath::finished = 0;
    EXPECT_EQ(run_lu<OnePath>(c, variant == 2), run_lu<olvm::paths::PlainOnly>(twin, variant == 2)) << what;
    EXPECT_TRUE(!whole || OnePath::finished == c.count) << what;
    for (auto& [role, p] : c.ops) {
        Placed& q = twin.op(role);
        for (unsigned n = 0; n < p->count(); ++n)
            for (unsigned r = 0; r < p->rows(); ++r)
                for (unsigned col = 0; col < p->cols(); ++col)
                    ASSERT_TRUE(same_value(p->get(n, r, col), q.get(n, r, col), p->esize))
                        << what << " " << role << " object " << n << " (" << r << ", " << col << ")";
    }
}

// Array members whose objects a batch kernel takes: sums and differences of every size,
// fixed-size matrix products, LU decompositions and solves.
bool batched(const MemberInfo& m) {
    const std::string f = m.family;
    if (f == "Add" || f == "Sub") return is_array_member(m);
    if (f == "Mul") return is_array_member(m) && m.size != 0 && !has(m.codes, "v") && !has(m.codes, "c");
    return has(m.family, "LU") && is_array_member(m) && m.size != 0;
}

TEST(Paths, EveryBatchKernelGivesThePlainBitsOnEveryPath) {
    // Members each kernel must finish whole (whole vectors on every path, clean data).
    const std::string whole[] = {"olvmAdd_mama_32f_4x4_L", "olvmSub_vac_64f_P", "olvmAdd_mam_32f_5x5",
                                 "olvmMul_mama_32f_4x4", "olvmMul_maTma_64f_5x5_L", "olvmMul_mamaT_64f_3x3_P",
                                 "olvmLUDecomp_ma_32f_4x4_L", "olvmLUBackSubst_mava_64f_6x6"};
    // Sanitized builds run every path and member on fewer objects: the kernels' memory
    // accesses are what they check, and those do not change with the count.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OLVMTEST_SANITIZED 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(OLVMTEST_SANITIZED)
    const unsigned counts[] = {1, 9};
#else
    const unsigned counts[] = {1, 9, 19, 37};
#endif
    // Arrays long enough to take the kernels' ways through memory: sixteen bytes at a
    // time (a packed standard array, the P runs of many objects), operands fetched ahead
    // (a P product and a solve of more than a megabyte).
    const std::pair<std::string, unsigned> streamed[] = {{"olvmSub_mama_32f_4x4", 2100},
                                                         {"olvmAdd_mama_64f_3x3_P", 16400},
                                                         {"olvmMul_mama_32f_6x6_P", 2512},
                                                         {"olvmLUBackSubst_mava_64f_4x4", 5600}};
    int runs = 0;
    for (const Path& path : paths()) {
        if (!path.supported) continue;
        for (const auto& m : members()) {
            if (!batched(m)) continue;
            const std::uint64_t seed = std::hash<std::string>{}(m.name) ^ std::hash<std::string>{}(path.name);
            for (unsigned count : counts)
                for (int variant = 0; variant < 4; ++variant) check(path, m, count, variant, seed + count + variant);
            for (const auto& name : whole)
                for (int variant : {0, 3})  // packed too, but for LU (its spare memory is random)
                    if (name == m.name && (variant == 0 || !has(m.family, "LU"))) check(path, m, 32, variant, seed, true);
            for (const auto& [name, count] : streamed)
                if (name == m.name) check(path, m, count, 3, seed, true);
            ++runs;
        }
    }
    EXPECT_GT(runs, 0);
}

}  // namespace
}  // namespace olvmtest

#endif  // OLVM_FAST_PATHS
