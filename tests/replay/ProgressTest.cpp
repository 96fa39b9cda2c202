// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How much of a recording a service has done again.

#include "emulator/replay/Progress.h"

#include <gtest/gtest.h>

namespace replay {
namespace {

using phone::Kind;
using std::chrono::milliseconds;

class ProgressTest : public testing::Test {
  protected:
    void see(const std::string& node) { mProgress.see({.kind = Kind::NodeWrite, .path = node}); }

    const std::vector<Deed> mDeeds = {{milliseconds(1), "node a"},
                                      {milliseconds(2), "node b"},
                                      {milliseconds(3), "node a"},
                                      {milliseconds(4), "node a", true}};
    Progress mProgress{mDeeds};
};

TEST_F(ProgressTest, NeedsWhatWasRecordedBefore) {
    mProgress.need(milliseconds(1));
    EXPECT_TRUE(mProgress.isThere()) << "nothing came before";
    mProgress.need(milliseconds(3));
    see("a");
    EXPECT_FALSE(mProgress.isThere());
    see("b");
    EXPECT_TRUE(mProgress.isThere());
    EXPECT_EQ(mProgress.lastNeeded(), milliseconds(2));
}

TEST_F(ProgressTest, KnowsHowLongTheRecordingWaited) {
    mProgress.need(milliseconds(2));
    EXPECT_EQ(mProgress.longestWait(), milliseconds(1));
    mProgress.need(milliseconds(2));
    EXPECT_EQ(mProgress.longestWait(), milliseconds(0)) << "nothing more is needed";
    mProgress.needAll(milliseconds(1));
    EXPECT_EQ(mProgress.longestWait(), milliseconds(1)) << "from 1 to 2, and from 2 to 3";
}

TEST_F(ProgressTest, CountsLanesApart) {
    mProgress.need(milliseconds(3));
    see("a");
    see("a");
    EXPECT_FALSE(mProgress.isThere()) << "b is missing";
}

TEST_F(ProgressTest, NeedsNoClosesAtTheEnd) {
    mProgress.needAll();
    see("a");
    see("b");
    EXPECT_FALSE(mProgress.isThere());
    see("a");
    EXPECT_TRUE(mProgress.isThere());
    EXPECT_TRUE(mProgress.isExpected("node a")) << "the close may still come";
    EXPECT_FALSE(mProgress.isExpected("node b"));
}

TEST_F(ProgressTest, WaitsOnceForWhatDoesNotCome) {
    mProgress.need(milliseconds(2));
    mProgress.giveUp();
    EXPECT_TRUE(mProgress.isThere());
    mProgress.need(milliseconds(4));
    EXPECT_FALSE(mProgress.isThere());
    see("a");
    see("b");
    EXPECT_TRUE(mProgress.isThere()) << "one of lane a was given up";
}

TEST_F(ProgressTest, CountsCallsThatAreHeldUp) {
    mProgress.need(milliseconds(2));
    mProgress.setHeldCalls({{"node a", 1}});
    EXPECT_TRUE(mProgress.isThere());
    mProgress.setHeldCalls({});
    EXPECT_FALSE(mProgress.isThere());
}

TEST_F(ProgressTest, StepsOnlyWithWhatWasRecorded) {
    see("b");
    EXPECT_EQ(mProgress.steps(), 1u);
    see("b");
    see("c");
    EXPECT_EQ(mProgress.steps(), 1u) << "a service that does ever more would never be silent";
}

}  // namespace
}  // namespace replay
