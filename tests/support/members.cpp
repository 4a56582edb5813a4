// The member table generated from the catalogue: metadata and a typed thunk per member
// that calls the real exported symbol with arguments taken from an Args record.
#include "harness.h"

#include <string>
#include <vector>

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

std::vector<const MemberInfo*> members_of(const std::string& family, bool generic_only, const std::string& codes,
                                          const std::string& layout) {
    std::vector<const MemberInfo*> out;
    for (const auto& m : members())
        if (family == m.family && (!generic_only || m.size == 0) && (codes == "*" || codes == m.codes) &&
            (layout == "*" || layout == m.layout))
            out.push_back(&m);
    return out;
}

}  // namespace olvmtest
