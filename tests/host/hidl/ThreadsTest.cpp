// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Which threads there are, and which of them serve.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Processes.h"
#include "host/hidl/RpcThreads.h"

namespace {

using namespace hidltest;

// Fails a call that another overlaps, or that is not served by the joined thread.
class StrictService : public FakeBivista {
  public:
    Return<Status> setBrightness(int32_t) override {
        const bool alone = !mBusy.exchange(true);
        std::this_thread::yield();
        const bool onMainThread = gettid() == getpid();
        mBusy = false;
        return alone && onMainThread ? Status::OK : Status::FAIL;
    }

  private:
    std::atomic<bool> mBusy{false};
};

TEST(RpcThreadpool, OfOneServesOneCallAtATimeOnTheJoinedThread) {
    ServiceDirectory directory;
    ServiceChild child([] { return sp<IBivista>(new StrictService); });
    const sp<IBivista> service = getService();
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back([&] {
            for (int call = 0; call < 50; ++call) {
                EXPECT_EQ(static_cast<Status>(service->setBrightness(call)), Status::OK);
            }
        });
    }
    for (std::thread& caller : callers) caller.join();
}

TEST(RpcThreadpool, ServesNothingBeforeItIsJoined) {
    ServiceDirectory directory;
    int gate[2];
    ASSERT_EQ(pipe2(gate, O_CLOEXEC), 0);
    Child child([&](const Child::Ready& ready) {
        sp<IBivista> service = new StrictService;
        ::android::hardware::configureRpcThreadpool(1, true);
        if (service->registerAsService() != ::android::OK) return 1;
        ready();
        char byte;
        if (read(gate[0], &byte, 1) != 1) return 1;
        ::android::hardware::joinRpcThreadpool();
        return 1;
    });
    ASSERT_TRUE(child.waitUntilReady());
    const sp<IBivista> service = getService();
    std::atomic<bool> answered{false};
    std::thread caller([&] {
        EXPECT_EQ(static_cast<Status>(service->setBrightness(1)), Status::OK);
        answered = true;
    });
    EXPECT_FALSE(answered);
    ASSERT_EQ(write(gate[1], "x", 1), 1);
    caller.join();
}

// Answers only when as many calls as threads are under way.
class MeetingService : public FakeBivista {
  public:
    explicit MeetingService(int expected) : mExpected(expected) {}
    Return<Status> setBrightness(int32_t) override {
        ++mPresent;
        waitUntil([this] { return mPresent >= mExpected; });
        return Status::OK;
    }

  private:
    const int mExpected;
    std::atomic<int> mPresent{0};
};

TEST(RpcThreadpool, OfThreeServesThreeCallsAtOnce) {
    ServiceDirectory directory;
    Child child([](const Child::Ready& ready) {
        sp<IBivista> service = new MeetingService(3);
        ::android::hardware::configureRpcThreadpool(3, true);
        if (service->registerAsService() != ::android::OK) return 1;
        ready();
        ::android::hardware::joinRpcThreadpool();
        return 1;
    });
    ASSERT_TRUE(child.waitUntilReady());
    const sp<IBivista> service = getService();
    std::vector<std::thread> callers;
    for (int i = 0; i < 3; ++i) {
        callers.emplace_back(
                [&] { EXPECT_EQ(static_cast<Status>(service->setBrightness(1)), Status::OK); });
    }
    for (std::thread& caller : callers) caller.join();
}

TEST(RpcThreadpoolDeathTest, OfNoneAborts) {
    EXPECT_DEATH(::android::hardware::configureRpcThreadpool(0, false), "at least one");
}

TEST(Process, ThatOnlyHasObjectsHasNoThreads) {
    ServiceDirectory directory;
    const size_t threads = threadsOf(getpid());
    const sp<IBivista> object = new FakeBivista;
    EXPECT_EQ(static_cast<Status>(object->setBrightness(1)), Status::OK);
    EXPECT_EQ(IBivista::getService(), nullptr);
    EXPECT_EQ(threadsOf(getpid()), threads);
}

std::atomic<pid_t> gHandledBy{0};

TEST(Process, KeepsItsSignals) {
    ServiceDirectory directory;
    ServiceChild child([] { return sp<IBivista>(new FakeBivista); });
    signal(SIGUSR1, [](int) { gHandledBy = gettid(); });
    const sp<IBivista> service = getService();
    EXPECT_TRUE(service->ping().isOk());

    struct sigaction pipe;
    sigaction(SIGPIPE, nullptr, &pipe);
    EXPECT_EQ(pipe.sa_handler, SIG_DFL);
    kill(getpid(), SIGUSR1);
    waitUntil([] { return gHandledBy != 0; });
    // No thread of HIDL takes signals of the process.
    EXPECT_EQ(gHandledBy, gettid());
    EXPECT_TRUE(service->ping().isOk());
}

// How many epolls of this process wait for each of its descriptors.
std::map<std::string, int> epollsOfDescriptors() {
    std::map<std::string, int> epolls;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fdinfo")) {
        std::ifstream info(entry.path());
        for (std::string word; info >> word;) {
            if (word == "tfd:" && info >> word) ++epolls[word];
        }
    }
    return epolls;
}

// The kernel tells one epoll after the other. A thread that the first one wakes finds nothing at
// the second when it is too early, and sleeps again beside a message that nobody reads.
TEST(Process, WaitsForEachSocketAtOneEpoll) {
    ServiceDirectory directory;
    ServiceChild child([] { return sp<IBivista>(new FakeBivista); });
    const sp<IBivista> service = getService();
    const sp<IBivista> own = new FakeBivista;
    ASSERT_EQ(own->registerAsService("own"), ::android::OK);

    const std::map<std::string, int> epolls = epollsOfDescriptors();
    EXPECT_GE(epolls.size(), 2u);
    for (const auto& [descriptor, count] : epolls) EXPECT_EQ(count, 1) << descriptor;
}

TEST(Process, ExitsWhileItHoldsProxiesAndServes) {
    ServiceDirectory directory;
    Child client([](const Child::Ready&) {
        waitUntil([] { return IBivista::getService() != nullptr; });
        static sp<IBivista> kept = IBivista::getService();
        sp<IBivista> own = new FakeBivista;
        if (own->registerAsService("own") != ::android::OK) return 1;
        return kept->ping().isOk() ? 0 : 1;
    });
    ServiceChild child([] { return sp<IBivista>(new FakeBivista); });
    EXPECT_EQ(client.wait(), 0);
}

TEST(ChainCaller, LeavesUnservedJobsToThePool) {
    using namespace ::android::hardware;
    RpcThreads::get().start();
    std::atomic<bool> ran{false};
    {
        ChainCaller caller;
        caller.finish();
        RpcThreads::get().run([&] { ran = true; }, caller.chain());
        caller.wait();
    }
    waitUntil([&] { return ran.load(); });
}

}  // namespace
