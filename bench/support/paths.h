// Rows that time each instruction-set path's batch kernel on its own: the family
// "paths", implementations named after the paths this processor supports, beside the
// path the loader picks for the library's member ("olvm"). They show which path pays
// for which kernel.
#pragma once
#if defined(OLVM_FAST_PATHS)

#include <string>

#include "frame/place.h"
#include "paths/roster.h"
#include "support/rows.h"

namespace olvm_bench {

// An operand as the batch kernels take it.
template <class T>
olvm::frame::Place place_of(const ArrayView<T>& v) {
    using olvm::frame::Place;
    const int es = int(sizeof(T));
    switch (v.layout) {
        case Layout::P: return {Place::Entries, false, v.table, 0, es, 0, 0, 0.0};
        case Layout::L: return {Place::Objects, false, v.table, 0, 0, v.row_stride(), es, 0.0};
        default: return {Place::Rows, false, v.base, 0, v.obj_stride(), v.row_stride(), es, 0.0};
    }
}

// Objects of every "paths" row: in cache, and whole vectors on every path, so that the
// kernels finish every object on their own.
inline std::size_t path_row_objects() { return (scale().object_counts().front() + 7) / 8 * 8; }

// The path the kernel `through_path` runs: the row sets it before timing.
inline const olvm::paths::PathKernels& current_path() { return *olvm::paths::Chosen::current; }

// row(state, kernel) times `kernel` and checks its result as the family's own rows do.
template <class Kernel, class Row>
void add_path_rows(const std::string& member, std::size_t count, Kernel library, Kernel through_path, Row row) {
    const std::string tail = "/" + std::to_string(count);
    add_row("paths/" + member + "/" + kLibrary + tail, [=](benchmark::State& s) { row(s, library); });
    for (const auto& path : olvm::paths::roster()) {
        if (!path.supported) continue;
        const auto* p = &path;
        add_row("paths/" + member + "/" + path.name + tail, [=](benchmark::State& s) {
            olvm::paths::Chosen::current = p;
            row(s, through_path);
        });
    }
}

}  // namespace olvm_bench

#endif  // OLVM_FAST_PATHS
