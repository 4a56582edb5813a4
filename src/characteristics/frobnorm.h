// Frobenius norm of a matrix, or of every matrix of an array: the square root of the sum
// of the squares of all elements, each square formed and summed in double, the root
// rounded once to the element type and stored only at the end.
//
// A single matrix is summed row by row, an array's matrices column by column. The two
// orders can differ in the last bit of a 32f result; both are kept as they are.
#pragma once

#include <cmath>

#include "frame/checks.h"
#include "frame/layout.h"

namespace olvm::characteristics {

// `entries_while_reading`: the P members test each table entry just before its element
// is squared; since nothing is stored before the end, a null entry leaves the result as
// it was. Other table members (PS2) test every entry before `count`.
template <bool entries_while_reading, class Mode, class Shape, class Src, class T>
OLVM_INLINE OlvResult frob_norm(Mode mode, Shape sh, Src src, T* result) {
    const unsigned w = sh.w, h = sh.h;
    if (const OlvResult r = frame::scalar_result_checks<entries_while_reading>(sh, src, result, w * h)) return r;
    // Rows outer for a single matrix, columns outer for arrays.
    const unsigned outer = Mode::array ? w : h, inner = Mode::array ? h : w;
    for (unsigned obj = 0; obj < mode.count; ++obj) {
        if (frame::objects_null(obj, src)) return olvResultNullPointer;
        double sum = 0.0;
        for (unsigned a = 0; a < outer; ++a)
            for (unsigned b = 0; b < inner; ++b) {
                const unsigned i = Mode::array ? b : a, j = Mode::array ? a : b;
                if constexpr (entries_while_reading) {
                    if (frame::held_entry_null(src, i, j, w)) return olvResultNullPointer;
                }
                const double v = frame::widen(*src.at(obj, i, j, w));
                sum += v * v;
            }
        result[obj] = static_cast<T>(std::sqrt(sum));
    }
    return olvResultOk;
}

}  // namespace olvm::characteristics
