#include "emulator/phone/neighbours/Accessory.h"

#include <mutex>
#include <string>

#include <hidl/HidlTransportSupport.h>
#include <hidl/ServiceManagement.h>
#include <vendor/qmx/hardware/accessory/1.1/IAccessory.h>

namespace neighbours {

namespace {

using ::android::OK;
using ::android::sp;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hardware::details::unregisterServiceInternal;
using ::vendor::qmx::hardware::accessory::V1_1::IAccessory;

constexpr char kInstance[] = "default";
constexpr char kMethod[] = "IAccessory.getAccessoryState";

}  // namespace

class Accessory::Service : public IAccessory {
  public:
    explicit Service(phone::Phone& phone) : mPhone(&phone) {}

    void setState(std::optional<AccessoryState> state) {
        const std::lock_guard lock(mLock);
        mState = state;
    }

    AccessoryState state() {
        const std::lock_guard lock(mLock);
        if (mState) return *mState;
        if (mPhone == nullptr || !mPhone->isCoverAttached()) return {};
        return {.state = kAttached};
    }

    // Clients may hold the object for longer than there is a phone.
    void forgetPhone() {
        const std::lock_guard lock(mLock);
        mPhone = nullptr;
    }

    Return<void> getAccessoryState(getAccessoryState_cb callback) override {
        const AccessoryState answer = state();
        note(answer);
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
    void note(const AccessoryState& answer) {
        const std::lock_guard lock(mLock);
        if (mPhone == nullptr) return;
        mPhone->journal().sync();
        mPhone->journal().add(phone::Kind::HidlCall, kMethod, {},
                              std::to_string(answer.type) + "," + std::to_string(answer.state));
    }

    std::mutex mLock;
    phone::Phone* mPhone;                  // guarded by mLock
    std::optional<AccessoryState> mState;  // guarded by mLock
};

struct Accessory::Parts {
    explicit Parts(phone::Phone& phone) : service(new Service(phone)) {}

    const sp<Service> service;
    std::mutex lock;
    bool served = false;  // guarded by lock
};

Accessory::Accessory(phone::Phone& phone) : mParts(std::make_unique<Parts>(phone)) {}

Accessory::~Accessory() {
    withdraw();
    mParts->service->forgetPhone();
}

void Accessory::serve() {
    const std::lock_guard lock(mParts->lock);
    if (mParts->served) return;
    if (mParts->service->registerAsService(kInstance) != OK) {
        throw phone::Error(
                "cannot register the accessory service: the line above tells why; another registry "
                "folder is chosen with HIDL_SOCKET_DIR");
    }
    mParts->served = true;
}

void Accessory::withdraw() {
    const std::lock_guard lock(mParts->lock);
    if (mParts->served) unregisterServiceInternal(mParts->service, kInstance);
    mParts->served = false;
}

bool Accessory::isServed() const {
    const std::lock_guard lock(mParts->lock);
    return mParts->served;
}

void Accessory::setState(std::optional<AccessoryState> state) {
    mParts->service->setState(state);
}

AccessoryState Accessory::state() const {
    return mParts->service->state();
}

}  // namespace neighbours
