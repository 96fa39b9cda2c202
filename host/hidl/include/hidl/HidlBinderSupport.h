// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How HIDL types go into a Parcel and come out of it, and how interfaces become objects of calls.
#pragma once

#include <hidl/HidlSupport.h>
#include <hidl/Static.h>
#include <hidl/Status.h>
#include <hwbinder/Binder.h>
#include <hwbinder/IInterface.h>
#include <hwbinder/Parcel.h>
#include <unistd.h>

#include <android/hidl/base/1.0/IBase.h>

namespace android::hardware {

// Passes the news of a death on to a HIDL recipient.
class hidl_binder_death_recipient : public IBinder::DeathRecipient {
  public:
    hidl_binder_death_recipient(const sp<hidl_death_recipient>& recipient, uint64_t cookie,
                                const sp<::android::hidl::base::V1_0::IBase>& base)
        : mRecipient(recipient), mCookie(cookie), mBase(base) {}
    void binderDied(const wp<IBinder>& who) override;
    sp<hidl_death_recipient> getRecipient() { return mRecipient.promote(); }

  private:
    const wp<hidl_death_recipient> mRecipient;
    const uint64_t mCookie;
    const wp<::android::hidl::base::V1_0::IBase> mBase;
};

// The part of a type behind its pointer, which is the first thing in it; the part before travels in
// the parent's bytes.
status_t writeEmbeddedToParcel(const hidl_string& text, Parcel* parcel, size_t parentHandle,
                               size_t parentOffset);
status_t readEmbeddedFromParcel(const hidl_string& text, const Parcel& parcel, size_t parentHandle,
                                size_t parentOffset);
status_t writeEmbeddedToParcel(const hidl_handle& handle, Parcel* parcel, size_t parentHandle,
                               size_t parentOffset);
status_t readEmbeddedFromParcel(const hidl_handle& handle, const Parcel& parcel,
                                size_t parentHandle, size_t parentOffset);

template <typename T>
status_t writeEmbeddedToParcel(const hidl_vec<T>& vec, Parcel* parcel, size_t parentHandle,
                               size_t parentOffset, size_t* handle) {
    return parcel->writeEmbeddedBuffer(vec.data(), vec.size() * sizeof(T), handle, parentHandle,
                                       parentOffset);
}

namespace details {
// Makes a hidl_vec that came in own nothing, whatever the peer's bytes say.
void disownVec(const void* vec);
}  // namespace details

template <typename T>
status_t readEmbeddedFromParcel(const hidl_vec<T>& vec, const Parcel& parcel, size_t parentHandle,
                                size_t parentOffset, size_t* handle) {
    details::disownVec(&vec);
    // The size has 32 bits, so that the product cannot overflow.
    const void* data = nullptr;
    return parcel.readEmbeddedBuffer(vec.size() * sizeof(T), handle, parentHandle, parentOffset,
                                     &data);
}

status_t readFromParcel(Status* status, const Parcel& parcel);
status_t writeToParcel(const Status& status, Parcel* parcel);

// The remote object of a proxy, or the served object of a local implementation.
sp<IBinder> getOrCreateCachedBinder(::android::hidl::base::V1_0::IBase* interface);

template <typename IType>
sp<IBinder> toBinder(const sp<IType>& interface) {
    return interface == nullptr ? nullptr : getOrCreateCachedBinder(interface.get());
}

namespace details {

// Whether the object implements the interface. A proxy asks its process once, then remembers.
bool canCastInterface(::android::hidl::base::V1_0::IBase* interface, const char* castTo,
                      bool emitError = false);

void rememberProxy(const ::android::hidl::base::V1_0::IBase* proxy, IBinder* remote);
void forgetProxy(const ::android::hidl::base::V1_0::IBase* proxy);

sp<::android::hidl::base::V1_0::IBase> implementationOf(BHwBinder* object);

// 0 bits of an address leave the process.
inline bool debuggable() {
    return false;
}
inline int getPidIfSharable() {
    return getpid();
}

}  // namespace details

// Base of every proxy: the interface, over a remote object.
template <typename INTERFACE>
class BpInterface : public INTERFACE, public IInterface, public BpHwRefBase {
  public:
    explicit BpInterface(const sp<IBinder>& remote) : BpHwRefBase(remote) {
        details::rememberProxy(this, remote.get());
    }
    ~BpInterface() override { details::forgetProxy(this); }

  protected:
    IBinder* onAsBinder() override { return remote(); }
};

// The interface of an object that came in: the implementation itself when it lives in this
// process, else a new proxy. Null when it is local and of another interface.
template <typename IType, typename ProxyType, typename /*StubType*/>
sp<IType> fromBinder(const sp<IBinder>& object) {
    if (object == nullptr) return nullptr;
    BHwBinder* local = object->localBinder();
    if (local == nullptr) return new ProxyType(object);
    sp<::android::hidl::base::V1_0::IBase> impl = details::implementationOf(local);
    if (!details::canCastInterface(impl.get(), IType::descriptor)) return nullptr;
    return static_cast<IType*>(impl.get());
}

}  // namespace android::hardware
