// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Which calls of a service a listener has, and with what.
#include <gmock/gmock.h>

#include <csignal>
#include <cstring>
#include <set>
#include <thread>

#include "RecordedService.h"

namespace {

using namespace hidltest;

constexpr char kAtCallback[] = "vendor.qmx.hardware.bivista@1.0::IBivistaAtCallback";
constexpr uint32_t kSendAtCommand = 34;
constexpr uint32_t kOnAtResponse = 1;

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

using CallRecorderTest = RecordedServiceTest;

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

}  // namespace
