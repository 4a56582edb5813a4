// What every benchmark row shares: the run's scale (a full run, or a smoke run that only
// checks every row still builds, runs and computes the right thing), registration under
// the naming scheme the report script reads, and the counters each row reports.
//
// Row names: <family>/<member>/<implementation>/<objects>, for example
// "elementwise/olvmAdd_mama_32f_4x4_P/eigen/1000". The machine's limits are the rows
// "machine/copy/<bytes>", "machine/triad/<bytes>" and "machine/fma<bits>".
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "support/view.h"

namespace olvm_bench {

struct Scale {
    bool smoke = false;
    // The two object counts every kernel is measured at: one whose operands stay in the
    // core's caches, one whose operands stream from memory.
    std::vector<std::size_t> object_counts() const;
    // Working sets, in bytes, at which the machine's bandwidth is measured.
    std::vector<std::size_t> bandwidth_sizes() const;
};
const Scale& scale();
void set_scale(const Scale& s);

// What one object of a kernel costs at the least: the bytes it moves and the floating-point
// operations it needs. The report turns these into the row's floor with the machine's
// measured bandwidth (copy-like for 2 streams, triad-like for 3) and peak.
struct Cost {
    double bytes_per_object;
    double flops_per_object;
    double working_set;  // bytes one call touches
    int streams;         // arrays streamed at once
};

using RowBody = std::function<void(benchmark::State&)>;
void add_row(const std::string& name, RowBody body);

// Counters of a kernel row: ns per object (shown as such on the console) and its cost.
void report_objects(benchmark::State& state, std::size_t objects, const Cost& cost);

// Implementations compared in every kernel row, in table order.
inline const char* const kLibrary = "olvm";
inline const char* const kLoop = "loop";
inline const char* const kEigen = "eigen";
inline const char* const kEigenNative = "eigen_native";

// Name of a fixed-order member: "<prefix>_<32f|64f>_<n>x<n>[_<layout>]".
template <class T>
std::string fixed_member(const std::string& prefix, unsigned n, Layout layout) {
    return prefix + (sizeof(T) == 4 ? "_32f_" : "_64f_") + std::to_string(n) + "x" +
           std::to_string(n) + member_suffix(layout);
}

// The four rows comparing `library`, `loop` and the two Eigen builds on one member and
// object count. row(state, kernel, exact) times the kernel; `exact` is true for the two
// that follow the library's numerics and must give its bits.
template <class Kernel, class Row>
void add_compared_rows(const std::string& family, const std::string& member, std::size_t count,
                       Kernel library, Kernel loop, Kernel eigen, Kernel eigen_native, Row row) {
    const struct {
        const char* name;
        Kernel kernel;
        bool exact;
    } impls[] = {{kLibrary, library, true}, {kLoop, loop, true}, {kEigen, eigen, false},
                 {kEigenNative, eigen_native, false}};
    for (const auto& impl : impls)
        add_row(family + "/" + member + "/" + impl.name + "/" + std::to_string(count),
                [=](benchmark::State& s) { row(s, impl.kernel, impl.exact); });
}

}  // namespace olvm_bench
