// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A service and who listens to its calls: a full ring, the bell, and the end of either.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "RecordedService.h"

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
    EXPECT_TRUE(isRung());
    ring->take();
    draw(service, 1);
    EXPECT_FALSE(isRung());
}

TEST_F(CallListenerTest, RingsTheBellAtEachCallWhileSomebodyFollows) {
    const sp<IBivista> service = start();
    ring->follow(true);
    service->setBrightness(1).isOk();
    EXPECT_TRUE(isRung());
    service->setBrightness(1).isOk();
    EXPECT_TRUE(isRung());
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
