// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Draft.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "emulator/phone/Paths.h"
#include "emulator/phonelog/Names.h"
#include "emulator/phonelog/Redact.h"

namespace phonelog {

using phone::Entry;
using phone::Kind;
using std::chrono::nanoseconds;

namespace {

// When each line was written. A phone's log has milliseconds: lines of the same one are spread over
// it, so that what they tell keeps its order.
std::vector<nanoseconds> spreadTimes(const std::vector<Line>& lines) {
    constexpr nanoseconds kUnit = std::chrono::milliseconds(1);
    std::vector<nanoseconds> times;
    for (size_t first = 0; first < lines.size();) {
        size_t end = first + 1;
        while (end < lines.size() && lines[end].time == lines[first].time) ++end;
        const bool isExact = lines[first].time % kUnit != nanoseconds::zero();
        const auto step = isExact ? nanoseconds::zero() : kUnit / static_cast<int64_t>(end - first);
        for (size_t i = first; i < end; ++i) {
            times.push_back(lines[i].time + step * static_cast<int64_t>(i - first));
        }
        first = end;
    }
    return times;
}

}  // namespace

void Draft::add(Place place, Kind kind, std::string path, std::string bytes, std::string note) {
    mBytes += path.size() + bytes.size() + note.size();
    if (mEntries.size() >= recording::kMostEntries || mBytes > recording::kMostBytes) {
        throw TooLong();
    }
    mEntries.push_back({place,
                        SIZE_MAX,
                        {.kind = kind,
                         .path = std::move(path),
                         .bytes = std::move(bytes),
                         .note = std::move(note)}});
}

void Draft::addLasting(Place place, size_t end, Kind kind, std::string path, std::string bytes,
                       std::string note) {
    add(place, kind, std::move(path), std::move(bytes), std::move(note));
    mEntries.back().end = end;
}

void Draft::addWrite(Place place, const std::string& path, const std::string& bytes,
                     bool truncates) {
    add(place, Kind::NodeOpen, path, {},
        truncates ? "O_WRONLY|O_CREAT|O_TRUNC|O_CLOEXEC" : "O_WRONLY|O_CLOEXEC");
    add(place, Kind::NodeWrite, path, bytes);
    add(place, Kind::NodeClose, path);
}

void Draft::infer(size_t line, std::string text) {
    phonelog::add(mFindings.inferred, mLog.lines[line].number, std::move(text));
}

void Draft::missing(size_t line, std::string text) {
    phonelog::add(mFindings.unknown, mLog.lines[line].number, std::move(text));
}

void Draft::missing(std::string text) {
    mUntold.push_back(std::move(text));
}

std::string Draft::shown(const std::string& command) const {
    return mRedacts ? maskCommand(command) : command;
}

Findings Draft::takeFindings() {
    for (std::string& text : mUntold) mFindings.unknown.push_back({0, std::move(text)});
    return std::move(mFindings);
}

recording::Recording Draft::finish() {
    std::erase_if(mEntries, [this](const Placed& placed) {
        return mTakenBack.contains({placed.place.line, placed.entry.path});
    });
    std::ranges::stable_sort(mEntries, {}, &Placed::place);
    const std::vector<nanoseconds> times = spreadTimes(mLog.lines);
    recording::Recording recording;
    nanoseconds next{};
    for (Placed& placed : mEntries) {
        Entry entry = std::move(placed.entry);
        entry.seq = recording.entries.size() + 1;
        // A replay waits for what was before an entry, and so no two have the same time.
        entry.time = std::max(times[placed.place.line], next);
        next = entry.time + std::chrono::microseconds(1);
        entry.wall = mLog.start + entry.time;
        if (placed.end != SIZE_MAX)
            entry.duration = std::max(times[placed.end] - entry.time, nanoseconds::zero());
        recording.entries.push_back(std::move(entry));
    }
    mHeader.source = "log";
    for (const char* lane : {"tty", "hidraw", "call", "callback"}) {
        if (!mNotWhole.contains(lane)) mHeader.lanes.emplace_back(lane);
    }
    for (const char* path : {kControl, phone::kHalReady, phone::kRecovery, phone::kPowerNode,
                             phone::kFirmwareWrite, phone::kAesMode}) {
        const std::string lane = std::string("node ") + path;
        if (!mNotWhole.contains(lane)) mHeader.lanes.push_back(lane);
    }
    for (const Remark& remark : mFindings.unknown) {
        mHeader.unknown.push_back(remark.line == 0 ? remark.text
                                                   : "Line " + std::to_string(remark.line) + ": " +
                                                             remark.text + ".");
    }
    mHeader.unknown.insert(mHeader.unknown.end(), mUntold.begin(), mUntold.end());
    recording.header = std::move(mHeader);
    return recording;
}

}  // namespace phonelog
