// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the service says of itself and the cover without asking the cover.
#pragma once

#include <optional>
#include <string>

#include "tools/client/Call.h"
#include "tools/client/Dump.h"

namespace bivistactl {

// The method's answer; null for FAIL.
template <auto method>
Json valueOf(const ::android::sp<BivistaV1_0>& service) {
    const auto answer = call<method>(service);
    return answer.status == Status::OK ? toJson(answer.value) : Json();
}

template <typename T>
Json orNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json();
}

// Nothing when the dump does not have it.
inline std::optional<bool> isScreenOn(const Dump& dump) {
    return dump.flag({"display", "screenOn"});
}

enum class Presence {
    // The service has no dump that says it.
    UNKNOWN,
    // Nothing of a cover is left in the service: every detach is over.
    DETACHED,
    // On the way from one to the other.
    CHANGING,
    // Every step of the attach that a command needs is over. Of the attach, AT%LOGSAVE= and
    // AT%TCHUPDATE= may be still to come, and the sub display.
    ATTACHED,
};

// `isOnUsb`: getBV2Connect.
Presence presenceOf(bool isOnUsb, const Dump& dump);

}  // namespace bivistactl
