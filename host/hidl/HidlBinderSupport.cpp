// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// HIDL types in a Parcel, and interfaces as objects of calls.
#define LOG_TAG "host-hidl"

#include <hidl/HidlBinderSupport.h>

#include <android/hidl/base/1.0/BnHwBase.h>
#include <log/log.h>

#include <cstddef>

#include "RemoteObject.h"

namespace android::hardware {

using ::android::hidl::base::V1_0::BnHwBase;
using ::android::hidl::base::V1_0::IBase;

void hidl_binder_death_recipient::binderDied(const wp<IBinder>& /*who*/) {
    sp<hidl_death_recipient> recipient = mRecipient.promote();
    if (recipient != nullptr) recipient->serviceDied(mCookie, mBase);
}

// --- types ---

namespace {

// A type that came in owns nothing, whatever the peer's bytes say.
template <typename T>
void disown(const T& value, size_t offsetOfOwns) {
    reinterpret_cast<uint8_t*>(const_cast<T*>(&value))[offsetOfOwns] = 0;
}

constexpr size_t kOffsetOfOwnsHandle = 8;
constexpr size_t kOffsetOfOwnsBuffer = 12;

}  // namespace

status_t writeEmbeddedToParcel(const hidl_string& text, Parcel* parcel, size_t parentHandle,
                               size_t parentOffset) {
    return parcel->writeEmbeddedBuffer(text.c_str(), text.size() + 1, nullptr, parentHandle,
                                       parentOffset);
}

status_t readEmbeddedFromParcel(const hidl_string& text, const Parcel& parcel, size_t parentHandle,
                                size_t parentOffset) {
    disown(text, kOffsetOfOwnsBuffer);
    const void* data = nullptr;
    const status_t status =
            parcel.readEmbeddedBuffer(text.size() + 1, nullptr, parentHandle, parentOffset, &data);
    if (status != OK) return status;
    return static_cast<const char*>(data)[text.size()] == '\0' ? OK : BAD_VALUE;
}

status_t writeEmbeddedToParcel(const hidl_handle& handle, Parcel* parcel, size_t parentHandle,
                               size_t parentOffset) {
    return parcel->writeEmbeddedNativeHandle(handle.getNativeHandle(), parentHandle, parentOffset);
}

status_t readEmbeddedFromParcel(const hidl_handle& handle, const Parcel& parcel,
                                size_t parentHandle, size_t parentOffset) {
    disown(handle, kOffsetOfOwnsHandle);
    const native_handle_t* native = nullptr;
    return parcel.readNullableEmbeddedNativeHandle(parentHandle, parentOffset, &native);
}

namespace details {

void disownVec(const void* vec) {
    static_cast<uint8_t*>(const_cast<void*>(vec))[kOffsetOfOwnsBuffer] = 0;
}

}  // namespace details

status_t writeToParcel(const Status& status, Parcel* parcel) {
    status_t result = parcel->writeInt32(status.exceptionCode());
    if (result == OK && !status.isOk()) result = parcel->writeText(status.exceptionMessage());
    return result;
}

status_t readFromParcel(Status* status, const Parcel& parcel) {
    int32_t exception = Status::EX_NONE;
    status_t result = parcel.readInt32(&exception);
    if (result != OK) return result;
    if (exception == Status::EX_NONE) {
        *status = Status::ok();
        return OK;
    }
    std::string message;
    result = parcel.readText(&message);
    if (result == OK) status->setException(exception, message.c_str());
    return result;
}

// --- interfaces ---

namespace details {

namespace {

// The remote object of each proxy. A proxy is known to callers by its IBase, from which nothing
// leads to its other base classes without run-time type information. Who looks it up has a
// reference to the proxy, and the proxy one to its remote object.
ConcurrentMap<const IBase*, RemoteObject*>& proxies() {
    static auto* const map = new ConcurrentMap<const IBase*, RemoteObject*>;
    return *map;
}

std::vector<std::string> askInterfaceChain(IBase* interface) {
    std::vector<std::string> chain;
    Return<void> result = interface->interfaceChain([&](const hidl_vec<hidl_string>& descriptors) {
        chain.assign(descriptors.begin(), descriptors.end());
    });
    if (!result.isOk()) {
        ALOGE("Cannot ask an object for its interfaces: %s", result.description().c_str());
    }
    return chain;
}

std::vector<std::string> interfaceChainOf(IBase* interface) {
    RemoteObject* remote = interface->isRemote() ? proxies().get(interface, nullptr) : nullptr;
    if (remote == nullptr) return askInterfaceChain(interface);
    std::vector<std::string> chain = remote->interfaceChain();
    if (chain.empty()) {
        chain = askInterfaceChain(interface);
        remote->setInterfaceChain(chain);
    }
    return chain;
}

std::string getDescriptor(IBase* interface) {
    std::string descriptor;
    Return<void> result =
            interface->interfaceDescriptor([&](const hidl_string& text) { descriptor = text; });
    if (!result.isOk()) {
        ALOGE("Cannot ask an object for its interface: %s", result.description().c_str());
    }
    return descriptor;
}

}  // namespace

void rememberProxy(const IBase* proxy, IBinder* remote) {
    proxies().set(proxy, static_cast<RemoteObject*>(remote));
}

void forgetProxy(const IBase* proxy) {
    proxies().erase(proxy);
}

sp<IBase> implementationOf(BHwBinder* object) {
    return static_cast<BnHwBase*>(object)->getImpl();
}

bool canCastInterface(IBase* interface, const char* castTo, bool emitError) {
    if (interface == nullptr) return false;
    for (const std::string& descriptor : interfaceChainOf(interface)) {
        if (descriptor == castTo) return true;
    }
    if (emitError) ALOGE("An object does not implement %s", castTo);
    return false;
}

}  // namespace details

sp<IBinder> getOrCreateCachedBinder(IBase* interface) {
    if (interface->isRemote()) return details::proxies().get(interface, nullptr);
    return details::gBnMap->getOrMake(interface, [&]() -> sp<IBinder> {
        const std::string descriptor = details::getDescriptor(interface);
        auto make = details::getBnConstructorMap().get(descriptor, nullptr);
        if (make == nullptr) {
            ALOGE("No generated code is linked for %s", descriptor.c_str());
            return nullptr;
        }
        return make(interface);
    });
}

}  // namespace android::hardware
