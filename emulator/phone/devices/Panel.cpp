// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/Panel.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace phone {

using cover::PanelCall;
using cover::PanelOutcome;

namespace {

struct Names {
    PanelCall call;  // in the language of faults
    Kind entry;      // in the journal
};

Names namesOf(const HidRequest& request) {
    switch (request.kind) {
        case HidRequest::Kind::GetFeature:
            return {PanelCall::Info, Kind::HidGet};
        case HidRequest::Kind::SetFeature:
            return {PanelCall::Config, Kind::HidSet};
        case HidRequest::Kind::Write:
            break;
    }
    return {PanelCall::Write, Kind::HidWrite};
}

// What a transfer of `size` bytes with this result adds to its record.
std::string noteOf(int64_t result, size_t size) {
    if (result < 0) return strerrorname_np(static_cast<int>(-result));
    return static_cast<size_t>(result) == size ? "" : "passed " + std::to_string(result);
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

void Panel::record(Kind kind, const std::string& node, const std::string& bytes,
                   const std::string& note, cover::Time held) {
    if (held == cover::Time::zero()) return mJournal.add(kind, node, bytes, note);
    mJournal.add({.kind = kind,
                  .begin = std::chrono::steady_clock::now() - held,
                  .duration = held,
                  .path = node,
                  .bytes = bytes,
                  .note = note});
}

HidAnswer Panel::hidOpened(const std::string& node, const HidOpen& open, bool waited) {
    const cover::Time time = open.isFirst ? mOpenTime : cover::Time::zero();
    std::optional<uint64_t> pass;
    HidAnswer answer = begin(node, PanelCall::Open, time, waited, &pass);
    if (answer.askAgainAfter) return answer;
    const std::string error = noteOf(answer.result, 0);
    record(Kind::HidOpen, node, {}, error.empty() ? open.flags : open.flags + " " + error,
           open.held);
    return answer;
}

HidAnswer Panel::hidRequested(const std::string& node, const HidRequest& request, bool waited) {
    const auto [asked, entry] = namesOf(request);
    std::optional<uint64_t> pass;
    HidAnswer answer = begin(node, asked, cover::Time::zero(), waited, &pass);
    if (answer.askAgainAfter) return answer;
    if (answer.result == 0) answer = transfer(request, pass);
    const bool reads = request.kind == HidRequest::Kind::GetFeature;
    record(entry, node, reads && answer.result >= 0 ? answer.report : request.bytes,
           noteOf(answer.result, reads ? answer.report.size() : request.size), request.held);
    return answer;
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

void Panel::hidRefused(const std::string& node, const HidRequest& request, int error) {
    record(namesOf(request).entry, node, request.bytes, strerrorname_np(error), request.held);
}

void Panel::hidClosed(const std::string& node) {
    mJournal.add(Kind::HidClose, node);
}

}  // namespace phone
