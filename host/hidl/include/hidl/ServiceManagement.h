// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Registering and finding services. There is no service manager process: a service is a socket in
// a directory, see host/hidl/README.md.
#pragma once

#include <string>
#include <vector>

#include <hidl/HidlTransportSupport.h>
#include <utils/StrongPointer.h>

namespace android::hidl::manager::V1_0 {
struct IServiceManager;
}

namespace android::hardware {

// Always null: there is no service manager to ask. registerForNotifications() answers false.
sp<::android::hidl::manager::V1_0::IServiceManager> defaultServiceManager();

// The instances of an interface that are served now, sorted by name. On a phone: those that its
// manifest declares, served or not.
std::vector<std::string> getAllHalInstanceNames(const std::string& descriptor);

namespace details {

// Registers under every interface of the object's chain but IBase. ALREADY_EXISTS: a live service
// has one of the names. NO_MEMORY: the transport's descriptors or its thread cannot be had.
// PERMISSION_DENIED or another error: the directory cannot be used. All but OK are logged with
// their cause.
status_t registerAsServiceInternal(const sp<::android::hidl::base::V1_0::IBase>& service,
                                   const std::string& name);

// Takes a registration of this process back, as a phone's service manager does on its
// tryUnregister: the service is absent until it is registered again, and other processes that have
// it find it dead. NAME_NOT_FOUND: this process has not registered it so.
status_t unregisterServiceInternal(const sp<::android::hidl::base::V1_0::IBase>& service,
                                   const std::string& name);

// Declares a service, under every interface of its chain but IBase, as a phone's manifest does:
// getService() waits for it while it is not up. Errors are logged.
status_t declareServiceInternal(const sp<::android::hidl::base::V1_0::IBase>& service,
                                const std::string& name);

// Takes the declaration back, whoever made it: those who wait get null.
status_t undeclareServiceInternal(const sp<::android::hidl::base::V1_0::IBase>& service,
                                  const std::string& name);

// The object of a registered service, null when there is none; the implementation itself when this
// process registered it.
sp<IBinder> findService(const std::string& descriptor, const std::string& instance);

// The same, but waits for a service that is declared and not up, for as long as it is declared.
// Logs the beginning and the end of the wait.
sp<IBinder> awaitService(const std::string& descriptor, const std::string& instance);

// `retry`: getService(), which waits for a declared service; else tryGetService().
template <typename BpType>
sp<typename BpType::Pure> getServiceInternal(const std::string& instance, bool retry,
                                             bool getStub) {
    using IType = typename BpType::Pure;
    sp<IBinder> object = retry && !getStub ? awaitService(IType::descriptor, instance)
                                           : findService(IType::descriptor, instance);
    return fromBinder<IType, BpType, void>(object);
}

}  // namespace details
}  // namespace android::hardware
