// Operand descriptions in one plain form, for batch kernels compiled apart from the
// primitives (one copy per instruction set) that must accept any layout at run time.
//
//   Rows     object n starts at ptr + n*obj                  (standard, S2)
//   Objects  object n starts at table[n] + offset            (L, LS2)
//   Entries  element k of object n at table[k] + offset + n*obj   (P, PS2)
//   Constant a scalar operand, `value`
//
// Within an object of the first two kinds, element (i, j) as stored lies at
// start + i*row + j*elem.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/layout.h"

namespace olvm::frame {

// Arrays of more bytes than this are far: more than a core's caches (L1 and L2) hold.
// Batch kernels fetch ahead only for far arrays; nearer ones are in cache already, where
// the fetches' address arithmetic is pure cost.
inline constexpr std::size_t far_bytes = std::size_t(1) << 20;
OLVM_INLINE bool is_far(unsigned count, std::size_t object_bytes) {
    return std::size_t(count) * object_bytes > far_bytes;
}

struct Place {
    enum Kind : unsigned char { Rows, Objects, Entries, Constant };
    Kind kind;
    bool transposed;
    const void* ptr;
    Offset offset, obj, row, elem;
    double value;

    OLVM_INLINE bool object_null(unsigned n) const {
        return kind == Objects && listed_null(n);
    }
    // Start of object n (Rows, Objects).
    OLVM_INLINE const char* start(unsigned n) const { return kind == Rows ? strided(n) : listed(n); }
    // Start of object n of a Rows operand.
    OLVM_INLINE const char* strided(unsigned n) const { return static_cast<const char*>(ptr) + Offset(n) * obj; }
    // Object n of an Objects operand: its start, and whether its table entry is null.
    OLVM_INLINE const char* listed(unsigned n) const { return static_cast<const char* const*>(ptr)[n] + offset; }
    OLVM_INLINE bool listed_null(unsigned n) const { return static_cast<const void* const*>(ptr)[n] == nullptr; }
    // Stored element k of object n (Entries).
    OLVM_INLINE const char* entry(unsigned k, unsigned n) const {
        return static_cast<const char* const*>(ptr)[k] + offset + Offset(n) * obj;
    }
    // The same description: operands that are one and the same (in place).
    OLVM_INLINE bool same_as(const Place& y) const {
        return kind == y.kind && ptr == y.ptr && offset == y.offset && obj == y.obj && row == y.row &&
               elem == y.elem;
    }
    // Stored element (i, j) of object n in any of the three kinds, with the same address
    // arithmetic as the descriptors; `rowlen` fixes the table entry (Entries).
    OLVM_INLINE char* element(unsigned n, unsigned i, unsigned j, unsigned rowlen) const {
        const char* p = kind == Entries ? entry(i * rowlen + j, n)
                                        : start(n) + Offset(i) * row + Offset(j) * elem;
        return const_cast<char*>(p);
    }
};

// The elements of an object of E stored elements (rows of `rowlen`) at one address each:
// one base per object plus one offset per element, whatever the layout. Rows and
// Objects: the object's start plus the element's place in it; Entries: the object's
// step along the runs plus the element's table entry.
template <unsigned E>
struct ElementAddresses {
    Place x;
    std::uintptr_t off[E];

    OLVM_INLINE ElementAddresses(const Place& p, unsigned rowlen) : x(p) {
        for (unsigned e = 0; e < E; ++e) {
            const unsigned i = e / rowlen, j = e % rowlen;
            off[e] = x.kind == Place::Entries
                         ? reinterpret_cast<std::uintptr_t>(static_cast<const char* const*>(x.ptr)[e]) + x.offset
                         : std::uintptr_t(Offset(i) * x.row + Offset(j) * x.elem);
        }
    }
    OLVM_INLINE std::uintptr_t base(unsigned n) const {
        return x.kind == Place::Entries ? std::uintptr_t(Offset(n) * x.obj)
                                        : reinterpret_cast<std::uintptr_t>(x.start(n));
    }
    template <class T>
    OLVM_INLINE T& at(std::uintptr_t base, unsigned e) const {
        return *reinterpret_cast<T*>(base + off[e]);
    }
};

template <class T>
Place place_of(const Strided<T>& d, bool transposed) {
    return {Place::Rows, transposed, d.base, 0, d.obj, d.row, d.elem, 0.0};
}
template <class T>
Place place_of(const Listed<T>& d, bool transposed) {
    return {Place::Objects, transposed, d.table, d.offset, 0, d.row, d.elem, 0.0};
}
template <class T>
Place place_of(const Table<T>& d, bool transposed) {
    return {Place::Entries, transposed, d.table, d.offset, d.obj, 0, 0, 0.0};
}
template <class D, bool Trans>
Place place_of(const Operand<D, Trans>& x) {
    return place_of(x.desc, Trans);
}
inline Place place_of(const Const& x) {
    return {Place::Constant, false, nullptr, 0, 0, 0, 0, x.value};
}

}  // namespace olvm::frame
