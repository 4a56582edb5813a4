// The catalogue holds each family's published number of members, every member is
// exported by the shared library (an alias at its routine's address), and the version
// record reads as published.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

#include "harness.h"

namespace olvmtest {
namespace {

TEST(Catalogue, FamilySizes) {
    const std::map<std::string, int> published = {
        {"Add", 840},         {"Sub", 1230},     {"Copy", 36},       {"Extract", 27},
        {"LoadIdentity", 6},  {"Transpose", 90}, {"Mul", 840 + 690}, {"Gaxpy", 90},
        {"LUDecomp", 90},     {"LUBackSubst", 150}, {"DotProduct", 150}, {"L2Norm", 90},
        {"CrossProduct", 42}, {"Saxpy", 210},    {"LComb", 150},
        {"QRDecomp", 90},     {"QRBackSubst", 150}, {"Trace", 90},      {"FrobNorm", 90},   {"Det", 90},
        {"Invert", 90}};
    std::map<std::string, int> counted;
    for (const auto& m : members()) ++counted[m.family];
    EXPECT_EQ(counted, published);
}

TEST(Catalogue, EveryMemberIsExported) {
    int missing = 0;
    for (const auto& m : members()) {
        if (!symbol(m.name)) {
            ADD_FAILURE() << m.name << " is declared but not exported";
            ++missing;
        }
    }
    EXPECT_EQ(missing, 0);
}

// A second name of a routine is the same function: one address for both names.
TEST(Catalogue, AliasesResolveToTheirRoutinesAddress) {
    int aliases = 0;
    for (const auto& m : members()) {
        if (!*m.alias_of) continue;
        ASSERT_NE(symbol(m.name), nullptr) << m.name;
        EXPECT_EQ(symbol(m.name), symbol(m.alias_of)) << m.name << " and " << m.alias_of;
        ++aliases;
    }
    EXPECT_EQ(aliases, 4);
}

TEST(Version, RecordIsStaticAndReadsAsPublished) {
    using Get = const OlvVersionInfo*(OLVM_CALL*)(void);
    auto get = reinterpret_cast<Get>(symbol("olvmGetLibVersion"));
    ASSERT_NE(get, nullptr);
    const OlvVersionInfo* v = get();
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v, get());
    EXPECT_EQ(v->versionMajor, 3);
    EXPECT_EQ(v->versionMinor, 0);
    EXPECT_EQ(v->buildMajor, 12);
    EXPECT_EQ(v->buildMinor, 6);
    EXPECT_EQ(std::memcmp(v->targetCode, "px\0\0", 4), 0);
    EXPECT_STREQ(v->libraryName, "olvmpx.dll");
    EXPECT_STREQ(v->versionText, "v3.0 Gold");
    EXPECT_STREQ(v->buildDate, "Dec 11 2002");
}

}  // namespace
}  // namespace olvmtest
