// The validation steps that every primitive performs, in the same order:
//
//   1. base pointers and pointer tables        any_null
//   2. zero sizes                              (each family: its own size rules)
//   3. every entry of P/PS2 tables (arrays)    tables_null, before count is looked at
//   4. count == 0 returns success
//   5. while processing: L/LS2 object entries just before each object (objects_null),
//      single-object P entries just before each element (element_null, or
//      held_entry_null for the entries a product reads term by term).
//
// Each helper takes any mix of operands, constants and plain result pointers and applies
// only to the descriptors it concerns, so a kernel calls every step unconditionally.
#pragma once

#include "frame/layout.h"

namespace olvm::frame {

namespace detail {

template <class X>
struct Traits {  // constants: never null, no table
    static bool null(const X&) { return false; }
    static bool any_entry_null(const X&, unsigned) { return false; }
    static bool object_null(const X&, unsigned) { return false; }
    static bool entry_null(const X&, unsigned) { return false; }
};

template <class D, bool Trans>
struct Traits<Operand<D, Trans>> {
    static bool null(const Operand<D, Trans>& x) { return x.desc.null(); }
    static bool any_entry_null(const Operand<D, Trans>& x, unsigned entries) {
        if constexpr (is_table<D>) {
            for (unsigned k = 0; k < entries; ++k)
                if (x.desc.entry_null(k)) return true;
        }
        (void)x, (void)entries;
        return false;
    }
    static bool object_null(const Operand<D, Trans>& x, unsigned n) {
        if constexpr (is_listed<D>) return x.desc.object_null(n);
        (void)x, (void)n;
        return false;
    }
    static bool entry_null(const Operand<D, Trans>& x, unsigned k) {
        if constexpr (is_table<D>) return x.desc.entry_null(k);
        (void)x, (void)k;
        return false;
    }
};

// A plain result pointer (the scalar results of pDstVal or pDst): tested for null, no table.
template <class T>
struct Traits<T*> {
    static bool null(T* p) { return p == nullptr; }
    static bool any_entry_null(T*, unsigned) { return false; }
    static bool object_null(T*, unsigned) { return false; }
    static bool entry_null(T*, unsigned) { return false; }
};

}  // namespace detail

// Step 1: a null base pointer or table among the operands (constants are not tested).
template <class... X>
OLVM_INLINE bool any_null(const X&... x) {
    return (detail::Traits<X>::null(x) || ...);
}

// Step 3: a null among the first `entries` entries of any pointer table.
template <class... X>
OLVM_INLINE bool tables_null(unsigned entries, const X&... x) {
    return (detail::Traits<X>::any_entry_null(x, entries) || ...);
}

// Steps 1 to 3 of the members that read one source into scalar results (Trace,
// FrobNorm): null pointers, an empty shape, then the first `entries` entries of the
// source's table, unless the member tests them while reading. olvResultOk: go on.
template <bool entries_while_reading, class Shape, class Src, class T>
OLVM_INLINE OlvResult scalar_result_checks(Shape sh, const Src& src, T* result, unsigned entries) {
    if (any_null(src, result)) return olvResultNullPointer;
    if (sh.empty()) return olvResultBadSize;
    if (!entries_while_reading && tables_null(entries, src)) return olvResultNullPointer;
    return olvResultOk;
}

// Step 3 for one operand whose table has its own number of entries.
template <class X>
OLVM_INLINE bool table_null(const X& x, unsigned entries) {
    return detail::Traits<X>::any_entry_null(x, entries);
}

// Step 5, object tables: a null object pointer for object n.
template <class... X>
OLVM_INLINE bool objects_null(unsigned n, const X&... x) {
    return (detail::Traits<X>::object_null(x, n) || ...);
}

// Step 5, single-object pointer tables: table entry k of one operand.
template <class X>
OLVM_INLINE bool entry_null(const X& x, unsigned k) {
    return detail::Traits<X>::entry_null(x, k);
}

// Step 5, single-object pointer tables: the entry that holds element (i, j) of operand
// `x` as used, `rowlen` being the row length of the matrix as stored.
template <class X>
OLVM_INLINE bool held_entry_null(const X& x, unsigned i, unsigned j, unsigned rowlen) {
    return entry_null(x, X::entry(i, j, rowlen));
}

// Step 5, single-object pointer tables, element (i, j) of a result shaped `sh`: each
// operand's entry is tested at the row-major index of (i, j) with the row length of the
// matrix as stored. For a transposed operand that is not the entry the element is read
// from (they agree only on square operands); the test is kept that way on purpose.
template <class Shape, class... X>
OLVM_INLINE bool element_null(unsigned i, unsigned j, const Shape& sh, const X&... x) {
    auto one = [&](const auto& op) {
        using Op = std::decay_t<decltype(op)>;
        if constexpr (std::is_same_v<Op, Const>) {
            return false;
        } else {
            return entry_null(op, i * (Op::transposed ? sh.h : sh.w) + j);
        }
    };
    return (one(x) || ...);
}

}  // namespace olvm::frame
