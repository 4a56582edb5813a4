// Addressing of operands in the six memory layouts.
//
// Every matrix or vector operand of a primitive is described by one of three
// descriptors; the generated entry points build them from their argument lists:
//
//   Strided  base + n*obj + i*row + j*elem          standard and S2 layouts
//   Table    table[k] + offset + n*obj               P and PS2 layouts (k: element index)
//   Listed   table[n] + offset + i*row + j*elem      L and LS2 layouts
//
// A single object inside an array primitive is the same descriptor with an object
// stride of zero; a vector is a matrix of one row. All strides and offsets are signed
// byte counts, so negative strides step backwards through memory.
#pragma once

#include <cstddef>
#include <type_traits>

#include "olvm.h"

#if defined(__GNUC__)
#define OLVM_INLINE inline __attribute__((always_inline))
#else
#define OLVM_INLINE inline
#endif

namespace olvm::frame {

using Offset = std::ptrdiff_t;

template <class T>
OLVM_INLINE T* advance(T* p, Offset bytes) {
    using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(p) + bytes);
}

template <class T>
struct Strided {
    T* base;
    int obj, row, elem;

    bool null() const { return base == nullptr; }
    OLVM_INLINE T* at(unsigned n, unsigned i, unsigned j, unsigned /*rowlen*/) const {
        return advance(base, Offset(n) * obj + Offset(i) * row + Offset(j) * elem);
    }
};

template <class T>
struct Table {
    T* const* table;
    int offset, obj;

    bool null() const { return table == nullptr; }
    bool entry_null(unsigned k) const { return table[k] == nullptr; }
    // `rowlen` is the row length of the matrix as stored, which fixes the entry index.
    OLVM_INLINE T* at(unsigned n, unsigned i, unsigned j, unsigned rowlen) const {
        return advance(table[i * rowlen + j], Offset(offset) + Offset(n) * obj);
    }
};

template <class T>
struct Listed {
    T* const* table;
    int offset, row, elem;

    bool null() const { return table == nullptr; }
    bool object_null(unsigned n) const { return table[n] == nullptr; }
    OLVM_INLINE T* at(unsigned n, unsigned i, unsigned j, unsigned /*rowlen*/) const {
        return advance(table[n], Offset(offset) + Offset(i) * row + Offset(j) * elem);
    }
};

template <class D>
inline constexpr bool is_table = false;
template <class T>
inline constexpr bool is_table<Table<T>> = true;
template <class D>
inline constexpr bool is_listed = false;
template <class T>
inline constexpr bool is_listed<Listed<T>> = true;

// Sizes of the result: runtime (generic members) or compile-time (fixed-size members).
struct Dims {
    unsigned w, h;
    bool empty() const { return w == 0 || h == 0; }
};
template <unsigned W, unsigned H>
struct Fixed {
    static constexpr unsigned w = W, h = H;
    static constexpr bool empty() { return false; }
};

// The width of a fixed-size shape; 0 for runtime sizes.
template <class Shape>
inline constexpr unsigned fixed_width = 0;
template <unsigned W, unsigned H>
inline constexpr unsigned fixed_width<Fixed<W, H>> = W;

// Whether the primitive works on one object or on `count` of them.
struct Single {
    static constexpr bool array = false;
    static constexpr unsigned count = 1;
};
struct Array {
    static constexpr bool array = true;
    unsigned count;
};

// A matrix or vector operand as the primitive uses it. A transposed operand is stored
// untransposed: element (i, j) as used is stored element (j, i).
template <class D, bool Trans>
struct Operand {
    D desc;
    using Desc = D;
    using Elem = std::remove_pointer_t<decltype(desc.at(0, 0, 0, 0))>;
    using Value = std::remove_const_t<Elem>;
    static constexpr bool transposed = Trans;

    // Index of the table entry (P layouts) that holds element (i, j) as used; `rowlen` is
    // the row length of the matrix as stored.
    static OLVM_INLINE unsigned entry(unsigned i, unsigned j, unsigned rowlen) {
        return Trans ? j * rowlen + i : i * rowlen + j;
    }

    // Element (i, j) as used; `rowlen` is the row length of the matrix as stored.
    OLVM_INLINE Elem* at(unsigned n, unsigned i, unsigned j, unsigned rowlen) const {
        return Trans ? desc.at(n, j, i, rowlen) : desc.at(n, i, j, rowlen);
    }
    // Element (i, j) of an operand shaped like a result of `sh` (height rows, width columns):
    // a transposed one is stored as `width` rows of `height` elements.
    template <class Shape>
    OLVM_INLINE Elem* at(unsigned n, unsigned i, unsigned j, const Shape& sh) const {
        return at(n, i, j, Trans ? sh.h : sh.w);
    }
};

template <bool Trans, class D>
OLVM_INLINE Operand<D, Trans> operand(D desc) {
    return {desc};
}

// A scalar constant, widened to double once at entry.
struct Const {
    double value;
};

template <class T>
OLVM_INLINE double widen(T v) {
    return static_cast<double>(v);
}

}  // namespace olvm::frame
