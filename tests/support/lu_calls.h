// Calls of the LU families with their operands placed by the harness: the matrices (or
// factors), the right-hand sides and destinations in the member's layouts, and the index
// vector between guard words.
//
// A decomposition's destination is placed so that the element its displaced last-pivot
// test reads for every object is memory the test owns: in the standard, S2, L and LS2
// layouts each stored row is widened to size * count elements (the member sees only the
// first `size`), and in the P and PS2 layouts the destination table continues past its
// size * size entries into a separate block of elements.
#pragma once

#include <memory>
#include <vector>

#include "harness.h"
#include "lu_systems.h"

namespace olvmtest {

// Index entries packed without gaps, `per_object` for each of `objects` objects (object n
// is the run of entries n * per_object ...), with sentinel words on both sides; every word
// starts as a sentinel that is no valid index.
class IndexVector : public Placed {
public:
    static constexpr unsigned sentinel = 0xA5A5A5A5u;
    explicit IndexVector(unsigned per_object = 1, unsigned objects = 1);
    unsigned* data() { return reinterpret_cast<unsigned*>(base); }
    unsigned operator[](std::size_t k) const;
    bool changed(std::size_t k) const { return element_changed(unsigned(k / cols()), 0, unsigned(k % cols())); }
    bool guards_intact() const { return !changed_outside_elements(); }
};

struct DecompCall {
    const MemberInfo* m = nullptr;
    Args args;
    unsigned size = 0, count = 1;
    bool array = false;
    std::unique_ptr<Placed> src, dst;
    IndexVector index;
    std::vector<PivotedMatrix> systems;  // one per object

    OlvResult run() { return call(*m, args); }
    void snapshot();
    // Index entries of object n.
    const unsigned* rows(unsigned n) { return index.data() + std::size_t(n) * size; }
    // Stored factors of object n as a dense matrix (the member's columns only).
    Dense factors(unsigned n) const;
    // The element the last-pivot test of object n reads when the object's last index
    // entry is r, through the test's own addressing.
    double displaced(unsigned n, unsigned r) const;
    void set_displaced(unsigned n, unsigned r, double v);
    // Whether that element is memory the member never writes (so a test may choose it).
    bool displaced_is_spare(unsigned n, unsigned r) const;

    std::vector<unsigned char> spill;  // P/PS2: elements behind table entries >= size*size
private:
    friend DecompCall make_decomp_call(const MemberInfo&, unsigned, unsigned, Rng&, Placement);
    unsigned char* displaced_address(unsigned n, unsigned r) const;
    std::size_t spill_block = 0, spill_base = 0;
};

// `count` is ignored by single-matrix members. Sources hold random pivoted matrices; the
// destination (and every spare element the displaced test may read) holds random values
// of magnitude 2^-7 or more.
DecompCall make_decomp_call(const MemberInfo& m, unsigned size, unsigned count, Rng& rng,
                            Placement how = {});

struct SolveCall {
    const MemberInfo* m = nullptr;
    Args args;
    unsigned size = 0, count = 1;
    bool per_object = false;  // mava: one factor matrix per vector
    std::unique_ptr<Placed> mat, rhs, dst;
    IndexVector index;
    std::vector<PackedFactors> systems;  // one per factor matrix

    OlvResult run() { return call(*m, args); }
    void snapshot();
    const PackedFactors& system(unsigned n) const { return systems[per_object ? n : 0]; }
    std::vector<double> vector_of(const Placed& p, unsigned n) const;
};

SolveCall make_solve_call(const MemberInfo& m, unsigned size, unsigned count, Rng& rng,
                          Placement how = {});

}  // namespace olvmtest
