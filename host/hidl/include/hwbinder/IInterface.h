// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How generated code gets from a proxy to its remote object.
#pragma once

#include <hwbinder/Binder.h>

namespace android::hardware {

class IInterface : public virtual RefBase {
  public:
    static sp<IBinder> asBinder(IInterface* interface) {
        return interface == nullptr ? nullptr : interface->onAsBinder();
    }

  protected:
    virtual IBinder* onAsBinder() = 0;
};

}  // namespace android::hardware
