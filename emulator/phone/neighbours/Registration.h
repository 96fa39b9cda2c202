// A service of this process in the registry: put there, and taken back.
#pragma once

#include <mutex>
#include <string>

#include <android/hidl/base/1.0/IBase.h>
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
    void serve();
    // Declared, and not up: who looks it up waits until it is served or withdrawn. Throws
    // phone::Error when it cannot be declared.
    void declare();
    // Takes it back, its declaration too.
    void withdraw();
    bool isServed() const;
    bool isDeclared() const;

  private:
    void unregister();  // mLock is held
    void undeclare();   // mLock is held

    const ::android::sp<::android::hidl::base::V1_0::IBase> mService;
    const std::string mWhat;
    mutable std::mutex mLock;
    bool mServed = false;    // guarded by mLock
    bool mDeclared = false;  // guarded by mLock
};

}  // namespace neighbours
