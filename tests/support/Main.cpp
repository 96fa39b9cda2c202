// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// main() of tests that run in the phone's world.

#include <cstdio>
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "emulator/phone/world/World.h"
#include "tests/support/TheWorld.h"

namespace support {

namespace {

constexpr char kSocketFolder[] = "/data/hidl";

// Never deleted: threads of the software under test may live until the process ends, and each of
// their opens needs an answer.
phone::Phone* sPhone = nullptr;

void makePhone() {
    const std::string error = phone::enterWorld();
    if (!error.empty()) {
        fprintf(stderr, "%s\n", error.c_str());
        exit(1);
    }
    mkdir(kSocketFolder, 0700);
    setenv("HIDL_SOCKET_DIR", kSocketFolder, 1);
    unsetenv("ANDROID_PROPERTY_FILE");
    try {
        sPhone = new phone::Phone;
        sPhone->superviseThisThread();
    } catch (const phone::Error& failure) {
        fprintf(stderr, "%s\n", failure.what());
        exit(1);
    }
}

}  // namespace

phone::Phone& thePhone() {
    if (sPhone == nullptr) {
        fprintf(stderr, "this test needs the main() of test-support\n");
        exit(1);
    }
    return *sPhone;
}

}  // namespace support

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    if (!testing::GTEST_FLAG(list_tests)) support::makePhone();
    return RUN_ALL_TESTS();
}
