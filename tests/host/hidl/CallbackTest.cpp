// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Objects that clients hand to a service.
#include <fcntl.h>
#include <unistd.h>
#include <utils/Mutex.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

#include <atomic>
#include <condition_variable>
#include <thread>

#include "Processes.h"

namespace {

using namespace hidltest;
using LpwgCallback11 = ::vendor::qmx::hardware::bivista::V1_1::IBivistaLpwgCallback;

class AtCallback : public IBivistaAtCallback {
  public:
    explicit AtCallback(std::function<void(const std::string&)> onLine)
        : mOnLine(std::move(onLine)) {}
    Return<void> onAtResponse(const hidl_string& line) override {
        mOnLine(line);
        return Void();
    }

  private:
    const std::function<void(const std::string&)> mOnLine;
};

// Calls its callbacks, within the call and from another thread.
class CallingService : public FakeBivista {
  public:
    Return<void> sendAtCommand(const hidl_string& cmd, const sp<IBivistaAtCallback>& callback,
                               sendAtCommand_cb cb) override {
        auto result = callback->onAtResponse(cmd);
        cb(result.isOk() ? Status::OK : Status::FAIL, result.description());
        return Void();
    }
    Return<void> setSubDisplayCallback(const sp<IBivistaSubDisplayCallback>& callback) override {
        mSame = mCallback != nullptr && ::android::hardware::interfacesEqual(mCallback, callback);
        mCallback = callback;
        return Void();
    }
    Return<Status> setSubDisplayPowerState(bool) override {
        std::thread([callback = mCallback] {
            callback->onSubDisplayStateChanged(SubScreenState::ON).isOk();
        }).detach();
        return Status::OK;
    }
    Return<bool> getBV2Connect() override { return mSame; }
    Return<void> setLpwgCallback(const sp<LpwgCallback>& callback) override {
        mIs11 = sp<LpwgCallback11>(LpwgCallback11::castFrom(callback)) != nullptr;
        return Void();
    }
    Return<Status> setAesMode(uint32_t) override { return mIs11 ? Status::OK : Status::FAIL; }

  private:
    sp<IBivistaSubDisplayCallback> mCallback;
    bool mSame = false;
    bool mIs11 = false;
};

sp<IBivista> makeCalling() {
    return new CallingService;
}

class StateCallback : public IBivistaSubDisplayCallback {
  public:
    StateCallback() { ++alive; }
    ~StateCallback() override { --alive; }
    Return<void> onSubDisplayStateChanged(SubScreenState) override EXCLUDES(mMutex) {
        const android::AutoMutex lock(mMutex);
        mThread = gettid();
        mCalled.notify_all();
        return Void();
    }
    pid_t waitForCall() EXCLUDES(mMutex) {
        const android::AutoMutex lock(mMutex);
        while (mThread == 0) mCalled.wait(mMutex);
        return mThread;
    }
    static std::atomic<int> alive;

  private:
    android::Mutex mMutex;
    std::condition_variable_any mCalled;
    pid_t mThread GUARDED_BY(mMutex) = 0;
};
std::atomic<int> StateCallback::alive{0};

// Sends a command with a callback; the answer's status.
Status send(const sp<IBivista>& service, const sp<IBivistaAtCallback>& callback) {
    Status status = Status::FAIL;
    auto result = service->sendAtCommand("line", callback,
                                         [&](Status s, const hidl_string&) { status = s; });
    return result.isOk() ? status : Status::FAIL;
}

TEST(Callback, OfACallIsServedByTheThreadThatCalls) {
    ServiceDirectory directory;
    ServiceChild child(makeCalling);
    const sp<IBivista> service = getService();
    pid_t thread = 0;
    std::string line;
    EXPECT_EQ(send(service, new AtCallback([&](const std::string& text) {
                       thread = gettid();
                       line = text;
                   })),
              Status::OK);
    EXPECT_EQ(thread, gettid());
    EXPECT_EQ(line, "line");
}

TEST(Callback, MayCallTheServiceThatWaitsForIt) {
    ServiceDirectory directory;
    ServiceChild child(makeCalling);
    const sp<IBivista> service = getService();
    Status inner = Status::FAIL;
    int depth = 0;
    std::function<void(const std::string&)> nested = [&](const std::string&) {
        // The service's only thread waits for this callback, and serves the chain meanwhile.
        if (++depth < 4) {
            inner = send(service, new AtCallback(nested));
        } else {
            inner = service->setBrightness(1);
        }
    };
    EXPECT_EQ(send(service, new AtCallback(nested)), Status::OK);
    EXPECT_EQ(inner, Status::OK);
    EXPECT_EQ(depth, 4);
}

TEST(Callback, OutsideACallIsServedByOnePoolThread) {
    ServiceDirectory directory;
    ServiceChild child(makeCalling);
    // A sanitizer starts its own thread with the first of ours.
    std::thread([] {}).join();
    const size_t threads = threadsOf(getpid());
    const sp<IBivista> service = getService();
    const sp<StateCallback> callback = new StateCallback;
    EXPECT_TRUE(service->setSubDisplayCallback(callback).isOk());
    EXPECT_EQ(static_cast<Status>(service->setSubDisplayPowerState(true)), Status::OK);
    EXPECT_NE(callback->waitForCall(), gettid());
    // The loop, and the one thread of the pool.
    EXPECT_EQ(threadsOf(getpid()), threads + 2);
}

TEST(Callback, IsTheSameObjectEachTime) {
    ServiceDirectory directory;
    ServiceChild child(makeCalling);
    const sp<IBivista> service = getService();
    const sp<StateCallback> callback = new StateCallback;
    EXPECT_TRUE(service->setSubDisplayCallback(callback).isOk());
    EXPECT_TRUE(service->setSubDisplayCallback(callback).isOk());
    EXPECT_TRUE(static_cast<bool>(service->getBV2Connect()));
    EXPECT_TRUE(service->setSubDisplayCallback(new StateCallback).isOk());
    EXPECT_FALSE(static_cast<bool>(service->getBV2Connect()));
}

class Lpwg10 : public LpwgCallback {
    Return<void> onLpwgEvent(::vendor::qmx::hardware::bivista::V1_0::LpwgEventStatus,
                             int32_t) override {
        return Void();
    }
};
class Lpwg11 : public LpwgCallback11 {
    Return<void> onLpwgEvent(::vendor::qmx::hardware::bivista::V1_0::LpwgEventStatus,
                             int32_t) override {
        return Void();
    }
    Return<void> onLpwgEvent_1_1(::vendor::qmx::hardware::bivista::V1_1::LpwgEventStatus,
                                 int32_t) override {
        return Void();
    }
};

TEST(Callback, OfANewerInterfaceIsRecognised) {
    ServiceDirectory directory;
    ServiceChild child(makeCalling);
    const sp<IBivista> service = getService();
    EXPECT_TRUE(service->setLpwgCallback(new Lpwg10).isOk());
    EXPECT_EQ(static_cast<Status>(service->setAesMode(0)), Status::FAIL);
    EXPECT_TRUE(service->setLpwgCallback(new Lpwg11).isOk());
    EXPECT_EQ(static_cast<Status>(service->setAesMode(0)), Status::OK);
    EXPECT_TRUE(service->setLpwgCallback(nullptr).isOk());
    EXPECT_EQ(static_cast<Status>(service->setAesMode(0)), Status::FAIL);
}

TEST(Callback, HundredAreReleased) {
    ServiceDirectory directory;
    ServiceChild child(makeCalling);
    const sp<IBivista> service = getService();
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(service->setSubDisplayCallback(new StateCallback).isOk());
    }
    // The service keeps the last one.
    waitUntil([] { return StateCallback::alive == 1; });
    EXPECT_TRUE(service->setSubDisplayCallback(nullptr).isOk());
    waitUntil([] { return StateCallback::alive == 0; });
}

TEST(Callback, OutlivesTheProxyOfItsService) {
    ServiceDirectory directory;
    ServiceChild child(makeCalling);
    const sp<StateCallback> callback = new StateCallback;
    EXPECT_TRUE(getService()->setSubDisplayCallback(callback).isOk());
    EXPECT_EQ(static_cast<Status>(getService()->setSubDisplayPowerState(true)), Status::OK);
    callback->waitForCall();
}

// Its destructor calls, which must not happen where calls are carried.
class CallingAtItsEnd : public StateCallback {
  public:
    CallingAtItsEnd(const sp<IBivista>& service, std::atomic<bool>& ended)
        : mService(service), mEnded(ended) {}
    ~CallingAtItsEnd() override {
        if (mService->ping().isOk()) mEnded = true;
    }

  private:
    const sp<IBivista> mService;
    std::atomic<bool>& mEnded;
};

TEST(Callback, MayCallInItsDestructor) {
    ServiceDirectory directory;
    ServiceChild child(makeCalling);
    const sp<IBivista> service = getService();
    std::atomic<bool> ended{false};
    EXPECT_TRUE(service->setSubDisplayCallback(new CallingAtItsEnd(service, ended)).isOk());
    EXPECT_TRUE(service->setSubDisplayCallback(nullptr).isOk());
    waitUntil([&] { return ended.load(); });
}

TEST(Callback, OfAClientThatDiesInItFails) {
    ServiceDirectory directory;
    int status[2];
    ASSERT_EQ(pipe2(status, O_CLOEXEC), 0);
    class Reporting : public CallingService {
      public:
        explicit Reporting(int report) : mReport(report) {}
        Return<void> sendAtCommand(const hidl_string& cmd, const sp<IBivistaAtCallback>& callback,
                                   sendAtCommand_cb cb) override {
            auto result = callback->onAtResponse(cmd);
            dprintf(mReport, "%s\n", result.description().c_str());
            cb(result.isOk() ? Status::OK : Status::FAIL, "");
            return Void();
        }

      private:
        const int mReport;
    };
    Child dying([](const Child::Ready& ready) {
        ready();
        waitUntil([] { return IBivista::getService() != nullptr; });
        send(IBivista::getService(),
             new AtCallback([](const std::string&) { kill(getpid(), SIGKILL); }));
        return 0;
    });
    ServiceChild child([&] { return sp<IBivista>(new Reporting(status[1])); });
    EXPECT_EQ(dying.wait(), 128 + SIGKILL);
    close(status[1]);
    char text[128] = {};
    EXPECT_GT(read(status[0], text, sizeof(text) - 1), 0);
    EXPECT_STREQ(text, "Status(EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '\n");
    close(status[0]);
    EXPECT_EQ(send(getService(), new AtCallback([](const std::string&) {})), Status::OK);
}

TEST(Callback, ThatHangsHoldsTheServiceUntilItsClientEnds) {
    ServiceDirectory directory;
    Child hanging([](const Child::Ready& ready) {
        waitUntil([] { return IBivista::getService() != nullptr; });
        send(IBivista::getService(), new AtCallback([&](const std::string&) {
                 ready();
                 pause();
             }));
        return 0;
    });
    ServiceChild child(makeCalling);
    ASSERT_TRUE(hanging.waitUntilReady());
    // A look-up needs no RPC thread; a call does.
    const sp<IBivista> service = getService();
    std::atomic<bool> answered{false};
    std::thread caller([&] {
        EXPECT_EQ(static_cast<Status>(service->setBrightness(1)), Status::OK);
        answered = true;
    });
    EXPECT_FALSE(answered);
    hanging.kill(SIGKILL);
    caller.join();
    EXPECT_TRUE(answered);
}

}  // namespace
