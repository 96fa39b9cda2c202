// An AT exchange with an answer of three lines makes fifteen system calls, none of them in vain.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Trace.h"

namespace {

using testing::ElementsAre;

TEST(SystemCalls, OfAnExchangeAreFifteen) {
    EXPECT_THAT(support::traceCalls(EXCHANGE_PROGRAM),
                ElementsAre("openat",                      // the port
                            "openat", "write", "close",    // keep USB awake
                            "write",                       // the command
                            "poll", "read",                // blank line
                            "poll", "read",                // the answer
                            "poll", "read",                // OK
                            "close",                       // the port
                            "openat", "write", "close"));  // let USB sleep
}

}  // namespace
