#include "support/rows.h"

namespace olvm_bench {
namespace {
Scale g_scale;
}

std::vector<std::size_t> Scale::object_counts() const {
    if (smoke) return {10, 100};
    return {1000, 1000000};
}

std::vector<std::size_t> Scale::bandwidth_sizes() const {
    if (smoke) return {16 << 10};
    // In L2, around the 1,000-object rows; and well past the last-level cache.
    return {std::size_t(192) << 10, std::size_t(192) << 20, std::size_t(768) << 20};
}

const Scale& scale() { return g_scale; }
void set_scale(const Scale& s) { g_scale = s; }

void add_row(const std::string& name, RowBody body) {
    auto* b = benchmark::RegisterBenchmark(name.c_str(),
                                           [body](benchmark::State& state) { body(state); });
    // Timed in CPU time: the machine is shared, and time spent descheduled is not the kernel's.
    b->Unit(benchmark::kNanosecond);
    // A smoke run executes each row once: it proves the row works, it times nothing.
    if (g_scale.smoke) b->Iterations(1);
}

void report_objects(benchmark::State& state, std::size_t objects, const Cost& cost) {
    using benchmark::Counter;
    state.counters["ns_per_object"] =
        Counter(double(objects), Counter::kIsIterationInvariantRate | Counter::kInvert);
    state.counters["objects"] = double(objects);
    state.counters["bytes_per_object"] = cost.bytes_per_object;
    state.counters["flops_per_object"] = cost.flops_per_object;
    state.counters["working_set"] = cost.working_set;
    state.counters["streams"] = cost.streams;
}

}  // namespace olvm_bench
