// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The touch update state: from the kernel's node to the cover.
#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TouchUpdateStateTest : public AttachedTest {
  protected:
    Status update(const std::string& node) {
        phone.files.set(phone::kUpdateState, node);
        return service->bv_update_state();
    }
    void expectSummary(int status, int nodeError) const {
        EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG,
                                 "bv_update_state : ATCMD_Status : " + std::to_string(status) +
                                         ", sysNodeError : " + std::to_string(nodeError) + "\n"));
    }
};

TEST_F(TouchUpdateStateTest, IsSentInOneCommand) {
    EXPECT_EQ(update("3 1 0\n"), Status::OK);
    EXPECT_THAT(commands(from), ElementsAre("AT%TCHUPDATE=UPDATE_STATE,3,1,0\r"));
    EXPECT_THAT(phone.cover.state().touch.updateState, ElementsAre(3, 1, 0));
    EXPECT_TRUE(
            log.contains(ANDROID_LOG_DEBUG, "bv_update_state: AT%TCHUPDATE=UPDATE_STATE,3,1,0\r "));
    expectSummary(0, 0);
}

TEST_F(TouchUpdateStateTest, MayBeEmpty) {
    EXPECT_EQ(update(""), Status::OK);
    EXPECT_THAT(commands(from), ElementsAre("AT%TCHUPDATE=UPDATE_STATE\r"));
}

TEST_F(TouchUpdateStateTest, IsSentUpToTheFirstWord) {
    EXPECT_EQ(update("-7 12 x 4\n"), Status::OK);
    EXPECT_THAT(commands(from), ElementsAre("AT%TCHUPDATE=UPDATE_STATE,-7,12\r"));
}

TEST_F(TouchUpdateStateTest, FailsWithoutItsNode) {
    phone.files.remove(phone::kUpdateState);
    EXPECT_EQ(service->bv_update_state(), Status::FAIL);
    EXPECT_THAT(commands(from), IsEmpty());
    expectSummary(1, -1);
}

TEST_F(TouchUpdateStateTest, FailsWhenItsNodeIsNotReadable) {
    phone.faults.set(std::string("node ") + phone::kUpdateState + " unreadable");
    EXPECT_EQ(service->bv_update_state(), Status::FAIL);
    EXPECT_THAT(commands(from), IsEmpty());
    expectSummary(1, -4);
}

TEST_F(TouchUpdateStateTest, FailsWhenTheCoverRefuses) {
    phone.faults.set("on AT%TCHUPDATE error");
    EXPECT_EQ(update("1"), Status::FAIL);
    expectSummary(1, 0);
    EXPECT_FALSE(log.contains("bv_update_state: AT%TCHUPDATE=UPDATE_STATE,1\r "));
}

TEST_F(TouchUpdateStateTest, FailsWithoutACover) {
    detach();
    EXPECT_EQ(update("1"), Status::FAIL);
    expectSummary(1, 0);
}

TEST_F(TouchUpdateStateTest, TakesAHangUpForSuccess) {
    phone.faults.set("on AT%TCHUPDATE hangup");
    EXPECT_EQ(update("1"), Status::OK);
    expectSummary(0, 0);
}

// 331 numbers of two digits, and one that makes the command 1,023 characters long or more.
std::string manyNumbers(const std::string& separator, const std::string& last) {
    std::string text;
    for (int i = 0; i < 331; ++i) text += separator + "10";
    return text + separator + last;
}

TEST_F(TouchUpdateStateTest, MayFillTheCommandsBuffer) {
    const std::string cmd = "AT%TCHUPDATE=UPDATE_STATE" + manyNumbers(",", "100") + "\r";
    ASSERT_EQ(cmd.size(), 1023u);
    EXPECT_EQ(update(manyNumbers(" ", "100")), Status::OK);
    EXPECT_THAT(commands(from), ElementsAre(cmd));
}

// Meant: a command that is cut loses its carriage return, and the transport refuses it.
TEST_F(TouchUpdateStateTest, FailsWhenTheCommandIsLongerThanItsBuffer) {
    EXPECT_EQ(update(manyNumbers(" ", "1000")), Status::FAIL);
    EXPECT_THAT(commands(from), IsEmpty());
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "serialAtCmd: Invalid argument"));
    expectSummary(1, 0);
}

TEST_F(TouchUpdateStateTest, FailsWithTenThousandNumbers) {
    std::string node;
    for (int i = 0; i < 10000; ++i) node += std::to_string(i) + " ";
    EXPECT_EQ(update(node), Status::FAIL);
    EXPECT_THAT(commands(from), IsEmpty());
    expectSummary(1, 0);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
