// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hidl/Status.h>
#include <vendor/qmx/hardware/bivista/1.0/IBivista.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivista.h>

#include <string>
#include <type_traits>
#include <vector>

namespace bivistactl {

using BivistaV1_0 = ::vendor::qmx::hardware::bivista::V1_0::IBivista;
using BivistaV1_1 = ::vendor::qmx::hardware::bivista::V1_1::IBivista;

// The registered service. Throws Failure with EXIT_NO_SERVICE when there is none.
::android::sp<BivistaV1_0> findService();

// The service as version 1.1 of its interface. Throws Failure with EXIT_NO_SERVICE when it serves
// only 1.0.
::android::sp<BivistaV1_1> asV1_1(const ::android::sp<BivistaV1_0>& service);

template <typename Interface>
::android::sp<Interface> as(const ::android::sp<BivistaV1_0>& service) {
    if constexpr (std::is_same_v<Interface, BivistaV1_1>) return asV1_1(service);
    if constexpr (std::is_same_v<Interface, BivistaV1_0>) return service;
}

// The names of all interfaces that the service serves, its own first. Throws as requireDelivered().
std::vector<std::string> interfacesOf(const ::android::sp<BivistaV1_0>& service);

// Throws Failure with EXIT_NO_SERVICE and the reason, unless the call went through.
void requireDelivered(const ::android::hardware::details::return_status& result);

}  // namespace bivistactl
