// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The system calls of what the service does most, none of them in vain.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Trace.h"

namespace {

using testing::ElementsAre;

// Its answer has three lines.
TEST(SystemCalls, OfAnExchangeAreFifteen) {
    EXPECT_THAT(support::traceCalls({TRACED_PROGRAM, "exchange"}),
                ElementsAre("openat",                      // the port
                            "openat", "write", "close",    // keep USB awake
                            "write",                       // the command
                            "poll", "read",                // blank line
                            "poll", "read",                // the answer
                            "poll", "read",                // OK
                            "close",                       // the port
                            "openat", "write", "close"));  // let USB sleep
}

TEST(SystemCalls, OfAFrameAreEight) {
    EXPECT_THAT(support::traceCalls({TRACED_PROGRAM, "frame"}),
                ElementsAre("openat", "write", "write", "write", "close",  // 8192 bytes
                            "openat", "write", "close"));                  // the end
}

}  // namespace
