// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/neighbours/Accessory.h"

#include <string>
#include <utility>

#include <utils/Mutex.h>
#include <vendor/qmx/hardware/accessory/1.1/IAccessory.h>

#include "emulator/phone/neighbours/PhoneLink.h"
#include "emulator/phone/neighbours/Registration.h"

namespace neighbours {

namespace {

using ::android::sp;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::vendor::qmx::hardware::accessory::V1_1::IAccessory;

constexpr char kMethod[] = "IAccessory.getAccessoryState";

}  // namespace

class Accessory::Service : public IAccessory {
  public:
    Service(phone::Journal& journal, std::function<AccessoryState()> otherwise)
        : mPhone(journal), mOtherwise(std::move(otherwise)) {}

    void setState(std::optional<AccessoryState> state) EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        mState = state;
    }

    AccessoryState state() EXCLUDES(mLock) {
        {
            const android::AutoMutex lock(mLock);
            if (mState) return *mState;
        }
        AccessoryState state;
        mPhone.whileLinked([&] { state = mOtherwise(); });
        return state;
    }

    void forgetPhone() { mPhone.cut(); }

    Return<void> getAccessoryState(getAccessoryState_cb callback) override {
        const AccessoryState answer = state();
        mPhone.note(kMethod, {}, std::to_string(answer.type) + "," + std::to_string(answer.state));
        callback(answer.type, answer.state);
        return Void();
    }

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

  private:
    PhoneLink mPhone;
    const std::function<AccessoryState()> mOtherwise;
    android::Mutex mLock;
    std::optional<AccessoryState> mState GUARDED_BY(mLock);
};

struct Accessory::Parts {
    explicit Parts(sp<Service> made) : service(std::move(made)) {}

    const sp<Service> service;
    Registration registration{service, "accessory service"};
};

Accessory::Accessory(phone::Journal& journal, std::function<AccessoryState()> otherwise)
    : mParts(std::make_unique<Parts>(new Service(journal, std::move(otherwise)))) {}

Accessory::~Accessory() {
    withdraw();
    mParts->service->forgetPhone();
}

void Accessory::serve() {
    mParts->registration.serve();
}

void Accessory::declare() {
    mParts->registration.declare();
}

void Accessory::withdraw() {
    mParts->registration.withdraw();
}

bool Accessory::isServed() const {
    return mParts->registration.isServed();
}

bool Accessory::isDeclared() const {
    return mParts->registration.isDeclared();
}

void Accessory::setState(std::optional<AccessoryState> state) {
    mParts->service->setState(state);
}

AccessoryState Accessory::state() const {
    return mParts->service->state();
}

}  // namespace neighbours
