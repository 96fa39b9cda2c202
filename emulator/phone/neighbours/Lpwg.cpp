#include "emulator/phone/neighbours/Lpwg.h"

#include <atomic>
#include <string>

#include <vendor/qmx/hardware/lpwg/1.3/ILpwg.h>

#include "emulator/phone/neighbours/PhoneLink.h"
#include "emulator/phone/neighbours/Registration.h"

namespace neighbours {

namespace {

using ::android::sp;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::vendor::qmx::hardware::lpwg::V1_3::ILpwg;

constexpr char kMethod[] = "ILpwg.setAesModeToLpwg";

}  // namespace

class Lpwg::Service : public ILpwg {
  public:
    explicit Service(phone::Phone& phone) : mPhone(phone) {}

    void setResult(int32_t result) { mResult = result; }
    int32_t result() const { return mResult; }
    void forgetPhone() { mPhone.cut(); }

    Return<int32_t> setAesModeToLpwg(int32_t mode) override {
        const int32_t answer = mResult;
        mPhone.note(kMethod, std::to_string(mode), std::to_string(answer));
        return answer;
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

  private:
    PhoneLink mPhone;
    std::atomic<int32_t> mResult = 0;
};

struct Lpwg::Parts {
    explicit Parts(phone::Phone& phone) : service(new Service(phone)) {}

    const sp<Service> service;
    Registration registration{service, "LPWG service"};
};

Lpwg::Lpwg(phone::Phone& phone) : mParts(std::make_unique<Parts>(phone)) {}

Lpwg::~Lpwg() {
    withdraw();
    mParts->service->forgetPhone();
}

void Lpwg::serve() {
    mParts->registration.serve();
}

void Lpwg::withdraw() {
    mParts->registration.withdraw();
}

bool Lpwg::isServed() const {
    return mParts->registration.isServed();
}

void Lpwg::setResult(int32_t result) {
    mParts->service->setResult(result);
}

int32_t Lpwg::result() const {
    return mParts->service->result();
}

}  // namespace neighbours
