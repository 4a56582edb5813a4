// Storage for array operands, filled with random values, and reuse of the last set of
// operands across consecutive rows (so the out-of-cache rows do not refill hundreds of
// megabytes for every implementation they compare).
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <tuple>
#include <vector>

#include "support/view.h"

namespace olvm_bench {

// `count` objects of rows x cols elements in one layout. Every object starts on a 64-byte
// boundary when its size allows (4x4 32f objects are exactly one cache line). `spare`
// elements after the last object, set to one, keep reads a member makes beyond the objects
// (the array LU decompositions' last-pivot test) inside the allocation.
template <class T>
class ArrayOperand {
public:
    ArrayOperand(Layout layout, unsigned rows, unsigned cols, std::size_t count, std::uint64_t seed,
                 std::size_t spare = 0)
        : view_{layout, count, rows, cols, nullptr, nullptr},
          data_(allocate(std::size_t(rows) * cols * count + spare)) {
        const std::size_t size = std::size_t(rows) * cols;
        view_.base = data_.get();
        if (layout == Layout::P)
            for (std::size_t k = 0; k < size; ++k) table_.push_back(data_.get() + k * count);
        if (layout == Layout::L)
            for (std::size_t n = 0; n < count; ++n) table_.push_back(data_.get() + n * size);
        view_.table = table_.data();
        // A small xorshift generator: values in [-1, 1), different for every operand.
        std::uint64_t x = seed * 0x9E3779B97F4A7C15ull + 1;
        for (std::size_t i = 0; i < size * count; ++i) {
            x ^= x << 13, x ^= x >> 7, x ^= x << 17;
            data_.get()[i] = T(double(x >> 11) * 0x1p-52 - 1.0);
        }
        for (std::size_t i = size * count; i < size * count + spare; ++i) data_.get()[i] = T(1);
    }

    // Sets every element of every object (not the spare ones) to `value`.
    void fill(T value) const {
        std::fill(data_.get(), data_.get() + std::size_t(view_.size()) * view_.count, value);
    }

    const ArrayView<T>& view() const { return view_; }
    // Bytes of the pointer table a call reads (zero in the standard layout).
    std::size_t table_bytes() const { return table_.size() * sizeof(T*); }

private:
    struct Free {
        void operator()(T* p) const { std::free(p); }
    };
    static std::unique_ptr<T, Free> allocate(std::size_t elements) {
        const std::size_t bytes = (elements * sizeof(T) + 63) / 64 * 64;
        void* p = std::aligned_alloc(64, bytes == 0 ? 64 : bytes);
        if (p == nullptr) throw std::bad_alloc();
        return std::unique_ptr<T, Free>(static_cast<T*>(p));
    }

    ArrayView<T> view_;
    std::unique_ptr<T, Free> data_;
    std::vector<T*> table_;
};

// The set of operands built from `args`, kept until a row asks for a different one.
template <class Set, class... Args>
const Set& reused(Args... args) {
    static std::optional<std::tuple<Args...>> key;
    static std::unique_ptr<Set> set;
    if (!key || *key != std::tuple<Args...>(args...)) {
        set.reset();  // free the old set before filling the new one
        set = std::make_unique<Set>(args...);
        key = std::tuple<Args...>(args...);
    }
    return *set;
}

}  // namespace olvm_bench
