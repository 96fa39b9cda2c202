// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The two kinds of IBinder as generated classes see them: the served object, and what a proxy
// holds.
#pragma once

#include <hwbinder/IBinder.h>

#include <utility>

namespace android::hardware {

// A served object: generated classes override onTransact().
class BHwBinder : public IBinder {
  public:
    // Runs the method on the calling thread. `callback` gets the reply as soon as the method has
    // one; a method without results has none before it returns.
    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0,
                      TransactCallback callback = nullptr) override {
        return onTransact(code, data, reply, flags, std::move(callback));
    }

    // An object of this process never dies before its caller: refused.
    status_t linkToDeath(const sp<DeathRecipient>& /*recipient*/) override {
        return INVALID_OPERATION;
    }
    status_t unlinkToDeath(const wp<DeathRecipient>& /*recipient*/) override {
        return INVALID_OPERATION;
    }

    BHwBinder* localBinder() override { return this; }

  protected:
    virtual status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                uint32_t flags = 0, TransactCallback callback = nullptr) = 0;

    // Set by generated code; threads keep the scheduling that the process gives them.
    void setRequestingSid(bool /*requesting*/) {}
    int mSchedPolicy = 0;
    int mSchedPriority = 0;
};

// What every proxy holds: the remote object.
class BpHwRefBase : public virtual RefBase {
  public:
    IBinder* remote() const { return mRemote.get(); }

  protected:
    explicit BpHwRefBase(const sp<IBinder>& remote) : mRemote(remote) {}

  private:
    const sp<IBinder> mRemote;
};

}  // namespace android::hardware
