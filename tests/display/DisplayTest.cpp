// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/display/DisplayTest.h"

#include <utility>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

using support::LogLine;

namespace {

bool isOfDisplay(const LogLine& line) {
    for (const char* other : {"serial", "usb", "==", "getLogSaveAtCmd", "readString",
                              "bv_update_state", "status = ", "Writing 0 to /sys/devices"}) {
        if (line.text.starts_with(other)) return false;
    }
    return true;
}

}  // namespace

DisplayTest::~DisplayTest() {
    if (mBlocker.joinable()) freeLink();
}

void DisplayTest::bringUp() {
    start();
    attach();
    log.waitFor(kRestLine);
    // The attach is over when the vote of its last exchange is withdrawn.
    EXPECT_EQ(send("AT\r").value, 0);
    mark();
}

void DisplayTest::mark() {
    from = journal.next();
    log.clear();
}

std::vector<LogLine> DisplayTest::lines() const {
    return lines("");
}

std::vector<LogLine> DisplayTest::lines(const std::string& prefix) const {
    std::vector<LogLine> found;
    for (LogLine& line : log.lines()) {
        if (isOfDisplay(line) && line.text.starts_with(prefix)) found.push_back(std::move(line));
    }
    return found;
}

void DisplayTest::setHotPlugPolls(int polls) {
    cover::Options options = phone.cover.options();
    options.hotPlugPolls = polls;
    phone.cover.setOptions(options);
}

void DisplayTest::powerOn() {
    setHotPlugPolls(0);
    ASSERT_EQ(service->setPowerStatus(true, false), Status::OK);
    mark();
}

void DisplayTest::awaitSent(int level) const {
    const size_t sent = log.waitFor("serialAtCmd: wr: [AT%DB=" + std::to_string(level) + "]");
    log.waitFor(kRestLine, sent);
}

void DisplayTest::blockLink() {
    // A command without a time limit, whose answer is held back.
    static constexpr char kCommand[] = "AT%TCHNOTIFY=SD\r";
    phone.faults.set(R"(on AT%TCHNOTIFY=SD answer "" times 1)");
    const uint64_t sent = journal.next();
    mBlocker = std::thread([this] { service->serialAtCmd(kCommand, nullptr, 0, nullptr); });
    journal.waitFor(phone::is(phone::Kind::TtyRx, kCommand), sent);
}

void DisplayTest::freeLink() {
    phone.cover.send("\r\nOK\r\n");
    mBlocker.join();
}

void DisplayTest::blockWorkerWith(int level) {
    blockLink();
    ASSERT_EQ(service->setBrightness(level), Status::OK);
    const std::string command = "cmd:[AT%DB=" + std::to_string(level) + "]";
    log.waitUntil([&](const LogLine& line) { return line.text.ends_with(command); });
    mark();
}

std::vector<int32_t> DisplayTest::queue() {
    const MutexLock lock(display_lock, __func__);
    return br_arr;
}

void DisplayTest::fillQueue(const std::vector<int32_t>& levels) {
    const MutexLock lock(display_lock, __func__);
    br_arr = levels;
    brightness_value = levels.back();
}

int32_t DisplayTest::lastBrightness() {
    const MutexLock lock(display_lock, __func__);
    return brightness_value;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
