// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/sub_display/SubDisplayTest.h"

#include <algorithm>
#include <cstring>

#include <unistd.h>

#include "sub_display/SubDisplay.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Return<void> StateRecorder::onSubDisplayStateChanged(SubScreenState state) {
    const ::android::AutoMutex lock(mLock);
    mStates.push_back(state);
    mAdded.notify_all();
    return Void();
}

std::vector<SubScreenState> StateRecorder::states() const {
    const ::android::AutoMutex lock(mLock);
    return mStates;
}

void StateRecorder::waitFor(SubScreenState state) const {
    const ::android::AutoMutex lock(mLock);
    while (std::find(mStates.begin(), mStates.end(), state) == mStates.end()) mAdded.wait(mLock);
}

SubDisplayTest::~SubDisplayTest() {
    if (!mHasPanel) return;
    unplugPanel();
    // Whoever is first, this or the notify thread, ends the update thread.
    service->hidDisplayDeviceRemoved();
}

void SubDisplayTest::awaitIdle(size_t from) const {
    log.waitFor("There is no buffer to be consumed.", from);
    // The thread logs this line with the lock held, and releases the lock as it falls asleep.
    const MutexLock lock(service->subDisplay().sub_update_lock, __func__);
}

void SubDisplayTest::drawAndAwait(uint32_t number) {
    const size_t from = log.size();
    EXPECT_EQ(service->drawSubDisplay(makeFrame(number)), Status::OK);
    awaitIdle(from);
    EXPECT_EQ(bufferState(0), BUFFER_FREE);
    EXPECT_EQ(bufferState(1), BUFFER_FREE);
}

void SubDisplayTest::plugPanel(const PanelOptions& options) {
    phone.panel.setOptions({options.x, options.y, options.format, options.ready});
    phone::CoverOptions cover;
    cover.withTty = false;
    cover.withUsb = false;
    cover.hid = options.node;
    phone.cover.attach(cover);
    mHasPanel = true;
}

void SubDisplayTest::attachPanel(const PanelOptions& options) {
    const size_t from = log.size();
    plugPanel(options);
    log.waitFor("setSubDisplayPowerState --", from);
}

void SubDisplayTest::unplugPanel() {
    phone.cover.detach();
    support::release();
    mHasPanel = false;
}

void SubDisplayTest::detachPanel() {
    const size_t from = log.size();
    unplugPanel();
    log.waitFor("deinitSubDisplay -- ", from);
}

std::vector<phone::Entry> SubDisplayTest::transfers(uint64_t from) const {
    std::vector<phone::Entry> entries = journal.since(from);
    std::erase_if(entries, [](const phone::Entry& entry) {
        return entry.kind < Kind::HidOpen || entry.kind > Kind::HidClose;
    });
    return entries;
}

std::vector<phone::Entry> SubDisplayTest::transfers(Kind kind, uint64_t from) const {
    std::vector<phone::Entry> entries = transfers(from);
    std::erase_if(entries, [kind](const phone::Entry& entry) { return entry.kind != kind; });
    return entries;
}

std::vector<Kind> SubDisplayTest::kinds(const std::vector<phone::Entry>& transfers) {
    std::vector<Kind> kinds;
    for (const phone::Entry& entry : transfers) kinds.push_back(entry.kind);
    return kinds;
}

std::vector<std::string> SubDisplayTest::bytes(const std::vector<phone::Entry>& transfers) {
    std::vector<std::string> bytes;
    for (const phone::Entry& entry : transfers) bytes.push_back(entry.bytes);
    return bytes;
}

void SubDisplayTest::replay(const phone::Entry& write) {
    constexpr char kPassed[] = "passed ";
    size_t taken = write.bytes.size();
    if (write.note.starts_with(kPassed)) {
        taken = std::stoul(write.note.substr(strlen(kPassed)));
    } else if (!write.note.empty()) {
        return;
    }
    struct Header {
        uint8_t id;
        uint16_t length;
        uint32_t offset;
    } __attribute__((packed)) header;
    memcpy(&header, write.bytes.data(), sizeof(header));
    if (header.length == 0) mFrames.push_back(mMemory);
    if (taken <= sizeof(header)) return;
    mMemory.replace(header.offset, taken - sizeof(header), write.bytes, sizeof(header),
                    taken - sizeof(header));
}

const std::vector<std::string>& SubDisplayTest::shownFrames() {
    for (const phone::Entry& entry : journal.since(mNext)) {
        mNext = entry.seq + 1;
        if (entry.kind == Kind::HidWrite) replay(entry);
    }
    return mFrames;
}

const std::vector<std::string>& SubDisplayTest::waitForFrames(size_t count) {
    while (shownFrames().size() < count) usleep(1000);
    return mFrames;
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
