// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service's mutexes. A failure to lock or unlock is logged with the function's name, and the
// function carries on. Not std::mutex: the phone's C++ library gives it a destructor, which runs at
// exit, and threads of the service outlive main.
#pragma once

#include <pthread.h>

#include <string>

#include "kernel/base/Log.h"
#include "kernel/base/ThreadAnnotations.h"
#include "kernel/base/TraceSlice.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// A plain non-recursive mutex; statically initialised, never destroyed.
class CAPABILITY("mutex") Mutex {
  public:
    constexpr Mutex() = default;
    // A wait for it shows under this name in the system's trace. `name` is a literal.
    explicit constexpr Mutex(const char* name) : mName(name) {}
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock(const char* function) ACQUIRE() {
        // Not with a try of the lock when nobody traces: that would be one more step for all.
        const bool isTraced = mName != nullptr && TraceSlice::isTracing();
        if ((isTraced ? lockTraced() : pthread_mutex_lock(&mHandle)) != 0) {
            LOG_ERROR("Error at pthread_mutex_lock() : %s\n", function);
        }
    }

    void unlock(const char* function) RELEASE() {
        if (pthread_mutex_unlock(&mHandle) != 0) {
            LOG_ERROR("Error at pthread_mutex_unlock() : %s\n", function);
        }
    }

    // False when a thread holds the mutex. Does not wait.
    bool tryLock() TRY_ACQUIRE(true) { return pthread_mutex_trylock(&mHandle) == 0; }

    // As lock() and unlock(), where a failure is not logged.
    void lockSilently() ACQUIRE() { pthread_mutex_lock(&mHandle); }
    void unlockSilently() RELEASE() { pthread_mutex_unlock(&mHandle); }

    // Releases the mutex, waits until the condition is signalled, and takes the mutex again. May
    // return without a signal. Returns the result of pthread_cond_wait.
    int wait(pthread_cond_t* condition) REQUIRES(this) {
        return pthread_cond_wait(condition, &mHandle);
    }

  private:
    // A slice for a wait, and none for a mutex that is free.
    int lockTraced() NO_THREAD_SAFETY_ANALYSIS {
        if (pthread_mutex_trylock(&mHandle) == 0) return 0;
        const TraceSlice slice([this] { return std::string("wait for ") + mName; });
        return pthread_mutex_lock(&mHandle);
    }

    pthread_mutex_t mHandle = PTHREAD_MUTEX_INITIALIZER;
    const char* const mName = nullptr;
};

// Holds a Mutex for a scope. `function` is the name that a failure is logged with.
class SCOPED_CAPABILITY MutexLock {
  public:
    MutexLock(Mutex& mutex, const char* function) ACQUIRE(mutex)
        : mMutex(mutex), mFunction(function) {
        mMutex.lock(mFunction);
    }
    ~MutexLock() RELEASE() { mMutex.unlock(mFunction); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

  private:
    Mutex& mMutex;
    const char* const mFunction;
};

// Holds a leaf lock for a scope; a failure is not logged.
class SCOPED_CAPABILITY LeafLock {
  public:
    explicit LeafLock(Mutex& mutex) ACQUIRE(mutex) : mMutex(mutex) { mMutex.lockSilently(); }
    ~LeafLock() RELEASE() { mMutex.unlockSilently(); }
    LeafLock(const LeafLock&) = delete;
    LeafLock& operator=(const LeafLock&) = delete;

  private:
    Mutex& mMutex;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
