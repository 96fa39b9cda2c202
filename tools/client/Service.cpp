// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/client/Service.h"

#include <hidl/HidlTransportSupport.h>
#include <stdlib.h>

#include <new>

#include "host/hidl/Registry.h"

namespace bivistactl {
namespace {

// The folder in force.
std::string registryInWords() {
    const char* given = getenv("HIDL_SOCKET_DIR");
    const std::string folder = ::android::hardware::registry::directory();
    if (given == nullptr || *given == '\0') return folder + " (HIDL_SOCKET_DIR is not set)";
    return "HIDL_SOCKET_DIR=" + folder;
}

// Before the service is blamed: a process without memory drops its connections too. Throws
// bad_alloc when that is so.
void requireMemory() {
    constexpr size_t kLeast = 4 << 20;
    ::operator delete(::operator new(kLeast));
}

}  // namespace

::android::sp<BivistaV1_0> findService() {
    // Does not wait for a service that is declared and not up.
    ::android::sp<BivistaV1_0> service = BivistaV1_0::tryGetService();
    if (service != nullptr) return service;
    requireMemory();
    throw NoService(NoService::ABSENT,
                    "no Bivista service answers in " + registryInWords() +
                            ". Start the service, or set HIDL_SOCKET_DIR to the folder that it was "
                            "started with.");
}

::android::sp<BivistaV1_1> asV1_1(const ::android::sp<BivistaV1_0>& service) {
    auto result = BivistaV1_1::castFrom(service);
    requireDelivered(result);
    ::android::sp<BivistaV1_1> cast = result;
    if (cast != nullptr) return cast;
    throw NoService(
            NoService::TOO_OLD,
            "the service serves only version 1.0 of its interface, and this needs 1.1. Start "
            "the newer service.");
}

bool isServed(const ::android::sp<BivistaV1_0>& service) {
    const ::android::sp<BivistaV1_0> present = BivistaV1_0::tryGetService();
    return present != nullptr && ::android::hardware::interfacesEqual(present, service);
}

std::vector<std::string> interfacesOf(const ::android::sp<BivistaV1_0>& service) {
    std::vector<std::string> names;
    requireDelivered(service->interfaceChain(
            [&](const auto& chain) { names.assign(chain.begin(), chain.end()); }));
    return names;
}

void requireDelivered(const ::android::hardware::details::return_status& result) {
    if (result.isOk()) return;
    if (result.isDeadObject()) {
        requireMemory();
        throw NoService(NoService::DIED, "the service died during the call (" +
                                                 result.description() +
                                                 "). Look into its log, and start it again.");
    }
    throw NoService(NoService::REFUSED,
                    "the call did not reach the service or was refused: " + result.description());
}

}  // namespace bivistactl
