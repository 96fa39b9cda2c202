// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/host/cutils/PrivateWorld.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace {

void orDie(bool done, const char* what) {
    if (done) return;
    fprintf(stderr,
            "This test needs namespaces of its own and %s failed: %s. Allow unprivileged user "
            "namespaces (sysctl kernel.unprivileged_userns_clone=1), or run it as root.\n",
            what, strerror(errno));
    exit(1);
}

bool put(const char* path, const std::string& content) {
    return !(std::ofstream(path) << content << std::flush).fail();
}

void enterPrivateWorld() {
    const std::string user = std::to_string(getuid());
    const std::string group = std::to_string(getgid());
    orDie(unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET) == 0, "unshare");
    orDie(put("/proc/self/setgroups", "deny"), "denying setgroups");
    orDie(put("/proc/self/uid_map", "0 " + user + " 1"), "mapping the user");
    orDie(put("/proc/self/gid_map", "0 " + group + " 1"), "mapping the group");
    orDie(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "making mounts private");
    orDie(mount("none", "/dev", "tmpfs", 0, nullptr) == 0, "mounting /dev");
    orDie(mount("none", "/sys", "tmpfs", 0, nullptr) == 0, "mounting /sys");
}

}  // namespace

void writeFile(const std::string& path, const std::string& content) {
    ASSERT_TRUE(put(path.c_str(), content)) << path << ": " << strerror(errno);
}

std::string readFile(const std::string& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path << ": " << strerror(errno);
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
}

NoDescriptorsLeft::NoDescriptorsLeft() {
    EXPECT_EQ(0, getrlimit(RLIMIT_NOFILE, &mBefore));
    int lowestFree = dup(STDERR_FILENO);
    rlimit none = {static_cast<rlim_t>(lowestFree), mBefore.rlim_max};
    close(lowestFree);
    EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
}

NoDescriptorsLeft::~NoDescriptorsLeft() {
    EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &mBefore));
}

int main(int argc, char** argv) {
    enterPrivateWorld();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
