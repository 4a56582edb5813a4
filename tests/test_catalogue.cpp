// The catalogue holds each family's published number of members, and the version record
// reads as published. (That every member is exported, and each alias at its routine's
// address, check_binary.py checks on the binaries themselves.)
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
