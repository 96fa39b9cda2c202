// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A service of this process whose calls are recorded and decoded at once.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <vendor/qmx/hardware/bivista/1.1/BpHwBivista.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

#include "emulator/phone/calls/CallDecoder.h"
#include "host/hidl/RemoteObject.h"
#include "tests/host/hidl/FakeBivista.h"

namespace callstest {

using namespace hidltest;
using android::hardware::IBinder;
using android::hardware::Parcel;
using android::hardware::calls::CallRecord;
namespace V1_0 = ::vendor::qmx::hardware::bivista::V1_0;
namespace V1_1 = ::vendor::qmx::hardware::bivista::V1_1;

// Carries calls to an object of this process, as a transport would, and records them.
class Tap : public android::hardware::RemoteObject {
  public:
    // Outgoing: it records what its own process calls.
    explicit Tap(sp<IBinder> object, bool isOutgoing = false)
        : mObject(std::move(object)), mIsOutgoing(isOutgoing) {}

    android::status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags,
                               TransactCallback callback) override {
        record = {.isOutgoing = mIsOutgoing,
                  .code = code,
                  .beginNs = 2'000,
                  .endNs = 5'000,
                  .request = data.contents().words};
        Parcel arrived;
        arrived.setContents({data.contents().words, data.contents().objects, {}});
        Parcel results;
        record.status = mObject->transact(code, arrived, &results, flags, [](Parcel&) {});
        record.reply = results.contents().words;
        reply->setContents({results.contents().words, results.contents().objects, {}});
        if (record.status == android::OK && callback != nullptr) callback(*reply);
        return record.status;
    }
    android::status_t linkToDeath(const sp<DeathRecipient>&) override { return android::OK; }
    android::status_t unlinkToDeath(const android::wp<DeathRecipient>&) override {
        return android::OK;
    }

    CallRecord record;

  private:
    const sp<IBinder> mObject;
    const bool mIsOutgoing;
};

class AtCallback : public IBivistaAtCallback {
    Return<void> onAtResponse(const hidl_string&) override { return Void(); }
};
class AnsweringService : public FakeBivista {
    Return<void> getFirmwareVersion(getFirmwareVersion_cb cb) override {
        cb(Status::OK, version);
        return Void();
    }
    Return<void> getSubDisplayInfo(getSubDisplayInfo_cb cb) override {
        cb(Status::OK, {.x = 128, .y = 65535, .format = 255});
        return Void();
    }
    Return<void> getBV2Status(getBV2Status_cb cb) override {
        cb(Status::FAIL, {.connected = true});
        return Void();
    }
    Return<void> getSubDisplayPowerState(getSubDisplayPowerState_cb cb) override {
        cb(Status::OK, static_cast<SubScreenState>(77));
        return Void();
    }

  public:
    std::string version = "BV330";
};

// path, bytes, note of the entry.
inline std::vector<std::string> texts(const phone::Past& past) {
    return {past.path, past.bytes, past.note};
}

class DecodedServiceTest : public testing::Test {
  protected:
    std::vector<std::string> decoded() const { return texts(past()); }
    phone::Past past() const {
        const std::optional<phone::Past> past = calls::decode(tap->record);
        EXPECT_TRUE(past.has_value());
        return past.value_or(phone::Past{});
    }

    const sp<AnsweringService> served = new AnsweringService;
    const sp<Tap> tap = new Tap(android::hardware::toBinder(sp<IBivista>(served)));
    const sp<IBivista> service = new V1_1::BpHwBivista(tap);
};

inline constexpr auto kIgnore = [](const auto&...) {};

}  // namespace callstest
