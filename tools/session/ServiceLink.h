// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service as it comes and goes. A thread looks for it while it is absent, and only then, so
// that an idle session costs the service nothing.
#pragma once

#include <hidl/HidlSupport.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <functional>
#include <thread>

#include "tools/client/Service.h"

namespace session {

using bivistactl::BivistaV1_0;

// Held by the transport, too: make it with new, and call end() before the last release.
class ServiceLink : public ::android::hardware::hidl_death_recipient {
  public:
    // Told of each change once, in their order, by any thread. Must return soon, and not call back.
    struct Changes {
        std::function<void()> returned;
        std::function<void()> died;
    };

    explicit ServiceLink(Changes changes);

    // Begins to look. A service that is there already is found before this returns, and not told.
    void begin();
    // No change is told after this.
    void end();

    // The service; looks for it when it is absent. Throws NoService.
    ::android::sp<BivistaV1_0> service();
    bool isPresent();
    // This service was seen to be dead.
    void lose(const ::android::sp<BivistaV1_0>& service);

  private:
    // `cookie`: the number that the service had here.
    void serviceDied(uint64_t cookie,
                     const ::android::wp<::android::hidl::base::V1_0::IBase>& who) override;
    void loseNumber(uint64_t number);
    void take(const ::android::sp<BivistaV1_0>& service, bool isTold);
    void lookWhileAbsent();

    const Changes mChanges;
    ::android::Mutex mMutex;
    ::android::sp<BivistaV1_0> mService GUARDED_BY(mMutex);
    // Of mService; each one that is taken has another.
    uint64_t mNumber GUARDED_BY(mMutex) = 0;
    bool mIsEnded GUARDED_BY(mMutex) = false;
    ::android::Condition mIsChanged;
    std::thread mThread;
};

}  // namespace session
