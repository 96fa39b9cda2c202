// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/doctor/User.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tools/text/Arguments.h"

using bivistactl::BadArgument;
using doctor::ownershipInWords;
using doctor::User;

namespace {

struct stat file(uid_t owner, gid_t group, mode_t mode) {
    struct stat status = {};
    status.st_uid = owner;
    status.st_gid = group;
    status.st_mode = S_IFCHR | mode;
    return status;
}

}  // namespace

TEST(UserTest, IsTheCallerWhenNotNamed) {
    EXPECT_TRUE(User().isCaller());
    EXPECT_TRUE(User(std::to_string(geteuid())).isCaller());
    EXPECT_FALSE(User("4242").isCaller());
}

TEST(UserTest, RootIsKnownByNameAndNumber) {
    EXPECT_TRUE(User("root").isRoot());
    EXPECT_EQ("root", User("0").name());
    EXPECT_EQ("4242", User("4242").name());
}

TEST(UserTest, NobodyOfThatNameIsABadArgument) {
    for (const char* text : {"nobody-of-that-name", "-1", "4294967296", ""}) {
        EXPECT_THROW((void)User(text), BadArgument) << text;
    }
}

TEST(UserTest, TheOwnersRightsAreTheOwners) {
    const User user("4242");
    EXPECT_TRUE(user.mayUse(file(4242, 1, 0600)));
    EXPECT_FALSE(user.mayUse(file(4242, 1, 0400)));
    EXPECT_FALSE(user.mayUse(file(4242, 1, 0200)));
    // The rights of all others do not count for the owner.
    EXPECT_FALSE(user.mayUse(file(4242, 1, 0066)));
}

TEST(UserTest, StrangersNeedTheRightsOfOthers) {
    const User user("4242");
    EXPECT_TRUE(user.mayUse(file(1, 1, 0006)));
    EXPECT_FALSE(user.mayUse(file(1, 1, 0660)));
    EXPECT_FALSE(user.mayUse(file(1, 1, 0664)));
}

TEST(UserTest, AMemberOfTheGroupHasTheGroupsRights) {
    // "daemon" has the group of its name on every Debian.
    const User user("daemon");
    EXPECT_TRUE(user.mayUse(file(0, 1, 0060)));
    EXPECT_FALSE(user.mayUse(file(0, 1, 0606)));
    EXPECT_FALSE(user.mayUse(file(0, 2, 0060)));
}

TEST(UserTest, RootMayEverything) {
    EXPECT_TRUE(User("root").mayUse(file(4242, 4242, 0)));
}

TEST(UserTest, OwnershipIsToldByNameWhereThereIsOne) {
    EXPECT_EQ("root:root, mode 0600", ownershipInWords(file(0, 0, 0600)));
    EXPECT_EQ("4242:4243, mode 1770", ownershipInWords(file(4242, 4243, 01770)));
}
