// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A neighbour of the service: the platform's accessory service, as the service's getBV2Status()
// asks it. It says that the cover is attached, until it is ended.
#include <hidl/HidlTransportSupport.h>
#include <vendor/qmx/hardware/accessory/1.1/IAccessory.h>

#include <cstdint>
#include <cstdio>

using ::android::OK;
using ::android::sp;
using ::android::hardware::configureRpcThreadpool;
using ::android::hardware::joinRpcThreadpool;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::vendor::qmx::hardware::accessory::V1_1::IAccessory;

namespace {

constexpr uint32_t kType = 0;      // The service does not look at it.
constexpr uint32_t kAttached = 3;  // Any other state is "not attached".

class Accessory : public IAccessory {
  public:
    Return<void> getAccessoryState(getAccessoryState_cb answer) override {
        answer(kType, kAttached);
        return Void();
    }

    // They hold the places of the platform's other methods, which this service does not call.
    Return<void> reserved_1() override { return Void(); }
    Return<void> reserved_2() override { return Void(); }
    Return<void> reserved_3() override { return Void(); }
    Return<void> reserved_4() override { return Void(); }
    Return<void> reserved_5() override { return Void(); }
    Return<void> reserved_6() override { return Void(); }
    Return<void> reserved_7() override { return Void(); }
    Return<void> reserved_8() override { return Void(); }
    Return<void> reserved_9() override { return Void(); }
    Return<void> reserved_10() override { return Void(); }
    Return<void> reserved_11() override { return Void(); }
    Return<void> reserved_12() override { return Void(); }
    Return<void> reserved_13() override { return Void(); }
    Return<void> reserved_14() override { return Void(); }
    Return<void> reserved_15() override { return Void(); }
    Return<void> reserved_16() override { return Void(); }
    Return<void> reserved_17() override { return Void(); }
    Return<void> reserved_18() override { return Void(); }
    Return<void> reserved_19() override { return Void(); }
    Return<void> reserved_20() override { return Void(); }
    Return<void> reserved_21() override { return Void(); }
    Return<void> reserved_22() override { return Void(); }
};

}  // namespace

int main() {
    const sp<Accessory> accessory = new Accessory;
    // One thread serves all calls: this one.
    configureRpcThreadpool(1, true /* callerWillJoin */);
    if (accessory->registerAsService("default") != OK) {
        fprintf(stderr, "it cannot be registered: another process may serve it\n");
        return 1;
    }
    joinRpcThreadpool();
}
