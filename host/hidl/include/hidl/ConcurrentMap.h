// A map that several threads use; for generated code.
#pragma once

#include <map>
#include <mutex>

namespace android::hardware::details {

template <typename K, typename V>
class ConcurrentMap {
  public:
    void set(K key, V value) {
        std::lock_guard<std::mutex> lock(mMutex);
        mMap[std::move(key)] = std::move(value);
    }
    V get(const K& key, const V& fallback) const {
        std::lock_guard<std::mutex> lock(mMutex);
        auto it = mMap.find(key);
        return it == mMap.end() ? fallback : it->second;
    }
    void erase(const K& key) {
        std::lock_guard<std::mutex> lock(mMutex);
        mMap.erase(key);
    }

  private:
    mutable std::mutex mMutex;
    std::map<K, V> mMap;  // guarded by mMutex
};

}  // namespace android::hardware::details
