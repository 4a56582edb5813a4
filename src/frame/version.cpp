// The one export that is not a primitive: a constant record describing the build.
#include "olvm.h"

namespace {
constexpr OlvVersionInfo kVersion = {
    3, 0, 12, 6, {'p', 'x', '\0', '\0'}, "olvmpx.dll", "v3.0 Gold", "Dec 11 2002",
};
}  // namespace

extern "C" OLVM_API const OlvVersionInfo* OLVM_CALL olvmGetLibVersion(void) {
    return &kVersion;
}
