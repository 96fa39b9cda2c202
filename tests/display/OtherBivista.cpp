// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/display/OtherBivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

class OtherBivista : public Bivista {
  public:
    explicit OtherBivista(std::vector<int32_t>* taken) : mTaken(taken) {}
    Return<Status> setBrightness(int32_t value) override {
        mTaken->push_back(value);
        return Status::FAIL;
    }

  private:
    std::vector<int32_t>* const mTaken;
};

}  // namespace

sp<Bivista> makeOtherBivista(std::vector<int32_t>* taken) {
    return new OtherBivista(taken);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
