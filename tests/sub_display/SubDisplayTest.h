// Fixture: a real Bivista on the emulated phone, with a panel for the sub display.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "sub_display/FrameBuffer.h"
#include "tests/kernel/ServiceTest.h"
#include "tests/support/FakeHidraw.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

using support::HidCall;
using support::PanelOptions;

// A client's callback, which keeps what it was told.
class StateRecorder : public IBivistaSubDisplayCallback {
  public:
    Return<void> onSubDisplayStateChanged(SubScreenState state) override;

    std::vector<SubScreenState> states() const;
    // Waits until it was told this state for the first time.
    void waitFor(SubScreenState state) const;

  private:
    mutable std::mutex mLock;  // guards what follows
    mutable std::condition_variable mTold;
    std::vector<SubScreenState> mStates;
};

class SubDisplayTest : public ServiceTest {
  protected:
    SubDisplayTest();
    // Takes the panel off.
    ~SubDisplayTest() override;

    // Waits until the update thread, which says so from line `from` on, sleeps for want of a frame.
    void awaitIdle(size_t from = 0) const;
    // Puts the panel on and waits until the service has done with it; on, as a rule.
    void attachPanel(const PanelOptions& options = {});
    // As above, but does not wait.
    void plugPanel(const PanelOptions& options = {});
    // Pulls the panel off and waits until the service has done with it.
    void detachPanel();
    // As above, but does not wait.
    void unplugPanel();

    SubScreenState state() const;
    static BufferState bufferState(uint8_t index);

    // Grey levels as words: level n of the pixel in bits 4 to 7, noise in all others.
    static hidl_vec<uint32_t> makeFrame(const std::vector<uint8_t>& levels);
    // A frame whose bytes in the panel's memory, `size` of them, are `number` over and over.
    static hidl_vec<uint32_t> makeFrame(uint32_t number, size_t size = FrameBuffer::kCapacity);
    static std::string frameBytes(uint32_t number, size_t size = FrameBuffer::kCapacity);

    support::FakeHidraw& hidraw;
    const sp<StateRecorder> client = new StateRecorder;

  private:
    std::string mNode;  // in /dev; empty without a panel
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
