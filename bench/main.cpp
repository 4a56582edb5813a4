// The benchmark binary: the machine's limits first, then every kernel family against its
// peers. Google Benchmark's own flags apply (--benchmark_filter, --benchmark_out, ...);
// --smoke runs every row once on a few objects, to prove the rows work without timing them.
#include <benchmark/benchmark.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "decomp/lu.h"
#include "elementwise/addsub.h"
#include "products/matmul.h"
#include "support/machine.h"
#include "support/rows.h"

namespace {
// The processor's name as the kernel reports it, recorded with the results.
std::string cpu_model() {
    std::ifstream cpuinfo("/proc/cpuinfo");
    for (std::string line; std::getline(cpuinfo, line);)
        if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
    return "unknown processor";
}
}  // namespace

int main(int argc, char** argv) {
    olvm_bench::Scale scale;
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--smoke") == 0)
            scale.smoke = true;
        else
            args.push_back(argv[i]);
    }
    olvm_bench::set_scale(scale);
    int n = int(args.size());
    benchmark::Initialize(&n, args.data());
    if (benchmark::ReportUnrecognizedArguments(n, args.data())) return 1;

    benchmark::AddCustomContext("olvm_scale", scale.smoke ? "smoke" : "full");
    benchmark::AddCustomContext("olvm_cpu", cpu_model());
    olvm_bench::register_machine();
    olvm_bench::register_elementwise();
    olvm_bench::register_products();
    olvm_bench::register_decomp();

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
