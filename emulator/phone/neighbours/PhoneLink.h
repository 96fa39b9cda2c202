// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone's journal, as a service sees it whose clients may hold it for longer than there is a
// phone.
#pragma once

#include <string>

#include <utils/Mutex.h>

#include "emulator/phone/Journal.h"

namespace neighbours {

// Any thread may use it.
class PhoneLink {
  public:
    explicit PhoneLink(phone::Journal& journal) : mJournal(&journal) {}

    // There is no phone any more.
    void cut() EXCLUDES(mLock);

    // Writes a call that was answered into the journal, after what was written before it.
    void note(const char* method, const std::string& arguments, const std::string& result)
            EXCLUDES(mLock);

    // Does this while there is a phone, or not at all.
    template <typename Work>
    void whileLinked(const Work& work) EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        if (mJournal != nullptr) work();
    }

  private:
    android::Mutex mLock;
    phone::Journal* mJournal GUARDED_BY(mLock);
};

}  // namespace neighbours
