// A frame and the report that ends it make eight system calls, none of them in vain.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Trace.h"

namespace {

TEST(FrameSystemCalls, AreEight) {
    EXPECT_THAT(support::traceCalls(FRAME_PROGRAM),
                testing::ElementsAre("openat", "write", "write", "write", "close",  // 8192 bytes
                                     "openat", "write", "close"));                  // the end
}

}  // namespace
