// The benchmark binary: the machine's limits first, then every kernel family against its
// peers. Google Benchmark's own flags apply (--benchmark_filter, --benchmark_out, ...);
// --smoke runs every row once on a few objects, to prove the rows work without timing them.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "elementwise/addsub.h"
#include "support/machine.h"
#include "support/rows.h"

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
    olvm_bench::register_machine();
    olvm_bench::register_elementwise();

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
