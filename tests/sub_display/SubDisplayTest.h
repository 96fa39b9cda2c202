// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Fixture: a real Bivista on the emulated phone, with the panel of a cover that has no tty.
#pragma once

#include <condition_variable>
#include <string>
#include <vector>

#include <utils/Mutex.h>

#include "sub_display/FrameBuffer.h"
#include "tests/kernel/ServiceTest.h"
#include "tests/sub_display/PanelCalls.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

using phone::Kind;
using support::HidCall;

// The panel to attach, and where.
struct PanelOptions {
    int node = 0;  // /dev/hidraw<node>
    uint16_t x = 128;
    uint16_t y = 128;
    uint8_t format = 4;
    uint8_t ready = 1;
};

// A client's callback, which records the states that it gets.
class StateRecorder : public IBivistaSubDisplayCallback {
  public:
    Return<void> onSubDisplayStateChanged(SubScreenState state) override EXCLUDES(mLock);

    std::vector<SubScreenState> states() const EXCLUDES(mLock);
    // Waits for the first callback with this state.
    void waitFor(SubScreenState state) const EXCLUDES(mLock);

  private:
    mutable ::android::Mutex mLock;
    mutable std::condition_variable_any mAdded;
    std::vector<SubScreenState> mStates GUARDED_BY(mLock);
};

class SubDisplayTest : public ServiceTest {
  protected:
    // Takes the panel off.
    ~SubDisplayTest() override;

    // Waits until the update thread sleeps for want of a frame, as it logs from line `from` on.
    void awaitIdle(size_t from = 0) const;
    // Draws a frame and waits until the thread has done with it.
    void drawAndAwait(uint32_t number);
    // Puts the panel on and waits until the service has done with it; on, as a rule.
    void attachPanel(const PanelOptions& options = {});
    // As above, but does not wait.
    void plugPanel(const PanelOptions& options = {});
    // Pulls the panel off and waits until the service has done with it.
    void detachPanel();
    // As above, but does not wait. A call that is held goes on, without a device.
    void unplugPanel();
    // A fault of the panel's node, in the language of emulator/cover/PanelFault.h.
    void setFault(const std::string& text) { phone.faults.set(text); }
    void clearFaults() { phone.faults.clear(); }

    // What the service did with the panel's node from journal entry `from` on; all, or one kind.
    std::vector<phone::Entry> transfers(uint64_t from) const;
    std::vector<phone::Entry> transfers(Kind kind, uint64_t from) const;
    static std::vector<Kind> kinds(const std::vector<phone::Entry>& transfers);
    static std::vector<std::string> bytes(const std::vector<phone::Entry>& transfers);
    // The panel's memory at each report that ended a frame of this test, oldest first: 8192 bytes.
    const std::vector<std::string>& shownFrames();
    // As above, once there are at least so many.
    const std::vector<std::string>& waitForFrames(size_t count);

    SubScreenState state() const;
    static BufferState bufferState(uint8_t index);

    // Grey levels as words: level n of the pixel in bits 4 to 7, noise in all others.
    static hidl_vec<uint32_t> makeFrame(const std::vector<uint8_t>& levels);
    // A frame whose bytes in the panel's memory, `size` of them, are `number` over and over.
    static hidl_vec<uint32_t> makeFrame(uint32_t number, size_t size = FrameBuffer::kCapacity);
    static std::string frameBytes(uint32_t number, size_t size = FrameBuffer::kCapacity);

    const sp<StateRecorder> client = new StateRecorder;

  private:
    // Writes the report into the memory as the panel does, as far as it was taken.
    void replay(const phone::Entry& write);

    bool mHasPanel = false;
    // What shownFrames() has read.
    uint64_t mNext = first;
    std::string mMemory = std::string(FrameBuffer::kCapacity, '\0');
    std::vector<std::string> mFrames;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
