// One array operand as every implementation in a benchmark row sees it: the same objects,
// in one of the layouts the rows compare. This is a plain record with no behaviour beyond
// addressing, so that peers built with other compiler flags can read it safely.
//
//   Standard  element k of object n at base[n * size + k]      (objects one after another)
//   P         element k of object n at table[k][n]             (objects interleaved)
//   L         element k of object n at table[n][k]             (one pointer per object)
//
// k is the row-major element index; offsets are always zero.
#pragma once

#include <cstddef>

namespace olvm_bench {

enum class Layout { Standard, P, L };

template <class T>
struct ArrayView {
    Layout layout;
    std::size_t count;
    unsigned rows, cols;
    T* base;          // Standard: object 0
    T* const* table;  // P: rows * cols entries; L: count entries

    unsigned size() const { return rows * cols; }
    int obj_stride() const { return int(size() * sizeof(T)); }
    int row_stride() const { return int(cols * sizeof(T)); }

    T& at(std::size_t n, unsigned k) const {
        switch (layout) {
            case Layout::P: return table[k][n];
            case Layout::L: return table[n][k];
            default: return base[n * size() + k];
        }
    }
};

// Suffix of the library member that works on this layout.
inline const char* member_suffix(Layout layout) {
    switch (layout) {
        case Layout::P: return "_P";
        case Layout::L: return "_L";
        default: return "";
    }
}

}  // namespace olvm_bench
