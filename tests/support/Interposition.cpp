// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/support/Interposition.h"

#include <cerrno>
#include <cstdarg>

#include <android/log.h>
#include <pthread.h>

namespace support {

thread_local int failLock = 0;
thread_local bool failUnlocks = false;
std::atomic<const void*> failingMutex = nullptr;
std::function<int(ThreadBody)> onThreadCreate;

namespace {

// The log's own locks do not count.
thread_local bool sLogging = false;

bool isFailing(const pthread_mutex_t* mutex) {
    return !sLogging && failingMutex == mutex;
}

bool isDue(int* countdown) {
    return !sLogging && *countdown > 0 && --*countdown == 0;
}

}  // namespace

}  // namespace support

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    const int result = __real_pthread_mutex_lock(mutex);
    return support::isDue(&support::failLock) || support::isFailing(mutex) ? EINVAL : result;
}

int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    const int result = __real_pthread_mutex_unlock(mutex);
    const bool fails = (support::failUnlocks && !support::sLogging) || support::isFailing(mutex);
    return fails ? EPERM : result;
}

int __wrap___android_log_print(int priority, const char* tag, const char* format, ...) {
    support::sLogging = true;
    va_list arguments;
    va_start(arguments, format);
    const int result = __android_log_vprint(priority, tag, format, arguments);
    va_end(arguments);
    support::sLogging = false;
    return result;
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*body)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*body)(void*),
                          void* argument) {
    const int result = support::onThreadCreate ? support::onThreadCreate(body) : 0;
    return result != 0 ? result : __real_pthread_create(thread, attr, body, argument);
}
}
