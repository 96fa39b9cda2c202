// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/sub_display/PowerSpy.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

class PowerSpy : public Bivista {
  public:
    explicit PowerSpy(std::vector<bool>* asked) : mAsked(asked) {}

    Return<Status> setSubDisplayPowerState(bool enable) override {
        mAsked->push_back(enable);
        return Status::FAIL;
    }

  private:
    std::vector<bool>* const mAsked;
};

}  // namespace

sp<Bivista> makePowerSpy(std::vector<bool>* asked) {
    return new PowerSpy(asked);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
