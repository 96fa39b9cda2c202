// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "BivistaTest.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

namespace bivista_vts {

namespace {

constexpr std::chrono::milliseconds kPause(20);

}  // namespace

Status statusOf(const Return<Status>& result) {
    EXPECT_TRUE(result.isOk()) << result.description();
    if (!result.isOk()) return Status(-1);
    const Status status = result;
    EXPECT_TRUE(status == Status::OK || status == Status::FAIL) << toString(status);
    return status;
}

void expectDone(const Return<void>& result) {
    EXPECT_TRUE(result.isOk()) << result.description();
}

bool await(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + options().patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end || testing::Test::HasFailure()) return false;
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

std::string readDump(IBivista* service, const std::vector<std::string>& options) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), std::fclose);
    native_handle_t* const handle = native_handle_create(1, 0);
    if (file == nullptr || handle == nullptr) return "";
    handle->data[0] = fileno(file.get());
    expectDone(service->debug(handle, hidl_vec<hidl_string>(options.begin(), options.end())));
    native_handle_delete(handle);
    std::rewind(file.get());
    std::string text;
    for (int letter = 0; (letter = std::fgetc(file.get())) != EOF;)
        text += static_cast<char>(letter);
    return text;
}

bool takeNumbers(const std::string& text, const std::string& mark, int32_t* first, size_t count) {
    const size_t found = text.find(mark);
    if (found == std::string::npos) return false;
    const char* next = text.c_str() + found + mark.size();
    for (size_t i = 0; i < count; ++i) {
        char* end = nullptr;
        first[i] = static_cast<int32_t>(std::strtol(next, &end, 10));
        next = *end == ',' ? end + 1 : end;
    }
    return true;
}

bool runCommand(const std::string& command, const std::string& word) {
    const int status = std::system(("set -- " + word + "; " + command).c_str());
    EXPECT_EQ(status, 0) << command << " " << word;
    return status == 0;
}

Return<void> LineRecorder::onAtResponse(const hidl_string& line) {
    const android::AutoMutex lock(mLock);
    mLines.push_back(line);
    return Void();
}

std::vector<std::string> LineRecorder::lines() const {
    const android::AutoMutex lock(mLock);
    return mLines;
}

void BivistaTest::SetUp() {
    // A service that is declared and not up must fail the test, not hold it for ever.
    service = IBivista::tryGetService(GetParam());
    ASSERT_NE(service, nullptr) << "nobody serves " << GetParam();
}

TextResult BivistaTest::query(TextMethod method) const {
    TextResult result;
    int deliveries = 0;
    expectDone(((*service).*method)([&](Status status, const hidl_string& text) {
        ++deliveries;
        result = {status, text};
    }));
    EXPECT_EQ(deliveries, 1) << "of the result";
    return result;
}

TextResult BivistaTest::send(const std::string& cmd, const sp<IBivistaAtCallback>& cb) const {
    TextResult result;
    int deliveries = 0;
    expectDone(service->sendAtCommand(cmd, cb, [&](Status status, const hidl_string& response) {
        ++deliveries;
        result = {status, response};
    }));
    EXPECT_EQ(deliveries, 1) << "of the result";
    return result;
}

SubScreenState BivistaTest::subDisplayState() const {
    SubScreenState state = SubScreenState::UNINITIALIZED;
    int deliveries = 0;
    expectDone(service->getSubDisplayPowerState([&](Status status, SubScreenState answered) {
        ++deliveries;
        state = answered;
        EXPECT_EQ(status, Status::OK);
    }));
    EXPECT_EQ(deliveries, 1) << "of the result";
    return state;
}

BivistaTest::InfoResult BivistaTest::subDisplayInfo() const {
    InfoResult result;
    int deliveries = 0;
    expectDone(service->getSubDisplayInfo([&](Status status, const SubScreenInfo& info) {
        ++deliveries;
        result = {status, info};
    }));
    EXPECT_EQ(deliveries, 1) << "of the result";
    return result;
}

bool BivistaTest::isCoverOn() const {
    const Return<bool> connected = service->getBV2Connect();
    EXPECT_TRUE(connected.isOk()) << connected.description();
    if (!connected.isOk() || !connected) return false;
    // Refused until the attachment has brought the cover's screen up.
    return statusOf(service->set_touch_perf(false)) == Status::OK;
}

bool BivistaTest::isCoverOff() const {
    const Return<bool> connected = service->getBV2Connect();
    EXPECT_TRUE(connected.isOk()) << connected.description();
    if (!connected.isOk() || connected) return false;
    // The service refuses offsets for a screen that is off until the detachment gets there. The
    // panel goes last.
    return send("AT").status == Status::FAIL &&
           statusOf(service->setBVBrightnessOffset(0)) == Status::OK &&
           subDisplayState() == SubScreenState::UNINITIALIZED;
}

void BivistaTest::miss(const char* thing, const std::string& reason) {
    if (options().with.count(thing) != 0) FAIL() << reason;
    GTEST_SKIP() << reason;
}

void BivistaTest::needCommand(const char* thing, const std::string& command) {
    if (command.empty()) miss(thing, std::string("no command was given for ") + thing);
}

void BivistaTest::needPlugging() {
    needCommand(kPlugging, options().attachCommand.empty() ? "" : options().detachCommand);
}

void BivistaTest::detachCover() const {
    ASSERT_TRUE(runCommand(options().detachCommand));
    ASSERT_TRUE(await([this] { return isCoverOff(); }));
}

void BivistaTest::attachCover() const {
    ASSERT_TRUE(runCommand(options().attachCommand));
    ASSERT_TRUE(await([this] { return isCoverOn(); }));
}

bool BivistaTest::isScreenOn() const {
    const Return<bool> connected = service->getBV2Connect();
    return connected.isOk() && connected &&
           statusOf(service->setBVBrightnessOffset(0)) == Status::OK;
}

bool BivistaTest::settle() const {
    const bool mayBeOn = options().without.count(kCover) == 0;
    const bool mayBeOff = options().with.count(kCover) == 0;
    const auto isSettled = [&] { return (mayBeOn && isCoverOn()) || (mayBeOff && isCoverOff()); };
    // After one wait in vain, later calls do not wait.
    static bool sIsPatient = true;
    if (!sIsPatient) return isSettled();
    sIsPatient = await(isSettled);
    return sIsPatient;
}

void CoverTest::SetUp() {
    BivistaTest::SetUp();
    if (HasFatalFailure()) return;
    settle();
    if (!isCoverOn()) miss(kCover, "no cover is attached");
}

void CoverTest::expectAs(const std::string& cmd, const Return<Status>& result) const {
    EXPECT_EQ(statusOf(result), send(cmd).status) << cmd;
}

void NoCoverTest::SetUp() {
    BivistaTest::SetUp();
    if (HasFatalFailure()) return;
    settle();
    if (isCoverOff()) return;
    if (options().without.count(kCover) != 0) FAIL() << "a cover is attached";
    GTEST_SKIP() << "a cover is attached";
}

}  // namespace bivista_vts
