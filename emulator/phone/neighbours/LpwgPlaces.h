// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The methods of ILpwg that only hold their places, so that setAesModeToLpwg() has its own.
#pragma once

#include <vendor/qmx/hardware/lpwg/1.3/ILpwg.h>

namespace neighbours {

// They do nothing. A server of ILpwg adds setAesModeToLpwg().
class LpwgPlaces : public ::vendor::qmx::hardware::lpwg::V1_3::ILpwg {
  private:
    using Nothing = ::android::hardware::Return<void>;

  public:
    Nothing reserved_1() override { return ::android::hardware::Void(); }
    Nothing reserved_2() override { return ::android::hardware::Void(); }
    Nothing reserved_3() override { return ::android::hardware::Void(); }
    Nothing reserved_4() override { return ::android::hardware::Void(); }
    Nothing reserved_5() override { return ::android::hardware::Void(); }
    Nothing reserved_6() override { return ::android::hardware::Void(); }
    Nothing reserved_7() override { return ::android::hardware::Void(); }
    Nothing reserved_8() override { return ::android::hardware::Void(); }
    Nothing reserved_9() override { return ::android::hardware::Void(); }
    Nothing reserved_10() override { return ::android::hardware::Void(); }
    Nothing reserved_11() override { return ::android::hardware::Void(); }
    Nothing reserved_12() override { return ::android::hardware::Void(); }
    Nothing reserved_13() override { return ::android::hardware::Void(); }
};

}  // namespace neighbours
