// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service with a cover that takes no bytes: the close of the tty comes before the recovery, and
// waits for the bytes to leave.
#include <atomic>
#include <cerrno>
#include <thread>

#include <sys/syscall.h>
#include <unistd.h>

#include "tests/kernel/ServiceTest.h"
#include "tests/support/Asleep.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kVersion[] = "BV330-V10k_20210312";

class DeafCoverTest : public AttachedTest {
  protected:
    std::vector<std::string> recoveries() const {
        std::vector<std::string> writes;
        for (const phone::Entry& entry : journal.since(from)) {
            if (entry.kind == Kind::NodeWrite && entry.path == phone::kRecovery) {
                writes.push_back(entry.bytes);
            }
        }
        return writes;
    }
};

TEST_F(DeafCoverTest, IsRecoveredWhenTheCloseHasGivenItsBytesUp) {
    phone.cover.setClosingWait(std::chrono::milliseconds(50));
    phone.faults.set("on AT%SWV deaf times 1");
    const Result result = send("AT%SWV\r");
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, ETIME);
    const uint64_t recovery =
            journal.waitFor(phone::isOn(Kind::NodeWrite, phone::kRecovery, "Y"), from).seq;
    EXPECT_LT(journal.waitFor(phone::is(Kind::TtyLost, "AT%SWV\r"), from).seq, recovery);
    awaitAttached();
    EXPECT_EQ(send("AT%SWV\r").answer, kVersion);
}

// As long as the close waits, there is neither a recovery nor another exchange.
TEST_F(DeafCoverTest, HoldsThePortUntilItIsPulledOff) {
    phone.faults.set("on AT%SWV deaf times 1");
    std::atomic<pid_t> sender = 0;
    Result result;
    std::thread client([&] {
        sender = gettid();
        result = send("AT%SWV\r");
    });
    log.waitFor(ANDROID_LOG_ERROR, "serialAtCmd: Timer expired");
    while (!support::isAsleepIn(sender, SYS_close)) usleep(1000);
    phone.cover.state();
    EXPECT_TRUE(support::isAsleepIn(sender, SYS_close));
    if (sSerialMutex.tryLock()) {
        sSerialMutex.unlock("test");
        ADD_FAILURE() << "another exchange may begin";
    }
    EXPECT_THAT(recoveries(), IsEmpty());
    detach();
    client.join();
    EXPECT_EQ(result.value, -1);
    EXPECT_EQ(result.error, ETIME);
    EXPECT_THAT(recoveries(), ElementsAre("Y"));
    attach();
    EXPECT_EQ(send("AT%SWV\r").answer, kVersion);
}

// The close of the command's descriptor is not the last one.
TEST_F(DeafCoverTest, IsRecoveredAtOnceWhileItsLogIsCaptured) {
    detach();
    phone.properties.set("persist.vendor.qmx.service.kernel.enable", "1");
    attach();
    log.waitFor(ANDROID_LOG_INFO, "serialLogThread: resume");
    phone.faults.set("on AT%SWV deaf times 1");
    const size_t at = log.size();
    EXPECT_EQ(send("AT%SWV\r").error, ETIME);
    EXPECT_THAT(journal.list(Kind::TtyLost, from), IsEmpty());
    EXPECT_THAT(recoveries(), ElementsAre("Y"));
    awaitAttached(at);
    EXPECT_EQ(send("AT%SWV\r").answer, kVersion);
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
