// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/timeline/Frames.h"

#include <algorithm>
#include <utility>

#include "emulator/cover/Panel.h"
#include "emulator/timeline/Spelling.h"

namespace timeline {

namespace {

constexpr size_t kHeaderSize = cover::Panel::kHeaderSize;

bool isAtBegin(std::string_view report) {
    constexpr size_t kOffsetAt = 3;
    return report.size() > kHeaderSize &&
           report.substr(kOffsetAt, kHeaderSize - kOffsetAt) == std::string_view("\0\0\0\0", 4);
}

// The note of a report that failed is its error; else how much of it passed, or nothing.
bool hasFailed(const std::string& note) {
    return !note.empty() && !note.starts_with("passed ");
}

bool isOfGonePanel(const std::string& error) {
    return error == "ESHUTDOWN" || error == "ENODEV";
}

}  // namespace

void Frames::write(const phone::Entry& entry) {
    if (mFrame && (mHasGone ? !isOfGonePanel(entry.note) : isAtBegin(entry.bytes))) cutOff(entry);
    if (!mFrame) {
        mFrame = begin(entry);
        mFrame->kind = mFrame->title = "frame";
        mFrame->open = true;
        mPixels = mReports = 0;
    }
    take(entry);
    if (hasFailed(entry.note)) {
        finish(isOfGonePanel(entry.note) ? "cut off" : "refused", entry);
    } else if (entry.bytes.size() <= kHeaderSize) {
        finish("drawn", entry);
    } else {
        mChanges->put(*mFrame);
    }
}

void Frames::take(const phone::Entry& entry) {
    extend(*mFrame, entry);
    mPixels += entry.bytes.size() - std::min(entry.bytes.size(), kHeaderSize);
    ++mReports;
    mFrame->faulty = mFrame->faulty || std::exchange(mIsStruck, false);
    mFrame->detail = std::to_string(mPixels) + " bytes in " + std::to_string(mReports) +
                     (mReports == 1 ? " report" : " reports");
    if (!entry.note.empty()) append(mFrame->detail, spell(entry.note));
}

bool Frames::pass(const phone::Entry& entry) {
    if (mHasGone) cutOff(entry);
    return std::exchange(mIsStruck, false);
}

// The fault's entry stands before that of the call which met it.
void Frames::strike(const phone::Entry& /*entry*/) {
    mIsStruck = true;
    if (!mFrame) return;
    mFrame->faulty = true;
    mChanges->put(*mFrame);
}

void Frames::finish(const char* verdict, const phone::Entry& entry) {
    close(*mFrame, verdict, endOf(entry));
    mChanges->put(*mFrame);
    mFrame.reset();
    mHasGone = false;
}

void Frames::cutOff(const phone::Entry& entry) {
    if (mFrame) finish("cut off", entry);
    mHasGone = false;
    mIsStruck = false;
}

}  // namespace timeline
