#include "tests/sub_display/SubDisplayTest.h"

#include <unistd.h>

#include "sub_display/SubDisplay.h"
#include "tests/support/HidNode.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Return<void> StateRecorder::onSubDisplayStateChanged(SubScreenState state) {
    const std::lock_guard lock(mLock);
    mStates.push_back(state);
    mTold.notify_all();
    return Void();
}

std::vector<SubScreenState> StateRecorder::states() const {
    const std::lock_guard lock(mLock);
    return mStates;
}

void StateRecorder::waitFor(SubScreenState state) const {
    std::unique_lock lock(mLock);
    mTold.wait(lock,
               [&] { return std::find(mStates.begin(), mStates.end(), state) != mStates.end(); });
}

SubDisplayTest::SubDisplayTest() : hidraw(support::FakeHidraw::instance()) {}

SubDisplayTest::~SubDisplayTest() {
    if (mNode.empty()) return;
    unplugPanel();
    // Whoever is first, this or the notify thread, ends the update thread.
    service->hidDisplayDeviceRemoved();
}

void SubDisplayTest::awaitIdle(size_t from) const {
    log.waitFor("There is no buffer to be consumed.", from);
    // It says so with this lock, and gives it up as it falls asleep.
    const MutexLock lock(service->subDisplay().sub_update_lock, __func__);
}

void SubDisplayTest::plugPanel(const PanelOptions& options) {
    hidraw.plug(options);
    support::createHidNode(phone, options.node);
    mNode = "/dev/hidraw" + std::to_string(options.node);
}

void SubDisplayTest::attachPanel(const PanelOptions& options) {
    const size_t from = log.size();
    plugPanel(options);
    log.waitFor("setSubDisplayPowerState --", from);
}

void SubDisplayTest::unplugPanel() {
    hidraw.unplug();
    ASSERT_EQ(unlink(mNode.c_str()), 0);
    mNode.clear();
}

void SubDisplayTest::detachPanel() {
    const size_t from = log.size();
    unplugPanel();
    log.waitFor("deinitSubDisplay -- ", from);
}

SubScreenState SubDisplayTest::state() const {
    SubScreenState state = SubScreenState::UNINITIALIZED;
    const Return<void> done =
            service->getSubDisplayPowerState([&](Status status, SubScreenState current) {
                EXPECT_EQ(status, Status::OK);
                state = current;
            });
    EXPECT_TRUE(done.isOk());
    return state;
}

BufferState SubDisplayTest::bufferState(uint8_t index) {
    FrameBuffer* const buffer = frameBuffer(index);
    const MutexLock lock(buffer->lock, __func__);
    return buffer->state;
}

hidl_vec<uint32_t> SubDisplayTest::makeFrame(const std::vector<uint8_t>& levels) {
    hidl_vec<uint32_t> frame;
    frame.resize(levels.size());
    uint32_t noise = 0x9E3779B9;
    for (size_t i = 0; i < levels.size(); ++i) {
        noise = noise * 1664525 + 1013904223;
        frame[i] = (noise & ~0xF0u) | uint32_t{levels[i]} << 4;
    }
    return frame;
}

hidl_vec<uint32_t> SubDisplayTest::makeFrame(uint32_t number, size_t size) {
    const std::string bytes = frameBytes(number, size);
    std::vector<uint8_t> levels(2 * size);
    for (size_t pair = 0; pair < size; ++pair) {
        const uint8_t byte = static_cast<uint8_t>(bytes[size - 1 - pair]);
        levels[2 * pair] = byte >> 4;
        levels[2 * pair + 1] = byte & 0x0F;
    }
    return makeFrame(levels);
}

std::string SubDisplayTest::frameBytes(uint32_t number, size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(number >> (8 * (i % 4)));
    return bytes;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
