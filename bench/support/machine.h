// Rows that measure this machine's limits (bandwidth and floating-point peak of one core),
// against which the report sets every kernel row's floor.
#pragma once

namespace olvm_bench {
void register_machine();
}
