// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The calls of a process that serves, on their way to whoever listens: a ring in memory that both
// share, and the socket over which the process hands out the ring and rings the bell.
//
//   process that serves                          listener, at <registry's folder>/calls.sock
//     connects  ----- one byte and the memory --->  CallRing::receive()
//     writes records into the ring                  CallRing::take(), whenever it wants to know
//     one byte, the bell  ------------------------>  (from half full on, or at each call: follow())
#pragma once

#include <hwbinder/ParcelWords.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include <android-base/unique_fd.h>

namespace android::hardware::calls {

inline constexpr char kSocketName[] = "calls.sock";
// A record of the largest call and answer fits twice. A power of two.
inline constexpr size_t kRingBytes = 4 << 20;

// Of CLOCK_MONOTONIC.
inline int64_t nowNs() {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

// One call that is over.
struct CallRecord {
    bool isOutgoing = false;  // the process called, as a client's callback
    uint32_t code = 0;
    int32_t status = 0;   // a status_t
    int64_t beginNs = 0;  // as of nowNs()
    int64_t endNs = 0;
    // Words of the Parcels. The request begins with the token of the interface; the answer is empty
    // unless the status is OK.
    ParcelWords request;
    ParcelWords reply;
};

// How a record begins in the ring; its words follow.
struct RecordHead {
    uint32_t requestWords;
    uint32_t replyWords;
    uint32_t code;
    uint32_t isOutgoing;
    int32_t status;
    uint32_t unused;
    int64_t beginNs;
    int64_t endNs;
};

// The shared memory. Positions count bytes and never wrap; a record may go on at the ring's begin.
struct RingMemory {
    // Of the process that serves.
    alignas(64) std::atomic<uint64_t> written;
    std::atomic<uint64_t> lost;  // records that found no room
    // Of the listener.
    alignas(64) std::atomic<uint64_t> read;
    std::atomic<uint32_t> isFollowed;
    alignas(64) uint8_t bytes[kRingBytes];
};

class Mapping {
  public:
    // Maps memory of exactly this size that nobody can shrink. Null memory() when `fd` is none.
    explicit Mapping(int fd);
    ~Mapping();
    Mapping(Mapping&& other) noexcept : mMemory(std::exchange(other.mMemory, nullptr)) {}
    Mapping& operator=(Mapping&& other) noexcept {
        std::swap(mMemory, other.mMemory);
        return *this;
    }

    RingMemory* memory() const { return mMemory; }

  private:
    RingMemory* mMemory;
};

// The listener's end. What the other process writes is its word: nothing of it is believed unseen.
// Not thread-safe.
class CallRing {
  public:
    // Takes what a process sends first on its connection. Nothing when there is no such message, or
    // none yet; never waits.
    static std::optional<CallRing> receive(int connection);
    // Of memory that this process has at hand.
    explicit CallRing(Mapping mapping) : mMapping(std::move(mapping)) {}

    // All that is in the ring, in the order in which the calls ended. isBroken() afterwards: the
    // process wrote what no recorder writes, and nothing more will come.
    std::vector<CallRecord> take();
    bool isBroken() const { return mIsBroken; }
    // How many calls found no room since this was asked last.
    uint64_t takeLost();
    // Whether the bell is to ring at each call.
    void follow(bool isFollowed);

  private:
    bool takeOne(uint64_t end, CallRecord* record);
    void copyOut(uint64_t position, void* to, size_t size) const;

    Mapping mMapping;
    // The listener's own, since the process can change what is in the memory.
    uint64_t mRead = 0;
    bool mIsBroken = false;
};

// A listening socket, non-blocking, in the folder; it replaces what has its name. Not ok(), errno
// set, on failure.
base::unique_fd listenForCalls(int folder);

// The next process of the same user that wants to hand out its calls; not ok(), errno set, when
// there is none.
base::unique_fd acceptCaller(int listener);

}  // namespace android::hardware::calls
