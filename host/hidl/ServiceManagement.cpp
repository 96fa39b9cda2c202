// Registering and finding services.
#define LOG_TAG "host-hidl"

#include <hidl/ServiceManagement.h>

#include <android/hidl/manager/1.0/IServiceManager.h>
#include <log/log.h>
#include <utils/Mutex.h>

#include <map>

#include "Transport.h"

namespace android::hardware {

using ::android::hidl::base::V1_0::IBase;

sp<::android::hidl::manager::V1_0::IServiceManager> defaultServiceManager() {
    return nullptr;
}

std::vector<std::string> getAllHalInstanceNames(const std::string& descriptor) {
    return transport::list(descriptor);
}

namespace details {

namespace {

// What this process serves, by "descriptor/instance": found without leaving the process.
struct OwnServices {
    Mutex mutex;
    std::map<std::string, sp<IBinder>> objects GUARDED_BY(mutex);
};

OwnServices& ownServices() {
    static auto* const services = new OwnServices;
    return *services;
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
    const status_t status = transport::publish(descriptors, name, object->localBinder());
    if (status != OK) return status;
    OwnServices& own = ownServices();
    AutoMutex lock(own.mutex);
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
    {
        OwnServices& own = ownServices();
        AutoMutex lock(own.mutex);
        const auto found = own.objects.find(descriptors[0] + "/" + name);
        if (found == own.objects.end() || found->second != object) return NAME_NOT_FOUND;
        for (const std::string& descriptor : descriptors) {
            own.objects.erase(descriptor + "/" + name);
        }
    }
    transport::withdraw(descriptors, name);
    return OK;
}

sp<IBinder> findService(const std::string& descriptor, const std::string& instance) {
    {
        OwnServices& own = ownServices();
        AutoMutex lock(own.mutex);
        auto it = own.objects.find(descriptor + "/" + instance);
        if (it != own.objects.end()) return it->second;
    }
    return transport::find(descriptor, instance);
}

}  // namespace details
}  // namespace android::hardware
