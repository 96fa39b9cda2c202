// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// An object that can be called by transaction: one of this process, or a proxy of a remote one.
#pragma once

#include <cstdint>
#include <functional>

#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

namespace android::hardware {

class BHwBinder;
class Parcel;

class IBinder : public virtual RefBase {
  public:
    using TransactCallback = std::function<void(Parcel&)>;

    enum : uint32_t {
        FLAG_ONEWAY = 0x00000001,
    };

    // Told, once and on an RPC thread, that the object's process is gone.
    class DeathRecipient : public virtual RefBase {
      public:
        virtual void binderDied(const wp<IBinder>& who) = 0;
    };

    // Calls method `code`. `reply` is filled before this returns, except for FLAG_ONEWAY.
    // DEAD_OBJECT: the object's process is gone. FAILED_TRANSACTION: too large, or refused.
    virtual status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0,
                              TransactCallback callback = nullptr) = 0;

    // The recipient is held weakly. DEAD_OBJECT when the process is gone already.
    virtual status_t linkToDeath(const sp<DeathRecipient>& recipient) = 0;
    // NAME_NOT_FOUND when the recipient was not linked; DEAD_OBJECT when it was told already.
    virtual status_t unlinkToDeath(const wp<DeathRecipient>& recipient) = 0;

    virtual BHwBinder* localBinder() { return nullptr; }
};

}  // namespace android::hardware
