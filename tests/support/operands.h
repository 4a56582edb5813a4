// One call of a member: its operands placed by role, its arguments, and checks of what
// the call wrote.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "harness.h"

namespace olvmtest {

struct Call {
    const MemberInfo* m = nullptr;
    Args args;
    std::map<std::string, std::unique_ptr<Placed>> ops;  // by role
    std::shared_ptr<void> keep;  // any further memory the call's arguments point into
    std::vector<OperandInfo> info;
    unsigned width = 0, height = 0, count = 1;

    Placed& op(const std::string& role) { return *ops.at(role); }
    const OperandInfo& kind_of(const std::string& role) const;
    // Value of operand `role` at (i, j) of object n as the primitive uses it.
    double used(const std::string& role, unsigned n, unsigned i, unsigned j) const;
    void snapshot_all();
    // Whether no operand's memory changed since snapshot_all().
    bool nothing_written() const;
    OlvResult run() { return call(*m, args); }
};

bool is_array_kind(const std::string& kind);
bool is_transposed_kind(const std::string& kind);

}  // namespace olvmtest
