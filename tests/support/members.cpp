// The member table generated from the catalogue: metadata and a typed thunk per member
// that calls the real exported symbol with arguments taken from an Args record.
#include "harness.h"

namespace olvmtest {

const std::vector<MemberInfo>& members() {
#define OLVM_MEMBER(name, family, codes, type, size, layout, ops, args, alias, call) \
    {name, family, codes, type, size, layout, ops, args, alias,                      \
     [](void* fn, const Args& a) -> OlvResult { return call; }},
    static const std::vector<MemberInfo> table = {
#include "members.inc"
    };
#undef OLVM_MEMBER
    return table;
}

}  // namespace olvmtest
