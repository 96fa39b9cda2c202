// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Callbacks that hand what the service tells to a base class of the caller's, as JSON.
//
// `Sink` has a constructor, which these inherit, and tell(const Json& members), which runs on the
// thread that serves callbacks and returns Return<void>. It is destroyed with the callback: when
// the service has let go of it, or has died.
#pragma once

#include <vendor/qmx/hardware/bivista/1.0/IBivistaLpwgCallback.h>
#include <vendor/qmx/hardware/bivista/1.0/IBivistaSubDisplayCallback.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

#include <nlohmann/json.hpp>

#include "tools/text/Json.h"

namespace bivistactl {

// Touch and pen events: {"version":"1.1","status":N,"name":...,"result":N}. `Callback` is the
// version of the interface that it implements.
template <typename Callback, typename Sink>
class LpwgCallback : public Callback, protected Sink {
  public:
    using Sink::Sink;

    ::android::hardware::Return<void> onLpwgEvent(
            ::vendor::qmx::hardware::bivista::V1_0::LpwgEventStatus status,
            int32_t result) override {
        return tellEvent("1.0", static_cast<int32_t>(status), result);
    }

  protected:
    ::android::hardware::Return<void> tellEvent(const char* version, int32_t status,
                                                int32_t result) const {
        return Sink::tell({{"version", version},
                           {"status", status},
                           {"name", eventName(status)},
                           {"result", result}});
    }
};

template <typename Sink>
using LpwgCallbackV1_0 =
        LpwgCallback<::vendor::qmx::hardware::bivista::V1_0::IBivistaLpwgCallback, Sink>;

template <typename Sink>
class LpwgCallbackV1_1
    : public LpwgCallback<::vendor::qmx::hardware::bivista::V1_1::IBivistaLpwgCallback, Sink> {
  public:
    using LpwgCallback<::vendor::qmx::hardware::bivista::V1_1::IBivistaLpwgCallback,
                       Sink>::LpwgCallback;

    ::android::hardware::Return<void> onLpwgEvent_1_1(
            ::vendor::qmx::hardware::bivista::V1_1::LpwgEventStatus status,
            int32_t result) override {
        return this->tellEvent("1.1", static_cast<int32_t>(status), result);
    }
};

// States of the sub display: {"state":"ON","code":3}.
template <typename Sink>
class SubDisplayCallback
    : public ::vendor::qmx::hardware::bivista::V1_0::IBivistaSubDisplayCallback,
      protected Sink {
  public:
    using Sink::Sink;

    ::android::hardware::Return<void> onSubDisplayStateChanged(
            ::vendor::qmx::hardware::bivista::V1_0::SubScreenState state) override {
        return Sink::tell(toJson(state));
    }
};

}  // namespace bivistactl
