// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Locks that fail and threads that cannot be made, which a healthy system does not show. The calls
// of a program that links target interposition go through Interposition.cpp (linker option --wrap);
// those inside shared libraries do not.
#pragma once

#include <atomic>
#include <functional>

namespace support {

// The lock of the calling thread from now on that fails: 1 is the next one; 0 is none. It is taken
// and reports an error, since the unlock after it may not hit a mutex that no thread holds.
extern thread_local int failLock;
// Every unlock of the calling thread fails: it is done and reports an error.
extern thread_local bool failUnlocks;
// As above, for every lock and unlock of the mutex at this address, on any thread.
extern std::atomic<const void*> failingMutex;

// Asked about every thread that is to be made, on the thread that makes it: 0 makes it, anything
// else is the result instead. To be set while no other thread makes threads.
using ThreadBody = void* (*)(void*);
extern std::function<int(ThreadBody body)> onThreadCreate;

}  // namespace support
