// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone, as a service sees it whose clients may hold it for longer than there is a phone.
#pragma once

#include <string>

#include <utils/Mutex.h>

#include "emulator/phone/Phone.h"

namespace neighbours {

// Any thread may use it.
class PhoneLink {
  public:
    explicit PhoneLink(phone::Phone& phone) : mPhone(&phone) {}

    // There is no phone any more.
    void cut() EXCLUDES(mLock);

    // Writes a call that was answered into the journal, after what was written before it.
    void note(const char* method, const std::string& arguments, const std::string& result)
            EXCLUDES(mLock);

    // False without a phone.
    bool isCoverAttached() EXCLUDES(mLock);

  private:
    android::Mutex mLock;
    phone::Phone* mPhone GUARDED_BY(mLock);
};

}  // namespace neighbours
