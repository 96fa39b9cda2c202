// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls too large for a socket's buffer, at the seam of the transport.
#include <hidl/HidlTransportSupport.h>
#include <hwbinder/Parcel.h>

#include <algorithm>
#include <csignal>
#include <thread>
#include <vector>

#include "Processes.h"
#include "host/hidl/Transport.h"

namespace {

using namespace hidltest;
using ::android::OK;
using ::android::status_t;
using ::android::hardware::BHwBinder;
using ::android::hardware::IBinder;
using ::android::hardware::Parcel;
namespace transport = ::android::hardware::transport;

constexpr char kName[] = "test@1.0::ILarge";
constexpr uint32_t kTake = 1;
constexpr uint32_t kCount = 2;
// A connection's buffer takes some 200 KiB.
constexpr size_t kWords = 128 * 1024;

// Takes arrays of one word repeated, and counts those that arrive so.
class LargeService : public BHwBinder {
  protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t /*flags*/,
                        TransactCallback /*callback*/) override {
        if (code == kCount) return reply->writeUint32(mWhole);
        const void* buffer = nullptr;
        size_t handle = 0;
        if (data.readBuffer(kWords * sizeof(uint32_t), &handle, &buffer) != OK) return OK;
        const auto* words = static_cast<const uint32_t*>(buffer);
        if (std::all_of(words, words + kWords, [words](uint32_t w) { return w == *words; })) {
            ++mWhole;
        }
        return OK;
    }

  private:
    uint32_t mWhole = 0;
};

class LargeCallTest : public testing::Test {
  protected:
    LargeCallTest()
        : mChild([](const Child::Ready& ready) {
              ::android::hardware::configureRpcThreadpool(1, true);
              if (transport::publish({kName}, "default", new LargeService) != OK) return 1;
              ready();
              ::android::hardware::joinRpcThreadpool();
              return 0;
          }) {
        EXPECT_TRUE(mChild.waitUntilReady());
        mService = transport::find(kName, "default");
    }

    // The Parcel is gone when this returns.
    status_t send(uint32_t word, uint32_t flags) {
        Parcel call;
        Parcel reply;
        const std::vector<uint32_t> words(kWords, word);
        size_t handle = 0;
        call.writeBuffer(words.data(), kWords * sizeof(uint32_t), &handle);
        return mService->transact(kTake, call, &reply, flags);
    }

    uint32_t countWhole() {
        Parcel reply;
        EXPECT_EQ(OK, mService->transact(kCount, Parcel(), &reply));
        uint32_t count = 0;
        EXPECT_EQ(OK, reply.readUint32(&count));
        return count;
    }

    ServiceDirectory mDirectory;
    Child mChild;
    ::android::sp<IBinder> mService;
};

TEST_F(LargeCallTest, ArriveWholeFromSeveralThreads) {
    std::vector<std::thread> threads;
    for (uint32_t thread = 0; thread < 3; ++thread) {
        threads.emplace_back([this, thread] {
            for (uint32_t i = 0; i < 20; ++i) EXPECT_EQ(OK, send(20 * thread + i, 0));
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(60u, countWhole());
}

TEST_F(LargeCallTest, OutliveTheirCallerOnTheWayToAServiceThatDoesNotRead) {
    mChild.kill(SIGSTOP);
    for (uint32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(OK, send(i, IBinder::FLAG_ONEWAY));
    }
    mChild.kill(SIGCONT);
    waitUntil([this] { return countWhole() == 5; });
}

TEST_F(LargeCallTest, FailWhenTheServiceDiesBeforeItHasReadThem) {
    mChild.kill(SIGSTOP);
    std::thread caller([this] { EXPECT_EQ(::android::DEAD_OBJECT, send(1, 0)); });
    EXPECT_EQ(OK, send(2, IBinder::FLAG_ONEWAY));
    mChild.kill(SIGKILL);
    caller.join();
}

}  // namespace
