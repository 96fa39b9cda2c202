// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/Panel.h"

#include <algorithm>
#include <cerrno>

namespace phone {

using cover::PanelCall;
using cover::PanelOutcome;

namespace {

// In the language of faults.
PanelCall callOf(const HidRequest& request) {
    switch (request.kind) {
        case HidRequest::Kind::GetFeature:
            return PanelCall::Info;
        case HidRequest::Kind::SetFeature:
            return PanelCall::Config;
        case HidRequest::Kind::Write:
            break;
    }
    return PanelCall::Write;
}

}  // namespace

cover::PanelState Panel::state() const {
    return call([&] { return mPanel.state(); });
}

bool Panel::isAttached() const {
    return call([&] { return mIsPlugged; });
}

cover::PanelOptions Panel::options() const {
    return call([&] { return mPanel.options(); });
}

void Panel::setOptions(const cover::PanelOptions& options) {
    call([&] { mPanel.setOptions(options); });
}

std::optional<cover::Picture> Panel::picture() const {
    return call([&] { return mIsPlugged ? mPanel.picture() : std::nullopt; });
}

cover::Time Panel::openTime() const {
    return call([&] { return mOpenTime; });
}

void Panel::setOpenTime(cover::Time time) {
    call([&] { mOpenTime = time; });
}

void Panel::reset() {
    mPanel = {};
    mOpenTime = kKernelOpenTime;
}

void Panel::plug() {
    mPanel.powerUp();
    mIsPlugged = true;
}

void Panel::unplug() {
    mPanel.powerDown();
    mIsPlugged = false;
}

HidAnswer Panel::begin(const std::string& node, PanelCall call, cover::Time time, bool waited,
                       std::optional<uint64_t>* pass) {
    const cover::Time wake = mPower.use();
    if (!waited) {
        cover::Time delay = time + mFaults.takeDelay(call);
        recordStrikes(node, mFaults.takeStrikes());
        if (call == PanelCall::Open) delay += wake;
        if (delay > cover::Time::zero()) return {.askAgainAfter = delay};
    }
    const PanelOutcome outcome = mFaults.takeOutcome(call);
    recordStrikes(node, mFaults.takeStrikes());
    *pass = outcome.pass;
    if (!outcome.unplugs) return {.result = -outcome.error};
    mPullOff();
    return {.result = call == PanelCall::Open ? -ENODEV : -ESHUTDOWN};
}

HidAnswer Panel::hidOpened(const std::string& node, const HidOpen& open, bool waited) {
    const cover::Time came = EventLoop::now() - open.held;
    const cover::Time time = open.isFirst ? mOpenTime : cover::Time::zero();
    std::optional<uint64_t> pass;
    HidAnswer answer = begin(node, PanelCall::Open, time, waited, &pass);
    if (!answer.askAgainAfter) recordOpen(node, open, answer, heldOf(came, open.held));
    return answer;
}

HidAnswer Panel::hidRequested(const std::string& node, const HidRequest& request, bool waited) {
    const cover::Time came = EventLoop::now() - request.held;
    std::optional<uint64_t> pass;
    HidAnswer answer = begin(node, callOf(request), cover::Time::zero(), waited, &pass);
    if (answer.askAgainAfter) return answer;
    if (answer.result == 0) answer = transfer(request, pass);
    recordRequest(node, request, answer, heldOf(came, request.held));
    return answer;
}

// A call that pulled the cover off came before that.
cover::Time Panel::heldOf(cover::Time came, cover::Time held) const {
    return mIsPlugged ? held : EventLoop::now() - came;
}

HidAnswer Panel::transfer(const HidRequest& request, std::optional<uint64_t> pass) {
    const size_t passed = std::min<uint64_t>(request.size, pass.value_or(request.size));
    const std::string& bytes = request.bytes;
    bool taken = false;
    if (request.kind == HidRequest::Kind::GetFeature) {
        const std::optional<std::string> report = mPanel.feature(static_cast<uint8_t>(bytes[0]));
        if (!report) return {.result = -EPIPE};
        const std::string read = report->substr(0, passed);
        return {.result = static_cast<int64_t>(read.size()), .report = read};
    }
    if (request.kind == HidRequest::Kind::SetFeature) {
        // Half a configuration is none.
        taken = passed < bytes.size() || mPanel.setFeature(bytes);
    } else {
        taken = mPanel.write(bytes, passed);
    }
    // A panel that does not take a report stalls the request.
    return {.result = taken ? static_cast<int64_t>(passed) : -EPIPE};
}

}  // namespace phone
