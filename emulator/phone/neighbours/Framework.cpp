// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/neighbours/Framework.h"

#include <cstdint>
#include <string>

#include <vendor/qmx/hardware/bivista/1.0/IBivista.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

#include "emulator/phone/neighbours/PhoneLink.h"

namespace neighbours {

namespace {

using ::android::sp;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::vendor::qmx::hardware::bivista::V1_0::IBivista;
namespace V1_0 = ::vendor::qmx::hardware::bivista::V1_0;
namespace V1_1 = ::vendor::qmx::hardware::bivista::V1_1;

using SharedLink = std::shared_ptr<PhoneLink>;

template <typename Status>
void note(PhoneLink& phone, const char* method, Status status, int32_t result) {
    phone.note(method, std::to_string(static_cast<int32_t>(status)) + "," + std::to_string(result),
               "");
}

constexpr char kMethod1_0[] = "IBivistaLpwgCallback.onLpwgEvent";
constexpr char kMethod1_1[] = "IBivistaLpwgCallback.onLpwgEvent_1_1";

class Client1_0 : public V1_0::IBivistaLpwgCallback {
  public:
    explicit Client1_0(SharedLink phone) : mPhone(std::move(phone)) {}

    Return<void> onLpwgEvent(V1_0::LpwgEventStatus status, int32_t result) override {
        note(*mPhone, kMethod1_0, status, result);
        return Void();
    }

  private:
    const SharedLink mPhone;
};

class Client1_1 : public V1_1::IBivistaLpwgCallback {
  public:
    explicit Client1_1(SharedLink phone) : mPhone(std::move(phone)) {}

    Return<void> onLpwgEvent(V1_0::LpwgEventStatus status, int32_t result) override {
        note(*mPhone, kMethod1_0, status, result);
        return Void();
    }
    Return<void> onLpwgEvent_1_1(V1_1::LpwgEventStatus status, int32_t result) override {
        note(*mPhone, kMethod1_1, status, result);
        return Void();
    }

  private:
    const SharedLink mPhone;
};

}  // namespace

Framework::Framework(phone::Phone& phone) : mPhone(std::make_shared<PhoneLink>(phone.journal())) {}

Framework::~Framework() {
    mPhone->cut();
}

void Framework::listen(Version version) {
    const sp<IBivista> service = IBivista::tryGetService();
    if (service == nullptr) throw phone::Error("there is no cover service; start it first");
    sp<V1_0::IBivistaLpwgCallback> client;
    if (version == Version::V1_0) {
        client = new Client1_0(mPhone);
    } else {
        client = new Client1_1(mPhone);
    }
    if (!service->setLpwgCallback(client).isOk()) throw phone::Error("the cover service has died");
}

}  // namespace neighbours
