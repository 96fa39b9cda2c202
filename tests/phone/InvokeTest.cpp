// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls by names and JSON: what the service gets and answers.
#include "emulator/phone/calls/Invoke.h"

#include <gmock/gmock.h>
#include <unistd.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "emulator/cover/Text.h"
#include "tests/host/hidl/Processes.h"
#include "tests/support/Asleep.h"

namespace {

using namespace hidltest;
using namespace std::chrono_literals;
using calls::Caller;
using calls::checkArguments;
using calls::Json;
using testing::StartsWith;
namespace V1_0 = ::vendor::qmx::hardware::bivista::V1_0;
namespace V1_1 = ::vendor::qmx::hardware::bivista::V1_1;

Json list(const char* text) {
    return Json::parse(text);
}

// Answers with what it was called with.
class Echo : public FakeBivista {
    Return<void> getFirmwareVersion(getFirmwareVersion_cb cb) override {
        cb(Status::FAIL, hidl_string("\r\n\x80\"", 4));
        return Void();
    }
    Return<void> getSubDisplayInfo(getSubDisplayInfo_cb cb) override {
        cb(Status::OK, {.x = 128, .y = 65535, .format = 255});
        return Void();
    }
    Return<void> getSubDisplayPowerState(getSubDisplayPowerState_cb cb) override {
        cb(Status::OK, static_cast<SubScreenState>(77));
        return Void();
    }
    Return<void> getBV2Status(getBV2Status_cb cb) override {
        cb(Status::OK, {.connected = mStatus.type == -1 && mStatus.value == 7});
        return Void();
    }
    Return<Status> setStatus(const LpwgStatus& status) override {
        mStatus = status;
        return Status::OK;
    }
    Return<Status> setScreenMode(ScreenMode mode) override {
        return mode == ScreenMode::MODE_2 ? Status::OK : Status::FAIL;
    }
    Return<Status> setRgbTune(uint32_t a, uint32_t b, uint32_t c, uint32_t d) override {
        return a == 1 && b == 2 && c == 3 && d == UINT32_MAX ? Status::OK : Status::FAIL;
    }
    Return<Status> setPowerStatus(bool enable, bool uevent) override {
        return enable && !uevent ? Status::OK : Status::FAIL;
    }
    Return<Status> drawSubDisplay(const hidl_vec<uint32_t>& frame) override {
        return frame == hidl_vec<uint32_t>{1, 2, 0xffffffff} ? Status::OK : Status::FAIL;
    }
    Return<Status> set_touch_perf(bool enable) override {
        return enable ? Status::OK : static_cast<Status>(9);
    }
    Return<bool> getBV2Connect() override { return false; }
    Return<Status> setBrightness(int32_t) override { _exit(9); }

    LpwgStatus mStatus = {};
};

class CallerTest : public testing::Test {
  protected:
    void givenService(const std::function<sp<IBivista>()>& make) {
        child.emplace(make);
        caller = Caller::connect(0ms);
        ASSERT_NE(caller, nullptr);
    }
    Json results(const std::string& method, const char* arguments) {
        const calls::Invoked invoked = caller->call(method, list(arguments));
        EXPECT_EQ(invoked.error, "");
        return invoked.results;
    }

    ServiceDirectory directory;
    std::optional<ServiceChild> child;
    std::unique_ptr<Caller> caller;
};

TEST_F(CallerTest, ArgumentsArriveAndResultsComeBackAsInTheJournal) {
    givenService([] { return sp<IBivista>(new Echo); });
    EXPECT_EQ(results("getBV2Connect", "[]").dump(), "[false]");
    EXPECT_EQ(results("setPowerStatus", "[true,false]").dump(), R"(["OK"])");
    EXPECT_EQ(results("setPowerStatus", "[false,true]").dump(), R"(["FAIL"])");
    EXPECT_EQ(results("setRgbTune", "[1,2,3,4294967295]").dump(), R"(["OK"])");
    EXPECT_EQ(results("setScreenMode", R"(["MODE_2"])").dump(), R"(["OK"])");
    EXPECT_EQ(results("setScreenMode", "[2]").dump(), R"(["OK"])");
    EXPECT_EQ(results("setScreenMode", "[3]").dump(), R"(["FAIL"])");
    EXPECT_EQ(results("setStatus", R"([{"value":7,"type":-1}])").dump(), R"(["OK"])");
    EXPECT_EQ(results("getBV2Status", "[]").dump(), R"(["OK",{"connected":true}])");
    EXPECT_EQ(results("drawSubDisplay", "[[1,2,4294967295]]").dump(), R"(["OK"])");
    EXPECT_EQ(results("getFirmwareVersion", "[]").dump(), R"(["FAIL","\\r\\n\\x80\\\""])");
    EXPECT_EQ(results("getSubDisplayInfo", "[]").dump(),
              R"(["OK",{"x":128,"y":65535,"format":255}])");
    EXPECT_EQ(results("getSubDisplayPowerState", "[]").dump(), R"(["OK",77])");
    EXPECT_EQ(results("set_touch_perf", "[true]").dump(), R"(["OK"])");
    EXPECT_EQ(results("set_touch_perf", "[false]").dump(), "[9]");
    EXPECT_EQ(results("setSubDisplayCallback", "[null]").dump(), "[]");
}

TEST_F(CallerTest, TextsOfAnyBytesArrive) {
    givenService([] { return sp<IBivista>(new FakeBivista); });
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
    const std::string text = cover::escape(all);
    const calls::Invoked invoked = caller->call("sendAtCommand", {text, nullptr});
    EXPECT_EQ(invoked.results, Json({"OK", text}));
}

TEST_F(CallerTest, WrongArgumentsAreNotSent) {
    givenService([] { return sp<IBivista>(new Echo); });
    const calls::Invoked invoked = caller->call("setBrightness", {"x"});
    EXPECT_EQ(invoked.error, checkArguments("setBrightness", {"x"}));
    EXPECT_THAT(invoked.error, StartsWith("setBrightness: argument 1:"));
    EXPECT_TRUE(invoked.results.is_null());
    EXPECT_EQ(caller->call("nothing", list("[]")).error, "there is no method \"nothing\"");
    // The service lives.
    EXPECT_EQ(results("getBV2Connect", "[]").dump(), "[false]");
}

TEST_F(CallerTest, AServiceThatDiesIsAnError) {
    givenService([] { return sp<IBivista>(new Echo); });
    const std::string dead =
            ": the service died before it answered: Status(EX_TRANSACTION_FAILED): "
            "'DEAD_OBJECT: '";
    EXPECT_EQ(caller->call("setBrightness", {1}).error, "setBrightness" + dead);
    EXPECT_EQ(caller->call("getFirmwareVersion", list("[]")).error, "getFirmwareVersion" + dead);
    EXPECT_EQ(caller->call("setLpwgCallback", {"callback"}).error, "setLpwgCallback" + dead);
    EXPECT_TRUE(caller->call("getBV2Connect", list("[]")).results.is_null());
    EXPECT_EQ(Caller::connect(20ms), nullptr);
}

TEST_F(CallerTest, ACallThatIsTooLargeIsAnError) {
    givenService([] { return sp<IBivista>(new FakeBivista); });
    const calls::Invoked invoked =
            caller->call("drawSubDisplay", {std::vector<uint32_t>(1'000'000, 1)});
    EXPECT_THAT(invoked.error,
                StartsWith("drawSubDisplay: the call did not reach the service or was refused: "));
    EXPECT_EQ(results("getBV2Connect", "[]").dump(), "[true]");
}

// Calls every callback that it gets, also after it has answered.
class Calling : public FakeBivista {
    Return<void> sendAtCommand(const hidl_string&, const sp<IBivistaAtCallback>& callback,
                               sendAtCommand_cb cb) override {
        auto result = callback->onAtResponse("line");
        cb(result.isOk() ? Status::OK : Status::FAIL, "");
        return Void();
    }
    Return<void> setLpwgCallback(const sp<LpwgCallback>& callback) override {
        mLpwg = callback;
        return Void();
    }
    Return<void> setSubDisplayCallback(const sp<IBivistaSubDisplayCallback>& callback) override {
        mSub = callback;
        return Void();
    }
    Return<void> getGpiopin(getGpiopin_cb cb) override {
        std::string done;
        std::thread([&] {
            if (mSub->onSubDisplayStateChanged(SubScreenState::ON).isOk()) done += "sub ";
            if (mLpwg->onLpwgEvent(V1_0::LpwgEventStatus::WAKEUP, 0).isOk()) done += "1.0 ";
            const sp<V1_1::IBivistaLpwgCallback> newer =
                    V1_1::IBivistaLpwgCallback::castFrom(mLpwg).withDefault(nullptr);
            if (newer == nullptr) return;
            if (newer->onLpwgEvent_1_1(V1_1::LpwgEventStatus::WAKEUP, 0).isOk()) done += "1.1";
        }).join();
        cb(Status::OK, done);
        return Void();
    }

    sp<LpwgCallback> mLpwg;
    sp<IBivistaSubDisplayCallback> mSub;
};

TEST_F(CallerTest, CallbacksOfBothVersionsCanBeCalledAsLongAsItLives) {
    givenService([] { return sp<IBivista>(new Calling); });
    EXPECT_EQ(results("sendAtCommand", R"(["AT","callback"])").dump(), R"(["OK",""])");
    EXPECT_EQ(results("setSubDisplayCallback", R"(["callback-1.0"])").dump(), "[]");
    EXPECT_EQ(results("setLpwgCallback", R"(["callback-1.0"])").dump(), "[]");
    EXPECT_EQ(results("getGpiopin", "[]").dump(), R"(["OK","sub 1.0 "])");
    EXPECT_EQ(results("setLpwgCallback", R"(["callback"])").dump(), "[]");
    EXPECT_EQ(results("getGpiopin", "[]").dump(), R"(["OK","sub 1.0 1.1"])");
}

// Its answer needs another call.
class Waiting : public FakeBivista {
    Return<Status> goDload() override {
        char byte;
        return read(mPipe[0], &byte, 1) == 1 ? Status::OK : Status::FAIL;
    }
    Return<Status> DoDelta() override {
        return write(mPipe[1], "", 1) == 1 ? Status::OK : Status::FAIL;
    }

  public:
    Waiting() { EXPECT_EQ(pipe(mPipe), 0); }

  private:
    int mPipe[2];
};

TEST_F(CallerTest, SeveralThreadsCallAtOneTime) {
    const Child service([](const Child::Ready& ready) {
        const sp<IBivista> waiting = new Waiting;
        ::android::hardware::configureRpcThreadpool(2, true);
        if (waiting->registerAsService() != ::android::OK) return 1;
        ready();
        ::android::hardware::joinRpcThreadpool();
        return 1;
    });
    caller = Caller::connect(1h);
    ASSERT_NE(caller, nullptr);
    Json waiting;
    std::thread other([&] { waiting = results("goDload", "[]"); });
    EXPECT_EQ(results("DoDelta", "[]").dump(), R"(["OK"])");
    other.join();
    EXPECT_EQ(waiting.dump(), R"(["OK"])");
}

TEST_F(CallerTest, ConnectWaitsForAServiceThatComesLater) {
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    const Child late([&](const Child::Ready&) {
        char byte;
        if (read(go[0], &byte, 1) != 1) return 1;
        const sp<IBivista> service = new FakeBivista;
        if (service->registerAsService() != ::android::OK) return 1;
        ::android::hardware::joinRpcThreadpool();
        return 1;
    });
    EXPECT_EQ(Caller::connect(0ms), nullptr);
    EXPECT_EQ(Caller::connect(5ms), nullptr);
    const pid_t self = gettid();
    std::thread release([&] {
        waitUntil([self] { return support::isAsleep(self); });
        EXPECT_EQ(write(go[1], "", 1), 1);
    });
    EXPECT_NE(Caller::connect(1h), nullptr);
    release.join();
}

TEST_F(CallerTest, AServiceOfVersion1_0HasItsMethodsAlone) {
    Child service({FAKE_SERVICE, "--v1_0"});
    service.waitFor("ready");
    caller = Caller::connect(0ms);
    ASSERT_NE(caller, nullptr);
    EXPECT_EQ(results("setScreenMode", R"(["MODE_1"])").dump(), R"(["OK"])");
    EXPECT_EQ(caller->call("setAesMode", {1}).error,
              "setAesMode: the service serves only version 1.0 of its interface");
}

}  // namespace
