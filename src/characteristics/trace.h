// Trace of a square matrix, or of every matrix of an array: the sum of the main diagonal.
//
// The result is set to 0 first and then receives the running sum after every diagonal
// element, rounded to the element type each time; the sum itself is kept in double, so
// the final value is the double sum rounded once. Array results lie next to each other
// from `result` on, one per matrix, whatever the layout of the source.
#pragma once

#include "frame/checks.h"
#include "frame/layout.h"

namespace olvm::characteristics {

// `entries_while_reading`: the P members read only the diagonal entries of the pointer
// table and test each one just before its element is added, so a null entry leaves the
// partial sum in the result. Other table members (PS2) test every entry before `count`.
template <bool entries_while_reading, class Mode, class Shape, class Src, class T>
OLVM_INLINE OlvResult trace(Mode mode, Shape sh, Src src, T* result) {
    const unsigned n = sh.w;
    if (const OlvResult r = frame::scalar_result_checks<entries_while_reading>(sh, src, result, n * n)) return r;
    for (unsigned obj = 0; obj < mode.count; ++obj) {
        if (frame::objects_null(obj, src)) return olvResultNullPointer;
        T* out = result + obj;
        *out = T(0);
        double sum = 0.0;
        for (unsigned i = 0; i < n; ++i) {
            if constexpr (entries_while_reading) {
                if (frame::held_entry_null(src, i, i, n)) return olvResultNullPointer;
            }
            sum += frame::widen(*src.at(obj, i, i, n));
            *out = static_cast<T>(sum);
        }
    }
    return olvResultOk;
}

}  // namespace olvm::characteristics
