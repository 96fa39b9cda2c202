// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone's LPWG service, served in the test's own process.
#pragma once

#include <functional>
#include <vector>

#include "emulator/phone/neighbours/LpwgPlaces.h"
#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class FakeLpwg : public neighbours::LpwgPlaces {
  public:
    // What each call answers.
    std::function<Return<int32_t>(int32_t mode)> onMode = [](int32_t) { return 0; };

    // The modes that it was given; one thread at a time.
    std::vector<int32_t> modes;

    Return<int32_t> setAesModeToLpwg(int32_t mode) override {
        modes.push_back(mode);
        return onMode(mode);
    }
};

// Registers one under the name that the cover service asks for.
inline ::android::sp<FakeLpwg> serveLpwg() {
    const ::android::sp<FakeLpwg> lpwg = new FakeLpwg;
    if (lpwg->registerAsService("default") != ::android::OK) abort();
    return lpwg;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
