// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What every proxy of an object in another process is made over.
#pragma once

#include <hwbinder/IBinder.h>
#include <utils/Mutex.h>

#include <string>
#include <vector>

namespace android::hardware {

// The only IBinder whose localBinder() is null.
class RemoteObject : public IBinder {
  public:
    // The object's interface descriptors, most derived first; empty until they were set. They never
    // change, so that a cast costs a call only once.
    std::vector<std::string> interfaceChain() const {
        AutoMutex lock(mChainMutex);
        return mChain;
    }
    void setInterfaceChain(std::vector<std::string> chain) {
        AutoMutex lock(mChainMutex);
        mChain = std::move(chain);
    }

  private:
    mutable Mutex mChainMutex;
    std::vector<std::string> mChain GUARDED_BY(mChainMutex);
};

}  // namespace android::hardware
