// The phone's LPWG service, served in the test's own process.
#pragma once

#include <functional>
#include <vector>

#include <vendor/qmx/hardware/lpwg/1.3/ILpwg.h>

#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class FakeLpwg : public ::vendor::qmx::hardware::lpwg::V1_3::ILpwg {
  public:
    // What each call answers.
    std::function<Return<int32_t>(int32_t mode)> onMode = [](int32_t) { return 0; };

    // The modes that it was given; one thread at a time.
    std::vector<int32_t> modes;

    Return<int32_t> setAesModeToLpwg(int32_t mode) override {
        modes.push_back(mode);
        return onMode(mode);
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
};

// Registers one under the name that the cover service asks for.
inline ::android::sp<FakeLpwg> serveLpwg() {
    const ::android::sp<FakeLpwg> lpwg = new FakeLpwg;
    if (lpwg->registerAsService("default") != ::android::OK) abort();
    return lpwg;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
