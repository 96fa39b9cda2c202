// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls of a service that a listener has: which, with what, and when the bell rings.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <thread>

#include "Processes.h"
#include "host/hidl/CallRing.h"

namespace {

using namespace hidltest;
using android::base::unique_fd;
using android::hardware::IBinder;
using android::hardware::Parcel;
using android::hardware::ParcelWords;
using android::hardware::toBinder;
using android::hardware::calls::CallRecord;
using android::hardware::calls::CallRing;

constexpr char kBivista10[] = "vendor.qmx.hardware.bivista@1.0::IBivista";
constexpr char kAtCallback[] = "vendor.qmx.hardware.bivista@1.0::IBivistaAtCallback";
constexpr uint32_t kSetBrightness = 19;
constexpr uint32_t kDrawSubDisplay = 30;
constexpr uint32_t kSendAtCommand = 34;
constexpr uint32_t kOnAtResponse = 1;

// The interface that a request names.
std::string tokenOf(const CallRecord& record) {
    Parcel parcel;
    parcel.setContents({record.request, {}, {}});
    std::string token;
    EXPECT_EQ(parcel.readText(&token), ::android::OK);
    return token;
}

// Without what a cast asks.
std::vector<CallRecord> ofMethods(std::vector<CallRecord> records) {
    std::erase_if(records, [](const CallRecord& record) {
        return tokenOf(record) == "android.hidl.base@1.0::IBase";
    });
    return records;
}

ParcelWords brightnessRequest(int32_t value) {
    Parcel parcel;
    parcel.writeInterfaceToken(kBivista10);
    parcel.writeInt32(value);
    return parcel.contents().words;
}

ParcelWords okReply() {
    Parcel parcel;
    writeToParcel(::android::hardware::Status::ok(), &parcel);
    parcel.writeInt32(static_cast<int32_t>(Status::OK));
    return parcel.contents().words;
}

void writeString(const hidl_string& text, Parcel* parcel) {
    size_t handle;
    parcel->writeBuffer(&text, sizeof(text), &handle);
    writeEmbeddedToParcel(text, parcel, handle, 0);
}

class LineCallback : public IBivistaAtCallback {
    Return<void> onAtResponse(const hidl_string&) override { return Void(); }
};

class CallingService : public FakeBivista {
    Return<void> sendAtCommand(const hidl_string& cmd, const sp<IBivistaAtCallback>& callback,
                               sendAtCommand_cb cb) override {
        if (callback != nullptr) callback->onAtResponse("a line").isOk();
        cb(Status::OK, cmd);
        return Void();
    }
};

// The body of a process that serves when `mayServe`, if there is one, ends.
std::function<int(const Child::Ready&)> serving(size_t threads, int mayServe = -1) {
    return [=](const Child::Ready& ready) {
        char byte;
        if (mayServe >= 0 && read(mayServe, &byte, 1) != 0) return 1;
        const sp<IBivista> service = new CallingService;
        ::android::hardware::configureRpcThreadpool(threads, true);
        if (service->registerAsService() != ::android::OK) return 1;
        ready();
        ::android::hardware::joinRpcThreadpool();
        return 1;
    };
}

class CallRecorderTest : public testing::Test {
  protected:
    unique_fd listen() {
        const unique_fd folder(open(directory.path().c_str(), O_PATH | O_CLOEXEC));
        return android::hardware::calls::listenForCalls(folder.get());
    }

    // Listens, starts a service, and takes its ring. This process uses HIDL from then on, and must
    // not fork.
    sp<IBivista> start() {
        if (!listener.ok()) listener = listen();
        return use(std::make_unique<Child>(serving(1)));
    }

    sp<IBivista> use(std::unique_ptr<Child> service) {
        child = std::move(service);
        EXPECT_TRUE(child->waitUntilReady());
        connection = android::hardware::calls::acceptCaller(listener.get());
        EXPECT_TRUE(connection.ok());
        ring = CallRing::receive(connection.get());
        EXPECT_TRUE(ring.has_value());
        return getService();
    }

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

    const ServiceDirectory directory;
    unique_fd listener;
    std::unique_ptr<Child> child;
    unique_fd connection;
    std::optional<CallRing> ring;
};

TEST_F(CallRecorderTest, HasACallWithAllThatPassed) {
    const sp<IBivista> service = start();
    const int64_t before = android::hardware::calls::nowNs();
    EXPECT_EQ(static_cast<Status>(service->setBrightness(128)), Status::OK);
    const int64_t after = android::hardware::calls::nowNs();
    const std::vector<CallRecord> records = ofMethods(ring->take());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_FALSE(records[0].isOutgoing);
    EXPECT_EQ(records[0].code, kSetBrightness);
    EXPECT_EQ(records[0].status, ::android::OK);
    EXPECT_EQ(records[0].request, brightnessRequest(128));
    EXPECT_EQ(records[0].reply, okReply());
    EXPECT_LE(before, records[0].beginNs);
    EXPECT_LE(records[0].beginNs, records[0].endNs);
    EXPECT_LE(records[0].endNs, after);
    EXPECT_TRUE(ring->take().empty());
}

TEST_F(CallRecorderTest, HasNoAddresses) {
    const sp<IBivista> service = start();
    service->sendAtCommand("AT%SWV", nullptr, [](Status, const hidl_string&) {}).isOk();
    Parcel request;
    request.writeInterfaceToken(kBivista10);
    writeString("AT%SWV", &request);
    request.writeStrongBinder(nullptr);
    Parcel reply;
    writeToParcel(::android::hardware::Status::ok(), &reply);
    reply.writeInt32(static_cast<int32_t>(Status::OK));
    // As the service has it, the string owns nothing.
    hidl_string answer;
    answer.setToExternal("AT%SWV", strlen("AT%SWV"));
    writeString(answer, &reply);
    const std::vector<CallRecord> records = ofMethods(ring->take());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].request, request.contents().words);
    EXPECT_EQ(records[0].reply, reply.contents().words);
}

TEST_F(CallRecorderTest, HasACallbackBeforeTheCallThatItBelongsTo) {
    const sp<IBivista> service = start();
    service->sendAtCommand("AT", new LineCallback, [](Status, const hidl_string&) {}).isOk();
    const std::vector<CallRecord> records = ofMethods(ring->take());
    ASSERT_EQ(records.size(), 2u);
    EXPECT_TRUE(records[0].isOutgoing);
    EXPECT_EQ(tokenOf(records[0]), kAtCallback);
    EXPECT_EQ(records[0].code, kOnAtResponse);
    EXPECT_EQ(records[0].status, ::android::OK);
    EXPECT_FALSE(records[1].isOutgoing);
    EXPECT_EQ(records[1].code, kSendAtCommand);
    EXPECT_LE(records[1].beginNs, records[0].beginNs);
    EXPECT_LE(records[0].endNs, records[1].endNs);
}

TEST_F(CallRecorderTest, HasACallbackWhoseClientDied) {
    Child client([](const Child::Ready& ready) {
        class Dying : public IBivistaAtCallback {
            Return<void> onAtResponse(const hidl_string&) override {
                kill(getpid(), SIGKILL);
                return Void();
            }
        };
        ready();
        waitUntil([] { return IBivista::getService() != nullptr; });
        getService()->sendAtCommand("AT", new Dying, [](Status, const hidl_string&) {}).isOk();
        return 0;
    });
    ASSERT_TRUE(client.waitUntilReady());
    start();
    EXPECT_EQ(client.wait(), 128 + SIGKILL);
    std::vector<CallRecord> records;
    waitUntil([&] {
        for (CallRecord& record : ofMethods(ring->take())) records.push_back(std::move(record));
        return records.size() == 2;
    });
    EXPECT_TRUE(records[0].isOutgoing);
    EXPECT_EQ(records[0].status, ::android::DEAD_OBJECT);
    EXPECT_TRUE(records[0].reply.empty());
    EXPECT_EQ(records[1].status, ::android::OK);
}

TEST_F(CallRecorderTest, HasCallsThatFail) {
    const sp<IBinder> object = toBinder(start());
    Parcel request;
    request.writeInterfaceToken(kBivista10);
    Parcel reply;
    EXPECT_EQ(object->transact(999, request, &reply), ::android::UNKNOWN_TRANSACTION);
    // Without its argument.
    EXPECT_EQ(object->transact(kSetBrightness, request, &reply), ::android::NOT_ENOUGH_DATA);
    const std::vector<CallRecord> records = ofMethods(ring->take());
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].code, 999u);
    EXPECT_EQ(records[0].status, ::android::UNKNOWN_TRANSACTION);
    EXPECT_EQ(records[1].status, ::android::NOT_ENOUGH_DATA);
    EXPECT_TRUE(records[1].reply.empty());
}

TEST_F(CallRecorderTest, HasACallThatNobodyAwaits) {
    const sp<IBivista> service = start();
    Parcel request;
    request.writeInterfaceToken(kBivista10);
    request.writeInt32(1);
    Parcel reply;
    // No method of the interface may be called so; the service's answer goes nowhere.
    EXPECT_EQ(toBinder(service)->transact(kSetBrightness, request, &reply, IBinder::FLAG_ONEWAY),
              ::android::OK);
    EXPECT_EQ(static_cast<Status>(service->setBrightness(2)), Status::OK);
    const std::vector<CallRecord> records = ofMethods(ring->take());
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].status, ::android::UNKNOWN_ERROR);
    EXPECT_EQ(records[0].request, brightnessRequest(1));
    EXPECT_EQ(records[1].request, brightnessRequest(2));
}

TEST_F(CallRecorderTest, HasTheCallsOfManyClientsWhole) {
    constexpr int kThreads = 4;
    listener = listen();
    const sp<IBivista> service = use(std::make_unique<Child>(serving(kThreads)));
    constexpr int kCalls = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < kCalls; ++i) {
                service->setBrightness(thread * kCalls + i).isOk();
                service->sendAtCommand("AT", new LineCallback, [](Status, const hidl_string&) {})
                        .isOk();
            }
        });
    }
    std::vector<CallRecord> records;
    // The ring is read while it is written.
    while (records.size() < size_t{3} * kThreads * kCalls) {
        for (CallRecord& record : ofMethods(ring->take())) records.push_back(std::move(record));
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_FALSE(ring->isBroken());
    EXPECT_EQ(ring->takeLost(), 0u);
    std::set<int32_t> values;
    for (const CallRecord& record : records) {
        if (record.code == kSetBrightness)
            values.insert(static_cast<int32_t>(record.request.back()));
    }
    EXPECT_EQ(values.size(), size_t{kThreads} * kCalls);
}

TEST_F(CallRecorderTest, CountsWhatFindsNoRoom) {
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

TEST_F(CallRecorderTest, RingsTheBellWhenTheRingGetsHalfFull) {
    const sp<IBivista> service = start();
    draw(service, android::hardware::calls::kRingBytes / 4);
    EXPECT_FALSE(isRung());
    draw(service, android::hardware::calls::kRingBytes / 4);
    EXPECT_TRUE(isRung());
    ring->take();
    draw(service, 1);
    EXPECT_FALSE(isRung());
}

TEST_F(CallRecorderTest, RingsTheBellAtEachCallWhileSomebodyFollows) {
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
TEST_F(CallRecorderTest, NeverWaitsForTheListener) {
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

TEST_F(CallRecorderTest, AServiceStartedAnewHandsOutItsCallsAnew) {
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

TEST_F(CallRecorderTest, KeepsWhatAKilledServiceAnswered) {
    start()->setBrightness(1).isOk();
    child->kill(SIGKILL);
    child->wait();
    EXPECT_EQ(ofMethods(ring->take()).size(), 1u);
}

TEST_F(CallRecorderTest, TakesOneDescriptor) {
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

TEST_F(CallRecorderTest, AServiceStartsWhereNobodyListensAnyMore) {
    listen().reset();
    EXPECT_TRUE(std::filesystem::exists(directory.path() + "/calls.sock"));
    ServiceChild alone([] { return sp<IBivista>(new FakeBivista); });
    EXPECT_EQ(static_cast<Status>(getService()->setBrightness(1)), Status::OK);
}

TEST_F(CallRecorderTest, AServiceStartsWhereTheSocketIsNone) {
    std::filesystem::create_directory(directory.path() + "/calls.sock");
    ServiceChild alone([] { return sp<IBivista>(new FakeBivista); });
    EXPECT_EQ(static_cast<Status>(getService()->setBrightness(1)), Status::OK);
}

TEST_F(CallRecorderTest, ListensForItsUserAlone) {
    listener = listen();
    struct stat status = {};
    ASSERT_EQ(stat((directory.path() + "/calls.sock").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
}

// An emulator that serves neighbours does not record itself.
TEST_F(CallRecorderTest, AListenerInTheSameProcessDoesNotCount) {
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
