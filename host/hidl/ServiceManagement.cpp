// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Registering and finding services.
#define LOG_TAG "host-hidl"

#include <hidl/ServiceManagement.h>

#include <android/hidl/manager/1.0/IServiceManager.h>
#include <log/log.h>
#include <utils/Mutex.h>

#include <cstring>
#include <map>
#include <optional>

#include "Declarations.h"
#include "Registry.h"
#include "Transport.h"

namespace android::hardware {

using ::android::hidl::base::V1_0::IBase;

sp<::android::hidl::manager::V1_0::IServiceManager> defaultServiceManager() {
    return nullptr;
}

std::vector<std::string> getAllHalInstanceNames(const std::string& descriptor) {
    return registry::list(descriptor);
}

namespace details {

namespace {

// What this process serves, by "descriptor/instance": found without leaving the process. The lock
// is held until a name is in the directory and here.
struct OwnServices {
    Mutex mutex;
    std::map<std::string, sp<IBinder>> objects GUARDED_BY(mutex);
};

OwnServices& ownServices() {
    static auto* const services = new OwnServices;
    return *services;
}

sp<IBinder> findOwn(const std::string& name) {
    OwnServices& own = ownServices();
    AutoMutex lock(own.mutex);
    const auto found = own.objects.find(name);
    return found != own.objects.end() ? found->second : nullptr;
}

std::vector<std::string> servedDescriptors(const sp<IBase>& service) {
    std::vector<std::string> descriptors;
    Return<void> result = service->interfaceChain([&](const hidl_vec<hidl_string>& chain) {
        for (const hidl_string& descriptor : chain) {
            if (descriptor != IBase::descriptor) descriptors.push_back(descriptor);
        }
    });
    if (!result.isOk()) {
        ALOGE("Cannot ask a service for its interfaces: %s", result.description().c_str());
    }
    return descriptors;
}

}  // namespace

status_t registerAsServiceInternal(const sp<IBase>& service, const std::string& name) {
    if (service == nullptr || service->isRemote()) return UNEXPECTED_NULL;
    const std::vector<std::string> descriptors = servedDescriptors(service);
    const sp<IBinder> object = getOrCreateCachedBinder(service.get());
    if (object == nullptr) return UNKNOWN_ERROR;
    ProcessState::self()->startThreadPool();
    OwnServices& own = ownServices();
    AutoMutex lock(own.mutex);
    const status_t status = transport::publish(descriptors, name, object->localBinder());
    if (status != OK) return status;
    for (const std::string& descriptor : descriptors) {
        own.objects[descriptor + "/" + name] = object;
    }
    return OK;
}

status_t unregisterServiceInternal(const sp<IBase>& service, const std::string& name) {
    if (service == nullptr || service->isRemote()) return UNEXPECTED_NULL;
    const std::vector<std::string> descriptors = servedDescriptors(service);
    if (descriptors.empty()) return UNKNOWN_ERROR;
    const sp<IBinder> object = getOrCreateCachedBinder(service.get());
    OwnServices& own = ownServices();
    AutoMutex lock(own.mutex);
    const auto found = own.objects.find(descriptors[0] + "/" + name);
    if (found == own.objects.end() || found->second != object) return NAME_NOT_FOUND;
    for (const std::string& descriptor : descriptors) own.objects.erase(descriptor + "/" + name);
    transport::withdraw(descriptors, name);
    return OK;
}

status_t declareServiceInternal(const sp<IBase>& service, const std::string& name) {
    return registry::declare(servedDescriptors(service), name);
}

status_t undeclareServiceInternal(const sp<IBase>& service, const std::string& name) {
    return registry::undeclare(servedDescriptors(service), name);
}

sp<IBinder> findService(const std::string& descriptor, const std::string& instance) {
    const std::string name = descriptor + "/" + instance;
    if (sp<IBinder> object = findOwn(name); object != nullptr) return object;
    const sp<IBinder> found = transport::find(descriptor, instance);
    // It may be our own, published since: a proxy of that must not get out.
    const sp<IBinder> published = found != nullptr ? findOwn(name) : nullptr;
    return published != nullptr ? published : found;
}

sp<IBinder> awaitService(const std::string& descriptor, const std::string& instance) {
    if (sp<IBinder> object = findService(descriptor, instance); object != nullptr) return object;
    const std::string name = descriptor + "/" + instance;
    std::optional<registry::Changes> changes;
    for (;;) {
        const int error = !changes || changes->watch() ? 0 : errno;
        // Asked before the look-up, since who comes up may be undeclared then.
        const bool declared = registry::isDeclared(descriptor, instance);
        sp<IBinder> object = findService(descriptor, instance);
        if (object != nullptr || !declared) {
            if (changes) ALOGI("%s is %s", name.c_str(), object ? "up" : "no longer declared");
            return object;
        }
        if (error != 0) {
            ALOGE("Cannot wait for %s: %s", name.c_str(), strerror(error));
            return nullptr;
        }
        if (changes) {
            changes->wait();
        } else {
            ALOGW("Waiting for %s, which is declared and not up", name.c_str());
            changes.emplace(descriptor);
        }
    }
}

}  // namespace details
}  // namespace android::hardware
