// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/neighbours/Lpwg.h"

#include <atomic>
#include <string>
#include <utility>

#include "emulator/phone/neighbours/LpwgPlaces.h"
#include "emulator/phone/neighbours/PhoneLink.h"
#include "emulator/phone/neighbours/Registration.h"

namespace neighbours {

namespace {

using ::android::sp;
using ::android::hardware::Return;

constexpr char kMethod[] = "ILpwg.setAesModeToLpwg";

}  // namespace

class Lpwg::Service : public LpwgPlaces {
  public:
    Service(phone::Journal& journal, Answer answer) : mPhone(journal), mAnswer(std::move(answer)) {}

    void setResult(int32_t result) { mResult = result; }
    int32_t result() const { return mResult; }
    void forgetPhone() { mPhone.cut(); }

    Return<int32_t> setAesModeToLpwg(int32_t mode) override {
        int32_t answer = mResult;
        if (mAnswer) mPhone.whileLinked([&] { answer = mAnswer(mode); });
        mPhone.note(kMethod, std::to_string(mode), std::to_string(answer));
        return answer;
    }

  private:
    PhoneLink mPhone;
    const Answer mAnswer;
    std::atomic<int32_t> mResult = 0;
};

struct Lpwg::Parts {
    explicit Parts(sp<Service> made) : service(std::move(made)) {}

    const sp<Service> service;
    Registration registration{service, "LPWG service"};
};

Lpwg::Lpwg(phone::Journal& journal, Answer answer)
    : mParts(std::make_unique<Parts>(new Service(journal, std::move(answer)))) {}

Lpwg::~Lpwg() {
    withdraw();
    mParts->service->forgetPhone();
}

void Lpwg::serve() {
    mParts->registration.serve();
}

void Lpwg::declare() {
    mParts->registration.declare();
}

void Lpwg::withdraw() {
    mParts->registration.withdraw();
}

bool Lpwg::isServed() const {
    return mParts->registration.isServed();
}

bool Lpwg::isDeclared() const {
    return mParts->registration.isDeclared();
}

void Lpwg::setResult(int32_t result) {
    mParts->service->setResult(result);
}

int32_t Lpwg::result() const {
    return mParts->service->result();
}

}  // namespace neighbours
