// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The tables that generated code fills before main(). None is ever destroyed.
#pragma once

#include <sched.h>

#include <functional>
#include <map>
#include <mutex>  // for generated code
#include <string>

#include <hidl/ConcurrentMap.h>
#include <hidl/HidlInternal.h>
#include <hwbinder/Binder.h>

#ifndef SCHED_NORMAL
#define SCHED_NORMAL SCHED_OTHER
#endif

namespace android::hardware::details {

// Makes the served object (Bn) of an implementation, by interface descriptor. The argument points
// to the interface class itself.
using BnConstructorMap = ConcurrentMap<std::string, std::function<sp<IBinder>(void*)>>;
BnConstructorMap& getBnConstructorMap();

// Passthrough wrappers (Bs) of generated code are never used.
struct BsConstructorMap {
    template <typename Maker>
    void set(const char* /*descriptor*/, Maker /*make*/) {}
    void erase(const char* /*descriptor*/) {}
};
inline BsConstructorMap getBsConstructorMap() {
    return {};
}

// The served object of each implementation that was handed out, so that the same implementation
// is always the same object to a peer.
class BnMap {
  public:
    using Maker = std::function<sp<IBinder>()>;
    // The object of `impl`, made if there is none.
    sp<IBinder> getOrMake(::android::hidl::base::V1_0::IBase* impl, const Maker& make);
    void eraseIfEqual(::android::hidl::base::V1_0::IBase* impl, BHwBinder* object);

  private:
    struct Entry {
        wp<IBinder> weak;
        BHwBinder* object;
    };
    Mutex mMutex;
    std::map<::android::hidl::base::V1_0::IBase*, Entry> mMap GUARDED_BY(mMutex);
};
extern BnMap* const gBnMap;

struct SchedPrio {
    int sched_policy;
    int prio;
};

// Generated code asks for scheduling and security wishes; nothing here can be wished for.
struct ServicePrioMap {
    SchedPrio get(const wp<::android::hidl::base::V1_0::IBase>&, SchedPrio fallback) const {
        return fallback;
    }
};
struct ServiceSidMap {
    bool get(const wp<::android::hidl::base::V1_0::IBase>&, bool fallback) const {
        return fallback;
    }
};
extern const ServicePrioMap* const gServicePrioMap;
extern const ServiceSidMap* const gServiceSidMap;

}  // namespace android::hardware::details
