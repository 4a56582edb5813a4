// How a product's destination element receives its sum of terms, term by term. Every
// product zeroes the element (all bits zero) before its first term and keeps it updated
// after each term, in one of two ways:
//   standard, S2          the sum is kept in double and the element receives it rounded
//                         after each term, so its final value is the double sum rounded
//                         once;
//   P, PS2, L, LS2        the sum runs through the element itself: c <- round(term + c),
//                         rounding to the element type on every term.
// For 64f elements both ways are the same double arithmetic.
#pragma once

#include "frame/layout.h"

namespace olvm::products {

template <class T, bool Through>
class RunningSum {
public:
    explicit OLVM_INLINE RunningSum(T* out) : out_(out) { *out_ = T(0); }

    OLVM_INLINE void add(double term) {
        if constexpr (Through) {
            *out_ = static_cast<T>(term + frame::widen(*out_));
        } else {
            sum_ += term;
            *out_ = static_cast<T>(sum_);
        }
    }

    // A value added once the sum is complete, never as its starting value: to the unrounded
    // double sum, or through the element like the terms.
    OLVM_INLINE void add_after(double v) {
        if constexpr (Through) {
            *out_ = static_cast<T>(frame::widen(*out_) + v);
        } else {
            *out_ = static_cast<T>(sum_ + v);
        }
    }

private:
    T* out_;
    double sum_ = 0.0;
};

// Whether a destination of descriptor D accumulates through the element (P, PS2, L, LS2).
template <class D>
inline constexpr bool through_element = frame::is_table<D> || frame::is_listed<D>;

}  // namespace olvm::products
