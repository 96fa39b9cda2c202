// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Records the calls of a process that serves, for a listener (CallRing.h): those that come in, and
// those that it makes. A process without a listener tests a pointer at each call, and no more.
#pragma once

#include <hwbinder/Parcel.h>
#include <utils/Mutex.h>

#include <atomic>

#include "CallRing.h"

namespace android::hardware::calls {

// Any thread may use it.
class CallRecorder {
  public:
    // None until connect() has found a listener, and after that is gone.
    static CallRecorder* get() { return sInstance.load(std::memory_order_acquire); }
    // To be called when the process is about to serve. Looks for a listener unless there is one;
    // one in this process does not count. Logs why a listener cannot be used.
    static void connect();

    // Writes the call into the ring; counts it as lost where there is no room. Returns whether the
    // bell must ring.
    bool add(const CallRecord& record) EXCLUDES(mMutex);
    // The first bell that the listener cannot hear ends the recording.
    void ring();

  private:
    CallRecorder(base::unique_fd listener, Mapping ring)
        : mListener(std::move(listener)), mRing(std::move(ring)) {}
    bool write(const CallRecord& record) REQUIRES(mMutex);
    void copyIn(const void* from, size_t size) REQUIRES(mMutex);

    static std::atomic<CallRecorder*> sInstance;

    const base::unique_fd mListener;
    const Mapping mRing;
    Mutex mMutex;
    uint64_t mWritten GUARDED_BY(mMutex) = 0;
};

// One call while it is under way; the request is kept as it is now, since who reads it puts
// addresses into it.
class RecordedCall {
  public:
    RecordedCall(bool isOutgoing, uint32_t code, const Parcel& request)
        : mRecorder(CallRecorder::get()) {
        if (mRecorder != nullptr) begin(isOutgoing, code, request);
    }
    // Once. `reply` counts if the status is OK.
    void end(status_t status, const ParcelWords& reply) {
        if (mRecorder != nullptr) finish(status, reply);
    }
    // After end(), and where nobody waits for this call any more: rings the bell if it must.
    void tell() {
        if (mMustRing) mRecorder->ring();
    }

  private:
    void begin(bool isOutgoing, uint32_t code, const Parcel& request);
    void finish(status_t status, const ParcelWords& reply);

    CallRecorder* const mRecorder;
    CallRecord mRecord;
    bool mMustRing = false;
};

}  // namespace android::hardware::calls
