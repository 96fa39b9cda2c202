// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Attachments and commands by the thousand leave the service where it was. SOAK_CYCLES sets how
// many attachments; ten times as many commands are sent, and in any case enough to see a leak.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <vendor/qmx/hardware/bivista/1.0/IBivista.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using android::sp;
using android::hardware::hidl_string;
using android::hardware::Return;
using android::hardware::Void;
using vendor::qmx::hardware::bivista::V1_0::IBivista;
using vendor::qmx::hardware::bivista::V1_0::IBivistaAtCallback;
using vendor::qmx::hardware::bivista::V1_0::Status;
using vendor::qmx::hardware::bivista::V1_0::SubScreenState;

struct Footprint {
    ptrdiff_t descriptors = 0;
    ptrdiff_t threads = 0;
    long kib = 0;  // memory that is this process's own
};

ptrdiff_t entries(const std::string& folder) {
    return std::distance(std::filesystem::directory_iterator(folder),
                         std::filesystem::directory_iterator());
}

Footprint footprint(pid_t pid) {
    const std::string process = "/proc/" + std::to_string(pid);
    Footprint result;
    result.descriptors = entries(process + "/fd");
    result.threads = entries(process + "/task");
    std::ifstream memory(process + "/smaps_rollup");
    for (std::string word; memory >> word;) {
        if (word == "Private_Dirty:") memory >> result.kib;
    }
    return result;
}

int cycles() {
    const char* text = std::getenv("SOAK_CYCLES");
    return text != nullptr ? std::atoi(text) : 40;
}

struct LineCounter : IBivistaAtCallback {
    Return<void> onAtResponse(const hidl_string& /*line*/) override {
        ++lines;
        return Void();
    }
    std::atomic<int> lines = 0;
};

class SoakTest : public ProgramsTest {
  protected:
    void SetUp() override {
        startPhone();
        service = IBivista::getService();
        ASSERT_NE(service, nullptr);
        await([&] { return isCoverOn(); });
    }

    Status send(const char* cmd, const sp<IBivistaAtCallback>& cb) const {
        Status status = Status::FAIL;
        const Return<void> done = service->sendAtCommand(
                cmd, cb, [&](Status answered, const hidl_string&) { status = answered; });
        EXPECT_TRUE(done.isOk());
        return status;
    }
    bool isAttached() const { return service->getBV2Connect(); }

    // The sub display is the last to come and the last to go: with it the service has noticed all
    // of the cover. A cover that came back before its going was noticed would not be set up.
    bool isSubDisplay(SubScreenState expected) const {
        SubScreenState state = SubScreenState::UNINITIALIZED;
        const Return<void> done = service->getSubDisplayPowerState(
                [&](Status, SubScreenState answered) { state = answered; });
        EXPECT_TRUE(done.isOk());
        return state == expected;
    }
    bool isCoverOn() const {
        return isAttached() && isSubDisplay(SubScreenState::ON) &&
               send("AT", nullptr) == Status::OK;
    }
    bool isCoverOff() const {
        return !isAttached() && isSubDisplay(SubScreenState::UNINITIALIZED) &&
               send("AT", nullptr) == Status::FAIL;
    }

    // Half of the commands bring a callback.
    void sendMany(int commands) const {
        const sp<LineCounter> counter = new LineCounter;
        for (int i = 0; i < commands; ++i) {
            ASSERT_EQ(send("AT%SWV", i % 2 == 0 ? counter : nullptr), Status::OK) << i;
        }
        EXPECT_EQ(counter->lines, (commands + 1) / 2);
    }

    // Off and on, a client that comes and goes, and the commands of one that stays.
    void cycle(int commands) {
        ctl({"detach"});
        await([&] { return isCoverOff(); });
        ctl({"attach"});
        await([&] { return isCoverOn(); });
        ASSERT_EQ(call({"sendAtCommand", "AT%SWV", "null"}).status, 0);
        sendMany(commands);
    }

    sp<IBivista> service;
};

TEST_F(SoakTest, LeavesDescriptorsThreadsAndMemoryWhereTheyWere) {
    const int commands = std::max(10, 4000 / cycles());
    // The first ones fill caches: allocator arenas, lazily made threads.
    for (int i = 0; i < 10; ++i) cycle(200);
    const Footprint before = footprint(servicePid());
    ASSERT_GT(before.kib, 0);
    for (int i = 0; i < cycles(); ++i) cycle(commands);
    // What clients that have ended leave is cleaned up after their last call.
    await([&] {
        const Footprint now = footprint(servicePid());
        return now.descriptors == before.descriptors && now.threads == before.threads;
    });
    const long grown = footprint(servicePid()).kib - before.kib;
    std::printf("%d attachments, %d commands: %+ld KiB on %ld KiB\n", cycles(), commands * cycles(),
                grown, before.kib);
#if !defined(BIVISTA_SANITIZED)
    // About 12 KiB as a rule. A line buffer lost in every command would be 1 KiB each; this much
    // shows even a quarter of it.
    EXPECT_LT(grown, static_cast<long>(commands) * cycles() / 4);
#endif
}

}  // namespace
}  // namespace e2e
