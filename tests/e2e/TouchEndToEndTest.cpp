// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Touch diagnostics that end the service or hold their caller.
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::HasSubstr;

using TouchEndToEndTest = ProgramsTest;

// Meant: such a line has no room in the service, which ends rather than go on. The transport stores
// the pieces of a long line back to back.
TEST_F(TouchEndToEndTest, AFrameWithALineOfMoreThan1024CharactersEndsTheService) {
    for (const char* method : {"DoRawdata", "DoDelta"}) {
        startPhone();
        ctl({"cover", "--touch-columns", "205", "--touch-rows", "2"});
        EXPECT_EQ(call({method}).status, 3);
        EXPECT_EQ(phone->wait(), 128 + SIGABRT);
    }
}

TEST_F(TouchEndToEndTest, AnUpgradeHoldsTheCallUntilItIsDone) {
    startPhone();
    awaitAttachDone();
    ctl({"cover", "--touch-upgrade-ms", "700"});
    const std::vector<JournalEntry> before = entries();
    EXPECT_EQ(call({"DoTouchFirmwareUpgrade"}).status, 0);
    std::vector<std::string> passed;
    const std::vector<JournalEntry> after = entries();
    for (size_t i = before.size(); i < after.size(); ++i) {
        if (after[i].kind == "tty-rx" || after[i].kind == "tty-tx") {
            passed.push_back(after[i].bytes);
        }
    }
    EXPECT_THAT(passed, testing::ElementsAre("AT%TCHNOTIFY=FW_UPGRADE\\r", "\\r\\nOK\\r\\n"));
    EXPECT_THAT(run({bin("bivista-emulator"), "ctl", "show"}).out,
                HasSubstr("  touch-upgrades: 1\n"));
}

}  // namespace
}  // namespace e2e
