// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hidl/Status.h>
#include <vendor/qmx/hardware/bivista/1.0/IBivista.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivista.h>

#include <string>
#include <type_traits>
#include <vector>

#include "tools/ExitStatus.h"

namespace bivistactl {

using BivistaV1_0 = ::vendor::qmx::hardware::bivista::V1_0::IBivista;
using BivistaV1_1 = ::vendor::qmx::hardware::bivista::V1_1::IBivista;

// Why the service carried no call out. Ends a command with EXIT_NO_SERVICE.
class NoService : public Failure {
  public:
    enum Cause {
        // None is registered, or it does not answer.
        ABSENT,
        // It died during the call, which it may have carried out.
        DIED,
        // The transport refused the call.
        REFUSED,
        // It serves only version 1.0 of its interface.
        TOO_OLD,
    };

    NoService(Cause cause, const std::string& message)
        : Failure(EXIT_NO_SERVICE, message), cause(cause) {}

    const Cause cause;
};

// The registered service. Throws NoService when there is none.
::android::sp<BivistaV1_0> findService();

// The service as version 1.1 of its interface. Throws NoService when it serves only 1.0.
::android::sp<BivistaV1_1> asV1_1(const ::android::sp<BivistaV1_0>& service);

template <typename Interface>
::android::sp<Interface> as(const ::android::sp<BivistaV1_0>& service) {
    if constexpr (std::is_same_v<Interface, BivistaV1_1>) return asV1_1(service);
    if constexpr (std::is_same_v<Interface, BivistaV1_0>) return service;
}

// Whether the registered service is still this one. Asks its transport alone, which also answers
// while a call of the service hangs.
bool isServed(const ::android::sp<BivistaV1_0>& service);

// The names of all interfaces that the service serves, its own first. Throws as requireDelivered().
std::vector<std::string> interfacesOf(const ::android::sp<BivistaV1_0>& service);

// Throws NoService unless the call went through.
void requireDelivered(const ::android::hardware::details::return_status& result);

}  // namespace bivistactl
