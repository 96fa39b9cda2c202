// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Touch diagnostics that end the service.
#include <csignal>

#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

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

}  // namespace
}  // namespace e2e
