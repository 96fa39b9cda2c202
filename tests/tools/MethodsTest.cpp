// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/commands/Methods.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tools/ExitStatus.h"

using namespace bivistactl;

namespace {

std::string typesOf(const char* name) {
    std::string types;
    for (const Parameter& parameter : findMethod(name)->parameters) {
        types += parameter.name + ":" + parameter.type + " ";
    }
    return types;
}

// The message with which binding fails.
std::string complaintAbout(const char* name, const std::vector<std::string>& texts) {
    try {
        findMethod(name)->bind(texts);
        return "";
    } catch (const Failure& failure) {
        EXPECT_EQ(EXIT_USAGE, failure.code);
        return failure.what();
    }
}

}  // namespace

TEST(MethodsTest, HasEveryMethodOnce) {
    std::set<std::string> names;
    for (const Method& method : methods()) names.insert(method.name);
    EXPECT_EQ(38u, methods().size());
    EXPECT_EQ(38u, names.size());
}

TEST(MethodsTest, NamesAreExact) {
    EXPECT_NE(nullptr, findMethod("DoRawdata"));
    EXPECT_EQ(nullptr, findMethod("doRawdata"));
    EXPECT_EQ(nullptr, findMethod(""));
}

TEST(MethodsTest, ParametersHaveNamesAndTypes) {
    EXPECT_EQ("", typesOf("getBV2Connect"));
    EXPECT_EQ("type:int32 value:int32 ", typesOf("setStatus"));
    EXPECT_EQ("enable:true|false uevent:true|false ", typesOf("setPowerStatus"));
    EXPECT_EQ("frame:@FILE|uint32,... ", typesOf("drawSubDisplay"));
    EXPECT_EQ("cmd:text cb:null ", typesOf("sendAtCommand"));
    EXPECT_EQ("mode:uint32 ", typesOf("setAesMode"));
}

TEST(MethodsTest, AWrongCountOfArgumentsIsToldWithTheSynopsis) {
    EXPECT_EQ(
            "setPowerStatus takes 2 arguments, not 1: bivistactl call setPowerStatus enable uevent",
            complaintAbout("setPowerStatus", {"true"}));
    EXPECT_EQ("getBV2Connect takes 0 arguments, not 1: bivistactl call getBV2Connect",
              complaintAbout("getBV2Connect", {""}));
}

TEST(MethodsTest, AWrongArgumentIsToldByItsName) {
    EXPECT_EQ("setPowerStatus, uevent: \"yes\" is neither true nor false.",
              complaintAbout("setPowerStatus", {"true", "yes"}));
    EXPECT_THAT(complaintAbout("setStatus", {"1", "x"}), testing::StartsWith("setStatus, value: "));
    EXPECT_THAT(complaintAbout("setStatus", {"x", "1"}), testing::StartsWith("setStatus, type: "));
}
