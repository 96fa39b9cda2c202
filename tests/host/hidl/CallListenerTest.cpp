// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A service and who listens to its calls: a full ring, the bell, and the end of either.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "RecordedService.h"
#include "host/hidl/CallRecorder.h"

namespace {

using namespace hidltest;

constexpr uint32_t kDrawSubDisplay = 30;

class CallListenerTest : public RecordedServiceTest {
  protected:
    bool isRung() {
        char bells[4096];
        return recv(connection.get(), bells, sizeof(bells), MSG_DONTWAIT) > 0;
    }

    // Calls that leave so many bytes in the ring.
    static int draw(const sp<IBivista>& service, size_t bytes) {
        const hidl_vec<uint32_t> frame(std::vector<uint32_t>(16 * 1024));
        int calls = 0;
        for (size_t sent = 0; sent < bytes; sent += frame.size() * sizeof(uint32_t), ++calls) {
            EXPECT_EQ(static_cast<Status>(service->drawSubDisplay(frame)), Status::OK);
        }
        return calls;
    }
};

TEST_F(CallListenerTest, CountsWhatFindsNoRoom) {
    const sp<IBivista> service = start();
    const int calls = draw(service, 2 * android::hardware::calls::kRingBytes);
    const uint64_t lost = ring->takeLost();
    const std::vector<CallRecord> records = ofMethods(ring->take());
    EXPECT_GT(lost, 0u);
    EXPECT_EQ(records.size() + lost, static_cast<size_t>(calls));
    EXPECT_EQ(ring->takeLost(), 0u);
    // There is room again; records go on at the ring's begin.
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(draw(service, 1), 1);
        const std::vector<CallRecord> next = ofMethods(ring->take());
        ASSERT_EQ(next.size(), 1u);
        EXPECT_EQ(next[0].code, kDrawSubDisplay);
        EXPECT_EQ(next[0].request, records[0].request);
    }
    EXPECT_EQ(ring->takeLost(), 0u);
}

TEST_F(CallListenerTest, RingsTheBellWhenTheRingGetsHalfFull) {
    const sp<IBivista> service = start();
    draw(service, android::hardware::calls::kRingBytes / 4);
    EXPECT_FALSE(isRung());
    draw(service, android::hardware::calls::kRingBytes / 4);
    waitUntil([&] { return isRung(); });
    ring->take();
    draw(service, 1);
    // The bells of the calls before have all rung by now.
    isRung();
    draw(service, 1);
    EXPECT_FALSE(isRung());
}

TEST_F(CallListenerTest, RingsTheBellAtEachCallWhileSomebodyFollows) {
    const sp<IBivista> service = start();
    ring->follow(true);
    service->setBrightness(1).isOk();
    waitUntil([&] { return isRung(); });
    service->setBrightness(1).isOk();
    waitUntil([&] { return isRung(); });
    ring->follow(false);
    service->setBrightness(1).isOk();
    EXPECT_FALSE(isRung());
}

// A listener that is stopped does not stop the service.
TEST_F(CallListenerTest, NeverWaitsForTheListener) {
    const sp<IBivista> service = start();
    ring->follow(true);
    for (int i = 0; i < 5000; ++i) {
        ASSERT_EQ(static_cast<Status>(service->setBrightness(i)), Status::OK);
    }
    draw(service, 2 * android::hardware::calls::kRingBytes);
    EXPECT_TRUE(isRung());
    connection.reset();
    EXPECT_EQ(static_cast<Status>(service->setBrightness(1)), Status::OK);
}

TEST_F(CallListenerTest, AServiceStartedAnewHandsOutItsCallsAnew) {
    int gate[2];
    ASSERT_EQ(pipe2(gate, O_CLOEXEC), 0);
    unique_fd closed(gate[1]);
    auto second = std::make_unique<Child>([&](const Child::Ready& ready) {
        closed.reset();
        return serving(1, gate[0])(ready);
    });
    start()->setBrightness(1).isOk();
    EXPECT_EQ(ofMethods(ring->take()).size(), 1u);
    child->kill(SIGKILL);
    child->wait();
    // The end of the connection is the end of the service.
    char byte;
    EXPECT_EQ(recv(connection.get(), &byte, 1, 0), 0);
    closed.reset();
    use(std::move(second))->setBrightness(2).isOk();
    const std::vector<CallRecord> records = ofMethods(ring->take());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].request, brightnessRequest(2));
    close(gate[0]);
}

TEST_F(CallListenerTest, KeepsWhatAKilledServiceAnswered) {
    start()->setBrightness(1).isOk();
    child->kill(SIGKILL);
    child->wait();
    EXPECT_EQ(ofMethods(ring->take()).size(), 1u);
}

// A listener that is gone costs a call nothing once a bell has told of it; who registers after that
// looks for another one.
TEST_F(CallListenerTest, AListenerThatIsGoneIsForgotten) {
    int gate[2];
    ASSERT_EQ(pipe2(gate, O_CLOEXEC), 0);
    const unique_fd opened(gate[0]);
    unique_fd closed(gate[1]);
    listener = listen();
    const sp<IBivista> service = use(std::make_unique<Child>([&](const Child::Ready& ready) {
        closed.reset();
        const sp<IBivista> served = new FakeBivista;
        ::android::hardware::configureRpcThreadpool(1, false);
        if (served->registerAsService() != ::android::OK) return 1;
        ready();
        char byte;
        if (read(opened.get(), &byte, 1) != 0 || served->registerAsService("second") != 0) return 1;
        ::android::hardware::joinRpcThreadpool();
        return 1;
    }));
    connection.reset();
    draw(service, android::hardware::calls::kRingBytes / 2);
    EXPECT_FALSE(ring->take().empty());
    draw(service, 1);
    EXPECT_TRUE(ring->take().empty());

    listener = listen();
    closed.reset();
    waitUntil([&] {
        connection = android::hardware::calls::acceptCaller(listener.get());
        return connection.ok();
    });
    waitUntil([&] { return (ring = CallRing::receive(connection.get())).has_value(); });
    draw(service, 1);
    EXPECT_EQ(ofMethods(ring->take()).size(), 1u);
}

// Nobody knows then whether somebody listens.
TEST_F(CallListenerTest, TellsThatNoDescriptorIsLeft) {
    using android::hardware::calls::CallRecorder;
    listener = listen();
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    for (const rlim_t left : {0, 1, 2, 3}) {
        testing::internal::CaptureStderr();
        const auto next = static_cast<rlim_t>(unique_fd(dup(listener.get())).get());
        const rlimit limit = {next + left, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        CallRecorder::connect();
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
        const std::string log = testing::internal::GetCapturedStderr();
        const bool isTold =
                log.find("Calls are not recorded: Too many open files") != std::string::npos;
        EXPECT_EQ(isTold, left < 3) << left << log;
    }
}

TEST_F(CallListenerTest, TakesOneDescriptor) {
    size_t without;
    {
        const ServiceChild alone([] { return sp<IBivista>(new FakeBivista); });
        without = descriptorsOf(alone.pid());
    }
    listener = listen();
    const ServiceChild recorded([] { return sp<IBivista>(new FakeBivista); });
    // The other one is the listener, which the child was born with.
    EXPECT_EQ(descriptorsOf(recorded.pid()), without + 2);
}

TEST_F(CallListenerTest, AServiceStartsWhereNobodyListensAnyMore) {
    listen().reset();
    EXPECT_TRUE(std::filesystem::exists(directory.path() + "/calls.sock"));
    ServiceChild alone([] { return sp<IBivista>(new FakeBivista); });
    EXPECT_EQ(static_cast<Status>(getService()->setBrightness(1)), Status::OK);
}

TEST_F(CallListenerTest, AServiceStartsWhereTheSocketIsNone) {
    std::filesystem::create_directory(directory.path() + "/calls.sock");
    ServiceChild alone([] { return sp<IBivista>(new FakeBivista); });
    EXPECT_EQ(static_cast<Status>(getService()->setBrightness(1)), Status::OK);
}

TEST_F(CallListenerTest, ListensForItsUserAlone) {
    listener = listen();
    struct stat status = {};
    ASSERT_EQ(stat((directory.path() + "/calls.sock").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
}

// An emulator that serves neighbours does not record itself.
TEST_F(CallListenerTest, AListenerInTheSameProcessDoesNotCount) {
    Child both([this](const Child::Ready&) {
        const unique_fd own = listen();
        const sp<IBivista> service = new FakeBivista;
        if (service->registerAsService() != ::android::OK) return 1;
        const unique_fd asked = android::hardware::calls::acceptCaller(own.get());
        char byte;
        // It has left without handing out anything.
        return recv(asked.get(), &byte, 1, 0) == 0 ? 0 : 2;
    });
    EXPECT_EQ(both.wait(), 0);
}

}  // namespace
