// Lets writers go on while a reader takes what they wrote so far. All of it is there twice: they
// write on one side, until the reader turns them to the other one.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Any number of writers, who wait for nobody; one reader. Takes no lock and makes no system call.
class TwoSides {
  public:
    // A writer begins and ends: what it writes in between, on this side, is read as a whole.
    size_t enter() { return mEntered.fetch_add(kWriter, std::memory_order_acquire) & kSide; }
    void leave(size_t side) { mLeft[side].fetch_add(1, std::memory_order_release); }

    // The side that was written on: whoever enters from now on writes on the other one, which the
    // reader has done with. This one is the reader's once it is quiet.
    size_t turn() {
        const size_t side = mEntered.load(std::memory_order_relaxed) & kSide;
        mLeft[side ^ kSide].store(0, std::memory_order_relaxed);
        mAwaited = mEntered.exchange(side ^ kSide, std::memory_order_acq_rel) / kWriter;
        return side;
    }
    // Whether all have left who entered on the side that the last turn() gave.
    bool isQuiet(size_t side) const {
        return mLeft[side].load(std::memory_order_acquire) == mAwaited;
    }

  private:
    static constexpr uint64_t kSide = 1;
    static constexpr uint64_t kWriter = 2;

    // The side in its lowest bit, and above it how many entered on that side since the last turn.
    std::atomic<uint64_t> mEntered = 0;
    std::array<std::atomic<uint64_t>, 2> mLeft = {};
    // The reader's own: how many entered before its last turn.
    uint64_t mAwaited = 0;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
