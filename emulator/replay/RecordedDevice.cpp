// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/replay/RecordedDevice.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace replay {

using phone::EventLoop;
using phone::HidAnswer;
using phone::Kind;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

// An answer waits no longer for what was recorded before it: what it waits for may wait for a deed
// of the thread that it answers.
constexpr Time kLongestWait = seconds(1);
// How often an answer on a hidraw node looks again.
constexpr Time kLookAgain = milliseconds(1);

constexpr char kError[] = "\r\nERROR\r\n";

// The device will be gone before the call is answered.
bool isCutOff(const HidCall& call) {
    return call.error == ESHUTDOWN || call.error == ENODEV;
}

}  // namespace

RecordedDevice::RecordedDevice(Bench& bench, const DeviceScript& script)
    : TtyRecorder(bench.journal),
      HidRecorder(bench.journal),
      mBench(bench),
      mScript(script),
      mUsed(script.exchanges.size()),
      mUsedCalls(script.hidCalls.size()) {}

void RecordedDevice::plug() {
    phone::DeviceDescription description = mScript.description;
    description.ttyListener = this;
    description.hidListener = this;
    mBench.backend.checkFree(description);
    mDevice = mBench.backend.make(description);
    const phone::Entry& attach = *mScript.attach;
    mBench.journal.add(Kind::Attach, mDevice->name(), attach.bytes, attach.note);
    mDevice->publish();
    if (mScript.isCover && description.onBus) mBench.power.plug(mDevice->name());
}

void RecordedDevice::unplug() {
    const auto begin = std::chrono::steady_clock::now();
    const std::unique_ptr<phone::Device> device = std::move(mDevice);
    mSendings.clear();
    if (mScript.isCover) mBench.power.unplug();
    if (!mScript.description.tty && !mScript.description.hidraw) {
        return mBench.journal.add(Kind::Detach, device->name());
    }
    device->hangUp();
    mBench.journal.add({.kind = Kind::Detach,
                        .begin = begin,
                        .duration = std::chrono::steady_clock::now() - begin,
                        .path = device->name(),
                        .bytes = {},
                        .note = {}});
}

Time RecordedDevice::waitOf(Time due, Time recorded) const {
    const Time now = EventLoop::now();
    if (now < due) return due - now;
    if (recorded <= mBench.next) return {};
    return std::max(due + kLongestWait - now, Time());
}

void RecordedDevice::send(const std::string& bytes) {
    mSendings.push_back({.bytes = bytes});
    turn();
}

void RecordedDevice::transmit(const std::string& bytes) {
    // First the record: the phone's software may act on the bytes at once.
    mBench.journal.add(Kind::TtyTx, phone::ttyNode(*mScript.description.tty), bytes);
    if (mScript.isCover) mBench.power.use();
    mDevice->send(bytes);
}

std::optional<Time> RecordedDevice::turn() {
    while (mDevice && !mSendings.empty()) {
        const Sending& next = mSendings.front();
        const Time wait = waitOf(next.due, next.recorded);
        if (wait > Time()) return EventLoop::now() + wait;
        transmit(next.bytes);
        mSendings.pop_front();
    }
    return std::nullopt;
}

// --- the tty ---

bool RecordedDevice::isDeaf() const {
    const auto unused =
            std::find(mUsed.begin() + static_cast<ptrdiff_t>(mNextExchange), mUsed.end(), false);
    return unused != mUsed.end() &&
           mScript.exchanges[static_cast<size_t>(unused - mUsed.begin())].isLost;
}

std::optional<Time> RecordedDevice::ttyOpened(const std::string& node, const std::string& flags) {
    TtyRecorder::ttyOpened(node, flags);
    const bool isEverDeaf = std::ranges::any_of(mScript.exchanges, &Exchange::isLost);
    return isEverDeaf ? std::optional(mBench.closingWait) : std::nullopt;
}

size_t RecordedDevice::ttyReceived(const std::string& node, const std::string& bytes) {
    if (mScript.isCover) mBench.power.use();
    size_t taken = 0;
    while (taken < bytes.size() && !isDeaf()) {
        const size_t end = std::min(bytes.find('\r', taken), bytes.size() - 1) + 1;
        const std::string piece = bytes.substr(taken, end - taken);
        TtyRecorder::ttyReceived(node, piece);
        taken = end;
        mReceived += piece;
        if (mReceived.ends_with('\r')) receive(std::exchange(mReceived, {}));
    }
    return taken;
}

void RecordedDevice::ttyLost(const std::string& node, const std::string& bytes) {
    TtyRecorder::ttyLost(node, bytes);
    for (size_t i = mNextExchange; i < mUsed.size(); ++i) {
        if (mUsed[i] || !mScript.exchanges[i].isLost) continue;
        mUsed[i] = true;
        mNextExchange = i + 1;
        return;
    }
}

void RecordedDevice::dtrSet(const std::string& node, bool raised) {
    if (!mDevice || mIsDtrRaised == raised) return;
    mIsDtrRaised = raised;
    mBench.journal.add(Kind::Dtr, node, {}, raised ? "raised" : "lowered");
}

// Later ones first: the service may have left out what comes before. Earlier ones next: two of its
// threads may have sent their commands the other way round.
size_t RecordedDevice::find(const std::string& command) const {
    const size_t count = mScript.exchanges.size();
    for (size_t i = 0; i < count; ++i) {
        const size_t place = (mNextExchange + i) % count;
        const Exchange& exchange = mScript.exchanges[place];
        if (!mUsed[place] && !exchange.isLost && exchange.command == command) return place;
    }
    return count;
}

void RecordedDevice::receive(const std::string& command) {
    const Time now = EventLoop::now();
    const size_t place = find(command);
    if (place == mScript.exchanges.size()) {
        mSendings.push_back({.due = now, .bytes = kError});
        return;
    }
    mUsed[place] = true;
    mNextExchange = std::max(mNextExchange, place + 1);
    for (const Answer& answer : mScript.exchanges[place].answers) {
        mSendings.push_back({now + answer.delay, answer.recorded, answer.bytes});
    }
}

// --- the hidraw node ---

HidCall RecordedDevice::takeCall(Kind kind) {
    while (mFirstCall < mUsedCalls.size() && mUsedCalls[mFirstCall]) ++mFirstCall;
    for (size_t i = mFirstCall; i < mUsedCalls.size(); ++i) {
        if (mUsedCalls[i] || mScript.hidCalls[i].kind != kind) continue;
        mUsedCalls[i] = true;
        return mScript.hidCalls[i];
    }
    return {.kind = kind, .error = kind == Kind::HidGet ? EPIPE : 0};
}

void RecordedDevice::hold(const std::string& node, Kind kind, const std::string& bytes) {
    HidCall call = takeCall(kind);
    const Time due = EventLoop::now() + call.held;
    const std::string lane = laneOf({.kind = kind, .path = node, .bytes = bytes});
    mHeld.push_back({kind, bytes, lane, due, std::move(call)});
    ++mBench.heldCalls[lane];
    ++mBench.calls;
    // The player may wait for it.
    mBench.journal.wake();
}

void RecordedDevice::release(std::deque<Held>::iterator held) {
    --mBench.heldCalls[held->lane];
    mHeld.erase(held);
}

std::deque<RecordedDevice::Held>::iterator RecordedDevice::findHeld(Kind kind,
                                                                    const std::string& bytes) {
    return std::ranges::find_if(
            mHeld, [&](const Held& held) { return held.kind == kind && held.bytes == bytes; });
}

HidAnswer RecordedDevice::decide(const std::string& node, Kind kind, const std::string& bytes,
                                 size_t size, bool waited) {
    if (!waited) hold(node, kind, bytes);
    const auto held = waited ? findHeld(kind, bytes) : std::prev(mHeld.end());
    if (held == mHeld.end()) return {.result = -EIO};
    const HidCall& call = held->call;
    // Its going answers it.
    const Time recorded = isCutOff(call) ? Time::max() : call.answered;
    // An open that is under way when the device goes comes to its end then.
    const Time wait = mDevice ? waitOf(held->due, recorded) : Time();
    if (wait > Time()) {
        return {.askAgainAfter =
                        std::min(wait, std::max(kLookAgain, held->due - EventLoop::now()))};
    }
    const size_t length = kind == Kind::HidGet ? call.report.size() : size;
    HidAnswer answer = {.result = -call.error, .report = call.report};
    if (call.error == 0) answer.result = static_cast<int64_t>(call.passed.value_or(length));
    release(held);
    return answer;
}

HidAnswer RecordedDevice::hidOpened(const std::string& node, const phone::HidOpen& open,
                                    bool waited) {
    if (mScript.isCover) mBench.power.use();
    HidAnswer answer = decide(node, Kind::HidOpen, open.flags, 0, waited);
    if (!answer.askAgainAfter) recordOpen(node, open, answer, open.held);
    return answer;
}

HidAnswer RecordedDevice::hidRequested(const std::string& node, const phone::HidRequest& request,
                                       bool waited) {
    if (mScript.isCover) mBench.power.use();
    HidAnswer answer = decide(node, kindOf(request), request.bytes, request.size, waited);
    if (!answer.askAgainAfter) recordRequest(node, request, answer, request.held);
    return answer;
}

void RecordedDevice::hidRefused(const std::string& node, const phone::HidRequest& request,
                                int error) {
    const Kind kind = kindOf(request);
    if (const auto held = findHeld(kind, request.bytes); held != mHeld.end()) {
        release(held);
    } else {
        takeCall(kind);
    }
    HidRecorder::hidRefused(node, request, error);
}

}  // namespace replay
