// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A service of this process in the registry: put there, and taken back.
#pragma once

#include <string>

#include <android/hidl/base/1.0/IBase.h>
#include <utils/Mutex.h>
#include <utils/StrongPointer.h>

namespace neighbours {

// Any thread may use it.
class Registration {
  public:
    // Absent at first; `what` names the service to people, as in "accessory service".
    Registration(::android::sp<::android::hidl::base::V1_0::IBase> service, std::string what);
    // Absent from then on.
    ~Registration();
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    // Registers it as "default" (HIDL_SOCKET_DIR), if it is not up. Throws phone::Error when it
    // cannot be registered.
    void serve() EXCLUDES(mLock);
    // Declared, and not up: a client that looks it up waits until it is served or withdrawn. Throws
    // phone::Error when it cannot be declared.
    void declare() EXCLUDES(mLock);
    // Takes it back, its declaration too.
    void withdraw() EXCLUDES(mLock);
    bool isServed() const EXCLUDES(mLock);
    bool isDeclared() const EXCLUDES(mLock);

  private:
    void unregister() REQUIRES(mLock);
    void undeclare() REQUIRES(mLock);

    const ::android::sp<::android::hidl::base::V1_0::IBase> mService;
    const std::string mWhat;
    mutable android::Mutex mLock;
    bool mServed GUARDED_BY(mLock) = false;
    bool mDeclared GUARDED_BY(mLock) = false;
};

}  // namespace neighbours
