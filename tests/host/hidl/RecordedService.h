// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A service whose calls the test listens to.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Processes.h"
#include "host/hidl/CallRing.h"

namespace hidltest {

using android::base::unique_fd;
using android::hardware::IBinder;
using android::hardware::Parcel;
using android::hardware::ParcelWords;
using android::hardware::toBinder;
using android::hardware::calls::CallRecord;
using android::hardware::calls::CallRing;

inline constexpr char kBivista10[] = "vendor.qmx.hardware.bivista@1.0::IBivista";
inline constexpr uint32_t kSetBrightness = 19;

// The interface that a request names.
inline std::string tokenOf(const CallRecord& record) {
    Parcel parcel;
    parcel.setContents({record.request, {}, {}});
    std::string token;
    EXPECT_EQ(parcel.readText(&token), ::android::OK);
    return token;
}

// Without what a cast asks.
inline std::vector<CallRecord> ofMethods(std::vector<CallRecord> records) {
    std::erase_if(records, [](const CallRecord& record) {
        return tokenOf(record) == "android.hidl.base@1.0::IBase";
    });
    return records;
}

inline ParcelWords brightnessRequest(int32_t value) {
    Parcel parcel;
    parcel.writeInterfaceToken(kBivista10);
    parcel.writeInt32(value);
    return parcel.contents().words;
}

class CallingService : public FakeBivista {
    Return<void> sendAtCommand(const hidl_string& cmd, const sp<IBivistaAtCallback>& callback,
                               sendAtCommand_cb cb) override {
        if (callback != nullptr) callback->onAtResponse("a line").isOk();
        cb(Status::OK, cmd);
        return Void();
    }
};

// The body of a process that serves when `mayServe`, if there is one, ends.
inline std::function<int(const Child::Ready&)> serving(size_t threads, int mayServe = -1) {
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

class RecordedServiceTest : public testing::Test {
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

    const ServiceDirectory directory;
    unique_fd listener;
    std::unique_ptr<Child> child;
    unique_fd connection;
    std::optional<CallRing> ring;
};

}  // namespace hidltest
