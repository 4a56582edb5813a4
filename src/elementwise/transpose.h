// Transposition of one matrix or of each matrix of an array: destination element (j, i)
// receives source element (i, j), walking the source row by row. `width` and `height`
// are the source's columns and rows. The destination must not overlap the source.
//
// Table layouts address both tables with exchanged row lengths: source element (i, j)
// is read from entry i*height + j and written through destination entry j*width + i.
// Both agree with row-major order only for square matrices; that addressing is kept.
// A single-matrix table tests the two entries of each element just before moving it,
// the destination's first.
#pragma once

#include "elementwise/bits.h"
#include "frame/checks.h"
#include "frame/layout.h"

namespace olvm::elementwise {

template <class Mode, class Shape, class Src, class Dst>
OLVM_INLINE OlvResult transpose(Mode mode, Shape sh, Src src, Dst dst) {
    if (frame::any_null(src, dst)) return olvResultNullPointer;
    if (sh.empty()) return olvResultBadSize;
    if constexpr (Mode::array) {
        if (frame::tables_null(sh.w * sh.h, src, dst)) return olvResultNullPointer;
        if (mode.count == 0) return olvResultOk;
    }
    for (unsigned n = 0; n < mode.count; ++n) {
        if (frame::objects_null(n, dst, src)) return olvResultNullPointer;
        for (unsigned i = 0; i < sh.h; ++i) {
            for (unsigned j = 0; j < sh.w; ++j) {
                if constexpr (!Mode::array) {
                    if (frame::entry_null(dst, j * sh.w + i) || frame::entry_null(src, i * sh.h + j))
                        return olvResultNullPointer;
                }
                move_element(dst.at(n, j, i, sh.w), src.at(n, i, j, sh.h));
            }
        }
    }
    return olvResultOk;
}

}  // namespace olvm::elementwise
