// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the tests share: the instance under test, calls of it, and what the phone has around it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <hidl/GtestPrinter.h>
#include <hidl/ServiceManagement.h>
#include <utils/Mutex.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivista.h>

#include "Options.h"

namespace bivista_vts {

using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;
using android::hardware::Void;
using vendor::qmx::hardware::bivista::V1_0::IBivistaAtCallback;
using vendor::qmx::hardware::bivista::V1_0::Status;
using vendor::qmx::hardware::bivista::V1_0::SubScreenInfo;
using vendor::qmx::hardware::bivista::V1_0::SubScreenState;
using vendor::qmx::hardware::bivista::V1_1::IBivista;
namespace V1_0 = vendor::qmx::hardware::bivista::V1_0;
namespace V1_1 = vendor::qmx::hardware::bivista::V1_1;

// The status and text that a method handed to its result callback.
struct TextResult {
    Status status = Status::FAIL;
    std::string text;
};
using TextMethod =
        Return<void> (V1_0::IBivista::*)(std::function<void(Status, const hidl_string&)>);
using StatusMethod = Return<Status> (V1_0::IBivista::*)();

// A call must come back, with OK or FAIL: anything else fails the test.
Status statusOf(const Return<Status>& result);
// Likewise, for a method without a result.
void expectDone(const Return<void>& result);

// Asks until the condition holds. False when the wait is in vain.
bool await(const std::function<bool()>& condition);

// The output of debug(); empty when it writes nothing.
std::string readDump(IBivista* service, const std::vector<std::string>& options);

// Takes the numbers that follow the mark in a dump, separated by commas. Without any, returns false
// and changes nothing.
bool takeNumbers(const std::string& text, const std::string& mark, int32_t* first, size_t count);

// Runs a shell command of the command line, whose $1 is `word`. False, a failure, when it has
// failed.
bool runCommand(const std::string& command, const std::string& word = "");

// Keeps the lines of an answer. Any thread.
class LineRecorder : public IBivistaAtCallback {
  public:
    Return<void> onAtResponse(const hidl_string& line) override EXCLUDES(mLock);
    std::vector<std::string> lines() const EXCLUDES(mLock);

  private:
    mutable android::Mutex mLock;
    std::vector<std::string> mLines GUARDED_BY(mLock);
};

class BivistaTest : public testing::TestWithParam<std::string> {
  protected:
    void SetUp() override;

    // Calls a method that has a result callback; it must be called exactly once.
    TextResult query(TextMethod method) const;
    TextResult send(const std::string& cmd, const sp<IBivistaAtCallback>& cb = nullptr) const;
    SubScreenState subDisplayState() const;
    struct InfoResult {
        Status status = Status::FAIL;
        SubScreenInfo info = {};
    };
    InfoResult subDisplayInfo() const;

    // The cover is on the bus, answers, and the service has finished its attachment.
    bool isCoverOn() const;
    // The cover is neither on the bus nor answering, and the service has finished its detachment.
    bool isCoverOff() const;

    // Waits while a cover is on its way, on or off, until it is one of both, as far as the command
    // line allows. False when the wait was in vain.
    bool settle() const;

    // Whether the service takes an offset at once, which it does only with the screen on.
    bool isScreenOn() const;

    // Ends a test that cannot find what it needs: skipped, unless the command line has promised it.
    static void miss(const char* thing, const std::string& reason);
    // Likewise, when the command line gives no such command.
    static void needCommand(const char* thing, const std::string& command);
    static void needPlugging();
    // Run the commands of the command line, and wait until the service has followed.
    void detachCover() const;
    void attachCover() const;

    sp<IBivista> service;
};

// Needs a cover.
class CoverTest : public BivistaTest {
  protected:
    void SetUp() override;

    // A method that is one command to the cover has the outcome of that command.
    void expectAs(const std::string& cmd, const Return<Status>& result) const;
};

// Needs that there is no cover.
class NoCoverTest : public BivistaTest {
  protected:
    void SetUp() override;
};

}  // namespace bivista_vts

// Runs a suite of tests once for each instance.
#define BIVISTA_PER_INSTANCE(Suite)                                                             \
    INSTANTIATE_TEST_SUITE_P(                                                                   \
            PerInstance, Suite,                                                                 \
            testing::ValuesIn(android::hardware::getAllHalInstanceNames(IBivista::descriptor)), \
            android::hardware::PrintInstanceNameToString)
