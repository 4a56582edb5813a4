// Moving an element without arithmetic: its bytes are copied, so every bit pattern
// arrives unchanged (signalling NaNs included, in both element types).
#pragma once

#include <cstring>
#include <type_traits>

#include "frame/layout.h"

namespace olvm::elementwise {

template <class T>
OLVM_INLINE void move_element(std::remove_const_t<T>* dst, T* src) {
    std::memcpy(dst, src, sizeof(T));
}

// A value stored bytewise: a table's object stride may leave a 64f element on a 4-byte
// boundary.
template <class T>
OLVM_INLINE void store_element(T* dst, T value) {
    std::memcpy(dst, &value, sizeof(T));
}

}  // namespace olvm::elementwise
