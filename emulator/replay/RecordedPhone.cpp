// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/replay/RecordedPhone.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "emulator/phone/Error.h"
#include "emulator/phone/Paths.h"
#include "emulator/phone/Phone.h"
#include "emulator/phone/devices/Cover.h"
#include "emulator/phone/world/WorldBackend.h"

namespace replay {

using phone::Entry;
using phone::Kind;
using recording::Json;

namespace {

constexpr uint64_t kMaxImageSize = 64 << 20;
// All images together take no more memory.
constexpr uint64_t kMaxImages = 512 << 20;
// Uevents that were closer came as a burst.
constexpr Time kBurstGap = std::chrono::microseconds(500);

std::optional<Time> earlier(std::optional<Time> one, std::optional<Time> other) {
    if (!one || !other) return one ? one : other;
    return std::min(*one, *other);
}

// "4096 bytes".
std::optional<uint64_t> sizeOfImage(const Entry& entry) {
    uint64_t size = 0;
    const std::string& note = entry.note;
    const auto [end, error] = std::from_chars(note.data(), note.data() + note.size(), size);
    if (error != std::errc() || std::string_view(end) != " bytes") return std::nullopt;
    return size;
}

}  // namespace

RecordedPhone::RecordedPhone(const Script& script)
    : mBackend(std::make_unique<phone::WorldBackend>(mLoop)),
      mFiles(mSurroundings, [this](const std::string& path,
                                   const std::string& bytes) { mPower.control(path, bytes); }),
      mBench{mLoop, mJournal, *mBackend, mPower, Time(), phone::kClosingWait} {
    for (const DeviceScript& device : script.devices) mDevices.emplace_back(mBench, device);
    mPower.setFirstOptions(phone::kKernelPower);
    mJournal.setSync([this] { mLoop.call([this] { mBackend->drain(); }); });
    mLoop.start([this] {
        std::optional<Time> next = mBackend->turn();
        for (RecordedDevice& device : mDevices) next = earlier(next, device.turn());
        return earlier(next, mPower.turn());
    });
}

RecordedPhone::~RecordedPhone() {
    // Nothing that was written is missing in the journal.
    mJournal.sync();
    mLoop.stop();
}

// As erased flash memory: the content is not recorded.
std::string RecordedPhone::imageOf(uint64_t size) {
    if (size > kMaxImageSize) {
        throw phone::Error("an image of " + std::to_string(size) + " bytes is too large");
    }
    mImages += size;
    if (mImages > kMaxImages) throw phone::Error("the images are too large together");
    return std::string(size, '\xff');
}

void RecordedPhone::putFirst(const recording::Header& header) {
    mLoop.call([&] {
        for (const auto& [path, content] : header.files) {
            mBackend->putFile(mBackend->resolveFile(path), content);
        }
        for (const auto& [name, size] : header.images) {
            const auto path = mBackend->resolveFile(phone::kFirmwareFolder + ("/" + name));
            mBackend->putFile(path, imageOf(size));
        }
    });
    for (const auto& [key, value] : header.properties) mProperties.set(key, value);
}

std::map<std::string, size_t> RecordedPhone::heldCalls() {
    return mLoop.call([this] { return mBench.heldCalls; });
}

bool RecordedPhone::isCoverAttached() {
    return mLoop.call([this] {
        return std::ranges::any_of(mDevices, [](const RecordedDevice& device) {
            return device.isCover() && device.isPlugged();
        });
    });
}

void RecordedPhone::setNext(Time time) {
    mLoop.call([this, time] {
        mBench.next = time;
        mBackend->decideWaiting();
    });
}

void RecordedPhone::play(const Stimulus& stimulus) {
    const Entry& entry = *stimulus.entry;
    switch (entry.kind) {
        case Kind::Attach:
        case Kind::Detach:
        case Kind::TtyTx:
            return mLoop.call([&] { playDevice(stimulus); });
        case Kind::NodeSet:
            return setFile(entry);
        case Kind::Property:
            return entry.path.empty() ? mProperties.clear()
                                      : mProperties.set(entry.path, entry.bytes);
        case Kind::Uevent:
            return raise(entry);
        case Kind::Fault:
            return mLoop.call([&] { setFault(entry); });
        case Kind::Control:
            return setOptions(entry);
        case Kind::Signal:
            return sendSignal(entry);
        default:
            return;
    }
}

void RecordedPhone::playAtOnce(std::span<const Stimulus> stimuli) {
    mLoop.call([&] {
        for (const Stimulus& stimulus : stimuli) playDevice(stimulus);
    });
}

void RecordedPhone::playDevice(const Stimulus& stimulus) {
    RecordedDevice& device = mDevices[*stimulus.device];
    const Kind kind = stimulus.entry->kind;
    if (kind == Kind::Attach) return device.plug();
    if (!device.isPlugged()) return;
    if (kind == Kind::Detach) return device.unplug();
    device.send(stimulus.entry->bytes);
}

void RecordedPhone::setFile(const Entry& entry) {
    if (entry.note == "removed") {
        if (entry.path != phone::kFirmwareFolder) return mFiles.remove(entry.path);
        mLoop.call([&] { mBackend->clearFolder(entry.path); });
    } else if (const auto size = sizeOfImage(entry)) {
        mFiles.set(entry.path, imageOf(*size));
    } else {
        mFiles.set(entry.path, entry.bytes);
    }
}

void RecordedPhone::raise(const Entry& entry) {
    const bool isBurst = mLastUevent && entry.time - *mLastUevent < kBurstGap;
    mLastUevent = entry.time;
    if (entry.note == "forged") return mUevents.forge(entry.bytes);
    isBurst ? mUevents.burst(entry.bytes, 1) : mUevents.raise(entry.bytes);
}

void RecordedPhone::signal(int number) {
    mLoop.call([&] { mBackend->signal(number); });
}

void RecordedPhone::sendSignal(const Entry& entry) {
    const auto known = std::ranges::find(phone::kSignals, entry.bytes, &phone::Signal::name);
    if (known == std::end(phone::kSignals)) throw phone::Error("there is no signal " + entry.bytes);
    mJournal.add(Kind::Signal, {}, entry.bytes);
    signal(known->number);
}

void RecordedPhone::setFault(const Entry& entry) {
    mJournal.add(Kind::Fault, {}, entry.bytes, entry.note);
    if (entry.bytes.empty()) {
        mFaults.clear();
    } else if (entry.note == "removed") {
        mFaults.remove(entry.bytes);
    } else {
        mFaults.add(phone::parseNodeFault(entry.bytes));
    }
    mBackend->setNodeFaults(mFaults.list(), [](size_t, const std::string&, const std::string&) {});
    mBackend->drain();
    mBackend->decideWaiting();
}

// Of "PUT /v1/cover": what is the kernel's of it.
void RecordedPhone::setOptions(const Entry& entry) {
    const Json given = Json::parse(entry.bytes, nullptr, false);
    if (!given.is_object()) return;
    const auto timeOf = [&](const char* name) -> std::optional<Time> {
        const auto member = given.find(name);
        if (member == given.end() || !member->is_number_unsigned()) return std::nullopt;
        return std::chrono::milliseconds(member->get<uint32_t>());
    };
    phone::PowerOptions power = mPower.options();
    if (const auto wake = timeOf("wake_ms")) power.wakeTime = *wake;
    const auto delay = given.find("autosuspend_ms");
    if (delay != given.end()) power.autosuspendDelay = timeOf("autosuspend_ms");
    mPower.setOptions(power);
    const auto closing = timeOf("closing_wait_ms");
    if (closing) mLoop.call([&] { mBench.closingWait = *closing; });
}

}  // namespace replay
