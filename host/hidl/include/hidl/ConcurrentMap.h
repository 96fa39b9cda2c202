// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A map that several threads use; for generated code.
#pragma once

#include <utils/Mutex.h>

#include <map>

namespace android::hardware::details {

template <typename K, typename V>
class ConcurrentMap {
  public:
    void set(K key, V value) {
        const AutoMutex lock(mMutex);
        mMap[std::move(key)] = std::move(value);
    }
    V get(const K& key, const V& fallback) const {
        const AutoMutex lock(mMutex);
        auto it = mMap.find(key);
        return it == mMap.end() ? fallback : it->second;
    }
    void erase(const K& key) {
        const AutoMutex lock(mMutex);
        mMap.erase(key);
    }

  private:
    mutable Mutex mMutex;
    std::map<K, V> mMap GUARDED_BY(mMutex);
};

}  // namespace android::hardware::details
