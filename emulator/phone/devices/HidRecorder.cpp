// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/HidRecorder.h"

#include <chrono>
#include <cstring>

namespace phone {

namespace {

// What a transfer of `size` bytes with this result adds to its record.
std::string noteOf(int64_t result, size_t size) {
    if (result < 0) return strerrorname_np(static_cast<int>(-result));
    return static_cast<size_t>(result) == size ? "" : "passed " + std::to_string(result);
}

}  // namespace

Kind HidRecorder::kindOf(const HidRequest& request) {
    switch (request.kind) {
        case HidRequest::Kind::GetFeature:
            return Kind::HidGet;
        case HidRequest::Kind::SetFeature:
            return Kind::HidSet;
        case HidRequest::Kind::Write:
            break;
    }
    return Kind::HidWrite;
}

void HidRecorder::record(Kind kind, const std::string& node, const std::string& bytes,
                         const std::string& note, cover::Time held) {
    if (held == cover::Time::zero()) return mRecord.add(kind, node, bytes, note);
    mRecord.add({.kind = kind,
                 .begin = std::chrono::steady_clock::now() - held,
                 .duration = held,
                 .path = node,
                 .bytes = bytes,
                 .note = note});
}

void HidRecorder::recordOpen(const std::string& node, const HidOpen& open, const HidAnswer& answer,
                             cover::Time held) {
    const std::string error = noteOf(answer.result, 0);
    record(Kind::HidOpen, node, {}, error.empty() ? open.flags : open.flags + " " + error, held);
}

void HidRecorder::recordRequest(const std::string& node, const HidRequest& request,
                                const HidAnswer& answer, cover::Time held) {
    const bool reads = request.kind == HidRequest::Kind::GetFeature;
    record(kindOf(request), node, reads && answer.result >= 0 ? answer.report : request.bytes,
           noteOf(answer.result, reads ? answer.report.size() : request.size), held);
}

void HidRecorder::hidRefused(const std::string& node, const HidRequest& request, int error) {
    recordRequest(node, request, {.result = -error}, request.held);
}

void HidRecorder::hidClosed(const std::string& node) {
    mRecord.add(Kind::HidClose, node);
}

}  // namespace phone
