// Data movement without arithmetic: copying arrays between layouts, gathering an operand
// into a dense buffer, and filling arrays of matrices with the identity. Elements are
// moved as bit patterns (elementwise/bits.h).
//
// These routines keep validation orders of their own:
//   copy           pointers; `len` of vector arrays (matrix arrays test no size); count = 0
//                  succeeds. No table entry or object pointer is ever tested.
//   extract        pointers, then every size and count (count = 0 is a size error), or,
//                  for most single-object tables, nothing at all (Validate). No table
//                  entry is tested.
//   load_identity  pointers, the P table's entries, then count (count = 0 is a size
//                  error); its signed sizes are not tested.
#pragma once

#include <cstddef>

#include "elementwise/bits.h"
#include "frame/checks.h"
#include "frame/layout.h"

namespace olvm::elementwise {

template <bool TestLen, class Shape, class Dst, class Src>
OLVM_INLINE OlvResult copy(frame::Array mode, Shape sh, Dst dst, Src src) {
    if (frame::any_null(src, dst)) return olvResultNullPointer;
    if constexpr (TestLen) {
        if (sh.empty()) return olvResultBadSize;
    }
    for (unsigned n = 0; n < mode.count; ++n)
        for (unsigned i = 0; i < sh.h; ++i)
            for (unsigned j = 0; j < sh.w; ++j) move_element(dst.at(n, i, j, sh.w), src.at(n, i, j, sh.w));
    return olvResultOk;
}

// What an Extract member checks before reading: pointers, sizes and count (All), or
// nothing but an empty result, width*height = 0 (Empty) or height = 0 (NoRows), after
// which every pointer is used as passed.
enum class Validate { All, Empty, NoRows };

// The dense result holds the objects one after another, each in row-major order (the
// transpose of a transposed source). An array of pointer tables is walked entry by entry,
// all objects at each entry.
template <Validate V, class Mode, class Shape, class Src, class T>
OLVM_INLINE OlvResult extract(Mode mode, Shape sh, Src src, T* dst) {
    if constexpr (V == Validate::All) {
        if (frame::any_null(src) || dst == nullptr) return olvResultNullPointer;
        if (sh.empty() || mode.count == 0) return olvResultBadSize;
    } else if constexpr (V == Validate::Empty) {
        if (sh.w * sh.h == 0) return olvResultOk;
    } else {
        if (sh.h == 0) return olvResultOk;
    }
    const std::size_t per = std::size_t(sh.w) * sh.h;
    if constexpr (frame::is_table<typename Src::Desc> && Mode::array) {
        for (unsigned k = 0; k < per; ++k)
            for (unsigned n = 0; n < mode.count; ++n) move_element(dst + n * per + k, src.desc.at(n, 0, k, 0));
    } else {
        for (unsigned n = 0; n < mode.count; ++n)
            for (unsigned i = 0; i < sh.h; ++i)
                for (unsigned j = 0; j < sh.w; ++j) move_element(dst++, src.at(n, i, j, sh));
    }
    return olvResultOk;
}

namespace detail {

// Strides below a minimum are replaced by another value; compared as the unsigned words
// they are on 32-bit x86, so a negative stride stays and steps backwards.
OLVM_INLINE int at_least(int stride, unsigned min, unsigned replacement) {
    return static_cast<unsigned>(stride) < min ? static_cast<int>(replacement) : stride;
}

// The descriptor LoadIdentity writes through: element stride at least the element size,
// row stride at least width elements; a table's object stride below the element size
// becomes 4 bytes (for 64f too).
template <class T>
frame::Strided<T> identity_strides(frame::Strided<T> d, unsigned width) {
    return {d.base, d.obj, at_least(d.row, width * sizeof(T), width * sizeof(T)),
            at_least(d.elem, sizeof(T), sizeof(T))};
}
template <class T>
frame::Listed<T> identity_strides(frame::Listed<T> d, unsigned width) {
    return {d.table, d.offset, at_least(d.row, width * sizeof(T), width * sizeof(T)),
            at_least(d.elem, sizeof(T), sizeof(T))};
}
template <class T>
frame::Table<T> identity_strides(frame::Table<T> d, unsigned) {
    return {d.table, d.offset, at_least(d.obj, sizeof(T), 4)};
}

}  // namespace detail

// Each row is zeroed and then given a 1 at column `col`, a row counter that runs on
// across objects: object n's row i gets its 1 at column n*height + i, so only object 0
// receives an identity and later objects receive their 1 past the end of each row.
template <class Dst>
OLVM_INLINE OlvResult load_identity(Dst dst, int width, int height, unsigned count) {
    using T = typename Dst::Value;
    if (frame::any_null(dst)) return olvResultNullPointer;
    const bool empty = width <= 0 || height <= 0;
    const unsigned w = empty ? 0 : unsigned(width), h = empty ? 0 : unsigned(height);
    if (frame::tables_null(w * h, dst)) return olvResultNullPointer;
    if (count == 0) return olvResultBadSize;
    const auto d = detail::identity_strides(dst.desc, w);
    unsigned col = 0;
    for (unsigned n = 0; n < count && !empty; ++n) {
        if (frame::objects_null(n, dst)) return olvResultNullPointer;
        for (unsigned i = 0; i < h; ++i, ++col) {
            for (unsigned j = 0; j < w; ++j) store_element(d.at(n, i, j, w), T(0));
            store_element(d.at(n, i, col, w), T(1));
        }
    }
    return olvResultOk;
}

}  // namespace olvm::elementwise
